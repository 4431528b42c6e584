// The objects behind file and search handles.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/memory.h"

namespace qv::posix {

struct FileObject final : KernelObject {
    int fd = -1;  // -1 for a file in memory
    std::shared_ptr<MemoryFile> memory;
    uint64_t position = 0;  // the file pointer of a file in memory
    std::string path;
    DWORD access = 0;
    bool delete_on_close = false;
    // A handle that only writes and shares nothing gathers small writes
    // here: no other handle can open the file, so they reach it as one
    // write before any other use of this handle (or a search, which could
    // see the file's size).
    bool gathers_writes = false;
    std::string pending;
    std::unique_ptr<FileUse> use;
    ~FileObject() override;
    bool can_read() const;
    bool can_write() const;
    // Writes out the gathered bytes; false with errno set on a failure.
    bool flush_pending();
};

// Writes out the gathered bytes of every open handle.
void flush_all_pending();

// A search: the matching entries, gathered at FindFirstFileW, in order.
struct FindObject final : KernelObject {
    std::vector<WIN32_FIND_DATAW> entries;
    size_t next = 0;
};

}  // namespace qv::posix
