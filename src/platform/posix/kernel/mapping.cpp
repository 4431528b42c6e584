// File mapping objects and views over mmap.

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/posix/kernel/files.h"
#include "platform/posix/kernel/internal.h"

using namespace qv::posix;

namespace {

constexpr uint64_t kAllocationGranularity = 65536;

// What a mapping and its views share: the file stays marked as mapped
// (no deletion, no truncation) until the last view is gone.
struct MappedFileState {
    int fd = -1;
    std::shared_ptr<MemoryFile> memory;  // a file in memory instead of fd
    std::unique_ptr<FileUse> use;
    ~MappedFileState() {
        if (fd >= 0) close(fd);
    }
};

struct MappingObject : KernelObject {
    std::shared_ptr<MappedFileState> state;
    uint64_t size = 0;
    DWORD protection = 0;
};

// A view of a file in memory reads the file's bytes in place (`bytes`
// keeps them); a writable or copied view is a private copy, and a writable
// one is written back to the file when it goes.
struct View {
    size_t length = 0;
    std::shared_ptr<MappedFileState> state;
    std::shared_ptr<const std::vector<uint8_t>> bytes;
    bool write_back = false;
    uint64_t offset = 0;
};

std::mutex g_views_mutex;
// Two read views of one file in memory at one offset share their address.
std::multimap<uintptr_t, View> g_views;

// A view of a file in memory.
LPVOID memory_view(const std::shared_ptr<MappedFileState>& state, uint64_t offset, size_t length, bool write,
                   bool copy) {
    View view;
    view.length = length;
    view.state = state;
    view.offset = offset;
    auto bytes = state->memory->snapshot();
    const bool whole = offset + length <= bytes->size();
    void* address = nullptr;
    if (!write && !copy && whole) {
        address = const_cast<uint8_t*>(bytes->data() + offset);
        view.bytes = std::move(bytes);
    } else {
        // Past the end (a mapping that made the file longer) reads as zeros.
        address = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (address == MAP_FAILED) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        if (offset < bytes->size())
            std::memcpy(address, bytes->data() + offset,
                        static_cast<size_t>(std::min<uint64_t>(length, bytes->size() - offset)));
        view.write_back = write;
    }
    std::lock_guard lock(g_views_mutex);
    g_views.emplace(reinterpret_cast<uintptr_t>(address), std::move(view));
    return address;
}

}  // namespace

HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                          DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName) {
    if (lpName) {  // named (shared) mappings are not supported
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto file = object_as<FileObject>(hFile);
    if (!file) return nullptr;
    DWORD protection = flProtect & 0xFF;
    bool needs_write = protection == PAGE_READWRITE;
    if (protection != PAGE_READONLY && protection != PAGE_READWRITE && protection != PAGE_WRITECOPY) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (!file->can_read() || (needs_write && !file->can_write())) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    struct stat st;
    if (file->memory) {
        st = file->memory->stat();
    } else if (fstat(file->fd, &st) != 0) {
        SetLastError(win32_from_errno(errno));
        return nullptr;
    }
    if (S_ISDIR(st.st_mode)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    uint64_t file_size = static_cast<uint64_t>(st.st_size);
    uint64_t size = (static_cast<uint64_t>(dwMaximumSizeHigh) << 32) | dwMaximumSizeLow;
    if (size == 0) {
        if (file_size == 0) {  // an empty file cannot be mapped
            SetLastError(ERROR_FILE_INVALID);
            return nullptr;
        }
        size = file_size;
    } else if (size > file_size) {
        if (!needs_write) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        if (file->memory) {
            if (!file->memory->resize(size)) {
                SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                return nullptr;
            }
        } else if (ftruncate(file->fd, static_cast<off_t>(size)) != 0) {
            SetLastError(win32_from_errno(errno));
            return nullptr;
        }
    }
    auto state = std::make_shared<MappedFileState>();
    state->memory = file->memory;
    if (!state->memory && (state->fd = dup(file->fd)) < 0) {
        SetLastError(win32_from_errno(errno));
        return nullptr;
    }
    state->use = std::make_unique<FileUse>(key_of(st), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, true);
    auto mapping = std::make_shared<MappingObject>();
    mapping->state = std::move(state);
    mapping->size = size;
    mapping->protection = protection;
    HANDLE handle = register_object(std::move(mapping));
    SetLastError(ERROR_SUCCESS);
    return handle;
}

LPVOID MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh, DWORD dwFileOffsetLow,
                     SIZE_T dwNumberOfBytesToMap) {
    auto mapping = object_as<MappingObject>(hFileMappingObject);
    if (!mapping) return nullptr;
    uint64_t offset = (static_cast<uint64_t>(dwFileOffsetHigh) << 32) | dwFileOffsetLow;
    if (offset % kAllocationGranularity != 0) {
        SetLastError(ERROR_MAPPED_ALIGNMENT);
        return nullptr;
    }
    bool write = (dwDesiredAccess & FILE_MAP_WRITE) != 0;
    bool copy = (dwDesiredAccess & FILE_MAP_COPY) != 0 && !write;
    if ((write && mapping->protection != PAGE_READWRITE) || (dwDesiredAccess & (FILE_MAP_READ | FILE_MAP_WRITE | FILE_MAP_COPY)) == 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    if (offset >= mapping->size || dwNumberOfBytesToMap > mapping->size - offset) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    size_t length = dwNumberOfBytesToMap ? dwNumberOfBytesToMap : static_cast<size_t>(mapping->size - offset);
    int protection = PROT_READ | (write || copy ? PROT_WRITE : 0);
    if (mapping->state->memory) return memory_view(mapping->state, offset, length, write, copy);
    void* view = mmap(nullptr, length, protection, copy ? MAP_PRIVATE : MAP_SHARED, mapping->state->fd,
                      static_cast<off_t>(offset));
    if (view == MAP_FAILED) {
        SetLastError(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : win32_from_errno(errno));
        return nullptr;
    }
    std::lock_guard lock(g_views_mutex);
    View& added = g_views.emplace(reinterpret_cast<uintptr_t>(view), View())->second;
    added.length = length;
    added.state = mapping->state;
    return view;
}

BOOL UnmapViewOfFile(LPCVOID lpBaseAddress) {
    View released;  // its state dropped after the lock
    uintptr_t start = 0;
    {
        std::lock_guard lock(g_views_mutex);
        auto address = reinterpret_cast<uintptr_t>(lpBaseAddress);
        // The view that starts last at or before the address and holds it.
        auto it = g_views.end();
        for (auto at = g_views.upper_bound(address); at != g_views.begin();) {
            --at;
            if (address < at->first + at->second.length) {
                it = at;
                break;
            }
        }
        if (it == g_views.end()) {
            SetLastError(ERROR_INVALID_ADDRESS);
            return FALSE;
        }
        start = it->first;
        released = std::move(it->second);
        g_views.erase(it);
    }
    if (released.write_back)
        released.state->memory->write(released.offset, reinterpret_cast<const void*>(start), released.length);
    if (!released.bytes) munmap(reinterpret_cast<void*>(start), released.length);
    return TRUE;
}
