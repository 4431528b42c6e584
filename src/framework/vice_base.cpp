#include "framework/vice_base.h"

#include <string>

#include "database/views.h"
#include "framework/file_test_expression.h"
#include "inspect/content_inspector.h"

namespace {

using NoCase = _stringx<qv::char_traitsi>;

// InstalledTargets lives as long as the library stays loaded.
std::set<NoCase> g_installedTargets;
bool g_installedTargetsFilled = false;

}  // namespace

CQVViceBase::CQVViceBase(const _stringx<>& name, MSIHANDLE hInstall) : CQVIceBase(hInstall), Severity(1)
{
    // The package may set the message type of this check's findings through
    // its own table; without a row for the check it stays an error.
    if (TableEmptyOrAbsent(m_database, L"_QvViceSeverity"))
        return;
    qv::msi_handle view;
    qv::msi_handle record;
    // The name goes into the query as it is; the table is read by position.
    if (TryFetchFirst(view.ref(), m_database, record.ref(), L"SELECT * FROM `_QvViceSeverity` WHERE `Vice` = '%s'",
                      name) != ERROR_SUCCESS)
        return;
    const int value = MsiRecordGetInteger(record, 2);
    // 0 cannot select a type of its own; a null (the installer's null
    // integer) is not 0 and goes out as it stands.
    Severity = value == 0 ? 1 : value;
}

CQVViceBase::~CQVViceBase() = default;

void CQVViceBase::LoadFileTests(const _stringx<>& name, FileTestMap& tests)
{
    if (TableEmptyOrAbsent(m_database, L"_QvViceFileTestEntries"))
        return;
    wchar_t query[qv::kQueryCapacity];
    qv::FormatQuery(query, L"SELECT * FROM `_QvViceFileTestEntries` WHERE `Vice` = '%s'", name);
    qv::msi_handle view;
    // Neither result is looked at: after a failed open the first fetch fails
    // on the empty handle and raises below.
    if (MsiDatabaseOpenViewW(m_database, query, &view.ref()) == ERROR_SUCCESS)
        MsiViewExecute(view, 0);
    // Columns by position: 2 the test, 3 its value; the last row of a test wins.
    FetchRows(view, [&](MSIHANDLE record) {
        const NoCase test = RecordFieldString(record, 2);
        tests[test] = RecordFieldString(record, 3);
    });
}

bool CQVViceBase::MatchFileTests(const _stringx<>& longName, const FileTestMap& tests, NoCase& value)
{
    const NoCase extension = FileNameExtension(longName);
    const qv::CaseTraits traits;
    for (const auto& [test, testValue] : tests) {
        if (test.empty())
            continue;
        // Compiled for every file and every test on purpose: the lists are
        // short and a check runs once. A bad expression throws from here and
        // ends the check.
        const qv::FileTestExpression expression(test.view(), traits);
        if (expression.FullMatch(longName.view()) || extension == test) {
            value = testValue;
            return true;
        }
    }
    return false;
}

void CQVViceBase::RunFileTests(UINT messageId, const FileTestMap& tests)
{
    if (!TablePresent(m_database, L"File"))
        return;
    ContentInspector inspector(this);
    const ContentInspector::FileList files = inspector.GetFiles(kAllFiles);
    for (const auto& entry : files) {
        const PackageFile* file = entry.second;
        const _stringx<> longName = file->GetLongFileName();
        NoCase value;
        if (!MatchFileTests(longName, tests, value))
            continue;
        m_location.clear();
        m_location.push_back(L"File");
        m_location.push_back(L"FileName");
        m_location.push_back(file->GetKey());
        ReportMessage(messageId, longName, Severity);
    }
}

const std::set<NoCase>& CQVViceBase::InstalledTargets()
{
    if (!g_installedTargetsFilled) {
        for (const auto& entry : GetPackageFiles()) {
            if (!entry.second)
                throw com_exception(E_OUTOFMEMORY);
            g_installedTargets.insert(entry.second->GetTargetPath());
        }
        g_installedTargetsFilled = true;
    }
    return g_installedTargets;
}

void CQVViceBase::ResetInstalledTargets() noexcept
{
    g_installedTargets.clear();
    g_installedTargetsFilled = false;
}
