// Times one export of the library over a package, in its own session, as
// the check benchmarks do.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
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

}  // namespace bench
