// Inode recycling in the private scratch root.
//
// The content checks extract thousands of files to the temporary folder and
// delete each one again. Creating and deleting that many inodes is costly on
// any file system, and on ext4 without a journal it grows with every recent
// deletion: a new inode is searched for past all those freed in the last
// minutes. So a file deleted there is emptied and moved to a bin instead,
// and the next file created there takes its inode back. Only files nobody
// has open or mapped go to the bin; anything unusual falls back to a plain
// unlink or create.

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/paths.h"

namespace qv::posix {

namespace {

constexpr size_t kBinCapacity = 32;

std::mutex g_bin_lock;
std::vector<std::string> g_bin;  // paths of emptied files, last in first out
uint64_t g_bin_counter = 0;
bool g_recycling = true;  // off once the file system refuses a step

const std::string& bin_folder() {
    static const std::string folder = scratch_root() + "/.bin";
    return folder;
}

}  // namespace

bool recycle_deleted(const std::string& posix_path, const struct stat& st) {
    if (!S_ISREG(st.st_mode) || st.st_nlink != 1 || !is_private_path(posix_path) || file_in_use(key_of(st)))
        return false;
    std::lock_guard lock(g_bin_lock);
    if (!g_recycling || g_bin.size() >= kBinCapacity) return false;
    if (g_bin_counter == 0 && mkdir(bin_folder().c_str(), 0700) != 0 && errno != EEXIST) {  // first use
        g_recycling = false;
        return false;
    }
    // Emptied first: the bin holds inodes, not bytes. Emptied through a
    // descriptor closed at once: ext4 marks a file cut to nothing for a flush
    // at its next close, which would otherwise write the next content to disk
    // when it is closed. A failed move leaves the emptied file for the caller
    // to unlink.
    const int fd = open(posix_path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (fd < 0) return false;
    close(fd);
    std::string kept = bin_folder() + "/" + std::to_string(++g_bin_counter);
    if (rename(posix_path.c_str(), kept.c_str()) != 0) return false;
    g_bin.push_back(std::move(kept));
    return true;
}

int reuse_recycled(const std::string& posix_path, int access_flags) {
    std::string kept;
    {
        std::lock_guard lock(g_bin_lock);
        if (!g_recycling || g_bin.empty() || !is_private_path(posix_path)) return -1;
        kept = std::move(g_bin.back());
        g_bin.pop_back();
    }
    // Never over an entry that exists: the caller's own create then reports it.
    if (renameat2(AT_FDCWD, kept.c_str(), AT_FDCWD, posix_path.c_str(), RENAME_NOREPLACE) != 0) {
        const int error = errno;
        std::lock_guard lock(g_bin_lock);
        if (error == EEXIST) {
            g_bin.push_back(std::move(kept));
        } else {  // no such rename here: create and delete as usual from now on
            g_recycling = false;
            unlink(kept.c_str());
        }
        return -1;
    }
    const int fd = open(posix_path.c_str(), access_flags | O_CLOEXEC);
    if (fd < 0) {
        unlink(posix_path.c_str());
        return -1;
    }
    // A new file's times are those of its creation.
    futimens(fd, nullptr);
    return fd;
}

}  // namespace qv::posix
