// The inventories of a package: components, shortcuts and features as
// records in maps of the check object, files attached to their components.
// The load guards and the one inspector of GetPackageFiles are process-wide
// and live until ResetInventoryState (the library's reset).
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "foundation/stringx.h"
#include "platform/platform.h"

class CQVIceBase;
class PackageFile;

// Holds one record of a map; owned records are deleted when replaced or
// when the holder goes.
template <class T>
class RecordHolder {
public:
    RecordHolder() = default;
    RecordHolder(const RecordHolder&) = delete;
    RecordHolder& operator=(const RecordHolder&) = delete;
    ~RecordHolder() { Release(); }

    void Set(T* record, bool owned)
    {
        Release();
        m_record = record;
        m_owned = owned;
    }
    T* get() const noexcept { return m_record; }
    T* operator->() const noexcept { return m_record; }
    bool owned() const noexcept { return m_owned; }

private:
    void Release() noexcept
    {
        if (m_owned)
            delete m_record;
        m_record = nullptr;
        m_owned = false;
    }

    bool m_owned = false;
    T* m_record = nullptr;
};

struct Component {
    // From a Component record: 1 key, 2 ComponentId, 3 Directory_, 6 KeyPath.
    Component(CQVIceBase* owner, MSIHANDLE record);

    CQVIceBase* owner;
    _stringx<> key;
    _stringx<> componentId;
    _stringx<> directory;
    _stringx<> keyPath;
    std::map<_stringx<>, PackageFile*> files;  // not owned
};

struct Shortcut {
    // From a Shortcut record: 1 key, 2 Directory_, 4 Component_, 5 Target.
    Shortcut(CQVIceBase* owner, MSIHANDLE record);

    CQVIceBase* owner;
    _stringx<> key;
    _stringx<> component;
    _stringx<> directory;
    _stringx<> target;
};

struct Feature {
    Feature(CQVIceBase* owner, MSIHANDLE record);

    CQVIceBase* owner;
    _stringx<> key;
};

using ComponentMap = std::map<_stringx<>, RecordHolder<Component>>;
using ShortcutMap = std::map<_stringx<>, RecordHolder<Shortcut>>;
using FeatureMap = std::map<_stringx<>, RecordHolder<Feature>>;
using PackageFileList = std::vector<std::pair<bool, PackageFile*>>;

namespace qv::inventory {

// The loaders behind the virtual operations of CQVIceBase.
void LoadComponents(CQVIceBase& check, ComponentMap& map);
void LoadShortcuts(CQVIceBase& check, ShortcutMap& map);
void LoadFeatures(CQVIceBase& check, FeatureMap& map);
void LoadFiles(CQVIceBase& check, ComponentMap& map);
PackageFileList& GetPackageFiles(CQVIceBase& check);

// A check object going away: the shared inspector forgets it as owner.
void ForgetOwner(CQVIceBase* check) noexcept;
// Clears the guards and destroys the shared inspector.
void ResetState() noexcept;

}  // namespace qv::inventory
