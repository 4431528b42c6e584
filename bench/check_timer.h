// Times one export of the library over a package, in its own session, as
// the check benchmarks do.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "platform/platform.h"
#include "platform/posix/runner.h"

namespace bench {

using Export = UINT(WINAPI*)(MSIHANDLE);

// Seconds for one run of `check` over the package, and the number of
// findings it delivered (its lines less the banner).
inline double RunOnce(Export check, const std::string& msi, size_t& findings)
{
    const std::wstring wide(msi.begin(), msi.end());
    MSIHANDLE database = 0;
    if (MsiOpenDatabaseW(wide.c_str(), MSIDBOPEN_READONLY, &database) != ERROR_SUCCESS) {
        std::fprintf(stderr, "cannot open %s\n", msi.c_str());
        std::exit(2);
    }
    size_t lines = 0;
    const MSIHANDLE session = qv::posix::OpenSession(database, msi, [&](INSTALLMESSAGE type, const std::wstring&) {
        if (type == INSTALLMESSAGE_USER)
            ++lines;
        return 1;
    });
    const auto start = std::chrono::steady_clock::now();
    check(session);
    const auto stop = std::chrono::steady_clock::now();
    MsiCloseHandle(session);
    MsiCloseHandle(database);
    findings = lines - 1;
    return std::chrono::duration<double>(stop - start).count();
}

// The best of several runs, to keep noise from other work on the machine out.
inline double BestOf(int runs, Export check, const std::string& msi, size_t& findings)
{
    double best = 1e30;
    for (int i = 0; i < runs; ++i)
        best = std::min(best, RunOnce(check, msi, findings));
    return best;
}

// Builds msi in folder with msibuild, one option per run as it takes them
// (the summary, then each IDT import); exits on a failure.
inline void Msibuild(const std::string& folder, const std::string& msi, std::initializer_list<std::string> steps)
{
    for (const std::string& step : steps) {
        const std::string command = "cd '" + folder + "' && msibuild '" + msi + "' " + step + " >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "msibuild failed: %s\n", command.c_str());
            std::exit(2);
        }
    }
}

}  // namespace bench
