// The cabinets of a package: MediaCabinet is one Media row (or the merge
// module's one embedded cabinet), CabinetList walks them in DiskId order
// with a cursor that only moves forward.
#pragma once

#include <memory>
#include <vector>

#include "foundation/stringx.h"
#include "inspect/cabinet.h"
#include "platform/platform.h"

class CQVIceBase;
class PackageFile;

class MediaCabinet {
public:
    // From a Media record: Cabinet is column 4, LastSequence column 2.
    MediaCabinet(CQVIceBase* owner, MSIHANDLE mediaRecord);
    // The merge module's embedded cabinet under the given stream name.
    MediaCabinet(CQVIceBase* owner, const _stringx<>& streamName);
    ~MediaCabinet();
    MediaCabinet(const MediaCabinet&) = delete;
    MediaCabinet& operator=(const MediaCabinet&) = delete;

    bool Contains(const PackageFile& file) const noexcept;
    void OpenCabinet();
    void CloseCabinet();
    // The extracted file's path, or empty; see the .cpp for the cases.
    _stringx<> ExtractFile(const PackageFile& file);

    const _stringx<>& RawName() const noexcept { return m_rawName; }
    const _stringx<>& Name() const noexcept { return m_name; }
    const _stringx<>& Path() const noexcept { return m_path; }
    bool IsOpen() const noexcept { return m_isOpen; }
    bool IsEmbedded() const noexcept { return m_isEmbedded; }
    int LastSequence() const noexcept { return m_lastSequence; }
    const CabinetEngine* Engine() const noexcept { return m_engine.get(); }
    // For a static inspector that outlives its check: no more debug lines.
    void SetOwner(CQVIceBase* owner) noexcept { m_owner = owner; }

private:
    CQVIceBase* m_owner;
    _stringx<> m_rawName;
    _stringx<> m_name;
    _stringx<> m_path;
    bool m_isOpen = false;
    bool m_isEmbedded = false;
    int m_lastSequence = 0;
    std::unique_ptr<CabinetEngine> m_engine;
};

class CabinetList {
public:
    explicit CabinetList(CQVIceBase* owner) : m_owner(owner) {}
    CabinetList(const CabinetList&) = delete;
    CabinetList& operator=(const CabinetList&) = delete;

    void LoadMedia();
    MediaCabinet* FindCabinet(const PackageFile& file);
    _stringx<> ExtractFile(const PackageFile& file);

    const std::vector<std::unique_ptr<MediaCabinet>>& Cabinets() const noexcept { return m_cabinets; }
    size_t Cursor() const noexcept { return m_cursor; }
    void SetOwner(CQVIceBase* owner) noexcept;

private:
    MediaCabinet* AdvanceCabinet();

    CQVIceBase* m_owner;
    std::vector<std::unique_ptr<MediaCabinet>> m_cabinets;
    size_t m_cursor = 0;
    bool m_needsLoad = true;
};

// A package without a ProductCode row in Property is a merge module. The
// answer of the first question stands for the rest of the library's load.
bool IsMergeModule(MSIHANDLE database);
void ResetMergeModuleAnswer() noexcept;
