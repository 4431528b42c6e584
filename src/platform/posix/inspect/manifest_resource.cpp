// Manifest resources on POSIX: the module is mapped read-only and its
// resource tree walked by our own reader, so nothing of the module runs.
#include "inspect/manifest_resource.h"

#include "platform/platform.h"
#include "platform/posix/inspect/manifest_resource.h"

namespace qv {

namespace {

// A read-only view of a whole file; empty when the file cannot be mapped.
class MappedView {
public:
    explicit MappedView(const _stringx<>& path)
    {
        m_file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
        if (m_file == INVALID_HANDLE_VALUE)
            return;
        DWORD high = 0;
        const DWORD size = GetFileSize(m_file, &high);
        if (size == INVALID_FILE_SIZE || high != 0 || size == 0)
            return;
        m_mapping = CreateFileMappingW(m_file, nullptr, PAGE_READONLY, 0, 0, nullptr);
        if (!m_mapping)
            return;
        m_view = static_cast<const uint8_t*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 0));
        if (m_view)
            m_size = size;
    }
    ~MappedView()
    {
        if (m_view)
            UnmapViewOfFile(m_view);
        if (m_mapping)
            CloseHandle(m_mapping);
        if (m_file != INVALID_HANDLE_VALUE)
            CloseHandle(m_file);
    }
    MappedView(const MappedView&) = delete;
    MappedView& operator=(const MappedView&) = delete;

    posix::ByteView Bytes() const noexcept { return {m_view, m_size}; }

private:
    HANDLE m_file = INVALID_HANDLE_VALUE;
    HANDLE m_mapping = nullptr;
    const uint8_t* m_view = nullptr;
    size_t m_size = 0;
};

}  // namespace

bool ExtractManifestResource(const _stringx<>& modulePath, const _stringx<>& target)
{
    const MappedView module(modulePath);
    const posix::ByteView image = module.Bytes();
    if (!image.data)
        return false;
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
