// POSIX build: qvice's own implementation of the Windows API subset in use.
#pragma once

#include "winapi/types.h"
#include "winapi/msi.h"
#if __has_include("winapi/kernel.h")
#include "winapi/kernel.h"
#endif
#if __has_include("winapi/com.h")
#include "winapi/com.h"
#endif
