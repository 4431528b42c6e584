// Character traits of the two string instances: the plain one compares
// character codes as unsigned values, the case-insensitive one folds A-Z to
// a-z (and nothing else), as the C runtime's wide compare does in the
// default locale. Both compare results are -1, 0 or 1.
#pragma once

#include <cstddef>
#include <string>

namespace qv {

struct char_traits : std::char_traits<wchar_t> {
    static constexpr bool lt(wchar_t a, wchar_t b) noexcept
    {
        return static_cast<unsigned long>(a) < static_cast<unsigned long>(b);
    }

    static int compare(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept
    {
        for (std::size_t i = 0; i < n; ++i) {
            if (a[i] != b[i])
                return lt(a[i], b[i]) ? -1 : 1;
        }
        return 0;
    }
};

struct char_traitsi : std::char_traits<wchar_t> {
    static constexpr wchar_t fold(wchar_t c) noexcept
    {
        return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
    }

    static constexpr bool eq(wchar_t a, wchar_t b) noexcept { return fold(a) == fold(b); }

    static constexpr bool lt(wchar_t a, wchar_t b) noexcept
    {
        return static_cast<unsigned long>(fold(a)) < static_cast<unsigned long>(fold(b));
    }

    static int compare(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept
    {
        for (std::size_t i = 0; i < n; ++i) {
            if (!eq(a[i], b[i]))
                return lt(a[i], b[i]) ? -1 : 1;
        }
        return 0;
    }

    static const wchar_t* find(const wchar_t* s, std::size_t n, wchar_t c) noexcept
    {
        for (std::size_t i = 0; i < n; ++i) {
            if (eq(s[i], c))
                return s + i;
        }
        return nullptr;
    }
};

}  // namespace qv
