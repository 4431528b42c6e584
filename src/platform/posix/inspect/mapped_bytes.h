// A whole file mapped read-only, for the readers that look at a delivered
// file's bytes on the POSIX side (signatures, .NET metadata, resources). A
// file the kernel keeps in memory is read there, as it is at the time.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/posix/kernel/paths.h"

namespace qv::posix {

class MappedFileBytes {
public:
    enum class Status { Mapped, NotFound, Denied, Folder, Empty, Unreadable, Unmappable };

    explicit MappedFileBytes(const std::string& path)
    {
        if ((m_memory = memory_file_bytes(path))) {
            m_status = m_memory->empty() ? Status::Empty : Status::Mapped;
            if (!m_memory->empty()) {
                m_data = m_memory->data();
                m_size = m_memory->size();
            }
            return;
        }
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            m_status = errno == EACCES ? Status::Denied : Status::NotFound;
            return;
        }
        struct stat st;
        if (fstat(fd, &st) != 0)
            m_status = Status::Unreadable;
        else if (S_ISDIR(st.st_mode))
            m_status = Status::Folder;
        else if (st.st_size == 0)
            m_status = Status::Empty;
        else {
            void* view = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
            if (view == MAP_FAILED) {
                m_status = Status::Unmappable;
            } else {
                m_data = static_cast<const uint8_t*>(view);
                m_size = static_cast<size_t>(st.st_size);
                m_status = Status::Mapped;
                m_dev = st.st_dev;
                m_ino = st.st_ino;
                pin_mapped_file(m_dev, m_ino);
            }
        }
        close(fd);
    }
    ~MappedFileBytes()
    {
        if (m_data && !m_memory) {
            munmap(const_cast<uint8_t*>(m_data), m_size);
            unpin_mapped_file(m_dev, m_ino);
        }
    }
    MappedFileBytes(const MappedFileBytes&) = delete;
    MappedFileBytes& operator=(const MappedFileBytes&) = delete;

    Status status() const noexcept { return m_status; }
    const uint8_t* data() const noexcept { return m_data; }
    size_t size() const noexcept { return m_size; }

private:
    std::shared_ptr<const std::vector<uint8_t>> m_memory;  // a file in memory
    const uint8_t* m_data = nullptr;
    size_t m_size = 0;
    Status m_status = Status::NotFound;
    dev_t m_dev = 0;
    ino_t m_ino = 0;
};

}  // namespace qv::posix
