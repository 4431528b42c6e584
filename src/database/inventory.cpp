#include "database/inventory.h"

#include <new>

#include "database/views.h"
#include "framework/check_base.h"
#include "inspect/content_inspector.h"

namespace {

// Set after each load whether or not the table was there.
bool g_componentsLoaded = false;
bool g_shortcutsLoaded = false;
bool g_featuresLoaded = false;

// The inspector of GetPackageFiles, made at the first call in the process.
ContentInspector* g_packageInspector = nullptr;

template <class T>
void LoadTable(CQVIceBase& check, std::map<_stringx<>, RecordHolder<T>>& map, bool& guard, const wchar_t* table)
{
    if (guard)
        return;
    if (TablePresent(check.Database(), table)) {
        ForEachRow(
            check.Database(),
            [&](MSIHANDLE record) {
                T* built = new (std::nothrow) T(&check, record);
                if (!built)
                    throw com_exception(E_OUTOFMEMORY);
                // The last row with a key wins.
                map[built->key].Set(built, true);
            },
            L"SELECT * FROM `%s`", table);
    }
    guard = true;
}

}  // namespace

Component::Component(CQVIceBase* owner, MSIHANDLE record)
    : owner(owner),
      key(RecordFieldString(record, 1)),
      componentId(RecordFieldString(record, 2)),
      directory(RecordFieldString(record, 3)),
      keyPath(RecordFieldString(record, 6))
{
}

Shortcut::Shortcut(CQVIceBase* owner, MSIHANDLE record)
    : owner(owner),
      key(RecordFieldString(record, 1)),
      component(RecordFieldString(record, 4)),
      directory(RecordFieldString(record, 2)),
      target(RecordFieldString(record, 5))
{
}

Feature::Feature(CQVIceBase* owner, MSIHANDLE record) : owner(owner), key(RecordFieldString(record, 1)) {}

namespace qv::inventory {

void LoadComponents(CQVIceBase& check, ComponentMap& map)
{
    LoadTable(check, map, g_componentsLoaded, L"Component");
}

void LoadShortcuts(CQVIceBase& check, ShortcutMap& map) { LoadTable(check, map, g_shortcutsLoaded, L"Shortcut"); }

void LoadFeatures(CQVIceBase& check, FeatureMap& map) { LoadTable(check, map, g_featuresLoaded, L"Feature"); }

void LoadFiles(CQVIceBase& check, ComponentMap& map)
{
    check.LoadComponents();
    for (const auto& [owned, file] : check.GetPackageFiles()) {
        if (!file)
            throw com_exception(E_OUTOFMEMORY);
        const auto found = map.find(file->GetComponent());
        if (found == map.end()) {
            check.DebugLine(L"Orphaned file %s", file->GetKey());
            continue;
        }
        if (!found->second.get())
            throw com_exception(E_OUTOFMEMORY);
        found->second->files[file->GetKey()] = file;
    }
}

PackageFileList& GetPackageFiles(CQVIceBase& check)
{
    if (!g_packageInspector)
        g_packageInspector = new ContentInspector(&check);
    else if (!g_packageInspector->Owner())
        g_packageInspector->SetOwner(&check);
    return g_packageInspector->GetFiles(kAllFiles);
}

void ForgetOwner(CQVIceBase* check) noexcept
{
    if (g_packageInspector && g_packageInspector->Owner() == check)
        g_packageInspector->SetOwner(nullptr);
}

void ResetState() noexcept
{
    g_componentsLoaded = false;
    g_shortcutsLoaded = false;
    g_featuresLoaded = false;
    if (g_packageInspector) {
        g_packageInspector->SetOwner(nullptr);
        delete g_packageInspector;
        g_packageInspector = nullptr;
    }
}

}  // namespace qv::inventory
