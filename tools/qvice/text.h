// UTF-8 conversions for the command line and its output.
#pragma once

#include <string>
#include <string_view>

#include "platform/posix/kernel/paths.h"

namespace qvice {

inline std::string Utf8(std::wstring_view text) { return qv::posix::to_utf8(text); }
inline std::wstring Wide(std::string_view text) { return qv::posix::from_utf8(text); }

}  // namespace qvice
