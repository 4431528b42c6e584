// The reference data merged into every package unless --reference or
// --no-reference says otherwise.
#pragma once

#include <string>

#include "platform/platform.h"

namespace qvice {

// A database handle holding the built-in reference tables, or 0 when the
// build carries none (reason stays empty) or they cannot be read (reason set).
MSIHANDLE OpenBuiltinReference(std::string& reason);

}  // namespace qvice
