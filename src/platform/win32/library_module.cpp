// The Windows side of the library's module handle. The catalogue is the
// string table resource of QvIce.dll itself, so there is nothing to
// register; when a question for the module comes before DllMain recorded it
// (a static initialiser), the module is the one that holds this code.
#include "platform/platform.h"

void QvRegisterCatalogue() noexcept {}

HMODULE QvNativeModule() noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&QvNativeModule), &module);
    return module;
}
