// `qvice PACKAGE`: runs the checks in one emulated installer session and
// prints each delivered line.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "commands.h"
#include "framework/library.h"
#include "framework/registry.h"
#include "platform/posix/api/database_posix.h"
#include "platform/posix/runner.h"
#include "reference.h"
#include "text.h"

namespace qvice {
namespace {

struct RunOptions {
    std::string package;
    std::vector<std::wstring> checks;
    std::string reference;
    bool no_reference = false;
    bool debug = false;
    bool quiet = false;
};

std::vector<std::wstring> SplitNames(const std::string& list) {
    std::vector<std::wstring> names;
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(',', start);
        if (end == std::string::npos) end = list.size();
        if (end > start) names.push_back(Wide(list.substr(start, end - start)));
        start = end + 1;
    }
    return names;
}

// Message type of a delivered line: its second column.
int LineType(const std::wstring& line) {
    const size_t tab = line.find(L'\t');
    if (tab == std::wstring::npos) return -1;
    const size_t end = line.find(L'\t', tab + 1);
    const std::wstring number = line.substr(tab + 1, end == std::wstring::npos ? std::wstring::npos : end - tab - 1);
    if (number.empty()) return -1;
    wchar_t* stop = nullptr;
    const long value = std::wcstol(number.c_str(), &stop, 10);
    return stop && *stop == L'\0' ? static_cast<int>(value) : -1;
}

bool IsFile(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The checks of the merged _ICESequence whose condition holds, by Sequence.
std::vector<std::wstring> SequencedChecks(MSIHANDLE database, MSIHANDLE session) {
    std::vector<std::wstring> names;
    if (MsiDatabaseIsTablePersistentW(database, L"_ICESequence") >= MSICONDITION_NONE) return names;
    MSIHANDLE view = 0;
    if (MsiDatabaseOpenViewW(database,
                             L"SELECT `Action`, `Condition` FROM `_ICESequence` WHERE `Sequence` IS NOT NULL "
                             L"ORDER BY `Sequence`",
                             &view) != ERROR_SUCCESS) {
        MsiCloseHandle(MsiGetLastErrorRecord());
        return names;
    }
    if (MsiViewExecute(view, 0) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            wchar_t action[80] = {0}, condition[1024] = {0};
            DWORD action_size = 80, condition_size = 1024;
            MsiRecordGetStringW(record, 1, action, &action_size);
            MsiRecordGetStringW(record, 2, condition, &condition_size);
            if (!condition[0] || MsiEvaluateConditionW(session, condition) != MSICONDITION_FALSE)
                names.emplace_back(action);
            MsiCloseHandle(record);
        }
    }
    MsiCloseHandle(view);
    return names;
}

}  // namespace

int RunCommand(const std::vector<std::string>& args) {
    RunOptions options;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= args.size()) return false;
            out = args[++i];
            return true;
        };
        std::string text;
        if (a == "--checks") {
            if (!value(text)) return UsageError("--checks needs a list of check names");
            options.checks = SplitNames(text);
            if (options.checks.empty()) return UsageError("--checks needs a list of check names");
        } else if (a == "--reference") {
            if (!value(options.reference)) return UsageError("--reference needs a file");
        } else if (a == "--no-reference") {
            options.no_reference = true;
        } else if (a == "--debug") {
            options.debug = true;
        } else if (a == "--quiet") {
            options.quiet = true;
        } else if (!a.empty() && a[0] == '-') {
            return UsageError("unknown option " + a + " (see qvice --help)");
        } else if (options.package.empty()) {
            options.package = a;
        } else {
            return UsageError("one package at a time (got " + options.package + " and " + a + ")");
        }
    }
    if (options.package.empty()) return UsageError("no package given (see qvice --help)");
    if (options.no_reference && !options.reference.empty())
        return UsageError("--reference and --no-reference exclude each other");
    for (const auto& name : options.checks)
        if (!qv::FindExport(name)) return UsageError("unknown check " + Utf8(name) + " (see qvice list)");
    if (!IsFile(options.package)) return UsageError("cannot open " + options.package + ": no such file");

    std::string reason;
    MSIHANDLE database = qv::posix::OpenDatabase(options.package, reason);
    if (!database) return UsageError("cannot open " + options.package + ": " + reason);

    if (!options.no_reference) {
        MSIHANDLE reference = 0;
        if (!options.reference.empty()) {
            // A folder of IDT files (as `reference --export` writes it) or a database.
            reference = IsFolder(options.reference) ? OpenReferenceFolder(options.reference, reason)
                                                    : qv::posix::OpenDatabase(options.reference, reason);
            if (!reference) return UsageError("cannot open " + options.reference + ": " + reason);
        } else {
            reference = OpenBuiltinReference(reason);
            if (!reference && !reason.empty()) return UsageError("built-in reference data: " + reason);
        }
        if (reference) {
            const UINT merged = MsiDatabaseMergeW(database, reference, L"_QvMergeConflicts");
            MsiCloseHandle(MsiGetLastErrorRecord());
            if (merged != ERROR_SUCCESS && merged != ERROR_FUNCTION_FAILED)
                std::fprintf(stderr, "qvice: note: some reference tables differ in their columns from the "
                                     "package's and were not merged (error %u)\n", merged);
            MsiCloseHandle(reference);
        }
    }
    if (options.debug) qv::posix::SetPropertyRow(database, L"_QV_DEBUGGING_ACTION", L"1");

    int worst = 0;
    auto sink = [&](INSTALLMESSAGE type, const std::wstring& text) -> int {
        if (type != INSTALLMESSAGE_USER) return 0;
        const int line_type = LineType(text);
        if (line_type == 0 || line_type == 1) worst = 1;
        if (options.quiet && line_type == 3) return 1;
        std::string line = Utf8(text);
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), stdout);
        return 1;
    };
    MSIHANDLE session = qv::posix::OpenSession(database, options.package, sink);
    if (!session) return UsageError("cannot open a session over " + options.package);

    std::vector<std::wstring> order = options.checks;
    if (order.empty()) order = SequencedChecks(database, session);
    if (order.empty())
        for (const auto& e : qv::AllExports()) order.emplace_back(e.name);

    for (const auto& name : order) {
        const qv::CheckExport* check = qv::FindExport(name);
        if (!check) {
            std::fprintf(stderr, "qvice: note: _ICESequence names %s, which is not a check of qvice\n",
                         Utf8(name).c_str());
            continue;
        }
        // The installer loads a custom-action library afresh for each action.
        QvResetLibraryState();
        check->entry(session);
        std::fflush(stdout);
    }
    MsiCloseHandle(session);
    MsiCloseHandle(database);
    return worst;
}

int ListCommand(const std::vector<std::string>& args) {
    if (!args.empty()) return UsageError("list takes no arguments");
    for (const auto& e : qv::AllExports()) {
        wchar_t text[1024] = {0};
        const int length = LoadStringW(QvLibraryModule(), e.descriptionId, text, 1024);
        const std::string line = Utf8(e.name) + "\t" + e.family + "\t" + Utf8(std::wstring(text, length > 0 ? length : 0));
        std::puts(line.c_str());
    }
    return 0;
}

}  // namespace qvice
