// The reference data merged into every package unless --reference or
// --no-reference says otherwise, and `qvice reference`, which shows it and
// writes it out as IDT files.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"

namespace qvice {

// A database handle holding the built-in reference tables, or 0 when the
// build carries none (reason stays empty) or they cannot be read (reason set).
MSIHANDLE OpenBuiltinReference(std::string& reason);

// A database handle over a folder of IDT files as `reference --export`
// writes them (stream cells name files in the subfolder of their table),
// or 0 with a reason.
MSIHANDLE OpenReferenceFolder(const std::string& folder, std::string& reason);

// `qvice reference --list [FOLDER]` and `qvice reference --export FOLDER`.
int ReferenceCommand(const std::vector<std::string>& args);

}  // namespace qvice
