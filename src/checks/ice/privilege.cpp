// Privilege check: a package that says it needs no elevation must not touch
// machine-wide folders, registry roots or system environment variables.
#include "checks/ice/privilege.h"

#include "database/directory.h"
#include "database/views.h"

namespace {

enum class RowFilter { None, HasFile, DeletesSource };

struct FolderTable {
    const wchar_t* table;
    UINT directoryField;
    UINT componentField;
    const wchar_t* column;
    RowFilter filter;
};

// The folder tests in the order of the walk.
const FolderTable kFolderTables[] = {
    {L"Component", 3, 1, L"Directory_", RowFilter::HasFile},
    {L"DuplicateFile", 5, 2, L"DestFolder", RowFilter::None},
    {L"MoveFile", 6, 2, L"DestFolder", RowFilter::None},
    {L"MoveFile", 5, 2, L"SourceFolder", RowFilter::DeletesSource},
    {L"RemoveFile", 4, 2, L"DirProperty", RowFilter::None},
    {L"CreateFolder", 1, 2, L"Directory_", RowFilter::None},
    {L"IniFile", 3, 8, L"DirProperty", RowFilter::None},
    {L"RemoveIniFile", 3, 8, L"DirProperty", RowFilter::None},
    {L"Shortcut", 2, 4, L"Directory_", RowFilter::None},
    {L"QVXmlFile", 4, 3, L"Directory", RowFilter::None},
};

struct RegistryTable {
    const wchar_t* table;
    UINT componentField;
};

const RegistryTable kRegistryTables[] = {{L"Registry", 6}, {L"RemoveRegistry", 5}};

}  // namespace

CQVIce20::CQVIce20(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce20::~CQVIce20() = default;
_stringx<> CQVIce20::GetName() const { return Name; }
_stringx<> CQVIce20::GetDescription() const { return LoadMessage(DescriptionId); }

// Word Count bit 3: the package declares that it needs no elevation.
bool CQVIce20::NoElevationRequested()
{
    qv::msi_handle summary;
    CheckInstallerResult(MsiGetSummaryInformationW(m_database, nullptr, 0, &summary.ref()),
                         L"MsiGetSummaryInformation");
    UINT dataType = 0;
    INT wordCount = 0;
    FILETIME time{};
    DWORD size = 0;
    const UINT result = MsiSummaryInfoGetPropertyW(summary, 15, &dataType, &wordCount, &time, nullptr, &size);
    CheckInstallerResult(result, L"MsiSummaryInfoGetProperty");
    if (result != ERROR_SUCCESS)
        DebugLine(L"Couldn't load SummaryInfoStream Word Count; will assume installer requires elevation");
    return (wordCount & 8) != 0;
}

// 1: installs on a non-elevated run, 0: only elevated, -1: no such component.
int CQVIce20::ComponentStatus(const _stringx<>& component)
{
    qv::msi_handle view, record;
    if (TryFetchFirst(view.ref(), m_database, record.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'", L"Component",
                      L"Component", component) != ERROR_SUCCESS)
        return -1;
    const _stringx<> condition = RecordFieldString(record, 5);
    if (condition == L"Privileged" || condition == L"AdminUser" || condition == L"0")
        return 0;
    return 1;
}

void CQVIce20::Validate()
{
    if (!NoElevationRequested())
        return;

    m_nonPrivilegedFolders.clear();
    if (TablePresent(m_database, L"_QVNonPrivilegedFolder")) {
        ForEachRow(
            m_database, [this](MSIHANDLE record) { m_nonPrivilegedFolders.insert(RecordFieldString(record, 1)); },
            L"SELECT * FROM `%s`", L"_QVNonPrivilegedFolder");
    }

    for (const FolderTable& t : kFolderTables) {
        if (!TablePresent(m_database, t.table))
            continue;
        ForEachRow(
            m_database, [&](MSIHANDLE record) { FolderTest(record, t.table, t.directoryField, t.componentField, t.column, static_cast<int>(t.filter)); },
            L"SELECT * FROM `%s`", t.table);
    }
    for (const RegistryTable& t : kRegistryTables) {
        if (!TablePresent(m_database, t.table))
            continue;
        ForEachRow(
            m_database, [&](MSIHANDLE record) { RegistryTest(record, t.table, t.componentField); },
            L"SELECT * FROM `%s`", t.table);
    }
    EnvironmentTest();
}

void CQVIce20::FolderTest(MSIHANDLE record, const wchar_t* table, UINT directoryField, UINT componentField,
                          const wchar_t* column, int filter)
{
    const _stringx<> key = RecordFieldString(record, 1);
    const _stringx<> directory = RecordFieldString(record, directoryField);
    _stringx<> root;
    if (!FindTopDirectory(m_database, directory, root))
        root = directory;
    if (m_nonPrivilegedFolders.count(root))
        return;

    const int status = ComponentStatus(RecordFieldString(record, componentField));
    if (status == 0)
        return;
    if (status == -1) {
        ReportMessage(205, table, key, 0);
        return;
    }

    switch (static_cast<RowFilter>(filter)) {
    case RowFilter::HasFile: {
        // A component without files says nothing about its folder.
        qv::msi_handle view, file;
        if (TryFetchFirst(view.ref(), m_database, file.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'", L"File",
                          L"Component_", key) != ERROR_SUCCESS)
            return;
        break;
    }
    case RowFilter::DeletesSource:
        // A move that deletes its source changes the source folder too.
        if (!(MsiRecordGetInteger(record, 7) & 1))
            return;
        break;
    case RowFilter::None:
        break;
    }

    m_location = {table, column, key};
    ReportMessage(159, table, key, directory, 1);
}

void CQVIce20::RegistryTest(MSIHANDLE record, const wchar_t* table, UINT componentField)
{
    const int root = MsiRecordGetInteger(record, 2);
    if (root != 0 && root != 2 && root != 3)
        return;
    // An unknown component (-1) goes out as the message type, as it is.
    const int status = ComponentStatus(RecordFieldString(record, componentField));
    if (status == 0)
        return;
    const _stringx<> key = RecordFieldString(record, 1);
    m_location = {table, L"Root", key};
    ReportMessage(158, table, key, qv::Format(L"%d", root), status);
}

// A star in Name marks a system variable.
void CQVIce20::EnvironmentTest()
{
    if (!TablePresent(m_database, L"Environment"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const _stringx<> key = RecordFieldString(record, 1);
            const _stringx<> name = RecordFieldString(record, 2);
            if (name.find(L'*') == _stringx<>::npos)
                return;
            const int status = ComponentStatus(RecordFieldString(record, 4));
            if (status == 0)
                return;
            const auto start = name.find_first_not_of(L"*+-!=");
            const _stringx<> variable = start == _stringx<>::npos ? _stringx<>() : name.substr(start);
            m_location = {L"Environment", L"Name", key};
            ReportMessage(160, variable, status);
        },
        L"SELECT * FROM `%s`", L"Environment");
}

QV_CHECK_EXPORT(QVICE20, CQVIce20)
