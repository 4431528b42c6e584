// Startup, permission and folder checks: Run keys and Startup shortcuts
// (QVICE22), insecure grants in the lock tables (QVICE23), components bound
// for the Windows folder (QVICE25).
#include "checks/ice/startup_permission_folder.h"

#include <new>

#include "database/directory.h"
#include "database/registry_inventory.h"
#include "database/views.h"

namespace {

using NoCase = _stringx<qv::char_traitsi>;

// The top directory of key: its ancestor right below TARGETDIR, or the key
// itself when it is top level.
_stringx<> TopDirectory(MSIHANDLE database, const _stringx<>& key)
{
    _stringx<> top;
    if (!FindTopDirectory(database, key, top))
        top = key;
    return top;
}

// Cuts text before its last backslash; no backslash leaves it empty.
void ToParent(NoCase& text)
{
    const size_t slash = text.rfind(L'\\');
    if (slash == NoCase::npos)
        text.clear();
    else
        text.erase(slash);
}

// A text for a formatted field: brackets become their escapes.
_stringx<> EscapeBrackets(const _stringx<>& text)
{
    _stringx<> out;
    for (const wchar_t c : text) {
        if (c == L'[')
            out += L"[\\[]";
        else if (c == L']')
            out += L"[\\]]";
        else
            out += c;
    }
    return out;
}

// Rights that make a grant insecure: for files, generic all and write,
// write owner, write DAC, delete, write attributes, write extended
// attributes, append and write data; for folders and registry keys also
// delete child.
constexpr int32_t kFileMask = 0x500D0116;
constexpr int32_t kFolderMask = 0x500D0156;

}  // namespace

// ---- QVICE22 -------------------------------------------------------------------

CQVIce22::CQVIce22(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce22::~CQVIce22() = default;
_stringx<> CQVIce22::GetName() const { return Name; }
_stringx<> CQVIce22::GetDescription() const { return LoadMessage(DescriptionId); }

bool CQVIce22::RunKeyMatch(const _stringx<>& text)
{
    static const wchar_t* const kRunKeys[] = {
        L"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Run",
        L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run",
        L"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Microsoft\\windows\\CurrentVersion\\Run",
        L"HKEY_CURRENT_USER\\Software\\Wow6432Node\\Microsoft\\windows\\CurrentVersion\\Run",
    };
    NoCase key(text.c_str(), text.size());
    while (!key.empty()) {
        for (const wchar_t* run : kRunKeys) {
            if (key == run)
                return true;
        }
        ToParent(key);
    }
    return false;
}

void CQVIce22::Validate()
{
    RegistryInventory registry(this);
    for (const RegistryEntry* entry : registry.GetEntries()) {
        const _stringx<> fullKey = entry->FullKey();
        if (!RunKeyMatch(fullKey))
            continue;
        m_location = {L"Registry", L"Key", entry->key};
        ReportMessage(218, fullKey, entry->component, 1);
    }

    if (!TablePresent(m_database, L"Shortcut"))
        return;
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            const Shortcut shortcut(this, record);
            if (TopDirectory(m_database, shortcut.directory) != L"StartupFolder")
                return;
            m_location = {L"Shortcut", L"Directory_", shortcut.key};
            ReportMessage(215, shortcut.key, shortcut.component, 1);
        },
        L"SELECT * FROM `%s`", L"Shortcut");
}

QV_CHECK_EXPORT(QVICE22, CQVIce22)

// ---- QVICE23 -------------------------------------------------------------------

LockPermission::LockPermission(MSIHANDLE record)
    : lockObject(RecordFieldString(record, 1)),
      table(RecordFieldString(record, 2)),
      domain(RecordFieldString(record, 3)),
      user(RecordFieldString(record, 4)),
      permission(MsiRecordGetInteger(record, 5))
{
}

CQVIce23::CQVIce23(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce23::~CQVIce23() = default;
_stringx<> CQVIce23::GetName() const { return Name; }
_stringx<> CQVIce23::GetDescription() const { return LoadMessage(DescriptionId); }

bool CQVIce23::GrantInsecure(const LockPermission& record)
{
    if (record.user == L"Administrators" || record.user == L"Administrator")
        return false;
    if (!record.user.empty() && record.user[0] == L'[')
        return false;
    if (record.table == L"File")
        return (record.permission & kFileMask) != 0;
    if (record.table == L"CreateFolder" || record.table == L"Registry")
        return (record.permission & kFolderMask) != 0;
    return false;
}

// One entry per LockObject: a later row replaces the earlier one, so of
// several grants on one object only the last fetched is judged.
void CQVIce23::Load(const wchar_t* table, LockPermissionMap& map)
{
    if (!TablePresent(m_database, table))
        return;
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            std::unique_ptr<LockPermission> row(new (std::nothrow) LockPermission(record));
            if (!row)
                throw com_exception(E_OUTOFMEMORY);
            map[row->lockObject] = std::move(row);
        },
        L"SELECT * FROM `%s` ORDER BY `%s`", table, L"LockObject");
}

void CQVIce23::Report(const wchar_t* table, const LockPermission& record)
{
    const wchar_t* keyColumn = nullptr;
    if (record.table == L"File")
        keyColumn = L"File";
    else if (record.table == L"CreateFolder")
        keyColumn = L"Directory_";
    else if (record.table == L"Registry")
        keyColumn = L"Registry";

    _stringx<> component;
    if (keyColumn && TablePresent(m_database, record.table)) {
        qv::msi_handle view, row;
        if (TryFetchFirst(view.ref(), m_database, row.ref(), L"SELECT `Component_` FROM `%s` WHERE `%s` = '%s'",
                          record.table, keyColumn, record.lockObject) == ERROR_SUCCESS)
            component = RecordFieldString(row, 1);
    }

    m_location = {table,        L"Permission",
                  record.lockObject, record.table,
                  EscapeBrackets(record.domain), EscapeBrackets(record.user)};
    ReportMessage(217, record.lockObject, component, 1);
}

void CQVIce23::Validate()
{
    Load(L"LockPermissions", m_lockPermissions);
    Load(L"QVLockPermissions", m_productLockPermissions);
    for (const auto& [object, record] : m_lockPermissions) {
        if (GrantInsecure(*record))
            Report(L"LockPermissions", *record);
    }
    for (const auto& [object, record] : m_productLockPermissions) {
        if (GrantInsecure(*record))
            Report(L"QVLockPermissions", *record);
    }
}

QV_CHECK_EXPORT(QVICE23, CQVIce23)

// ---- QVICE25 -------------------------------------------------------------------

CQVIce25::CQVIce25(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce25::~CQVIce25() = default;
_stringx<> CQVIce25::GetName() const { return Name; }
_stringx<> CQVIce25::GetDescription() const { return LoadMessage(DescriptionId); }

// Not the shared loader: no once-only guard, and the map is this check's own.
void CQVIce25::LoadComponents()
{
    if (!TablePresent(m_database, L"Component"))
        return;
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            std::unique_ptr<Component> component(new (std::nothrow) Component(this, record));
            if (!component)
                throw com_exception(E_OUTOFMEMORY);
            m_ownComponents[component->key] = std::move(component);
        },
        L"SELECT * FROM `%s`", L"Component");
}

void CQVIce25::Validate()
{
    LoadComponents();
    for (const auto& [key, component] : m_ownComponents) {
        const _stringx<> top = TopDirectory(m_database, component->directory);
        if (top != L"WindowsFolder" && top != L"SystemFolder" && top != L"System64Folder")
            continue;
        m_location = {L"Component", L"Component", key};
        ReportMessage(216, key, 1);
    }
}

QV_CHECK_EXPORT(QVICE25, CQVIce25)
