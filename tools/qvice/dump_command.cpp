#include <cstdio>

#include "commands.h"
#include "dump.h"
#include "platform/posix/api/database_posix.h"
#include "text.h"

namespace qvice {

int UsageError(const std::string& message) {
    std::fprintf(stderr, "qvice: %s\n", message.c_str());
    return 2;
}

int DumpCommand(const std::vector<std::string>& args) {
    bool summary = false;
    std::string package;
    std::vector<std::wstring> tables;
    for (const auto& a : args) {
        if (a == "--summary") summary = true;
        else if (!a.empty() && a[0] == '-') return UsageError("unknown option for dump: " + a);
        else if (package.empty()) package = a;
        else tables.push_back(Wide(a));
    }
    if (package.empty()) return UsageError("dump needs a package");
    std::string reason;
    MSIHANDLE db = qv::posix::OpenDatabase(package, reason);
    if (!db) return UsageError("cannot open " + package + ": " + reason);
    if (summary) tables.insert(tables.begin(), L"_SummaryInformation");
    if (!summary && tables.empty()) tables = TableNames(db);
    int status = 0;
    for (const auto& table : tables) {
        std::string error;
        if (!DumpTable(db, table, stdout, error)) {
            std::fprintf(stderr, "qvice: %s\n", error.c_str());
            status = 2;
        }
    }
    MsiCloseHandle(db);
    return status;
}

}  // namespace qvice
