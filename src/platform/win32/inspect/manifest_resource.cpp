// Manifest resources on Windows: the module is loaded as a data file, so
// that none of its code runs, and the system finds the resource.
#include "inspect/manifest_resource.h"

#include "platform/platform.h"

namespace qv {

bool ExtractManifestResource(const _stringx<>& modulePath, const _stringx<>& target)
{
    HMODULE module = LoadLibraryExW(modulePath.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (!module)
        return false;
    bool written = false;
    HRSRC resource = FindResourceExW(module, MAKEINTRESOURCEW(24), MAKEINTRESOURCEW(1), 0);
    HGLOBAL loaded = resource ? LoadResource(module, resource) : nullptr;
    const void* bytes = loaded ? LockResource(loaded) : nullptr;
    const DWORD size = resource ? SizeofResource(module, resource) : 0;
    if (bytes) {
        HANDLE file = CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY,
                                  nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            // One write; its result is not tested.
            DWORD done = 0;
            WriteFile(file, bytes, size, &done, nullptr);
            SetEndOfFile(file);
            CloseHandle(file);
            written = true;
        }
    }
    FreeLibrary(module);
    return written;
}

}  // namespace qv
