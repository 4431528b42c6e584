// `qvice dump`: tables and summary information as IDT text.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace qvice {

// Writes one table (or the pseudo-tables _SummaryInformation and
// _ForceCodepage) in IDT form. Returns false with `error` set when the
// table cannot be read.
bool DumpTable(MSIHANDLE database, const std::wstring& table, std::FILE* out, std::string& error);

// Names of the database's tables, in _Tables order.
std::vector<std::wstring> TableNames(MSIHANDLE database);

}  // namespace qvice
