// FindFirstFileW and friends, with the wildcard rules of Windows.

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cwchar>
#include <string>
#include <vector>

#include "platform/posix/kernel/files.h"
#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/memory.h"
#include "platform/posix/kernel/paths.h"

using namespace qv::posix;

namespace {

// Windows turns a search pattern into an expression with three extra
// wildcards before matching: DOS_STAR (a * before a dot: anything up to the
// name's last dot), DOS_QM (every ?: one character, or none at a dot or at
// the end) and DOS_DOT (a dot before a wildcard or at the end: a dot, or
// nothing at the end of the name).
constexpr wchar_t kDosStar = 1, kDosQm = 2, kDosDot = 3;

std::wstring translate_pattern(std::wstring pattern) {
    if (pattern == L"*.*") return L"*";
    std::wstring out;
    for (size_t i = 0; i < pattern.size(); ++i) {
        wchar_t c = pattern[i];
        wchar_t next = i + 1 < pattern.size() ? pattern[i + 1] : 0;
        if (c == L'?') out += kDosQm;
        else if (c == L'*' && next == L'.') out += kDosStar;
        else if (c == L'.' && (next == L'?' || next == L'*' || next == 0)) out += kDosDot;
        else out += c;
    }
    return out;
}

class Matcher {
public:
    Matcher(const std::wstring& expression, const std::wstring& name)
        : expr_(expression), name_(name), memo_((expression.size() + 1) * (name.size() + 1), -1) {
        last_dot_ = name.rfind(L'.');
    }
    bool matches() { return match(0, 0); }

private:
    bool match(size_t p, size_t n) {
        signed char& seen = memo_[p * (name_.size() + 1) + n];
        if (seen >= 0) return seen != 0;
        bool result = compute(p, n);
        seen = result ? 1 : 0;
        return result;
    }

    bool compute(size_t p, size_t n) {
        const size_t N = name_.size();
        if (p == expr_.size()) return n == N;
        wchar_t c = expr_[p];
        switch (c) {
            case L'*': return match(p + 1, n) || (n < N && match(p, n + 1));
            case kDosStar:
                return match(p + 1, n) || (n < N && (last_dot_ == std::wstring::npos || n < last_dot_) && match(p, n + 1));
            case kDosQm:
                if (n == N || name_[n] == L'.') return match(p + 1, n);
                return match(p + 1, n + 1);
            case kDosDot:
                if (n == N) return match(p + 1, n);
                return name_[n] == L'.' && match(p + 1, n + 1);
            default: return n < N && upper_char(c) == upper_char(name_[n]) && match(p + 1, n + 1);
        }
    }

    const std::wstring& expr_;
    const std::wstring& name_;
    std::vector<signed char> memo_;
    size_t last_dot_;
};

// The entry as a search shows it; `known` is its stat when the caller has it.
bool fill(const std::string& folder, const std::string& name, const std::wstring& wide_name, WIN32_FIND_DATAW& data,
          const struct stat* known = nullptr) {
    if (wide_name.size() >= MAX_PATH) return false;
    struct stat st;
    if (known) {
        st = *known;
    } else {
        std::string full = folder == "/" ? "/" + name : folder + "/" + name;
        if (!memory_stat(full, st) && stat(full.c_str(), &st) != 0 && lstat(full.c_str(), &st) != 0) return false;
    }
    data = WIN32_FIND_DATAW{};
    data.dwFileAttributes = attributes_of(st);
    data.ftCreationTime = filetime_from_timespec(st.st_mtim);
    data.ftLastAccessTime = filetime_from_timespec(st.st_atim);
    data.ftLastWriteTime = filetime_from_timespec(st.st_mtim);
    if (!S_ISDIR(st.st_mode)) {
        auto size = static_cast<uint64_t>(st.st_size);
        data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
        data.nFileSizeLow = static_cast<DWORD>(size & 0xFFFFFFFF);
    }
    std::wmemcpy(data.cFileName, wide_name.c_str(), wide_name.size() + 1);
    return true;
}

std::wstring folded(const std::wstring& name) {
    std::wstring out = name;
    for (wchar_t& c : out) c = upper_char(c);
    return out;
}

// Hands out the first entry of a search and a handle for the rest; a search
// that found nothing fails with ERROR_FILE_NOT_FOUND.
HANDLE start_search(std::shared_ptr<FindObject> search, WIN32_FIND_DATAW& first) {
    if (search->entries.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    first = search->entries[0];
    search->next = 1;
    HANDLE handle = register_object(std::move(search));
    SetLastError(ERROR_SUCCESS);
    return handle;
}

}  // namespace

HANDLE FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData) {
    flush_all_pending();  // sizes as written so far
    MappedPath checked = map_path(lpFileName, true);
    if (!checked.ok) return INVALID_HANDLE_VALUE;
    if (!lpFindFileData) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    std::wstring text = lpFileName;
    size_t separator = text.find_last_of(L"\\/");
    std::wstring folder_part;
    std::wstring pattern;
    if (separator == std::wstring::npos) {
        if (text.size() >= 2 && text[1] == L':') {
            folder_part = text.substr(0, 2) + L"\\";
            pattern = text.substr(2);
        } else {
            folder_part = L".";
            pattern = text;
        }
    } else {
        folder_part = text.substr(0, separator + 1);
        pattern = text.substr(separator + 1);
    }
    auto search = std::make_shared<FindObject>();
    WIN32_FIND_DATAW data;
    // A plain name of an entry that exists, the common case: its folder is
    // the one it was found in, and mapping has its stat already.
    const bool plain = !pattern.empty() && pattern.find_first_of(L"*?") == std::wstring::npos &&
                       pattern != L"." && pattern != L".." && pattern.back() != L'.' && pattern.back() != L' ';
    if (plain && checked.entry == MappedPath::Entry::present && !S_ISLNK(checked.st.st_mode)) {
        std::string found = name_of(checked.posix);
        if (fill(parent_of(checked.posix), found, from_utf8(found), data, &checked.st))
            search->entries.push_back(data);
        return start_search(std::move(search), *lpFindFileData);
    }

    std::string folder = posix_path_from_windows(folder_part);
    struct stat folder_st;
    if (stat(folder.c_str(), &folder_st) != 0 || !S_ISDIR(folder_st.st_mode)) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    if (pattern.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }

    if (pattern.find_first_of(L"*?") == std::wstring::npos) {
        // A plain name: the one entry it names, in its spelling on disk.
        std::string found = name_of(checked.posix);
        if (parent_of(checked.posix) == folder && fill(folder, found, from_utf8(found), data))
            search->entries.push_back(data);
    } else {
        std::wstring expression = translate_pattern(pattern);
        struct Entry {
            std::wstring wide;
            std::string narrow;
            std::wstring key;  // the name folded to upper case, for the order
        };
        std::vector<Entry> names;
        if (folder != "/") {
            names.push_back({L".", ".", L"."});
            names.push_back({L"..", "..", L".."});
        }
        size_t dots = names.size();
        std::vector<std::string> found;
        if (DIR* dir = opendir(folder.c_str())) {
            while (dirent* entry = readdir(dir)) found.emplace_back(entry->d_name);
            closedir(dir);
        }
        add_memory_names(folder, found);
        for (std::string& name : found) {
            if (name == "." || name == "..") continue;
            std::wstring wide = from_utf8(name);
            if (!Matcher(expression, wide).matches()) continue;
            names.push_back({wide, std::move(name), folded(wide)});
        }
        std::sort(names.begin() + static_cast<std::ptrdiff_t>(dots), names.end(), [](const Entry& a, const Entry& b) {
            return a.key != b.key ? a.key < b.key : a.wide < b.wide;
        });
        for (const Entry& entry : names) {
            if (!Matcher(expression, entry.wide).matches()) continue;
            if (fill(folder, entry.narrow, entry.wide, data)) search->entries.push_back(data);
        }
    }
    return start_search(std::move(search), *lpFindFileData);
}

BOOL FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData) {
    auto search = object_as<FindObject>(hFindFile);
    if (!search) return FALSE;
    if (!lpFindFileData) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (search->next >= search->entries.size()) {
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    }
    *lpFindFileData = search->entries[search->next++];
    return TRUE;
}

BOOL FindClose(HANDLE hFindFile) {
    if (!object_as<FindObject>(hFindFile)) return FALSE;
    unregister_object(hFindFile);
    return TRUE;
}
