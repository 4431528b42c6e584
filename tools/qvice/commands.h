// The subcommands of qvice. Each returns the process exit code.
#pragma once

#include <string>
#include <vector>

#ifndef QVICE_VERSION
#define QVICE_VERSION "0.1.0"
#endif

namespace qvice {

int DumpCommand(const std::vector<std::string>& args);
int ListCommand(const std::vector<std::string>& args);
int RunCommand(const std::vector<std::string>& args);

// Prints "qvice: <message>" on stderr and returns 2.
int UsageError(const std::string& message);

}  // namespace qvice
