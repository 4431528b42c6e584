// qvice.exe: runs the checks of QvIce.cub on a package in a Windows
// Installer session, the way validation tools do it, and prints each line
// the session delivers. Same command line as the native qvice:
//
//   qvice.exe [--checks NAMES] [--reference CUB | --no-reference] [--debug] [--quiet] PACKAGE
//
// Steps: copy the package to a temporary file; merge the cub into the copy
// (conflicting rows are recorded in _QvMergeConflicts and do not stop the
// run); open the copy as a package with the internal UI off and a string
// handler for user messages; run each action of _ICESequence (or --checks)
// with MsiDoActionW. The installer formats each user message before a
// string handler sees it, so the handler prints exactly what a validation
// tool receives. The folder of the original package is set as SourceDir,
// so cabinets beside the package are found as they are by the native tool.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <list>
#include <set>
#include <string>
#include <vector>

namespace {

const char kUsage[] =
    "Usage:\n"
    "  qvice.exe [OPTIONS] PACKAGE...  run the checks on each PACKAGE and write each finding line\n"
    "\n"
    "Options:\n"
    "  --checks LIST       comma-separated check names and families (bp, ice, vice, uwp), run in\n"
    "                      that order; -NAME or -FAMILY leaves checks out (default: all, in the\n"
    "                      order of the cub's _ICESequence)\n"
    "  --min-type N        keep only lines of message type N or lower (0 failure, 1 error,\n"
    "                      2 warning, 3 information)\n"
    "  --quiet             leave out lines of type 3 (the same as --min-type 2)\n"
    "  --format text       the lines as delivered (the only format of qvice.exe)\n"
    "  -o, --output FILE   write the output to FILE instead of standard output\n"
    "  -j, --jobs N        accepted; qvice.exe checks one package after the other\n"
    "  --reference FILE    merge this validation database instead of QvIce.cub beside qvice.exe\n"
    "  --no-reference      merge nothing: the package must carry the checks' custom actions\n"
    "  --debug             act as if the Property table had the row _QV_DEBUGGING_ACTION\n"
    "  -h, --help          show this help\n"
    "  --version           show the version\n"
    "\n"
    "Exit status: 0 when no line of type 0 or 1 was kept, 1 when one was, 2 when a package\n"
    "or the options cannot be used (the worst over all packages).\n";

const wchar_t kConflictTable[] = L"_QvMergeConflicts";
const wchar_t kDebugProperty[] = L"_QV_DEBUGGING_ACTION";

struct Options {
    std::vector<std::wstring> packages;
    std::vector<std::wstring> checks;    // names and families, in order; "-" leaves out
    std::wstring reference;
    bool noReference = false;
    bool debug = false;
    int maxType = 3;
};

struct Output {
    std::FILE* file = stdout;
    int maxType = 3;
    int worst = 0;
};

std::string Utf8(const std::wstring& text)
{
    if (text.empty())
        return {};
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                         nullptr, nullptr);
    std::string out(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size, nullptr,
                        nullptr);
    return out;
}

int UsageError(const std::wstring& message)
{
    const std::string line = "qvice: " + Utf8(message) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    return 2;
}

// Message type of a delivered line: its second column, or -1.
int LineType(const wchar_t* line)
{
    const wchar_t* tab = std::wcschr(line, L'\t');
    if (!tab || tab[1] == L'\0' || tab[1] == L'\t')
        return -1;
    wchar_t* stop = nullptr;
    const long value = std::wcstol(tab + 1, &stop, 10);
    return (*stop == L'\t' || *stop == L'\0') ? static_cast<int>(value) : -1;
}

int WINAPI Handler(LPVOID context, UINT type, LPCWSTR message)
{
    if ((type & 0xFF000000u) != INSTALLMESSAGE_USER || !message)
        return 0;
    auto* output = static_cast<Output*>(context);
    const int lineType = LineType(message);
    if (lineType > output->maxType)
        return IDOK;
    if (lineType == 0 || lineType == 1)
        output->worst = 1;
    const std::string line = Utf8(message) + "\n";
    std::fwrite(line.data(), 1, line.size(), output->file);
    std::fflush(output->file);
    return IDOK;
}

std::vector<std::wstring> SplitNames(const std::wstring& list)
{
    std::vector<std::wstring> names;
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(L',', start);
        if (end == std::wstring::npos)
            end = list.size();
        if (end > start)
            names.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring FullPath(const std::wstring& path)
{
    wchar_t buffer[MAX_PATH * 2];
    const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH * 2, buffer, nullptr);
    return length && length < MAX_PATH * 2 ? std::wstring(buffer, length) : path;
}

std::wstring FolderOf(const std::wstring& path)
{
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
}

std::wstring ModuleFolder()
{
    wchar_t buffer[MAX_PATH * 2];
    const DWORD length = GetModuleFileNameW(nullptr, buffer, MAX_PATH * 2);
    return FolderOf(std::wstring(buffer, length));
}

// Runs one SQL statement on a database; ERROR_SUCCESS or the failure.
UINT Execute(MSIHANDLE database, const wchar_t* query, MSIHANDLE parameters = 0)
{
    MSIHANDLE view = 0;
    UINT result = MsiDatabaseOpenViewW(database, query, &view);
    if (result == ERROR_SUCCESS)
        result = MsiViewExecute(view, parameters);
    if (view)
        MsiCloseHandle(view);
    return result;
}

// The actions to run: --checks, else the rows of _ICESequence by Sequence
// whose condition holds in the session.
std::vector<std::wstring> SequencedActions(MSIHANDLE session)
{
    std::vector<std::wstring> names;
    MSIHANDLE database = MsiGetActiveDatabase(session);
    MSIHANDLE view = 0;
    if (MsiDatabaseOpenViewW(database,
                             L"SELECT `Action`, `Condition` FROM `_ICESequence` WHERE `Sequence` IS NOT NULL "
                             L"ORDER BY `Sequence`",
                             &view) == ERROR_SUCCESS &&
        MsiViewExecute(view, 0) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            wchar_t action[80] = {0}, condition[1024] = {0};
            DWORD actionSize = 80, conditionSize = 1024;
            MsiRecordGetStringW(record, 1, action, &actionSize);
            MsiRecordGetStringW(record, 2, condition, &conditionSize);
            if (!condition[0] || MsiEvaluateConditionW(session, condition) != MSICONDITION_FALSE)
                names.emplace_back(action);
            MsiCloseHandle(record);
        }
    }
    if (view)
        MsiCloseHandle(view);
    MsiCloseHandle(database);
    return names;
}

// Whether the database has a CustomAction row of that name.
bool HasAction(MSIHANDLE database, const std::wstring& name)
{
    MSIHANDLE view = 0;
    MSIHANDLE parameters = MsiCreateRecord(1);
    MsiRecordSetStringW(parameters, 1, name.c_str());
    bool found = false;
    if (MsiDatabaseOpenViewW(database, L"SELECT `Action` FROM `CustomAction` WHERE `Action` = ?", &view) ==
            ERROR_SUCCESS &&
        MsiViewExecute(view, parameters) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        if (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            found = true;
            MsiCloseHandle(record);
        }
    }
    if (view)
        MsiCloseHandle(view);
    MsiCloseHandle(parameters);
    return found;
}

// The family of a check, by its name: bp, ice, vice or uwp.
std::wstring FamilyOf(const std::wstring& name)
{
    for (const auto& [prefix, family] : {std::pair{L"QVBP", L"bp"}, std::pair{L"QVICE", L"ice"},
                                         std::pair{L"QVVICE", L"vice"}, std::pair{L"QVUWP", L"uwp"}})
        if (name.compare(0, std::wcslen(prefix), prefix) == 0)
            return family;
    return {};
}

bool IsFamily(const std::wstring& item)
{
    return item == L"bp" || item == L"ice" || item == L"vice" || item == L"uwp";
}

// The first column of every row of a query, as text (names of up to 79
// characters); none when the query cannot run.
std::vector<std::wstring> FirstColumn(MSIHANDLE database, const wchar_t* query)
{
    std::vector<std::wstring> values;
    MSIHANDLE view = 0;
    if (MsiDatabaseOpenViewW(database, query, &view) == ERROR_SUCCESS && MsiViewExecute(view, 0) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            wchar_t value[80] = {0};
            DWORD size = 80;
            MsiRecordGetStringW(record, 1, value, &size);
            values.emplace_back(value);
            MsiCloseHandle(record);
        }
    }
    if (view)
        MsiCloseHandle(view);
    return values;
}

// Every action of _ICESequence by Sequence, conditions aside.
std::vector<std::wstring> AllActions(MSIHANDLE database)
{
    return FirstColumn(database, L"SELECT `Action` FROM `_ICESequence` ORDER BY `Sequence`");
}

// The --checks list against the merged database: the names to run in order
// and the names left out. An empty text when it is good, else the reason.
std::wstring ResolveChecks(MSIHANDLE database, const std::vector<std::wstring>& items,
                           std::vector<std::wstring>& run, std::set<std::wstring>& excluded)
{
    const std::vector<std::wstring> all = AllActions(database);
    for (std::wstring item : items) {
        const bool exclude = item[0] == L'-';
        if (exclude)
            item.erase(0, 1);
        std::vector<std::wstring> names;
        if (IsFamily(item)) {
            for (const auto& name : all)
                if (FamilyOf(name) == item)
                    names.push_back(name);
        } else if (HasAction(database, item)) {
            names.push_back(item);
        } else {
            return L"unknown check " + item + L" (see qvice list)";
        }
        for (const auto& name : names) {
            if (exclude)
                excluded.insert(name);
            else if (std::find(run.begin(), run.end(), name) == run.end())
                run.push_back(name);
        }
    }
    return {};
}

// Sets a Property row, inserting it or changing its value.
UINT SetPropertyRow(MSIHANDLE database, const wchar_t* name, const wchar_t* value)
{
    if (MsiDatabaseIsTablePersistentW(database, L"Property") != MSICONDITION_TRUE) {
        const UINT created = Execute(database, L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, "
                                               L"`Value` LONGCHAR NOT NULL LOCALIZABLE PRIMARY KEY `Property`)");
        if (created != ERROR_SUCCESS)
            return created;
    }
    MSIHANDLE record = MsiCreateRecord(2);
    MsiRecordSetStringW(record, 1, name);
    MsiRecordSetStringW(record, 2, value);
    MSIHANDLE view = 0;
    UINT result = MsiDatabaseOpenViewW(database, L"SELECT `Property`, `Value` FROM `Property`", &view);
    if (result == ERROR_SUCCESS)
        result = MsiViewExecute(view, 0);
    if (result == ERROR_SUCCESS)
        result = MsiViewModify(view, MSIMODIFY_ASSIGN, record);
    if (view)
        MsiCloseHandle(view);
    MsiCloseHandle(record);
    return result;
}

// "name type" of each column of a table, or empty when it cannot be read.
std::wstring ColumnsOf(MSIHANDLE database, const std::wstring& table)
{
    std::wstring columns;
    MSIHANDLE view = 0;
    const std::wstring query = L"SELECT * FROM `" + table + L"`";
    if (MsiDatabaseOpenViewW(database, query.c_str(), &view) != ERROR_SUCCESS)
        return columns;
    for (MSICOLINFO kind : {MSICOLINFO_NAMES, MSICOLINFO_TYPES}) {
        MSIHANDLE info = 0;
        if (MsiViewGetColumnInfo(view, kind, &info) != ERROR_SUCCESS)
            break;
        for (UINT i = 1, n = MsiRecordGetFieldCount(info); i <= n; ++i) {
            wchar_t text[80] = {0};
            DWORD size = 80;
            MsiRecordGetStringW(info, i, text, &size);
            columns += text;
            columns += L' ';
        }
        MsiCloseHandle(info);
    }
    MsiCloseHandle(view);
    return columns;
}

// The persistent tables of a database, by name.
std::vector<std::wstring> TablesOf(MSIHANDLE database)
{
    return FirstColumn(database, L"SELECT `Name` FROM `_Tables`");
}

// Tables of the cub that the package has with other columns: the merge
// would refuse them, and with them everything else.
std::vector<std::wstring> DifferingTables(MSIHANDLE database, MSIHANDLE cub)
{
    std::vector<std::wstring> tables;
    for (const auto& name : TablesOf(cub))
        if (MsiDatabaseIsTablePersistentW(database, name.c_str()) == MSICONDITION_TRUE &&
            ColumnsOf(database, name) != ColumnsOf(cub, name))
            tables.push_back(name);
    return tables;
}

class TemporaryCopy {
public:
    ~TemporaryCopy()
    {
        if (!m_path.empty())
            DeleteFileW(m_path.c_str());
    }
    bool Make(const std::wstring& source)
    {
        wchar_t folder[MAX_PATH + 1];
        wchar_t name[MAX_PATH + 1];
        if (!GetTempPathW(MAX_PATH + 1, folder) || !GetTempFileNameW(folder, L"qvi", 0, name))
            return false;
        m_path = name;
        return CopyFileW(source.c_str(), name, FALSE) && SetFileAttributesW(name, FILE_ATTRIBUTE_NORMAL);
    }
    const std::wstring& Path() const { return m_path; }

private:
    std::wstring m_path;
};

// Runs the checks over one package. 2 when the package cannot be used,
// else 0 (the lines decide between 0 and 1).
int Run(const Options& options, const std::wstring& given, Output& output)
{
    const std::wstring package = FullPath(given);
    if (!IsFile(package))
        return UsageError(L"cannot open " + given + L": no such file");
    std::wstring reference;
    if (!options.noReference) {
        reference = options.reference.empty() ? ModuleFolder() + L"QvIce.cub" : FullPath(options.reference);
        if (!IsFile(reference))
            return UsageError(L"cannot open " + reference + L": no such file");
    }

    TemporaryCopy copy;
    if (!copy.Make(package))
        return UsageError(L"cannot copy " + given + L" to the temporary folder");

    MSIHANDLE database = 0;
    if (MsiOpenDatabaseW(copy.Path().c_str(), MSIDBOPEN_TRANSACT, &database) != ERROR_SUCCESS)
        return UsageError(L"cannot open " + given + L": not an installer database");
    // The cubs stay open until the copy is committed: merged stream fields
    // (the Binary rows) are read from them at the commit.
    std::vector<MSIHANDLE> cubs;
    std::list<TemporaryCopy> cubCopies;
    auto close = [&] {
        MsiCloseHandle(database);
        for (MSIHANDLE cub : cubs)
            MsiCloseHandle(cub);
    };
    // The cub, or a temporary copy of it with only the tables of `keep`.
    auto openCub = [&](const std::vector<std::wstring>* keep) -> MSIHANDLE {
        MSIHANDLE cub = 0;
        if (!keep) {
            MsiOpenDatabaseW(reference.c_str(), MSIDBOPEN_READONLY, &cub);
        } else if (cubCopies.emplace_back().Make(reference) &&
                   MsiOpenDatabaseW(cubCopies.back().Path().c_str(), MSIDBOPEN_TRANSACT, &cub) == ERROR_SUCCESS) {
            for (const auto& table : TablesOf(cub))
                if (std::find(keep->begin(), keep->end(), table) == keep->end())
                    Execute(cub, (L"DROP TABLE `" + table + L"`").c_str());
            MsiDatabaseCommit(cub);
        }
        if (cub)
            cubs.push_back(cub);
        return cub;
    };
    if (!reference.empty()) {
        MSIHANDLE cub = openCub(nullptr);
        if (!cub) {
            close();
            return UsageError(L"cannot open " + reference + L": not an installer database");
        }
        // Tables whose columns differ from the package's stay out, as in the
        // native tool; conflicting rows go to the conflict table.
        const std::vector<std::wstring> differing = DifferingTables(database, cub);
        std::vector<std::wstring> tables;
        for (const auto& table : TablesOf(cub))
            if (std::find(differing.begin(), differing.end(), table) == differing.end())
                tables.push_back(table);
        if (!differing.empty() && !(cub = openCub(&tables))) {
            close();
            return UsageError(L"cannot copy " + reference + L" to the temporary folder");
        }
        UINT merged = MsiDatabaseMergeW(database, cub, kConflictTable);
        if (merged != ERROR_SUCCESS && merged != ERROR_FUNCTION_FAILED) {
            // The engine refused the whole merge: merge table by table and
            // leave out those it refuses.
            for (const auto& table : tables) {
                const std::vector<std::wstring> one{table};
                const MSIHANDLE single = openCub(&one);
                const UINT result = single ? MsiDatabaseMergeW(database, single, kConflictTable) : merged;
                if (result != ERROR_SUCCESS && result != ERROR_FUNCTION_FAILED)
                    std::fprintf(stderr, "qvice: note: the reference table %s was not merged (error %u)\n",
                                 Utf8(table).c_str(), result);
            }
        }
        if (!differing.empty())
            std::fprintf(stderr, "qvice: note: some reference tables differ in their columns from the "
                                 "package's and were not merged (error %u)\n",
                         static_cast<UINT>(ERROR_DATATYPE_MISMATCH));
    }
    if (options.debug && SetPropertyRow(database, kDebugProperty, L"1") != ERROR_SUCCESS) {
        close();
        return UsageError(L"cannot add the Property row " + std::wstring(kDebugProperty));
    }
    std::vector<std::wstring> chosen;
    std::set<std::wstring> excluded;
    const std::wstring reason = ResolveChecks(database, options.checks, chosen, excluded);
    if (!reason.empty()) {
        close();
        return UsageError(reason);
    }
    const UINT committed = MsiDatabaseCommit(database);
    close();
    if (committed != ERROR_SUCCESS)
        return UsageError(L"cannot write the temporary copy of " + given);

    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MsiSetExternalUIW(Handler, INSTALLLOGMODE_USER, &output);

    MSIHANDLE session = 0;
    const UINT opened = MsiOpenPackageW(copy.Path().c_str(), &session);
    if (opened != ERROR_SUCCESS) {
        MsiSetExternalUIW(nullptr, 0, nullptr);
        return UsageError(L"cannot open a session over " + given + L" (error " + std::to_wstring(opened) + L")");
    }
    const std::wstring source = FolderOf(package);
    MsiSetPropertyW(session, L"SourceDir", source.c_str());
    MsiSetPropertyW(session, L"SOURCEDIR", source.c_str());

    if (chosen.empty())
        chosen = SequencedActions(session);
    for (const auto& name : chosen)
        if (!excluded.count(name))
            MsiDoActionW(session, name.c_str());

    MsiCloseHandle(session);
    MsiSetExternalUIW(nullptr, 0, nullptr);
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    // Lines go out as UTF-8 bytes with LF alone, as the native tool writes them.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);

    std::vector<std::wstring> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (args[0] == L"-h" || args[0] == L"--help" || args[0] == L"help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (args[0] == L"--version") {
        std::puts("qvice " QVICE_VERSION);
        return 0;
    }

    Options options;
    std::wstring outputPath;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::wstring& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == L"--checks") {
            if (!hasValue || (options.checks = SplitNames(args[++i])).empty())
                return UsageError(L"--checks needs a list of check names");
        } else if (a == L"--min-type") {
            if (!hasValue || args[i + 1].size() != 1 || args[i + 1][0] < L'0' || args[i + 1][0] > L'3')
                return UsageError(L"--min-type needs a message type from 0 to 3");
            options.maxType = args[++i][0] - L'0';
        } else if (a == L"--quiet") {
            options.maxType = std::min(options.maxType, 2);
        } else if (a == L"--format") {
            if (!hasValue)
                return UsageError(L"--format needs text, json or sarif");
            if (args[++i] != L"text")
                return UsageError(L"--format " + args[i] + L": qvice.exe writes text only");
        } else if (a == L"-o" || a == L"--output") {
            if (!hasValue)
                return UsageError(a + L" needs a file");
            outputPath = args[++i];
        } else if (a == L"-j" || a == L"--jobs") {
            if (!hasValue || std::wcstol(args[++i].c_str(), nullptr, 10) < 1)
                return UsageError(L"--jobs needs a number of 1 or more");
        } else if (a == L"--reference") {
            if (!hasValue)
                return UsageError(L"--reference needs a file");
            options.reference = args[++i];
        } else if (a == L"--no-reference") {
            options.noReference = true;
        } else if (a == L"--debug") {
            options.debug = true;
        } else if (!a.empty() && a[0] == L'-') {
            return UsageError(L"unknown option " + a + L" (see qvice --help)");
        } else {
            options.packages.push_back(a);
        }
    }
    if (options.packages.empty())
        return UsageError(L"no package given (see qvice --help)");
    if (options.noReference && !options.reference.empty())
        return UsageError(L"--reference and --no-reference exclude each other");

    Output output;
    output.maxType = options.maxType;
    if (!outputPath.empty() && !(output.file = _wfopen(outputPath.c_str(), L"wb")))
        return UsageError(L"cannot write " + outputPath);
    int status = 0;
    for (const auto& package : options.packages)
        status = std::max(status, Run(options, package, output));
    if (output.file != stdout)
        std::fclose(output.file);
    return std::max(status, output.worst);
}
