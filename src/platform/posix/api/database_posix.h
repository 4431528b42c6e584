// POSIX-only entry points around the database API, for the qvice tool.
#pragma once

#include <memory>
#include <string>

#include "../msidb/model.h"
#include "../winapi/types.h"

namespace qv::posix {

// Opens a package read-only from a POSIX path. On failure returns 0 and a
// one-line reason ("not a compound file", "No such file or directory", ...).
MSIHANDLE OpenDatabase(const std::string& posix_path, std::string& reason);

// Reads a database from a POSIX path: from the kernel's memory when the
// file is kept there, else from disk.
std::unique_ptr<qv::msidb::Database> ReadDatabaseFile(const std::string& posix_path, qv::msidb::OpenError& error);

// Adds (or replaces) a row of the Property table of an open database in
// memory, creating the table when the package has none.
bool SetPropertyRow(MSIHANDLE database, const std::wstring& property, const std::wstring& value);

// The code page of an open database's string pool, or -1 for a bad handle.
int DatabaseCodepage(MSIHANDLE database);

}  // namespace qv::posix
