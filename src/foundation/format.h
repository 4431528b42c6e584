// printf-style formatting of wide text with the library's conventions:
// %s takes a wide string (as the wide printf functions of Windows do), %d
// and %i signed, %u unsigned, %x %X hexadecimal, %o octal, %c a character,
// %% a percent sign; flags - + blank 0 #, width and precision as in printf,
// length modifiers (h, l, ll, I64, z, w) are accepted and ignored.
//
// Arguments are typed (no C varargs): wide pointers, _stringx of either
// instance and integers. A null text prints as "(null)". An argument of the
// wrong kind prints as the value it converts to (a number as decimal text,
// a text as 0); a missing one prints nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "foundation/stringx.h"

namespace qv {

struct FormatArg {
    enum class Kind { Text, Signed, Unsigned };
    Kind kind;
    const wchar_t* text;
    size_t textLength;
    int64_t number;
};

inline FormatArg MakeFormatArg(const wchar_t* text)
{
    return {FormatArg::Kind::Text, text, text ? std::char_traits<wchar_t>::length(text) : 0, 0};
}
inline FormatArg MakeFormatArg(wchar_t* text) { return MakeFormatArg(static_cast<const wchar_t*>(text)); }
template <class T>
FormatArg MakeFormatArg(const _stringx<T>& text)
{
    return {FormatArg::Kind::Text, text.c_str(), text.size(), 0};
}
template <class N, std::enable_if_t<std::is_integral_v<N> || std::is_enum_v<N>, int> = 0>
FormatArg MakeFormatArg(N value)
{
    if constexpr (std::is_enum_v<N>) {
        return {FormatArg::Kind::Signed, nullptr, 0, static_cast<int64_t>(value)};
    } else if constexpr (std::is_signed_v<N>) {
        return {FormatArg::Kind::Signed, nullptr, 0, static_cast<int64_t>(value)};
    } else {
        return {FormatArg::Kind::Unsigned, nullptr, 0, static_cast<int64_t>(static_cast<uint64_t>(value))};
    }
}

// Formats into out[0 .. capacity-1] (terminated, cut when too small; out may
// be null with capacity 0) and returns the full length of the result.
size_t FormatInto(wchar_t* out, size_t capacity, const wchar_t* format, const FormatArg* args, size_t count);

// Measures the result, sizes the target exactly and formats into it: no
// fixed limit.
void FormatArgs(_stringx<>& out, const wchar_t* format, const FormatArg* args, size_t count);

template <class... A>
void FormatString(_stringx<>& out, const wchar_t* format, const A&... args)
{
    if constexpr (sizeof...(A) == 0) {
        FormatArgs(out, format, nullptr, 0);
    } else {
        const FormatArg list[] = {MakeFormatArg(args)...};
        FormatArgs(out, format, list, sizeof...(A));
    }
}

template <class... A>
_stringx<> Format(const wchar_t* format, const A&... args)
{
    _stringx<> out;
    FormatString(out, format, args...);
    return out;
}

}  // namespace qv
