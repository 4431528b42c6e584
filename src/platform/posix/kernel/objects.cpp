// The handle table, the attribute bits POSIX cannot hold, and the record of
// open files that the sharing checks read.

#include <mutex>
#include <map>
#include <unordered_map>
#include <vector>

#include "platform/posix/kernel/internal.h"

namespace qv::posix {

namespace {

std::mutex g_handles_mutex;
std::unordered_map<uintptr_t, std::shared_ptr<KernelObject>> g_handles;
// Multiples of 4 as on Windows, starting well away from null and from
// INVALID_HANDLE_VALUE; never reused.
uintptr_t g_next_handle = 0x1000;

std::mutex g_files_mutex;
std::map<FileKey, DWORD> g_attributes;
std::map<FileKey, std::vector<const FileUse*>> g_uses;
std::map<FileKey, unsigned> g_pins;  // mappings made outside the kernel

constexpr DWORD kKeptBits = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                            FILE_ATTRIBUTE_NORMAL | FILE_ATTRIBUTE_TEMPORARY;

bool reads(DWORD access) { return (access & (GENERIC_READ | GENERIC_ALL)) != 0; }
bool writes(DWORD access) { return (access & (GENERIC_WRITE | GENERIC_ALL)) != 0; }

}  // namespace

HANDLE register_object(std::shared_ptr<KernelObject> object) {
    std::lock_guard lock(g_handles_mutex);
    uintptr_t value = g_next_handle;
    g_next_handle += 4;
    g_handles.emplace(value, std::move(object));
    return reinterpret_cast<HANDLE>(value);
}

std::shared_ptr<KernelObject> find_object(HANDLE handle) {
    std::lock_guard lock(g_handles_mutex);
    auto it = g_handles.find(reinterpret_cast<uintptr_t>(handle));
    return it == g_handles.end() ? nullptr : it->second;
}

bool unregister_object(HANDLE handle) {
    std::shared_ptr<KernelObject> released;  // destroyed outside the lock
    std::lock_guard lock(g_handles_mutex);
    auto it = g_handles.find(reinterpret_cast<uintptr_t>(handle));
    if (it == g_handles.end()) return false;
    released = std::move(it->second);
    g_handles.erase(it);
    return true;
}

DWORD attributes_of(const struct stat& st) {
    if (S_ISDIR(st.st_mode)) {
        std::lock_guard lock(g_files_mutex);
        auto it = g_attributes.find(key_of(st));
        DWORD kept = it == g_attributes.end() ? 0 : it->second;
        return FILE_ATTRIBUTE_DIRECTORY | (kept & ~FILE_ATTRIBUTE_NORMAL);
    }
    DWORD attributes = FILE_ATTRIBUTE_ARCHIVE;
    {
        std::lock_guard lock(g_files_mutex);
        auto it = g_attributes.find(key_of(st));
        if (it != g_attributes.end()) attributes = it->second & kKeptBits;
    }
    if (!(st.st_mode & S_IWUSR)) attributes |= FILE_ATTRIBUTE_READONLY;
    if (attributes & ~FILE_ATTRIBUTE_NORMAL) attributes &= ~FILE_ATTRIBUTE_NORMAL;
    if (attributes == 0) attributes = FILE_ATTRIBUTE_NORMAL;
    return attributes;
}

void remember_attributes(const struct stat& st, DWORD attributes) {
    std::lock_guard lock(g_files_mutex);
    g_attributes[key_of(st)] = attributes & (kKeptBits | FILE_ATTRIBUTE_READONLY);
}

void forget_attributes(const struct stat& st) {
    std::lock_guard lock(g_files_mutex);
    g_attributes.erase(key_of(st));
}

FileUse::FileUse(FileKey key, DWORD access, DWORD share, bool mapped)
    : key_(key), access_(access), share_(share), mapped_(mapped) {
    std::lock_guard lock(g_files_mutex);
    g_uses[key_].push_back(this);
}

FileUse::~FileUse() {
    std::lock_guard lock(g_files_mutex);
    auto it = g_uses.find(key_);
    if (it == g_uses.end()) return;
    std::erase(it->second, this);
    if (it->second.empty()) g_uses.erase(it);
}

DWORD sharing_conflict(FileKey key, DWORD access, DWORD share) {
    std::lock_guard lock(g_files_mutex);
    auto it = g_uses.find(key);
    if (it == g_uses.end()) return 0;
    for (const FileUse* use : it->second) {
        if (use->mapped_) continue;
        if ((reads(access) && !(use->share_ & FILE_SHARE_READ)) || (writes(access) && !(use->share_ & FILE_SHARE_WRITE)) ||
            (reads(use->access_) && !(share & FILE_SHARE_READ)) || (writes(use->access_) && !(share & FILE_SHARE_WRITE)))
            return ERROR_SHARING_VIOLATION;
    }
    return 0;
}

DWORD deletion_conflict(FileKey key) {
    std::lock_guard lock(g_files_mutex);
    auto it = g_uses.find(key);
    if (it == g_uses.end()) return 0;
    for (const FileUse* use : it->second)
        if (use->mapped_) return ERROR_ACCESS_DENIED;
    for (const FileUse* use : it->second)
        if (!(use->share_ & FILE_SHARE_DELETE)) return ERROR_SHARING_VIOLATION;
    return 0;
}

DWORD truncation_conflict(FileKey key) {
    std::lock_guard lock(g_files_mutex);
    auto it = g_uses.find(key);
    if (it == g_uses.end()) return 0;
    for (const FileUse* use : it->second)
        if (use->mapped_) return ERROR_USER_MAPPED_FILE;
    return 0;
}

// 100-ns intervals between 1601-01-01 and 1970-01-01.
constexpr int64_t kEpochDifference = 116444736000000000LL;

FILETIME filetime_from_timespec(const struct timespec& ts) {
    int64_t value = static_cast<int64_t>(ts.tv_sec) * 10000000LL + ts.tv_nsec / 100 + kEpochDifference;
    if (value < 0) value = 0;
    return {static_cast<DWORD>(value & 0xFFFFFFFF), static_cast<DWORD>(static_cast<uint64_t>(value) >> 32)};
}

struct timespec timespec_from_filetime(const FILETIME& ft) {
    int64_t value = static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime) -
                    kEpochDifference;
    struct timespec ts;
    ts.tv_sec = static_cast<time_t>(value / 10000000LL);
    int64_t rest = value % 10000000LL;
    if (rest < 0) {
        rest += 10000000LL;
        --ts.tv_sec;
    }
    ts.tv_nsec = static_cast<long>(rest * 100);
    return ts;
}

bool file_in_use(FileKey key) {
    std::lock_guard lock(g_files_mutex);
    return g_uses.count(key) != 0 || g_pins.count(key) != 0;
}

void pin_mapped_file(dev_t dev, ino_t ino) {
    std::lock_guard lock(g_files_mutex);
    ++g_pins[FileKey{dev, ino}];
}

void unpin_mapped_file(dev_t dev, ino_t ino) {
    std::lock_guard lock(g_files_mutex);
    auto it = g_pins.find(FileKey{dev, ino});
    if (it != g_pins.end() && --it->second == 0) g_pins.erase(it);
}

}  // namespace qv::posix
