// Windows paths over the POSIX file system.

#include "platform/posix/kernel/paths.h"

#include <dirent.h>
#include <ftw.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/memory.h"

namespace qv::posix {

namespace {

void append_utf8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

bool is_separator(wchar_t c) { return c == L'\\' || c == L'/'; }

std::string current_folder() {
    std::vector<char> buffer(4096);
    while (!getcwd(buffer.data(), buffer.size())) {
        if (errno != ERANGE) return "/";
        buffer.resize(buffer.size() * 2);
    }
    return buffer.data();
}

// Splits a POSIX path into its components (no empty ones).
std::vector<std::string> posix_components(const std::string& path) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) end = path.size();
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

std::string join(const std::string& folder, const std::string& name) {
    if (folder.empty() || folder.back() == '/') return folder + name;
    return folder + "/" + name;
}

std::string g_scratch_root;
std::string g_temp_folder;
pid_t g_scratch_owner = 0;
// The scratch root is this process's own (not one inherited over fork).
bool g_scratch_private = false;

// Listings of the folders under the private scratch root, kept between
// lookups: a name that does not exist there yet (a file about to be created)
// then costs no read of the folder. Only this process writes in its scratch
// root, and every change the kernel makes there updates the listing; a
// listing whose folder shows another identity or change time is read again.
struct Listing {
    dev_t dev;
    ino_t ino;
    struct timespec mtime;
    struct timespec ctime;
    std::vector<std::string> names;
};

constexpr size_t kMaxListings = 64;
std::mutex g_listings_lock;
std::unordered_map<std::string, Listing> g_listings;

bool same_time(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool matches_stamp(const Listing& listing, const struct stat& st) {
    return listing.dev == st.st_dev && listing.ino == st.st_ino && same_time(listing.mtime, st.st_mtim) &&
           same_time(listing.ctime, st.st_ctim);
}

void stamp(Listing& listing, const struct stat& st) {
    listing.dev = st.st_dev;
    listing.ino = st.st_ino;
    listing.mtime = st.st_mtim;
    listing.ctime = st.st_ctim;
}

bool is_private(const std::string& folder) {
    const std::string& root = g_scratch_root;
    return g_scratch_private && !root.empty() && folder.size() >= root.size() &&
           folder.compare(0, root.size(), root) == 0 && (folder.size() == root.size() || folder[root.size()] == '/');
}

bool read_folder(const std::string& folder, std::vector<std::string>& names) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) return false;
    while (dirent* entry = readdir(dir)) {
        std::string_view candidate = entry->d_name;
        if (candidate != "." && candidate != "..") names.emplace_back(candidate);
    }
    closedir(dir);
    if (is_private(folder)) add_memory_names(folder, names);
    return true;
}

// `name` itself when `names` has it, else the first of `names` equal to it
// without regard to case, in byte order.
bool pick_entry(const std::vector<std::string>& names, const std::string& name, std::string& found) {
    if (std::find(names.begin(), names.end(), name) != names.end()) {  // the exact spelling first
        found = name;
        return true;
    }
    bool any = false;
    for (const std::string& candidate : names) {
        if (names_equal_ignoring_case(candidate, name) && (!any || candidate < found)) {
            found = candidate;
            any = true;
        }
    }
    return any;
}

// The entry of `folder` named `name` without regard to case: the exact
// spelling when it exists, else the first match in byte order, else none.
// `folder_st`, when given, is the folder's lstat: the folder's listing is
// then read once and kept while the stamp matches.
bool find_entry(const std::string& folder, const std::string& name, std::string& found,
                const struct stat* folder_st = nullptr) {
    if (!folder_st) {
        struct stat st;
        const std::string path = join(folder, name);
        if (memory_stat(path, st) || lstat(path.c_str(), &st) == 0) {
            found = name;
            return true;
        }
    } else if (is_private(folder)) {
        std::lock_guard lock(g_listings_lock);
        auto it = g_listings.find(folder);
        if (it == g_listings.end() || !matches_stamp(it->second, *folder_st)) {
            Listing listing{};
            if (!read_folder(folder, listing.names)) return false;
            stamp(listing, *folder_st);
            if (g_listings.size() >= kMaxListings) g_listings.clear();
            it = g_listings.insert_or_assign(folder, std::move(listing)).first;
        }
        return pick_entry(it->second.names, name, found);
    }
    std::vector<std::string> names;
    return read_folder(folder, names) && pick_entry(names, name, found);
}

// 1 when the kept listing of `folder` has an entry named `name` without
// regard to case (its spelling in `found`, as pick_entry chooses it), 0 when
// it has none, -1 when no listing is kept.
int listed_entry(const std::string& folder, const std::string& name, std::string& found) {
    std::lock_guard lock(g_listings_lock);
    auto it = g_listings.find(folder);
    if (it == g_listings.end()) return -1;
    return pick_entry(it->second.names, name, found) ? 1 : 0;
}

// Brings the listing of the folder of `posix_path`, if one is kept, up to
// date with a change this process has just made.
void note_change(const std::string& posix_path, bool added, bool on_disk) {
    const size_t slash = posix_path.find_last_of('/');
    if (slash == std::string::npos) return;
    const std::string folder = slash == 0 ? "/" : posix_path.substr(0, slash);
    const std::string name = posix_path.substr(slash + 1);
    std::lock_guard lock(g_listings_lock);
    if (!added) g_listings.erase(posix_path);  // a removed folder's own listing
    auto it = g_listings.find(folder);
    if (it == g_listings.end()) return;
    struct stat st;
    if (on_disk && lstat(folder.c_str(), &st) != 0) {
        g_listings.erase(it);
        return;
    }
    auto& names = it->second.names;
    auto at = std::find(names.begin(), names.end(), name);
    if (added && at == names.end()) names.push_back(name);
    if (!added && at != names.end()) names.erase(at);
    if (on_disk) stamp(it->second, st);
}

int remove_entry(const char* path, const struct stat*, int, struct FTW*) {
    ::remove(path);
    return 0;
}

void remove_scratch_root() {
    if (g_scratch_owner == getpid() && !g_scratch_root.empty())
        nftw(g_scratch_root.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

void make_scratch_root() {
    std::string base = "/tmp";
    if (const char* tmpdir = std::getenv("TMPDIR")) {
        struct stat st;
        if (tmpdir[0] == '/' && stat(tmpdir, &st) == 0 && S_ISDIR(st.st_mode)) base = tmpdir;
    }
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    std::string pattern = join(base, "qvice-XXXXXX");
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data())) {
        // Nowhere to write: the folder names still map, and every file
        // operation under them fails with the error of the missing folder.
        g_scratch_root = pattern;
    } else {
        g_scratch_root = buffer.data();
        g_scratch_owner = getpid();
        g_scratch_private = true;
        pthread_atfork(nullptr, nullptr, [] { g_scratch_private = false; });
        std::atexit(remove_scratch_root);
    }
    g_temp_folder = g_scratch_root + "/Temp";
    mkdir(g_temp_folder.c_str(), 0700);
}

std::once_flag g_scratch_once;

}  // namespace

std::string to_utf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t c : text) append_utf8(out, static_cast<char32_t>(c));
    return out;
}

std::wstring from_utf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        unsigned char b = static_cast<unsigned char>(text[i]);
        if (b < 0x80) {
            out += static_cast<wchar_t>(b);
            ++i;
            continue;
        }
        int length = 0;
        char32_t c = 0;
        unsigned char low = 0x80, high = 0xBF;
        if (b >= 0xC2 && b <= 0xDF) {
            length = 2;
            c = b & 0x1F;
        } else if (b >= 0xE0 && b <= 0xEF) {
            length = 3;
            c = b & 0x0F;
            if (b == 0xE0) low = 0xA0;
            if (b == 0xED) high = 0x9F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            length = 4;
            c = b & 0x07;
            if (b == 0xF0) low = 0x90;
            if (b == 0xF4) high = 0x8F;
        } else {
            out += L'\xFFFD';
            ++i;
            continue;
        }
        // The longest well-formed prefix of an ill-formed sequence becomes
        // one U+FFFD.
        size_t j = i + 1;
        bool good = true;
        for (int k = 1; k < length; ++k, ++j) {
            unsigned char t = j < n ? static_cast<unsigned char>(text[j]) : 0;
            unsigned char lo = k == 1 ? low : 0x80, hi = k == 1 ? high : 0xBF;
            if (j >= n || t < lo || t > hi) {
                good = false;
                break;
            }
            c = (c << 6) | (t & 0x3F);
        }
        out += good ? static_cast<wchar_t>(c) : L'\xFFFD';
        i = j;
    }
    return out;
}

std::wstring windows_path_from_posix(const std::string& posix_path) {
    std::string absolute = posix_path;
    if (absolute.empty() || absolute[0] != '/') absolute = join(current_folder(), absolute);
    std::wstring out = L"Z:";
    for (const std::string& part : posix_components(absolute)) {
        out += L'\\';
        out += from_utf8(part);
    }
    if (out.size() == 2) out += L'\\';
    return out;
}

namespace {

// Maps a Windows path (see posix_path_from_windows) into `mapped.posix`,
// with what was learned of the entry on the way.
void map_windows(std::wstring_view path, MappedPath& mapped) {
    // The long-path prefix \\?\ changes nothing here.
    if (path.size() >= 4 && is_separator(path[0]) && is_separator(path[1]) && path[2] == L'?' &&
        is_separator(path[3]))
        path.remove_prefix(4);

    std::string root;
    if (path.size() >= 2 && path[1] == L':' &&
        ((path[0] >= L'A' && path[0] <= L'Z') || (path[0] >= L'a' && path[0] <= L'z'))) {
        wchar_t drive = path[0] | 0x20;
        root = drive == L'z' ? "/" : scratch_root() + "/" + static_cast<char>(drive);
        path.remove_prefix(2);
    } else if (path.size() >= 2 && is_separator(path[0]) && is_separator(path[1])) {
        root = scratch_root() + "/unc";
        path.remove_prefix(2);
    } else if (!path.empty() && is_separator(path[0])) {
        root = "/";
    } else {
        root = current_folder();
    }

    // Resolve the components lexically first, then match them on disk.
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = start;
        while (end < path.size() && !is_separator(path[end])) ++end;
        std::wstring_view part = path.substr(start, end - start);
        start = end + 1;
        if (part == L"..") {
            if (!parts.empty()) parts.pop_back();
            continue;
        }
        if (part == L".") continue;
        while (!part.empty() && (part.back() == L'.' || part.back() == L' ')) part.remove_suffix(1);
        if (part.empty()) continue;
        parts.push_back(to_utf8(part));
    }

    // A path that exists as spelled needs no matching: each of its folders
    // exists as spelled too. Nor do the folders of a new file's path.
    std::string exact = root;
    for (const std::string& part : parts) exact = join(exact, part);
    if (memory_stat(exact, mapped.st)) {
        mapped.entry = MappedPath::Entry::present;
        mapped.posix = std::move(exact);
        return;
    }
    std::string parent = root;
    for (size_t i = 0; i + 1 < parts.size(); ++i) parent = join(parent, parts[i]);
    struct stat parent_st;
    // Below the temporary folder, where files come and go by the thousand,
    // the folder's listing answers for the name. Only the kernel changes the
    // folders there and it keeps their listings current, so a listing once
    // read is taken as it is; a new name then costs no system call at all.
    if (parts.size() > 1 && in_memory_area(exact, false)) {
        std::string actual;
        int listed = listed_entry(parent, parts.back(), actual);
        if (listed < 0 && lstat(parent.c_str(), &parent_st) == 0 && S_ISDIR(parent_st.st_mode))
            listed = find_entry(parent, parts.back(), actual, &parent_st) ? 1 : 0;
        if (listed == 0) {
            mapped.entry = MappedPath::Entry::absent;
            mapped.posix = std::move(exact);
            return;
        }
        if (listed == 1) {
            mapped.posix = join(parent, actual);
            if (memory_stat(mapped.posix, mapped.st) || lstat(mapped.posix.c_str(), &mapped.st) == 0)
                mapped.entry = MappedPath::Entry::present;
            return;
        }
    }
    if (lstat(exact.c_str(), &mapped.st) == 0) {
        mapped.entry = MappedPath::Entry::present;
        mapped.posix = std::move(exact);
        return;
    }
    std::string result = root;
    size_t matched = 0;
    bool parent_known = false;
    if (parts.size() > 1) {
        if (lstat(parent.c_str(), &parent_st) == 0 && S_ISDIR(parent_st.st_mode)) {
            result = parent;
            matched = parts.size() - 1;
            parent_known = true;
        }
    }
    bool exists = true;
    for (size_t i = matched; i < parts.size(); ++i) {
        const std::string& part = parts[i];
        std::string actual = part;
        // The last name, in a folder that exists as spelled, is known not
        // to exist as spelled itself.
        if (exists) exists = find_entry(result, part, actual, parent_known && i == matched ? &parent_st : nullptr);
        result = join(result, exists ? actual : part);
        if (!exists && parent_known && i == matched) mapped.entry = MappedPath::Entry::absent;
    }
    mapped.posix = std::move(result);
}

}  // namespace

std::string posix_path_from_windows(std::wstring_view path) {
    MappedPath mapped;
    map_windows(path, mapped);
    return std::move(mapped.posix);
}


const std::string& scratch_root() {
    std::call_once(g_scratch_once, make_scratch_root);
    return g_scratch_root;
}

void remove_scratch_root_now() {
    remove_scratch_root();
    clear_memory_files();
    std::lock_guard lock(g_listings_lock);
    g_listings.clear();
}

const std::string& temp_folder() {
    std::call_once(g_scratch_once, make_scratch_root);
    return g_temp_folder;
}

std::string parent_of(const std::string& posix_path) {
    size_t slash = posix_path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return posix_path.substr(0, slash);
}

std::string name_of(const std::string& posix_path) {
    size_t slash = posix_path.find_last_of('/');
    return slash == std::string::npos ? posix_path : posix_path.substr(slash + 1);
}

MappedPath map_path(LPCWSTR path, bool wildcards_in_last) {
    MappedPath mapped;
    if (!path) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return mapped;
    }
    std::wstring_view text = path;
    if (text.empty()) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return mapped;
    }
    std::wstring_view body = text;
    if (body.size() >= 4 && is_separator(body[0]) && is_separator(body[1]) && body[2] == L'?' &&
        is_separator(body[3]))
        body.remove_prefix(4);
    if (body.size() >= 2 && body[1] == L':') body.remove_prefix(2);
    size_t last_separator = body.find_last_of(L"\\/");
    size_t last_start = last_separator == std::wstring_view::npos ? 0 : last_separator + 1;
    for (size_t i = 0; i < body.size(); ++i) {
        wchar_t c = body[i];
        bool wildcard = c == L'*' || c == L'?';
        if (c < 32 || c == L'<' || c == L'>' || c == L'"' || c == L'|' || c == L':' ||
            (wildcard && !(wildcards_in_last && i >= last_start))) {
            SetLastError(ERROR_INVALID_NAME);
            return mapped;
        }
    }
    map_windows(text, mapped);
    mapped.ok = true;
    return mapped;
}

namespace {

// The stat of a mapped path from what mapping learned; a symbolic link is
// followed by asking again.
int mapped_stat(const MappedPath& mapped, struct stat& st, bool follow) {
    if (mapped.entry == MappedPath::Entry::present && !(follow && S_ISLNK(mapped.st.st_mode))) {
        st = mapped.st;
        return 0;
    }
    if (mapped.entry == MappedPath::Entry::absent) {
        errno = ENOENT;
        return -1;
    }
    if (memory_stat(mapped.posix, st)) return 0;
    return follow ? stat(mapped.posix.c_str(), &st) : lstat(mapped.posix.c_str(), &st);
}

}  // namespace

int stat_mapped(const MappedPath& mapped, struct stat& st) { return mapped_stat(mapped, st, true); }
int lstat_mapped(const MappedPath& mapped, struct stat& st) { return mapped_stat(mapped, st, false); }

void set_mapped_error(int error, const MappedPath& mapped) {
    if (error == ENOENT && mapped.entry == MappedPath::Entry::absent)
        SetLastError(ERROR_FILE_NOT_FOUND);
    else
        set_error_from_errno(error, mapped.posix);
}

bool is_private_path(const std::string& posix_path) { return is_private(parent_of(posix_path)); }

bool is_folder(const std::string& posix_path) {
    {
        std::lock_guard lock(g_listings_lock);
        if (g_listings.count(posix_path)) return true;
    }
    struct stat st;
    return lstat(posix_path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void note_entry_added(const std::string& posix_path, bool on_disk) { note_change(posix_path, true, on_disk); }
void note_entry_removed(const std::string& posix_path, bool on_disk) { note_change(posix_path, false, on_disk); }

}  // namespace qv::posix
