// Files kept in memory (see memory.h).

#include "platform/posix/kernel/memory.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <unordered_map>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/paths.h"

namespace qv::posix {

namespace {

// Past this many bytes held, new files go to disk again.
std::atomic<uint64_t> g_memory_budget{uint64_t{256} << 20};
// No file in memory grows past this; a write that would fails as on a full disk.
constexpr uint64_t kLargestFile = uint64_t{1} << 36;

std::mutex g_memory_lock;  // the store and every file's content
std::unordered_map<std::string, std::shared_ptr<MemoryFile>> g_files;
std::unordered_map<std::string, std::vector<std::string>> g_names;  // folder -> names
std::atomic<uint64_t> g_bytes_held{0};
std::atomic<ino_t> g_next_ino{1};

struct timespec now() {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return ts;
}

// The buffers of large files that went, kept for the next large file: it
// then grows into pages already in place, with no copy at each doubling.
// (A package's embedded cabinets are copied to the temporary folder once per
// check that reads them.)
constexpr size_t kSpareMin = size_t{1} << 20;
constexpr size_t kSpareBytes = size_t{128} << 20;
std::mutex g_spare_lock;
std::vector<std::vector<uint8_t>> g_spares;

void give_spare(std::vector<uint8_t>&& buffer) {
    if (buffer.capacity() < kSpareMin || buffer.capacity() > kSpareBytes) return;
    buffer.clear();
    std::lock_guard lock(g_spare_lock);
    size_t kept = buffer.capacity();
    for (const auto& spare : g_spares) kept += spare.capacity();
    // Room is made by dropping smaller spares first.
    std::sort(g_spares.begin(), g_spares.end(),
              [](const auto& a, const auto& b) { return a.capacity() > b.capacity(); });
    while (kept > kSpareBytes && !g_spares.empty() && g_spares.back().capacity() < buffer.capacity()) {
        kept -= g_spares.back().capacity();
        g_spares.pop_back();
    }
    if (kept <= kSpareBytes) g_spares.push_back(std::move(buffer));
}

// The smallest spare that holds `size` bytes, or an empty buffer.
std::vector<uint8_t> take_spare(size_t size) {
    std::lock_guard lock(g_spare_lock);
    auto best = g_spares.end();
    for (auto it = g_spares.begin(); it != g_spares.end(); ++it)
        if (it->capacity() >= size && (best == g_spares.end() || it->capacity() < best->capacity())) best = it;
    if (best == g_spares.end()) return {};
    std::vector<uint8_t> taken = std::move(*best);
    g_spares.erase(best);
    return taken;
}

void add_name(const std::string& posix_path) {
    g_names[parent_of(posix_path)].push_back(name_of(posix_path));
}

void remove_name(const std::string& posix_path) {
    auto folder = g_names.find(parent_of(posix_path));
    if (folder == g_names.end()) return;
    auto& names = folder->second;
    names.erase(std::remove(names.begin(), names.end(), name_of(posix_path)), names.end());
    if (names.empty()) g_names.erase(folder);
}

}  // namespace

MemoryFile::MemoryFile(ino_t ino) : ino_(ino), bytes_(std::make_shared<std::vector<uint8_t>>()) {
    atime_ = mtime_ = ctime_ = now();
}

MemoryFile::~MemoryFile() {
    g_bytes_held -= bytes_->size();
    if (bytes_.use_count() == 1) give_spare(std::move(*bytes_));
}

struct stat MemoryFile::stat() const {
    struct stat st {};
    std::lock_guard lock(g_memory_lock);
    settle_times();
    st.st_dev = kMemoryDevice;
    st.st_ino = ino_;
    st.st_mode = mode_;
    st.st_nlink = 1;
    static const uid_t uid = getuid();  // system calls, asked once
    static const gid_t gid = getgid();
    st.st_uid = uid;
    st.st_gid = gid;
    st.st_size = static_cast<off_t>(bytes_->size());
    st.st_blksize = 4096;
    st.st_blocks = static_cast<blkcnt_t>((bytes_->size() + 511) / 512);
    st.st_atim = atime_;
    st.st_mtim = mtime_;
    st.st_ctim = ctime_;
    return st;
}

uint64_t MemoryFile::size() const {
    std::lock_guard lock(g_memory_lock);
    return bytes_->size();
}

size_t MemoryFile::read(uint64_t offset, void* out, size_t count) const {
    std::lock_guard lock(g_memory_lock);
    if (offset >= bytes_->size()) return 0;
    const size_t got = static_cast<size_t>(std::min<uint64_t>(count, bytes_->size() - offset));
    std::memcpy(out, bytes_->data() + offset, got);
    return got;
}

std::vector<uint8_t>& MemoryFile::own() {
    // A snapshot handed out keeps its bytes: change a copy.
    if (bytes_.use_count() > 1) bytes_ = std::make_shared<std::vector<uint8_t>>(*bytes_);
    return *bytes_;
}

void MemoryFile::changed(size_t old_size) {
    // The clock is read when the times are next looked at: a file written
    // in thousands of small pieces reads it once.
    times_due_ = true;
    // One atomic step for the change: a shrink adds its wrapped difference.
    if (bytes_->size() != old_size) g_bytes_held += static_cast<uint64_t>(bytes_->size() - old_size);
}

void MemoryFile::settle_times() const {
    if (!times_due_) return;
    mtime_ = ctime_ = now();
    times_due_ = false;
}

bool MemoryFile::content_hash(uint64_t& hash) const {
    std::lock_guard lock(g_memory_lock);
    if (!hashed_) return false;
    hash = hash_.finish();
    return true;
}

bool MemoryFile::write(uint64_t offset, const void* bytes, size_t count) {
    if (count == 0) return true;  // nothing written, even past the end
    std::lock_guard lock(g_memory_lock);
    const uint64_t end = offset + count;
    if (end < offset || end > kLargestFile) return false;
    try {
        std::vector<uint8_t>& content = own();
        const size_t old_size = content.size();
        const auto* from = static_cast<const uint8_t*>(bytes);
        if (end > content.capacity() && end >= kSpareMin) {
            std::vector<uint8_t> spare = take_spare(static_cast<size_t>(end));
            if (spare.capacity() >= end) {
                spare.assign(content.begin(), content.end());
                content.swap(spare);
            }
        }
        if (offset == old_size) {  // the common case: appended, with no zeros written first
            content.insert(content.end(), from, from + count);
            if (hashed_) hash_.add(from, count);
        } else {
            hashed_ = false;
            if (end > old_size) content.resize(static_cast<size_t>(end));
            std::memcpy(content.data() + offset, from, count);
        }
        changed(old_size);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool MemoryFile::resize(uint64_t size) {
    std::lock_guard lock(g_memory_lock);
    if (size > kLargestFile) return false;
    try {
        std::vector<uint8_t>& content = own();
        const size_t old_size = content.size();
        content.resize(static_cast<size_t>(size));
        if (size == 0) {
            hash_ = ContentHash();
            hashed_ = true;
        } else if (size != old_size) {
            hashed_ = false;
        }
        changed(old_size);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void MemoryFile::set_times(const struct timespec* access, const struct timespec* write) {
    std::lock_guard lock(g_memory_lock);
    settle_times();
    if (access) atime_ = *access;
    if (write) mtime_ = *write;
    ctime_ = now();
}

void MemoryFile::set_read_only(bool on) {
    std::lock_guard lock(g_memory_lock);
    settle_times();
    mode_ = on ? mode_ & ~(S_IWUSR | S_IWGRP | S_IWOTH) : mode_ | S_IWUSR;
    ctime_ = now();
}

bool MemoryFile::adopt(std::shared_ptr<const std::vector<uint8_t>> bytes) {
    std::lock_guard lock(g_memory_lock);
    if (!bytes || !bytes_->empty()) return false;
    hashed_ = false;
    // Shared with the giver, so own() copies them before a change.
    bytes_ = std::const_pointer_cast<std::vector<uint8_t>>(std::move(bytes));
    changed(0);
    return true;
}

std::shared_ptr<const std::vector<uint8_t>> MemoryFile::snapshot() const {
    std::lock_guard lock(g_memory_lock);
    return bytes_;
}

bool in_memory_area(const std::string& posix_path, bool within_budget) {
    const std::string& temp = temp_folder();
    return posix_path.size() > temp.size() + 1 && posix_path.compare(0, temp.size(), temp) == 0 &&
           posix_path[temp.size()] == '/' && is_private_path(posix_path) && (!within_budget || g_bytes_held < g_memory_budget);
}

uint64_t set_memory_budget(uint64_t bytes) { return g_memory_budget.exchange(bytes); }

std::shared_ptr<MemoryFile> find_memory_file(const std::string& posix_path) {
    std::lock_guard lock(g_memory_lock);
    if (g_files.empty()) return nullptr;
    auto it = g_files.find(posix_path);
    return it == g_files.end() ? nullptr : it->second;
}

bool memory_stat(const std::string& posix_path, struct stat& st) {
    auto file = find_memory_file(posix_path);
    if (!file) return false;
    st = file->stat();
    return true;
}

std::shared_ptr<MemoryFile> create_memory_file(const std::string& posix_path) {
    auto file = std::make_shared<MemoryFile>(g_next_ino++);
    return link_memory_file(posix_path, file) ? file : nullptr;
}

bool link_memory_file(const std::string& posix_path, std::shared_ptr<MemoryFile> file) {
    std::lock_guard lock(g_memory_lock);
    auto [it, added] = g_files.try_emplace(posix_path, std::move(file));
    if (added) add_name(posix_path);
    return added;
}

bool remove_memory_file(const std::string& posix_path) {
    std::lock_guard lock(g_memory_lock);
    if (g_files.erase(posix_path) == 0) return false;
    remove_name(posix_path);
    return true;
}

void add_memory_names(const std::string& folder, std::vector<std::string>& names) {
    std::lock_guard lock(g_memory_lock);
    auto it = g_names.find(folder);
    if (it != g_names.end()) names.insert(names.end(), it->second.begin(), it->second.end());
}

bool folder_has_memory_files(const std::string& folder) {
    std::lock_guard lock(g_memory_lock);
    return g_names.count(folder) != 0;
}

void clear_memory_files() {
    std::unordered_map<std::string, std::shared_ptr<MemoryFile>> files;  // freed after the lock
    std::lock_guard lock(g_memory_lock);
    files.swap(g_files);
    g_names.clear();
}

std::shared_ptr<const std::vector<uint8_t>> memory_file_bytes(const std::string& posix_path) {
    auto file = find_memory_file(posix_path);
    return file ? file->snapshot() : nullptr;
}

}  // namespace qv::posix
