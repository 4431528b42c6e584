// POSIX-only entry of the qvice tool: an install session over an open
// database, whose messages go to a sink of the runner's choosing.
#pragma once

#include <functional>
#include <string>

#include "winapi/msi.h"

namespace qv::posix {

// Receives each message of MsiProcessMessage with its formatted text; its
// result is what MsiProcessMessage returns (IDOK = 1 as a rule).
using MessageSink = std::function<int(INSTALLMESSAGE type, const std::wstring& text)>;

// A session over an open database handle, for the package at
// `package_posix_path` (its folder is the source folder). Returns 0 for a
// handle that is not a database. Close the session with MsiCloseHandle.
MSIHANDLE OpenSession(MSIHANDLE database, const std::string& package_posix_path, MessageSink sink);

}  // namespace qv::posix
