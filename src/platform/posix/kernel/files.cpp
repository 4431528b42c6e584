// Files, folders, attributes and the temporary folder.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <mutex>
#include <set>
#include <string>

#include "platform/posix/kernel/files.h"
#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/paths.h"

namespace qv::posix {

namespace {

std::mutex g_gathering_lock;
std::set<FileObject*> g_gathering;  // handles holding gathered bytes

bool write_all(int fd, const char* bytes, size_t count, size_t& done) {
    done = 0;
    while (done < count) {
        ssize_t put = write(fd, bytes + done, count - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

}  // namespace

bool FileObject::flush_pending() {
    if (pending.empty()) return true;
    {
        std::lock_guard<std::mutex> lock(g_gathering_lock);
        g_gathering.erase(this);
    }
    size_t done = 0;
    bool ok = write_all(fd, pending.data(), pending.size(), done);
    pending.clear();
    return ok;
}

void flush_all_pending() {
    std::set<FileObject*> files;
    {
        std::lock_guard<std::mutex> lock(g_gathering_lock);
        files.swap(g_gathering);
    }
    for (FileObject* file : files) {
        size_t done = 0;
        write_all(file->fd, file->pending.data(), file->pending.size(), done);
        file->pending.clear();
    }
}

FileObject::~FileObject() {
    flush_pending();
    if (gathers_writes) {  // never listed past its life, whatever happened
        std::lock_guard<std::mutex> lock(g_gathering_lock);
        g_gathering.erase(this);
    }
    if (delete_on_close && memory) {
        // Only while the path still names this file.
        if (find_memory_file(path) == memory && remove_memory_file(path)) {
            note_entry_removed(path, false);
            forget_attributes(memory->stat());
        }
    } else if (delete_on_close) {
        struct stat st;
        if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
            struct stat named;
            if (lstat(path.c_str(), &named) == 0 && named.st_ino == st.st_ino && named.st_dev == st.st_dev) {
                forget_attributes(st);
                if (unlink(path.c_str()) == 0) note_entry_removed(path);
            }
        }
    }
    if (fd >= 0) close(fd);
}

bool FileObject::can_read() const { return (access & (GENERIC_READ | GENERIC_ALL)) != 0; }
bool FileObject::can_write() const { return (access & (GENERIC_WRITE | GENERIC_ALL)) != 0; }

}  // namespace qv::posix

using namespace qv::posix;

namespace {

bool read_only(const struct stat& st) { return S_ISREG(st.st_mode) && !(st.st_mode & S_IWUSR); }

// Attributes a newly created file takes from CreateFileW's flags.
DWORD new_file_attributes(DWORD flags) {
    return (flags & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                     FILE_ATTRIBUTE_TEMPORARY)) |
           FILE_ATTRIBUTE_ARCHIVE;
}

void set_read_only(const std::string& path, const struct stat& st, bool on) {
    if (is_memory(st)) {
        if (auto file = find_memory_file(path)) file->set_read_only(on);
        return;
    }
    mode_t mode = st.st_mode & 07777;
    mode = on ? mode & ~(S_IWUSR | S_IWGRP | S_IWOTH) : mode | S_IWUSR;
    if (mode != (st.st_mode & 07777)) chmod(path.c_str(), mode);
}

// Reads a file to its end, handing each piece to `put`; false with errno set
// when a read fails or `put` does.
template <class Put>
bool read_pieces(int from, Put&& put) {
    char buffer[65536];
    for (;;) {
        ssize_t got = read(from, buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) return true;
        if (!put(buffer, static_cast<size_t>(got))) return false;
    }
}

bool copy_contents(int from, int to) {
    return read_pieces(from, [to](const char* piece, size_t size) {
        size_t done = 0;
        return write_all(to, piece, size, done);
    });
}

// Copies the bytes of a file on disk into a file in memory.
bool copy_into_memory(int from, MemoryFile& to) {
    uint64_t offset = 0;
    return read_pieces(from, [&](const char* piece, size_t size) {
        if (!to.write(offset, piece, size)) {
            errno = ENOSPC;  // memory holds no more, as a full disk
            return false;
        }
        offset += size;
        return true;
    });
}

// Copies a regular file with its times and attributes; the caller has done
// the Windows checks. Either file may be in memory; the copy is made in
// memory when the target is there already, or is new in the memory area.
// Sets the last error on failure.
bool copy_file(const std::string& from, const struct stat& from_st, const std::string& to) {
    std::shared_ptr<const std::vector<uint8_t>> source;
    int in = -1;
    if (is_memory(from_st)) {
        auto file = find_memory_file(from);
        if (!file) {
            SetLastError(ERROR_FILE_NOT_FOUND);
            return false;
        }
        source = file->snapshot();
    } else if ((in = open(from.c_str(), O_RDONLY | O_CLOEXEC)) < 0) {
        set_error_from_errno(errno, from);
        return false;
    }
    struct stat old_target;
    const bool replacing = memory_stat(to, old_target) || stat(to.c_str(), &old_target) == 0;
    if (replacing) forget_attributes(old_target);
    std::shared_ptr<MemoryFile> target = find_memory_file(to);
    if (!target && !replacing && in_memory_area(to) && is_folder(parent_of(to))) target = create_memory_file(to);
    bool ok = true;
    int error = 0;
    if (target) {
        note_entry_added(to, false);
        target->resize(0);
        if (!source) {
            ok = copy_into_memory(in, *target);
        } else if (!(ok = target->write(0, source->data(), source->size()))) {
            errno = ENOSPC;  // memory holds no more, as a full disk
        }
        error = errno;
        if (ok) {
            target->set_times(&from_st.st_atim, &from_st.st_mtim);
            remember_attributes(target->stat(), attributes_of(from_st) | FILE_ATTRIBUTE_ARCHIVE);
            if (read_only(from_st)) target->set_read_only(true);
        }
    } else {
        int out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (out < 0) {
            set_error_from_errno(errno, to);
            if (in >= 0) close(in);
            return false;
        }
        note_entry_added(to);
        size_t done = 0;
        ok = source ? write_all(out, reinterpret_cast<const char*>(source->data()), source->size(), done)
                    : copy_contents(in, out);
        error = errno;
        if (ok) {
            struct timespec times[2] = {from_st.st_atim, from_st.st_mtim};
            futimens(out, times);
            struct stat st;
            if (fstat(out, &st) == 0) remember_attributes(st, attributes_of(from_st) | FILE_ATTRIBUTE_ARCHIVE);
            if (read_only(from_st)) fchmod(out, st.st_mode & 07777 & ~(S_IWUSR | S_IWGRP | S_IWOTH));
        }
        close(out);
    }
    if (in >= 0) close(in);
    if (!ok) {
        SetLastError(win32_from_errno(error));
        if (target ? remove_memory_file(to) : unlink(to.c_str()) == 0) note_entry_removed(to, !target);
    }
    return ok;
}

// MoveFileExW of a file in memory, the checks done: within the memory area
// it only changes its path, out of it the file goes to disk. `replaced` is
// the file on disk that the move replaces, if any.
BOOL move_memory_file(const std::string& from, const struct stat& from_st, const std::string& to,
                      const struct stat* replaced) {
    if (to == from) return TRUE;
    auto file = find_memory_file(from);
    if (!file) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    const bool stays = in_memory_area(to, false) && is_folder(parent_of(to));
    if (!stays) {
        if (!copy_file(from, from_st, to)) return FALSE;
    } else {
        if (replaced) {
            if (unlink(to.c_str()) != 0) {
                set_error_from_errno(errno, to);
                return FALSE;
            }
            note_entry_removed(to);
            forget_attributes(*replaced);
        }
        if (!link_memory_file(to, file)) {
            SetLastError(ERROR_ALREADY_EXISTS);
            return FALSE;
        }
    }
    // The same file under another case has just been linked under its new
    // spelling: only the old one goes.
    if (remove_memory_file(from)) note_entry_removed(from, false);
    note_entry_added(to, !stays);
    if (!stays) forget_attributes(from_st);
    return TRUE;
}

}  // namespace

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) {
    MappedPath mapped = map_path(lpFileName);
    if (!mapped.ok) return INVALID_HANDLE_VALUE;
    if (dwCreationDisposition < CREATE_NEW || dwCreationDisposition > TRUNCATE_EXISTING) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const std::string& path = mapped.posix;
    const bool wants_write = (dwDesiredAccess & (GENERIC_WRITE | GENERIC_ALL)) != 0;
    const bool wants_read = (dwDesiredAccess & (GENERIC_READ | GENERIC_ALL)) != 0;
    const bool truncates = dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == TRUNCATE_EXISTING;
    if (dwCreationDisposition == TRUNCATE_EXISTING && !wants_write) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }

    int access_flags = wants_write ? (wants_read ? O_RDWR : O_WRONLY) : O_RDONLY;
    struct stat st;
    bool exists = stat_mapped(mapped, st) == 0;
    if (!exists && errno != ENOENT) {
        set_error_from_errno(errno, path);
        return INVALID_HANDLE_VALUE;
    }
    int fd = -1;
    std::shared_ptr<MemoryFile> memory;
    DWORD success_error = ERROR_SUCCESS;
    if (exists) {
        if (dwCreationDisposition == CREATE_NEW) {
            SetLastError(ERROR_FILE_EXISTS);
            return INVALID_HANDLE_VALUE;
        }
        if (S_ISDIR(st.st_mode)) {
            if (!(dwFlagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) || wants_write || truncates) {
                SetLastError(ERROR_ACCESS_DENIED);
                return INVALID_HANDLE_VALUE;
            }
            access_flags = O_RDONLY | O_DIRECTORY;
        } else if (read_only(st) && (wants_write || truncates)) {
            SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
        }
        if (DWORD conflict = sharing_conflict(key_of(st), dwDesiredAccess, dwShareMode)) {
            SetLastError(conflict);
            return INVALID_HANDLE_VALUE;
        }
        if (truncates) {
            if (DWORD conflict = truncation_conflict(key_of(st))) {
                SetLastError(conflict);
                return INVALID_HANDLE_VALUE;
            }
        }
        if (is_memory(st)) {
            memory = find_memory_file(path);
            if (!memory) {
                SetLastError(ERROR_FILE_NOT_FOUND);
                return INVALID_HANDLE_VALUE;
            }
            if (truncates) memory->resize(0);
            st = memory->stat();
        } else {
            fd = open(path.c_str(), access_flags | O_CLOEXEC | (truncates ? O_TRUNC : 0));
            if (fd < 0 && errno == EACCES && !wants_read && !wants_write)
                fd = open(path.c_str(), O_PATH | O_CLOEXEC);
            if (fd < 0) {
                set_error_from_errno(errno, path);
                return INVALID_HANDLE_VALUE;
            }
            fstat(fd, &st);
        }
        if (dwCreationDisposition == CREATE_ALWAYS) {
            remember_attributes(st, new_file_attributes(dwFlagsAndAttributes));
            if (dwFlagsAndAttributes & FILE_ATTRIBUTE_READONLY) set_read_only(path, st, true);
        }
        if (dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS)
            success_error = ERROR_ALREADY_EXISTS;
    } else {
        if (dwCreationDisposition == OPEN_EXISTING || dwCreationDisposition == TRUNCATE_EXISTING) {
            set_mapped_error(ENOENT, mapped);
            return INVALID_HANDLE_VALUE;
        }
        // Mapping found the folder, and no entry of the name in it.
        if (mapped.entry == MappedPath::Entry::absent && in_memory_area(path)) {
            memory = create_memory_file(path);
            if (!memory) {
                SetLastError(ERROR_FILE_EXISTS);
                return INVALID_HANDLE_VALUE;
            }
            st = memory->stat();
        } else {
            fd = reuse_recycled(path, access_flags);
            if (fd < 0) fd = open(path.c_str(), access_flags | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (fd < 0) {
                set_error_from_errno(errno, path);
                return INVALID_HANDLE_VALUE;
            }
            fstat(fd, &st);
        }
        note_entry_added(path, !memory);
        remember_attributes(st, new_file_attributes(dwFlagsAndAttributes));
        // The creating handle may still write; the bit guards later opens.
        if (dwFlagsAndAttributes & FILE_ATTRIBUTE_READONLY) set_read_only(path, st, true);
    }
    auto file = std::make_shared<FileObject>();
    file->fd = fd;
    file->memory = std::move(memory);
    file->path = path;
    file->access = dwDesiredAccess;
    file->delete_on_close = (dwFlagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE) != 0;
    file->gathers_writes = wants_write && !wants_read && dwShareMode == 0 && !S_ISDIR(st.st_mode) && !file->memory;
    file->use = std::make_unique<FileUse>(key_of(st), dwDesiredAccess, dwShareMode, false);
    HANDLE handle = register_object(std::move(file));
    SetLastError(success_error);
    return handle;
}

namespace qv::posix {

bool adopt_memory_bytes(void* handle, std::shared_ptr<const std::vector<uint8_t>> bytes) {
    auto file = object_as<FileObject>(handle);
    if (!bytes || !file || !file->memory || !file->can_write() || file->position != 0) return false;
    const uint64_t size = bytes->size();
    if (!file->memory->adopt(std::move(bytes))) return false;
    file->position = size;
    return true;
}

bool memory_content_hash(void* handle, uint64_t& hash) {
    auto file = object_as<FileObject>(handle);
    return file && file->memory && file->memory->content_hash(hash);
}

}  // namespace qv::posix

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, LPDWORD lpNumberOfBytesRead,
              LPOVERLAPPED lpOverlapped) {
    if (lpNumberOfBytesRead) *lpNumberOfBytesRead = 0;
    auto file = object_as<FileObject>(hFile);
    if (!file) return FALSE;
    if (lpOverlapped || (!lpBuffer && nNumberOfBytesToRead > 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (!file->can_read()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    DWORD done = 0;
    auto* bytes = static_cast<char*>(lpBuffer);
    if (file->memory) {
        done = static_cast<DWORD>(file->memory->read(file->position, bytes, nNumberOfBytesToRead));
        file->position += done;
    }
    while (!file->memory && done < nNumberOfBytesToRead) {
        ssize_t got = read(file->fd, bytes + done, nNumberOfBytesToRead - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            SetLastError(errno == EISDIR ? ERROR_INVALID_FUNCTION : win32_from_errno(errno));
            if (lpNumberOfBytesRead) *lpNumberOfBytesRead = done;
            return FALSE;
        }
        if (got == 0) break;
        done += static_cast<DWORD>(got);
    }
    if (lpNumberOfBytesRead) *lpNumberOfBytesRead = done;
    return TRUE;
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite, LPDWORD lpNumberOfBytesWritten,
               LPOVERLAPPED lpOverlapped) {
    if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = 0;
    auto file = object_as<FileObject>(hFile);
    if (!file) return FALSE;
    if (lpOverlapped || (!lpBuffer && nNumberOfBytesToWrite > 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (!file->can_write()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    const auto* bytes = static_cast<const char*>(lpBuffer);
    if (file->memory) {
        if (!file->memory->write(file->position, bytes, nNumberOfBytesToWrite)) {
            SetLastError(ERROR_DISK_FULL);
            return FALSE;
        }
        file->position += nNumberOfBytesToWrite;
        if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = nNumberOfBytesToWrite;
        return TRUE;
    }
    constexpr size_t kSmallWrite = 4096;
    constexpr size_t kGathered = 1 << 16;
    if (file->gathers_writes && nNumberOfBytesToWrite < kSmallWrite) {
        // Only a handle that holds gathered bytes is listed: nothing written
        // lists nothing.
        if (file->pending.empty() && nNumberOfBytesToWrite > 0) {
            std::lock_guard<std::mutex> lock(g_gathering_lock);
            g_gathering.insert(file.get());
        }
        file->pending.append(bytes, nNumberOfBytesToWrite);
        // A failure to write out the gathered bytes fails this write.
        if (file->pending.size() >= kGathered && !file->flush_pending()) {
            SetLastError(win32_from_errno(errno));
            return FALSE;
        }
        if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = nNumberOfBytesToWrite;
        return TRUE;
    }
    if (!file->flush_pending()) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    size_t done = 0;
    const bool ok = write_all(file->fd, bytes, nNumberOfBytesToWrite, done);
    if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = static_cast<DWORD>(done);
    if (!ok) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    return TRUE;
}

namespace {

// The file of a handle with its gathered bytes written out, or null with
// the last error set.
std::shared_ptr<FileObject> flushed_file(HANDLE handle) {
    auto file = object_as<FileObject>(handle);
    if (file && !file->flush_pending()) {
        SetLastError(win32_from_errno(errno));
        return nullptr;
    }
    return file;
}

}  // namespace

BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove, PLARGE_INTEGER lpNewFilePointer,
                      DWORD dwMoveMethod) {
    auto file = flushed_file(hFile);
    if (!file) return FALSE;
    if (dwMoveMethod > FILE_END) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    off_t base = 0;
    if (file->memory) {
        if (dwMoveMethod == FILE_CURRENT) base = static_cast<off_t>(file->position);
        if (dwMoveMethod == FILE_END) base = static_cast<off_t>(file->memory->size());
    } else if (dwMoveMethod == FILE_CURRENT) {
        base = lseek(file->fd, 0, SEEK_CUR);
    } else if (dwMoveMethod == FILE_END) {
        struct stat st;
        base = fstat(file->fd, &st) == 0 ? st.st_size : -1;
    }
    if (base < 0) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    LONGLONG target = static_cast<LONGLONG>(base) + liDistanceToMove.QuadPart;
    if (target < 0) {
        SetLastError(ERROR_NEGATIVE_SEEK);
        return FALSE;
    }
    if (file->memory) {
        file->position = static_cast<uint64_t>(target);
    } else if (lseek(file->fd, static_cast<off_t>(target), SEEK_SET) < 0) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    if (lpNewFilePointer) lpNewFilePointer->QuadPart = target;
    return TRUE;
}

DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, LONG* lpDistanceToMoveHigh, DWORD dwMoveMethod) {
    LARGE_INTEGER distance;
    if (lpDistanceToMoveHigh)
        distance.QuadPart = static_cast<LONGLONG>((static_cast<uint64_t>(static_cast<uint32_t>(*lpDistanceToMoveHigh)) << 32) |
                                                  static_cast<uint32_t>(lDistanceToMove));
    else
        distance.QuadPart = lDistanceToMove;
    LARGE_INTEGER position;
    if (!SetFilePointerEx(hFile, distance, &position, dwMoveMethod)) return INVALID_SET_FILE_POINTER;
    if (lpDistanceToMoveHigh) *lpDistanceToMoveHigh = static_cast<LONG>(position.QuadPart >> 32);
    // Callers tell a position of 0xFFFFFFFF from a failure by the last error.
    SetLastError(ERROR_SUCCESS);
    return static_cast<DWORD>(position.QuadPart & 0xFFFFFFFF);
}

BOOL SetEndOfFile(HANDLE hFile) {
    auto file = flushed_file(hFile);
    if (!file) return FALSE;
    if (!file->can_write()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (file->memory) {
        if (file->memory->resize(file->position)) return TRUE;
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    off_t here = lseek(file->fd, 0, SEEK_CUR);
    if (here < 0 || ftruncate(file->fd, here) != 0) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    return TRUE;
}

BOOL FlushFileBuffers(HANDLE hFile) {
    auto file = flushed_file(hFile);
    if (!file) return FALSE;
    if (!file->can_write()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (file->fd >= 0) fsync(file->fd);
    return TRUE;
}

BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) {
    auto file = flushed_file(hFile);
    if (!file) return FALSE;
    struct stat st;
    if (lpFileSize && file->memory) {
        lpFileSize->QuadPart = static_cast<LONGLONG>(file->memory->size());
        return TRUE;
    }
    if (!lpFileSize || fstat(file->fd, &st) != 0) {
        SetLastError(lpFileSize ? win32_from_errno(errno) : ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    lpFileSize->QuadPart = S_ISDIR(st.st_mode) ? 0 : st.st_size;
    return TRUE;
}

DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(hFile, &size)) return INVALID_FILE_SIZE;
    if (lpFileSizeHigh) *lpFileSizeHigh = static_cast<DWORD>(size.QuadPart >> 32);
    DWORD low = static_cast<DWORD>(size.QuadPart & 0xFFFFFFFF);
    if (low == INVALID_FILE_SIZE) SetLastError(ERROR_SUCCESS);
    return low;
}

BOOL GetFileTime(HANDLE hFile, LPFILETIME lpCreationTime, LPFILETIME lpLastAccessTime, LPFILETIME lpLastWriteTime) {
    auto file = flushed_file(hFile);
    if (!file) return FALSE;
    struct stat st;
    if (file->memory) {
        st = file->memory->stat();
    } else if (fstat(file->fd, &st) != 0) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    if (lpCreationTime) *lpCreationTime = filetime_from_timespec(st.st_mtim);
    if (lpLastAccessTime) *lpLastAccessTime = filetime_from_timespec(st.st_atim);
    if (lpLastWriteTime) *lpLastWriteTime = filetime_from_timespec(st.st_mtim);
    return TRUE;
}

BOOL SetFileTime(HANDLE hFile, const FILETIME* lpCreationTime, const FILETIME* lpLastAccessTime,
                 const FILETIME* lpLastWriteTime) {
    auto file = flushed_file(hFile);
    if (!file) return FALSE;
    if (!file->can_write()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    auto pick = [](const FILETIME* ft) {
        struct timespec ts = {0, UTIME_OMIT};
        // A null pointer, and a time of 0, leave the stamp as it is.
        if (ft && (ft->dwLowDateTime || ft->dwHighDateTime) &&
            !(ft->dwLowDateTime == 0xFFFFFFFF && ft->dwHighDateTime == 0xFFFFFFFF))
            ts = timespec_from_filetime(*ft);
        return ts;
    };
    struct timespec times[2] = {pick(lpLastAccessTime), pick(lpLastWriteTime)};
    if (file->memory) {
        file->memory->set_times(times[0].tv_nsec == UTIME_OMIT ? nullptr : &times[0],
                                times[1].tv_nsec == UTIME_OMIT ? nullptr : &times[1]);
        return TRUE;
    }
    if (futimens(file->fd, times) != 0) {
        SetLastError(win32_from_errno(errno));
        return FALSE;
    }
    return TRUE;
}

BOOL CloseHandle(HANDLE hObject) {
    auto object = find_object(hObject);
    // Search handles are closed with FindClose, never here.
    if (!object || typeid(*object) == typeid(FindObject)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    bool written = true;
    if (typeid(*object) == typeid(FileObject)) written = static_cast<FileObject&>(*object).flush_pending();
    const int error = errno;
    object.reset();
    unregister_object(hObject);
    if (!written) {
        SetLastError(win32_from_errno(error));
        return FALSE;
    }
    return TRUE;
}

DWORD GetFileAttributesW(LPCWSTR lpFileName) {
    MappedPath mapped = map_path(lpFileName);
    if (!mapped.ok) return INVALID_FILE_ATTRIBUTES;
    struct stat st;
    if (stat_mapped(mapped, st) != 0) {
        set_mapped_error(errno, mapped);
        return INVALID_FILE_ATTRIBUTES;
    }
    return attributes_of(st);
}

BOOL SetFileAttributesW(LPCWSTR lpFileName, DWORD dwFileAttributes) {
    MappedPath mapped = map_path(lpFileName);
    if (!mapped.ok) return FALSE;
    struct stat st;
    if (stat_mapped(mapped, st) != 0) {
        set_mapped_error(errno, mapped);
        return FALSE;
    }
    DWORD attributes = dwFileAttributes & ~FILE_ATTRIBUTE_DIRECTORY;
    if (S_ISREG(st.st_mode)) set_read_only(mapped.posix, st, (attributes & FILE_ATTRIBUTE_READONLY) != 0);
    remember_attributes(st, attributes);
    return TRUE;
}

BOOL DeleteFileW(LPCWSTR lpFileName) {
    MappedPath mapped = map_path(lpFileName);
    if (!mapped.ok) return FALSE;
    struct stat st;
    if (lstat_mapped(mapped, st) != 0) {
        set_mapped_error(errno, mapped);
        return FALSE;
    }
    if (S_ISDIR(st.st_mode) || read_only(st)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (DWORD conflict = deletion_conflict(key_of(st))) {
        SetLastError(conflict);
        return FALSE;
    }
    if (is_memory(st) && !remove_memory_file(mapped.posix)) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return FALSE;
    }
    if (!is_memory(st) && !recycle_deleted(mapped.posix, st) && unlink(mapped.posix.c_str()) != 0) {
        set_error_from_errno(errno, mapped.posix);
        return FALSE;
    }
    note_entry_removed(mapped.posix, !is_memory(st));
    if (st.st_nlink <= 1) forget_attributes(st);
    return TRUE;
}

BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags) {
    MappedPath from = map_path(lpExistingFileName);
    if (!from.ok) return FALSE;
    if (!lpNewFileName) {  // deletion at the next start is not supported
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    MappedPath to = map_path(lpNewFileName);
    if (!to.ok) return FALSE;
    struct stat from_st;
    if (lstat_mapped(from, from_st) != 0) {
        set_mapped_error(errno, from);
        return FALSE;
    }
    if (DWORD conflict = deletion_conflict(key_of(from_st))) {
        SetLastError(conflict);
        return FALSE;
    }
    struct stat to_st;
    bool replacing = false;
    if (lstat_mapped(to, to_st) == 0) {
        if (key_of(to_st) == key_of(from_st)) {
            // The same file under another case: take the spelling given.
            std::wstring_view given = lpNewFileName;
            size_t separator = given.find_last_of(L"\\/");
            if (separator != std::wstring_view::npos) given.remove_prefix(separator + 1);
            while (!given.empty() && (given.back() == L'.' || given.back() == L' ')) given.remove_suffix(1);
            if (!given.empty()) to.posix = parent_of(to.posix) + "/" + to_utf8(given);
        } else {
            if (!(dwFlags & MOVEFILE_REPLACE_EXISTING)) {
                SetLastError(ERROR_ALREADY_EXISTS);
                return FALSE;
            }
            if (S_ISDIR(to_st.st_mode) || S_ISDIR(from_st.st_mode) || read_only(to_st)) {
                SetLastError(ERROR_ACCESS_DENIED);
                return FALSE;
            }
            if (DWORD conflict = deletion_conflict(key_of(to_st))) {
                SetLastError(conflict);
                return FALSE;
            }
            replacing = true;
        }
    } else if (errno != ENOENT) {
        set_error_from_errno(errno, to.posix);
        return FALSE;
    }
    if (replacing && is_memory(to_st)) {  // a file on disk over one in memory
        if (remove_memory_file(to.posix)) note_entry_removed(to.posix, false);
        forget_attributes(to_st);
        replacing = false;
    }
    if (is_memory(from_st)) return move_memory_file(from.posix, from_st, to.posix, replacing ? &to_st : nullptr);
    if (rename(from.posix.c_str(), to.posix.c_str()) != 0) {
        if (errno != EXDEV) {
            set_error_from_errno(errno, errno == ENOENT ? to.posix : from.posix);
            return FALSE;
        }
        if (!(dwFlags & MOVEFILE_COPY_ALLOWED) || !S_ISREG(from_st.st_mode)) {
            SetLastError(ERROR_NOT_SAME_DEVICE);
            return FALSE;
        }
        if (!copy_file(from.posix, from_st, to.posix)) return FALSE;
        if (unlink(from.posix.c_str()) == 0) note_entry_removed(from.posix);
        forget_attributes(from_st);
        return TRUE;
    }
    note_entry_removed(from.posix);
    note_entry_added(to.posix);
    if (replacing) forget_attributes(to_st);
    return TRUE;
}

BOOL MoveFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName) {
    return MoveFileExW(lpExistingFileName, lpNewFileName, MOVEFILE_COPY_ALLOWED);
}

BOOL CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists) {
    MappedPath from = map_path(lpExistingFileName);
    if (!from.ok) return FALSE;
    MappedPath to = map_path(lpNewFileName);
    if (!to.ok) return FALSE;
    struct stat from_st;
    if (stat_mapped(from, from_st) != 0) {
        set_mapped_error(errno, from);
        return FALSE;
    }
    if (S_ISDIR(from_st.st_mode)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (DWORD conflict = sharing_conflict(key_of(from_st), GENERIC_READ, FILE_SHARE_READ)) {
        SetLastError(conflict);
        return FALSE;
    }
    struct stat to_st;
    if (stat_mapped(to, to_st) == 0) {
        if (bFailIfExists) {
            SetLastError(ERROR_FILE_EXISTS);
            return FALSE;
        }
        if (S_ISDIR(to_st.st_mode) || read_only(to_st) || key_of(to_st) == key_of(from_st)) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        if (DWORD conflict = sharing_conflict(key_of(to_st), GENERIC_WRITE, 0)) {
            SetLastError(conflict);
            return FALSE;
        }
    }
    return copy_file(from.posix, from_st, to.posix) ? TRUE : FALSE;
}

BOOL CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes) {
    MappedPath mapped = map_path(lpPathName);
    if (!mapped.ok) return FALSE;
    if (find_memory_file(mapped.posix)) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return FALSE;
    }
    if (mkdir(mapped.posix.c_str(), 0777) != 0) {
        SetLastError(errno == ENOENT ? ERROR_PATH_NOT_FOUND : win32_from_errno(errno));
        return FALSE;
    }
    // The new folder may have the inode of a file removed behind the
    // kernel's back: it keeps none of that file's attributes.
    struct stat st;
    if (lstat(mapped.posix.c_str(), &st) == 0) forget_attributes(st);
    note_entry_added(mapped.posix);
    return TRUE;
}

BOOL RemoveDirectoryW(LPCWSTR lpPathName) {
    MappedPath mapped = map_path(lpPathName);
    if (!mapped.ok) return FALSE;
    struct stat st;
    if (lstat_mapped(mapped, st) != 0) {
        set_mapped_error(errno, mapped);
        return FALSE;
    }
    if (!S_ISDIR(st.st_mode)) {
        SetLastError(ERROR_DIRECTORY);
        return FALSE;
    }
    if (folder_has_memory_files(mapped.posix)) {
        SetLastError(win32_from_errno(ENOTEMPTY));
        return FALSE;
    }
    if (rmdir(mapped.posix.c_str()) != 0) {
        SetLastError(win32_from_errno(errno == EEXIST ? ENOTEMPTY : errno));
        return FALSE;
    }
    note_entry_removed(mapped.posix);
    forget_attributes(st);
    return TRUE;
}

DWORD GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer) {
    std::wstring path = windows_path_from_posix(temp_folder()) + L"\\";
    if (nBufferLength < path.size() + 1) return static_cast<DWORD>(path.size() + 1);
    if (!lpBuffer) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::wmemcpy(lpBuffer, path.c_str(), path.size() + 1);
    return static_cast<DWORD>(path.size());
}

UINT GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique, LPWSTR lpTempFileName) {
    if (!lpPathName || !lpTempFileName) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::wstring base = lpPathName;
    if (!base.empty() && base.back() != L'\\' && base.back() != L'/') base += L'\\';
    if (lpPrefixString) base.append(lpPrefixString, std::min<size_t>(3, std::wcslen(lpPrefixString)));
    auto name_for = [&](UINT number) {
        wchar_t hex[8];
        std::swprintf(hex, 8, L"%X", number);
        return base + hex + L".TMP";
    };
    auto deliver = [&](const std::wstring& name) {
        if (name.size() >= MAX_PATH) {
            SetLastError(ERROR_BUFFER_OVERFLOW);
            return false;
        }
        std::wmemcpy(lpTempFileName, name.c_str(), name.size() + 1);
        return true;
    };
    uUnique &= 0xFFFF;
    if (uUnique != 0) return deliver(name_for(uUnique)) ? uUnique : 0;

    MappedPath folder = map_path(lpPathName);
    struct stat st;
    if (!folder.ok || stat(folder.posix.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        SetLastError(ERROR_DIRECTORY);
        return 0;
    }
    UINT number = (GetTickCount() ^ (GetCurrentProcessId() << 4)) & 0xFFFF;
    for (UINT attempt = 0; attempt < 0xFFFF; ++attempt) {
        if (number == 0) number = 1;
        std::wstring name = name_for(number);
        if (name.size() >= MAX_PATH) {
            SetLastError(ERROR_BUFFER_OVERFLOW);
            return 0;
        }
        HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
            deliver(name);
            SetLastError(ERROR_SUCCESS);
            return number;
        }
        DWORD error = GetLastError();
        if (error != ERROR_FILE_EXISTS && error != ERROR_ACCESS_DENIED) return 0;
        number = (number + 1) & 0xFFFF;
    }
    SetLastError(ERROR_FILE_EXISTS);
    return 0;
}

BOOL DosDateTimeToFileTime(WORD wFatDate, WORD wFatTime, LPFILETIME lpFileTime) {
    int day = wFatDate & 0x1F, month = (wFatDate >> 5) & 0x0F, year = 1980 + (wFatDate >> 9);
    int seconds = (wFatTime & 0x1F) * 2, minutes = (wFatTime >> 5) & 0x3F, hours = wFatTime >> 11;
    if (!lpFileTime || day == 0 || month == 0 || month > 12 || hours > 23 || minutes > 59 || seconds > 59) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    // Days since 1970-01-01 of a civil date (proleptic Gregorian).
    int y = year - (month <= 2);
    int era = y / 400;
    int yoe = y - era * 400;
    int doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    int64_t days = static_cast<int64_t>(era) * 146097 + doe - 719468;
    struct timespec ts = {static_cast<time_t>(days * 86400 + hours * 3600 + minutes * 60 + seconds), 0};
    *lpFileTime = filetime_from_timespec(ts);
    return TRUE;
}

BOOL LocalFileTimeToFileTime(const FILETIME* lpLocalFileTime, LPFILETIME lpFileTime) {
    if (!lpLocalFileTime || !lpFileTime) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *lpFileTime = *lpLocalFileTime;
    return TRUE;
}

BOOL FileTimeToLocalFileTime(const FILETIME* lpFileTime, LPFILETIME lpLocalFileTime) {
    return LocalFileTimeToFileTime(lpFileTime, lpLocalFileTime);
}

void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (lpSystemTimeAsFileTime) *lpSystemTimeAsFileTime = filetime_from_timespec(now);
}
