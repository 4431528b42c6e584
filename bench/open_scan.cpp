// Opens a package and reads every row and field of the named tables through
// the installer API, printing the time of each step.
// Usage: bench_open_scan PACKAGE TABLE...
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/api/database_posix.h"
#include "platform/posix/kernel/paths.h"

namespace {

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s PACKAGE TABLE...\n", argv[0]);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    std::string reason;
    MSIHANDLE db = qv::posix::OpenDatabase(argv[1], reason);
    if (!db) {
        std::fprintf(stderr, "cannot open %s: %s\n", argv[1], reason.c_str());
        return 2;
    }
    const double open_time = Seconds(start);
    size_t rows = 0, characters = 0;
    std::vector<wchar_t> buffer(4096);
    for (int i = 2; i < argc; ++i) {
        const std::wstring query = L"SELECT * FROM `" + qv::posix::from_utf8(argv[i]) + L"`";
        MSIHANDLE view = 0, record = 0;
        if (MsiDatabaseOpenViewW(db, query.c_str(), &view) != ERROR_SUCCESS || MsiViewExecute(view, 0) != ERROR_SUCCESS) {
            std::fprintf(stderr, "cannot read table %s\n", argv[i]);
            return 2;
        }
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            const UINT fields = MsiRecordGetFieldCount(record);
            for (UINT f = 1; f <= fields; ++f) {
                DWORD size = static_cast<DWORD>(buffer.size());
                if (MsiRecordGetStringW(record, f, buffer.data(), &size) == ERROR_SUCCESS) characters += size;
            }
            MsiCloseHandle(record);
            ++rows;
        }
        MsiCloseHandle(view);
    }
    MsiCloseHandle(db);
    const double total = Seconds(start);
    std::printf("open %.3f s, open+scan %.3f s, %zu rows, %zu characters\n", open_time, total, rows, characters);
    return 0;
}
