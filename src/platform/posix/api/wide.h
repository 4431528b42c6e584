// Text and path conversions used by the API layer.
#pragma once

#include <string>
#include <string_view>

namespace qv::winapi {

std::wstring widen(std::string_view utf8);
std::string narrow(std::wstring_view text);
// A path given to the API, either POSIX or in Windows form ("Z:\dir\x.msi"),
// as a POSIX path.
std::string posix_path_of(std::wstring_view path);

}  // namespace qv::winapi
