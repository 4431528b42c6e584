// Manifest resources on POSIX: the module is mapped read-only and its
// resource tree walked by our own reader, so nothing of the module runs.
#include "inspect/manifest_resource.h"

#include "platform/platform.h"
#include "platform/posix/inspect/manifest_resource.h"
#include "platform/posix/inspect/mapped_bytes.h"
#include "platform/posix/kernel/paths.h"

namespace qv {

bool ExtractManifestResource(const _stringx<>& modulePath, const _stringx<>& target)
{
    const posix::MappedFileBytes module(posix::posix_path_from_windows(modulePath.view()));
    if (module.status() != posix::MappedFileBytes::Status::Mapped)
        return false;
    const posix::ByteView image{module.data(), module.size()};
    posix::ResourceEntry entry;
    if (posix::FindManifest(image, entry) != posix::ResourceResult::Found)
        return false;
    HANDLE file = CreateFileW(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY,
                              nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    // As the system route does it: one write, its result not tested.
    DWORD written = 0;
    WriteFile(file, image.data + entry.offset, static_cast<DWORD>(entry.size), &written, nullptr);
    SetEndOfFile(file);
    CloseHandle(file);
    return true;
}

}  // namespace qv
