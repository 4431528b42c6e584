// Process-wide state of the library: its module handle, which the catalogue
// is loaded from, and the one entry point that resets the statics that live
// "as long as the library stays loaded".
#pragma once

#include "platform/platform.h"

// The module the message catalogue is loaded from: recorded by DllMain at
// process attach in the DLL; in the native build, where no loader calls
// DllMain, a fixed handle under which the catalogue is registered at the
// first call.
HMODULE QvLibraryModule() noexcept;
void QvSetLibraryModule(HMODULE module) noexcept;

// Forgets every process-wide static of the library, as if it had been
// unloaded and loaded again. The installer loads a custom-action library
// afresh for each action; the native runner calls this between two actions.
// Every process-wide static of the checks and inspectors is reset here.
void QvResetLibraryState();

// The library's entry point: records the module handle at process attach
// and returns TRUE for every reason.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);
