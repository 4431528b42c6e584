// Component authoring checks.
#include "checks/ice/component_authoring.h"

#include <cwctype>

#include "database/directory.h"
#include "inspect/content_inspector.h"

namespace {

_stringx<> LowerCase(const _stringx<>& text)
{
    _stringx<> lower;
    for (wchar_t c : text)
        lower.push_back(static_cast<wchar_t>(std::towlower(c)));
    return lower;
}

// "[directory]name" for a file of a component: the form a shortcut target
// takes when it names a file directly.
_stringx<> BracketedPath(const _stringx<>& directory, const _stringx<>& fileName)
{
    _stringx<> text;
    CQVIceBase::FormatString(text, L"[%s]%s", directory, fileName);
    return text;
}

}  // namespace

CQVIce07::CQVIce07(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce07::~CQVIce07() = default;
_stringx<> CQVIce07::GetName() const { return Name; }
_stringx<> CQVIce07::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce07::LoadShortcuts()
{
    CQVIceBase::LoadShortcuts();
    for (const auto& [key, holder] : m_shortcuts) {
        const Shortcut& shortcut = *holder.get();
        const _stringx<>& directory = shortcut.directory;
        _stringx<> root;
        if (!FindTopDirectory(m_database, directory, root))
            root = directory;
        // The desktop counts only as the shortcut's own folder, the Start
        // Menu folders at any depth.
        if (!(directory == L"DesktopFolder" || root == L"StartMenuFolder" || root == L"ProgramMenuFolder" ||
              root == L"StartupFolder"))
            continue;

        _stringx<> target = shortcut.target;
        if (target.empty() || target[0] != L'[') {
            // Advertised: the target is a feature, the shortcut points at
            // the key file of its component.
            const auto found = m_components.find(shortcut.component);
            if (found == m_components.end()) {
                DebugLine(L"Orphaned advertised %s", shortcut.key);
                continue;
            }
            const Component& component = *found->second.get();
            if (component.files.size() < 2)
                continue;
            const auto keyFile = component.files.find(component.keyPath);
            const _stringx<> name = keyFile == component.files.end() ? _stringx<>() : keyFile->second->GetFileName();
            target = BracketedPath(component.directory, name);
        }
        m_shortcutTargets[LowerCase(target)] = shortcut.key;
    }
}

void CQVIce07::Validate()
{
    LoadComponents();
    LoadFiles();
    LoadShortcuts();
    for (const auto& [key, holder] : m_components) {
        const Component& component = *holder.get();
        ComponentIdTest(component);
        ComDataTest(component);
        MultipleFeaturesTest(component);
        ShortcutTargetTest(component);
        GlobalAssemblyCacheTest(component);
    }
}

void CQVIce07::ComponentIdTest(const Component& component)
{
    if (!component.componentId.empty())
        return;
    m_location = {L"Component", L"ComponentId", component.key};
    ReportMessage(122, component.key, 1);
}

bool CQVIce07::ComponentReferencedIn(const wchar_t* table, const _stringx<>& component)
{
    if (!TablePresent(m_database, table))
        return false;
    qv::msi_handle view, record;
    return FetchFirst(view.ref(), m_database, record.ref(), L"SELECT * FROM `%s` WHERE `Component_` = '%s'", table,
                      component) == ERROR_SUCCESS;
}

bool CQVIce07::HoldsComData(const Component& component)
{
    if (ComponentReferencedIn(L"Class", component.key) || ComponentReferencedIn(L"TypeLib", component.key))
        return true;
    for (const auto& [fileKey, file] : component.files) {
        if (file->HasSelfRegistration())
            return true;
    }
    return false;
}

void CQVIce07::ComDataTest(const Component& component)
{
    if (component.files.size() <= 1 || !HoldsComData(component))
        return;
    m_location = {L"Component", L"Component", component.key};
    ReportMessage(123, component.key, 1);
}

void CQVIce07::MultipleFeaturesTest(const Component& component)
{
    // No presence test: a package without FeatureComponents ends the check.
    int features = 0;
    ForEachRow(
        m_database, [&](MSIHANDLE) { ++features; }, L"SELECT * FROM `%s` WHERE `%s`='%s'", L"FeatureComponents",
        L"Component_", component.key);
    if (features <= 1)
        return;

    static const wchar_t* const kTables[] = {L"Class", L"Extension", L"MsiAssembly", L"PublishComponent",
                                             L"TypeLib"};
    _stringx<> tables;
    for (const wchar_t* table : kTables) {
        if (!ComponentReferencedIn(table, component.key))
            continue;
        if (!tables.empty())
            tables.push_back(L',');
        tables.append(table);
    }
    if (tables.empty())
        return;
    m_location = {L"Component", L"Component", component.key};
    ReportMessage(200, component.key, tables, 1);
}

void CQVIce07::ShortcutTargetTest(const Component& component)
{
    if (component.files.size() <= 1)
        return;
    int hits = 0;
    for (const auto& [fileKey, file] : component.files) {
        if (m_shortcutTargets.count(LowerCase(BracketedPath(component.directory, file->GetFileName()))))
            ++hits;
    }
    if (hits <= 1)
        return;
    m_location = {L"Component", L"Component", component.key};
    ReportMessage(128, component.key, 1);
}

void CQVIce07::GlobalAssemblyCacheTest(const Component& component)
{
    if (component.files.empty() || !TablePresent(m_database, L"MsiAssembly"))
        return;
    qv::msi_handle view, record;
    if (TryFetchFirst(view.ref(), m_database, record.ref(), L"SELECT * FROM `%s` WHERE `%s` = '%s'", L"MsiAssembly",
                      L"Component_", component.key) != ERROR_SUCCESS)
        return;
    // An assembly that names no application file goes to the cache.
    RecordString fileApplication(record, 4);
    if (!fileApplication.Text() || fileApplication.Text()[0] != L'\0')
        return;
    m_location = {L"Component", L"Directory_", component.key};
    ReportMessage(204, component.key, 1);
}

QV_CHECK_EXPORT(QVICE07, CQVIce07)
