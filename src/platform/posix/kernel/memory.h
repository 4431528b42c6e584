// Files kept in memory: the regular files created in the private temporary
// folder (and the folders below it).
//
// The content checks extract thousands of files there, read each one once
// and delete it again. On disk each of them costs a few dozen system calls
// and a trip through the page cache; in memory, none. Folders stay on disk,
// and a file in memory shows everywhere the kernel looks (lookups of any
// case, searches, attributes, sharing) as a file on disk would, with a
// device number no disk has. Readers that take a POSIX path from outside the
// kernel ask memory_file_bytes (paths.h) first.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "content_hash.h"

namespace qv::posix {

// The device number of files in memory, for their stat and FileKey.
constexpr dev_t kMemoryDevice = static_cast<dev_t>(-2);
inline bool is_memory(const struct stat& st) { return st.st_dev == kMemoryDevice; }

class MemoryFile {
public:
    explicit MemoryFile(ino_t ino);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // The stat of the file as a disk would give it.
    struct stat stat() const;
    uint64_t size() const;
    // Reads up to `count` bytes at `offset`; the count read.
    size_t read(uint64_t offset, void* out, size_t count) const;
    // Writes at `offset`, filling a gap past the end with zeros. False, with
    // nothing changed, when memory cannot hold the file's new length (a
    // disk would be full).
    bool write(uint64_t offset, const void* bytes, size_t count);
    bool resize(uint64_t size);
    // Access and write times; null leaves one as it is.
    void set_times(const struct timespec* access, const struct timespec* write);
    void set_read_only(bool on);
    // Takes `bytes` as the content of a file that is still empty; false
    // otherwise. They are copied before any change.
    bool adopt(std::shared_ptr<const std::vector<uint8_t>> bytes);
    // The bytes as they are now; later changes do not touch them.
    std::shared_ptr<const std::vector<uint8_t>> snapshot() const;
    // The ContentHash of the bytes (seed 0), kept while the file was written
    // front to back from empty; false after any other change.
    bool content_hash(uint64_t& hash) const;

private:
    std::vector<uint8_t>& own();  // unshared bytes to change; the lock is held
    void changed(size_t old_size);  // times and the memory count after a change
    void settle_times() const;      // the write time of changes made since

    const ino_t ino_;
    std::shared_ptr<std::vector<uint8_t>> bytes_;
    ContentHash hash_;
    bool hashed_ = true;  // hash_ covers bytes_
    mutable struct timespec atime_, mtime_, ctime_;
    mutable bool times_due_ = false;
    mode_t mode_ = S_IFREG | 0644;
};

// Whether a new regular file at `posix_path` is made in memory: its folder
// is the private temporary folder or lies below it, and the files in memory
// do not already hold more than their budget (unless `within_budget` is
// false: a file that is in memory already moves there at no cost).
bool in_memory_area(const std::string& posix_path, bool within_budget = true);
// The budget (256 MB unless set); the old one is returned.
uint64_t set_memory_budget(uint64_t bytes);

// The store, keyed by exact POSIX path. The callers tell the folder
// listings of each change (note_entry_added/removed); the store never calls
// back into them.
std::shared_ptr<MemoryFile> find_memory_file(const std::string& posix_path);
bool memory_stat(const std::string& posix_path, struct stat& st);
// A new empty file; null when an entry of that exact path is there.
std::shared_ptr<MemoryFile> create_memory_file(const std::string& posix_path);
// Adds an existing file under a new path (a move); false when taken.
bool link_memory_file(const std::string& posix_path, std::shared_ptr<MemoryFile> file);
// Takes the path out of the store; open handles keep the file.
bool remove_memory_file(const std::string& posix_path);
// Appends the names of the files in memory of `folder`.
void add_memory_names(const std::string& folder, std::vector<std::string>& names);
bool folder_has_memory_files(const std::string& folder);
// Forgets every file (the scratch root is going).
void clear_memory_files();

}  // namespace qv::posix
