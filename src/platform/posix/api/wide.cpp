#include "wide.h"

#include "../kernel/paths.h"

namespace qv::winapi {

std::wstring widen(std::string_view utf8) { return qv::posix::from_utf8(utf8); }

std::string narrow(std::wstring_view text) { return qv::posix::to_utf8(text); }

std::string posix_path_of(std::wstring_view path) {
    const bool windows_form = path.size() >= 2 && path[1] == L':' &&
                              ((path[0] >= L'A' && path[0] <= L'Z') || (path[0] >= L'a' && path[0] <= L'z'));
    return windows_form ? qv::posix::posix_path_from_windows(path) : narrow(path);
}

}  // namespace qv::winapi
