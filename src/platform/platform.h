// The one place that knows which system the library is built for. Everything
// outside src/platform/ includes this header and uses the Windows API names.
#pragma once

#if defined(_WIN32)
#include "win32/system.h"
#else
#include "posix/system.h"
#endif
