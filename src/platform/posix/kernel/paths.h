// Windows paths over the POSIX file system, and UTF-8 text.
//
// Drive Z: is the POSIX root, so "/home/u/p/x.msi" is "Z:\home\u\p\x.msi".
// Every other drive letter (C:\ and the like, also UNC paths) lives in a
// private scratch folder of this process, so paths of the reference machine
// lead somewhere harmless. Components are matched against existing entries
// without regard to case, as Windows does; from the first component that
// does not exist on, the given spelling is kept.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qv::posix {

// UTF-8 <-> wide text (one code point per wchar_t). A wide value that is not
// a Unicode scalar value, and an ill-formed UTF-8 sequence, become U+FFFD.
std::string to_utf8(std::wstring_view text);
std::wstring from_utf8(std::string_view text);

// "/home/u/p/x.msi" -> L"Z:\\home\\u\\p\\x.msi". A relative path is taken
// from the current folder first.
std::wstring windows_path_from_posix(const std::string& posix_path);

// Windows-form path -> POSIX path. Forward and back slashes both separate;
// "." and empty components are dropped, ".." goes up (never above the root),
// trailing dots and blanks of a component are dropped as Windows does. A
// path without a drive is taken from the current folder, one that starts
// with a single separator from the root of Z:.
std::string posix_path_from_windows(std::wstring_view windows_path);

// The private folder of this process (POSIX form, no closing slash), made
// at first use under $TMPDIR or /tmp and removed when the process exits.
const std::string& scratch_root();
// The temporary folder that GetTempPathW shows: <scratch_root>/Temp.
const std::string& temp_folder();
// A read-only mapping of a whole file made outside the kernel's handles:
// while one is pinned, deleting the file leaves its inode alone.
void pin_mapped_file(dev_t dev, ino_t ino);
void unpin_mapped_file(dev_t dev, ino_t ino);

// The bytes of the file at this exact path when the kernel keeps it in
// memory (see memory.h), else null: readers that open POSIX paths ask first.
std::shared_ptr<const std::vector<uint8_t>> memory_file_bytes(const std::string& posix_path);

// Gives a file in memory, open for writing through the kernel handle
// `file`, still empty and at its start, these bytes as its content without a
// copy (later changes copy them first). False, with nothing done, for any
// other file.
bool adopt_memory_bytes(void* file, std::shared_ptr<const std::vector<uint8_t>> bytes);
// The ContentHash (content_hash.h) of a file in memory open through the
// kernel handle `file`, when it was written front to back from empty; false
// for any other file, whose bytes must then be read to hash them.
bool memory_content_hash(void* file, uint64_t& hash);

// Removes this process's scratch root now, with all it holds. For a process
// that ends through _exit, which skips the removal at exit.
void remove_scratch_root_now();

}  // namespace qv::posix
