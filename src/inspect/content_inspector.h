// ContentInspector: the one way a check reaches the files of the package.
// GetFiles gives PackageFile objects in Sequence order; every operation that
// needs a file's bytes resolves the file first (ResolveFilePath), from the
// source folder or out of a cabinet into the temporary folder, and reports
// finding 162 once per operation when the file cannot be reached.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "foundation/stringx.h"
#include "inspect/media_cabinet.h"
#include "inspect/temporary.h"
#include "platform/platform.h"

class CQVIceBase;
class ContentInspector;

// How a listed API is judged: 1 deprecated, 2 obsolete, 3 not allowed in an
// app package; 0 not listed.
enum class ImportKind : int { None = 0, Deprecated = 1, Obsolete = 2, NotInAppPackage = 3 };

// Which rows GetFiles keeps.
enum FileFilter : int {
    kAllFiles = 0,
    kSignedExtension = 1,
    kManifestExtension = 2,
    kExecutableExtension = 3,
    kHelpFile = 4,
    kExeExtension = 5,
    kConfigExtension = 6,
};

using NoCaseString = _stringx<qv::char_traitsi>;

// The long part of a FileName value: the text after '|', or all of it.
_stringx<> LongFileNamePart(const _stringx<>& fileName);
// From the last dot of the long name to the end; empty when no dot follows
// the last backslash.
_stringx<> FileNameExtension(const _stringx<>& longName);

class PackageFile {
public:
    // From a File record: key 1, Component_ 2, FileName 3, Version 5,
    // Attributes 7, Sequence 8.
    PackageFile(ContentInspector* inspector, MSIHANDLE fileRecord);

    _stringx<> GetKey() const { return m_key; }
    _stringx<> GetFileName() const { return LongFileNamePart(m_fileName); }
    _stringx<> GetLongFileName() const { return LongFileNamePart(m_fileName); }
    const _stringx<>& GetRawFileName() const noexcept { return m_fileName; }
    _stringx<> GetComponent() const { return m_component; }
    _stringx<> GetVersion() const { return m_version; }
    int GetSequence() const noexcept { return m_sequence; }
    int GetAttributes() const noexcept { return m_attributes; }
    ContentInspector* Inspector() const noexcept { return m_inspector; }

    bool IsCompressed() const noexcept;
    bool HasAttribute(uint32_t mask) const noexcept
    {
        return (static_cast<uint32_t>(m_attributes) & mask) == mask;
    }
    bool HasSelfRegistration() const;
    // The path of the file's bytes, empty when unreachable (finding 162).
    // A path out of a cabinet is handed to temporary, which deletes it.
    _stringx<> ResolveFilePath(TemporaryPath& temporary) const;
    // "[#key]" formatted by the session after costing.
    _stringx<> GetTargetPath() const;
    // The version resource's text, empty when the file has none or cannot
    // be reached; another failure of the installer call ends the check.
    _stringx<> GetFileVersion() const;

    // Image inspection over the resolved bytes; each is false, or silent,
    // when the file cannot be reached (finding 162 already said so).
    bool Is16Bit() const;
    bool Is32Bit() const;
    bool IsDotNetAssembly() const;
    // One finding per import listed in _QVDeprecatedApi with exactly kind.
    void CheckImportedApis(int kind, UINT messageId, int type) const;
    void CheckVb6Dependency(UINT messageId, int type) const;
    void CheckAppSecurity(UINT messageId, int type) const;

    // The application manifest as a temporary file the caller owns, empty
    // when there is none (manifest.cpp).
    _stringx<> GetManifestPath() const;
    // Whether the file carries a valid signature (signature.cpp).
    bool IsSigned() const;
    // What a managed file says about its runtime (dotnet.cpp): true when
    // the file is managed; the text may still be empty.
    bool GetClrVersion(_stringx<>& version) const;
    bool GetCustomAttribute(const wchar_t* attributeName, _stringx<>& text) const;
    // The supportedRuntime versions of a configuration file, comma-joined.
    _stringx<> GetSupportedRuntimes() const;

private:
    // Resolves the file and runs operation over it with a host bound to the
    // inspector's owner; fallback when the file cannot be reached.
    template <typename Result, typename Operation>
    Result Inspect(Result fallback, Operation operation) const;


    ContentInspector* m_inspector;
    _stringx<> m_key;
    _stringx<> m_fileName;
    _stringx<> m_component;
    _stringx<> m_version;
    int m_sequence = 0;
    int m_attributes = 0;
};

// Source folders of directories, asked of the session once each.
class SourcePathResolver {
public:
    explicit SourcePathResolver(CQVIceBase* owner) : m_owner(owner) {}
    _stringx<> GetPath(const PackageFile& file);
    void SetOwner(CQVIceBase* owner) noexcept { m_owner = owner; }

private:
    CQVIceBase* m_owner;
    std::map<_stringx<>, _stringx<>> m_folders;
};

class ContentInspector {
public:
    using FileList = std::vector<std::pair<bool, PackageFile*>>;

    explicit ContentInspector(CQVIceBase* owner);
    ~ContentInspector();
    ContentInspector(const ContentInspector&) = delete;
    ContentInspector& operator=(const ContentInspector&) = delete;

    // The File rows in Sequence order that pass the filter of the first
    // call; later calls return the same list whatever their filter.
    FileList& GetFiles(int filter);

    CQVIceBase* Owner() const noexcept { return m_owner; }
    // A static inspector outlives the check that made it: the next owner
    // takes its place, or none (no debug lines, no findings).
    void SetOwner(CQVIceBase* owner) noexcept;

    CabinetList& Cabinets() noexcept { return m_cabinets; }
    SourcePathResolver& Resolver() noexcept { return m_resolver; }

    // Filters over a File record's FileName (column 3).
    bool IsExecutableExtension(MSIHANDLE fileRecord) const;
    bool IsExeExtension(MSIHANDLE fileRecord) const;
    bool IsConfigExtension(MSIHANDLE fileRecord) const;
    bool IsHelpFile(MSIHANDLE fileRecord) const;
    bool HasManifestExtension(MSIHANDLE fileRecord);
    bool HasSignedExtension(MSIHANDLE fileRecord);

    // Union of QVSelfReg and SelfReg, loaded at the first question.
    bool IsSelfRegistered(const _stringx<>& key);

    // _QVDeprecatedApi: how an import by name or by ordinal is listed.
    ImportKind LookupApi(const _stringx<>& module, const _stringx<>& function);
    ImportKind LookupApi(const _stringx<>& module, uint16_t ordinal);

    const std::set<NoCaseString>& ManifestExtensions();
    const std::set<NoCaseString>& SignedExtensions();

private:
    bool Keep(int filter, MSIHANDLE record);
    void LoadExtensions(std::set<NoCaseString>& target, const wchar_t* table);
    void LoadApis();

    // Deletes the owned files last of all members.
    struct OwnedFiles {
        FileList list;
        ~OwnedFiles();
    };

    CQVIceBase* m_owner;
    OwnedFiles m_files;
    bool m_needsFileLoad = true;
    SourcePathResolver m_resolver;
    CabinetList m_cabinets;
    std::map<_stringx<>, bool> m_selfRegistered;
    bool m_needsSelfRegLoad = true;
    std::set<NoCaseString> m_signedExtensions;
    std::set<NoCaseString> m_manifestExtensions;
    std::map<NoCaseString, std::map<uint16_t, ImportKind>> m_apisByOrdinal;
    std::map<NoCaseString, std::map<_stringx<>, ImportKind>> m_apisByName;
};
