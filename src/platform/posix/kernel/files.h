// The objects behind file and search handles.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/kernel/internal.h"

namespace qv::posix {

struct FileObject : KernelObject {
    int fd = -1;
    std::string path;
    DWORD access = 0;
    bool delete_on_close = false;
    std::unique_ptr<FileUse> use;
    ~FileObject() override;
    bool can_read() const;
    bool can_write() const;
};

// A search: the matching entries, gathered at FindFirstFileW, in order.
struct FindObject : KernelObject {
    std::vector<WIN32_FIND_DATAW> entries;
    size_t next = 0;
};

}  // namespace qv::posix
