// Shared pieces of the POSIX kernel subset: the handle table, last-error
// helpers, case mapping and the mapping of Windows paths with their checks.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include "platform/posix/winapi/kernel.h"

namespace qv::posix {

// --- handles -------------------------------------------------------------

// An object reachable through a HANDLE. Handle values are never reused, so
// a closed handle stays invalid.
struct KernelObject {
    virtual ~KernelObject() = default;
};

HANDLE register_object(std::shared_ptr<KernelObject> object);
std::shared_ptr<KernelObject> find_object(HANDLE handle);
// Removes the handle; false when it was not open.
bool unregister_object(HANDLE handle);

// The object behind `handle` when it has type T; otherwise null with
// ERROR_INVALID_HANDLE set.
template <class T>
std::shared_ptr<T> object_as(HANDLE handle) {
    std::shared_ptr<KernelObject> object = find_object(handle);
    // An object of exactly T, the common case, needs no walk of the classes.
    auto found = object && typeid(*object) == typeid(T) ? std::static_pointer_cast<T>(std::move(object))
                                                         : std::dynamic_pointer_cast<T>(std::move(object));
    if (!found) SetLastError(ERROR_INVALID_HANDLE);
    return found;
}

// --- errors --------------------------------------------------------------

DWORD win32_from_errno(int error);
// ENOENT becomes ERROR_FILE_NOT_FOUND when the parent folder of
// `posix_path` exists, else ERROR_PATH_NOT_FOUND.
void set_error_from_errno(int error, const std::string& posix_path);

// --- text ----------------------------------------------------------------

wchar_t upper_char(wchar_t c);
wchar_t lower_char(wchar_t c);
// Case-insensitive equality of two UTF-8 names, as file names compare.
bool names_equal_ignoring_case(std::string_view a, std::string_view b);

// --- paths ---------------------------------------------------------------

struct MappedPath {
    bool ok = false;
    std::string posix;
    // What mapping learned of the entry on the way, so that the caller need
    // not ask the file system again: `present` with its lstat in `st`, or
    // `absent` (its folder exists and holds no entry of that name).
    enum class Entry : unsigned char { unknown, present, absent } entry = Entry::unknown;
    struct stat st {};
};

// stat() and lstat() of a mapped path, answered from the mapping when it
// can be (-1 with errno set, as the calls themselves).
int stat_mapped(const MappedPath& mapped, struct stat& st);
int lstat_mapped(const MappedPath& mapped, struct stat& st);
// set_error_from_errno for a mapped path: an absent entry is
// ERROR_FILE_NOT_FOUND without asking after its folder again.
void set_mapped_error(int error, const MappedPath& mapped);

// The kernel's own changes to a folder's entries, for the listings kept of
// private folders (see paths.cpp). A change `on_disk` also gives the
// listing the folder's new change time; a file in memory leaves it as is.
void note_entry_added(const std::string& posix_path, bool on_disk = true);
void note_entry_removed(const std::string& posix_path, bool on_disk = true);
// Whether a folder exists there, from its kept listing when there is one.
bool is_folder(const std::string& posix_path);
// Whether a path lies in this process's own scratch root.
bool is_private_path(const std::string& posix_path);

// Files deleted from the private scratch root keep their inode for the next
// file created there (see recycle.cpp). A deleted file goes to the bin when
// it can (true), and a new file comes from the bin when one is there: an
// open descriptor of it, now at `posix_path`, or -1 when the caller must
// create the file itself.
bool recycle_deleted(const std::string& posix_path, const struct stat& st);
int reuse_recycled(const std::string& posix_path, int access_flags);

// Checks a Windows path given to a kernel function and maps it. A null path
// fails with ERROR_INVALID_PARAMETER, an empty one with ERROR_PATH_NOT_FOUND,
// characters Windows does not allow in names with ERROR_INVALID_NAME. With
// `wildcards_in_last` the last component may hold * and ?.
MappedPath map_path(LPCWSTR path, bool wildcards_in_last = false);

// Splits at the last '/': folder ("/" for the root) and name.
std::string parent_of(const std::string& posix_path);
std::string name_of(const std::string& posix_path);

// --- file attributes and sharing -----------------------------------------

struct FileKey {
    dev_t dev;
    ino_t ino;
    bool operator==(const FileKey& other) const { return dev == other.dev && ino == other.ino; }
    bool operator<(const FileKey& other) const {
        return dev != other.dev ? dev < other.dev : ino < other.ino;
    }
};
inline FileKey key_of(const struct stat& st) { return {st.st_dev, st.st_ino}; }

DWORD attributes_of(const struct stat& st);
// Remembers the bits that POSIX cannot hold (all but READONLY/DIRECTORY).
void remember_attributes(const struct stat& st, DWORD attributes);
void forget_attributes(const struct stat& st);

// One use of a file by this process: an open handle, or a mapping (which a
// view keeps alive). Registered for its life, for the sharing checks.
class FileUse {
public:
    FileUse(FileKey key, DWORD access, DWORD share, bool mapped);
    ~FileUse();
    FileUse(const FileUse&) = delete;
    FileUse& operator=(const FileUse&) = delete;

private:
    FileKey key_;
    DWORD access_;
    DWORD share_;
    bool mapped_;
    friend DWORD sharing_conflict(FileKey, DWORD, DWORD);
    friend DWORD deletion_conflict(FileKey);
    friend DWORD truncation_conflict(FileKey);
};

// 0 when an open with this access and share mode agrees with the present
// uses of the file, else the Windows error.
DWORD sharing_conflict(FileKey key, DWORD access, DWORD share);
// 0 when the file may be deleted or renamed now, else the Windows error.
DWORD deletion_conflict(FileKey key);
// 0 when the file may be truncated now (not mapped), else the error.
DWORD truncation_conflict(FileKey key);
// Whether this process has the file open or mapped in any way (pinned
// mappings included).
bool file_in_use(FileKey key);

// FILETIME <-> POSIX time.
FILETIME filetime_from_timespec(const struct timespec& ts);
struct timespec timespec_from_filetime(const FILETIME& ft);

}  // namespace qv::posix
