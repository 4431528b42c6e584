// Case mapping, string comparison and code page conversion.

#include <iconv.h>
#include <locale.h>
#include <wctype.h>

#include <cerrno>
#include <cstring>
#include <cwchar>
#include <map>
#include <memory>
#include <string>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/paths.h"

namespace {

// Case mapping comes from the C library's Unicode tables under the C.UTF-8
// locale, independent of the process locale. Without that locale only ASCII
// and Latin-1 are mapped.
locale_t unicode_locale() {
    static locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    return locale;
}

wchar_t latin1_upper(wchar_t c) {
    if ((c >= L'a' && c <= L'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7)) return c - 0x20;
    if (c == 0xFF) return 0x178;
    if (c == 0xB5) return 0x39C;
    return c;
}

wchar_t latin1_lower(wchar_t c) {
    if ((c >= L'A' && c <= L'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) return c + 0x20;
    if (c == 0x178) return 0xFF;
    return c;
}

// Code page 1252: bytes 0x80-0x9F. The five bytes the code page leaves
// undefined map to the C1 controls of the same value, as on Windows.
constexpr wchar_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

wchar_t cp1252_decode(unsigned char b) {
    return b >= 0x80 && b < 0xA0 ? kCp1252High[b - 0x80] : static_cast<wchar_t>(b);
}

int cp1252_encode(wchar_t c) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<int>(c);
    for (int i = 0; i < 32; ++i)
        if (kCp1252High[i] == c) return 0x80 + i;
    return -1;
}

UINT resolve_code_page(UINT code_page) {
    switch (code_page) {
        case CP_ACP:
        case CP_THREAD_ACP: return 1252;
        case CP_OEMCP: return 437;
        case CP_MACCP: return 10000;
        default: return code_page;
    }
}

std::string iconv_name(UINT code_page) {
    switch (code_page) {
        case 1200:
        case 1201: return {};  // UTF-16 is not a multi-byte code page
        case 10000: return "MACINTOSH";
        case 20127: return "ASCII";
        case 20866: return "KOI8-R";
        case 21866: return "KOI8-U";
        case 28605: return "ISO-8859-15";
        case 50220: return "ISO-2022-JP";
        case 51932: return "EUC-JP";
        case 51949: return "EUC-KR";
        case 54936: return "GB18030";
        case 65000: return "UTF-7";
        default: break;
    }
    if (code_page >= 28591 && code_page <= 28599) return "ISO-8859-" + std::to_string(code_page - 28590);
    return "CP" + std::to_string(code_page);
}

// Conversion descriptors, opened once per thread and direction.
struct IconvCache {
    std::map<std::pair<UINT, bool>, iconv_t> open;
    ~IconvCache() {
        for (auto& [key, cd] : open)
            if (cd != reinterpret_cast<iconv_t>(-1)) iconv_close(cd);
    }
    iconv_t get(UINT code_page, bool to_wide) {
        auto [it, added] = open.emplace(std::make_pair(code_page, to_wide), reinterpret_cast<iconv_t>(-1));
        if (added) {
            std::string name = iconv_name(code_page);
            if (!name.empty())
                it->second = to_wide ? iconv_open("WCHAR_T", name.c_str()) : iconv_open(name.c_str(), "WCHAR_T");
        } else if (it->second != reinterpret_cast<iconv_t>(-1)) {
            iconv(it->second, nullptr, nullptr, nullptr, nullptr);  // reset the shift state
        }
        return it->second;
    }
};
thread_local IconvCache t_iconv;

enum class Convert { ok, bad_code_page, invalid_chars };

bool utf8_well_formed(const char* bytes, size_t count) {
    for (size_t i = 0; i < count;) {
        auto b = static_cast<unsigned char>(bytes[i]);
        size_t length;
        unsigned char low = 0x80, high = 0xBF;
        if (b < 0x80) length = 1;
        else if (b >= 0xC2 && b <= 0xDF) length = 2;
        else if (b >= 0xE0 && b <= 0xEF) {
            length = 3;
            if (b == 0xE0) low = 0xA0;
            if (b == 0xED) high = 0x9F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            length = 4;
            if (b == 0xF0) low = 0x90;
            if (b == 0xF4) high = 0x8F;
        } else return false;
        if (length > count - i) return false;
        for (size_t k = 1; k < length; ++k) {
            auto t = static_cast<unsigned char>(bytes[i + k]);
            if (t < (k == 1 ? low : 0x80) || t > (k == 1 ? high : 0xBF)) return false;
        }
        i += length;
    }
    return true;
}

Convert decode(UINT code_page, bool strict, const char* bytes, size_t count, std::wstring& out) {
    if (code_page == 1252) {
        for (size_t i = 0; i < count; ++i) out += cp1252_decode(static_cast<unsigned char>(bytes[i]));
        return Convert::ok;
    }
    if (code_page == CP_UTF8) {
        if (strict && !utf8_well_formed(bytes, count)) return Convert::invalid_chars;
        out = qv::posix::from_utf8(std::string_view(bytes, count));
        return Convert::ok;
    }
    iconv_t cd = t_iconv.get(code_page, true);
    if (cd == reinterpret_cast<iconv_t>(-1)) return Convert::bad_code_page;
    char* in = const_cast<char*>(bytes);
    size_t in_left = count;
    wchar_t buffer[256];
    while (in_left > 0) {
        char* out_ptr = reinterpret_cast<char*>(buffer);
        size_t out_left = sizeof(buffer);
        size_t result = iconv(cd, &in, &in_left, &out_ptr, &out_left);
        out.append(buffer, (sizeof(buffer) - out_left) / sizeof(wchar_t));
        if (result == static_cast<size_t>(-1)) {
            if (errno == E2BIG) continue;
            if (strict) return Convert::invalid_chars;
            out += L'\xFFFD';
            if (errno == EINVAL) break;  // truncated sequence at the end
            ++in;
            --in_left;
        }
    }
    return Convert::ok;
}

Convert encode(UINT code_page, const wchar_t* text, size_t count, const std::string& default_char, bool strict,
               std::string& out, bool& used_default) {
    if (code_page == 1252) {
        for (size_t i = 0; i < count; ++i) {
            int b = cp1252_encode(text[i]);
            if (b < 0) {
                out += default_char;
                used_default = true;
            } else {
                out += static_cast<char>(b);
            }
        }
        return Convert::ok;
    }
    if (code_page == CP_UTF8) {
        for (size_t i = 0; i < count; ++i) {
            auto c = static_cast<uint32_t>(text[i]);
            if (strict && (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))) return Convert::invalid_chars;
        }
        out = qv::posix::to_utf8(std::wstring_view(text, count));
        return Convert::ok;
    }
    iconv_t cd = t_iconv.get(code_page, false);
    if (cd == reinterpret_cast<iconv_t>(-1)) return Convert::bad_code_page;
    char* in = reinterpret_cast<char*>(const_cast<wchar_t*>(text));
    size_t in_left = count * sizeof(wchar_t);
    char buffer[512];
    while (in_left > 0) {
        char* out_ptr = buffer;
        size_t out_left = sizeof(buffer);
        size_t result = iconv(cd, &in, &in_left, &out_ptr, &out_left);
        out.append(buffer, sizeof(buffer) - out_left);
        if (result != static_cast<size_t>(-1) || errno == E2BIG) continue;
        if (errno != EILSEQ && errno != EINVAL) break;
        // A character the code page lacks.
        out += default_char;
        used_default = true;
        size_t skip = in_left >= sizeof(wchar_t) ? sizeof(wchar_t) : in_left;
        in += skip;
        in_left -= skip;
    }
    char* out_ptr = buffer;
    size_t out_left = sizeof(buffer);
    iconv(cd, nullptr, nullptr, &out_ptr, &out_left);  // back to the initial shift state
    out.append(buffer, sizeof(buffer) - out_left);
    return Convert::ok;
}

// Lower case for comparisons; ASCII without a trip through the locale,
// since names compared in bulk (cabinet entries, file names) are mostly ASCII.
inline wchar_t fold(wchar_t c) {
    if (c < 0x80) return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 0x20) : c;
    return qv::posix::lower_char(c);
}

int compare_folded(LPCWSTR a, LPCWSTR b, bool case_tiebreak) {
    if (!a || !b) return a == b ? 0 : (a ? 1 : -1);
    int tiebreak = 0;
    for (;; ++a, ++b) {
        wchar_t fa = fold(*a), fb = fold(*b);
        if (fa != fb) return fa < fb ? -1 : 1;
        if (*a == 0) break;
        if (case_tiebreak && tiebreak == 0 && *a != *b) tiebreak = *a == fa ? -1 : 1;
    }
    return tiebreak;
}

std::wstring from_ansi(LPCSTR text) {
    std::wstring out;
    for (; *text; ++text) out += cp1252_decode(static_cast<unsigned char>(*text));
    return out;
}

}  // namespace

namespace qv::posix {

wchar_t upper_char(wchar_t c) {
    if (locale_t locale = unicode_locale()) return static_cast<wchar_t>(towupper_l(static_cast<wint_t>(c), locale));
    return latin1_upper(c);
}

wchar_t lower_char(wchar_t c) {
    if (locale_t locale = unicode_locale()) return static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), locale));
    return latin1_lower(c);
}

bool names_equal_ignoring_case(std::string_view a, std::string_view b) {
    if (a.size() == b.size() && a == b) return true;
    auto ascii = [](std::string_view text) {
        for (char c : text)
            if (static_cast<unsigned char>(c) >= 0x80) return false;
        return true;
    };
    if (ascii(a) && ascii(b)) {
        if (a.size() != b.size()) return false;
        for (size_t i = 0; i < a.size(); ++i) {
            char x = a[i], y = b[i];
            if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
            if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
            if (x != y) return false;
        }
        return true;
    }
    std::wstring wa = from_utf8(a), wb = from_utf8(b);
    if (wa.size() != wb.size()) return false;
    for (size_t i = 0; i < wa.size(); ++i)
        if (upper_char(wa[i]) != upper_char(wb[i])) return false;
    return true;
}

}  // namespace qv::posix

LPWSTR CharUpperW(LPWSTR lpsz) {
    auto value = reinterpret_cast<uintptr_t>(lpsz);
    if (value < 0x10000) return reinterpret_cast<LPWSTR>(static_cast<uintptr_t>(qv::posix::upper_char(static_cast<wchar_t>(value))) & 0xFFFF);
    for (LPWSTR p = lpsz; *p; ++p) *p = qv::posix::upper_char(*p);
    return lpsz;
}

LPWSTR CharLowerW(LPWSTR lpsz) {
    auto value = reinterpret_cast<uintptr_t>(lpsz);
    if (value < 0x10000) return reinterpret_cast<LPWSTR>(static_cast<uintptr_t>(qv::posix::lower_char(static_cast<wchar_t>(value))) & 0xFFFF);
    for (LPWSTR p = lpsz; *p; ++p) *p = qv::posix::lower_char(*p);
    return lpsz;
}

DWORD CharUpperBuffW(LPWSTR lpsz, DWORD cchLength) {
    if (!lpsz) return 0;
    for (DWORD i = 0; i < cchLength; ++i) lpsz[i] = qv::posix::upper_char(lpsz[i]);
    return cchLength;
}

DWORD CharLowerBuffW(LPWSTR lpsz, DWORD cchLength) {
    if (!lpsz) return 0;
    for (DWORD i = 0; i < cchLength; ++i) lpsz[i] = qv::posix::lower_char(lpsz[i]);
    return cchLength;
}

int lstrcmpW(LPCWSTR lpString1, LPCWSTR lpString2) { return compare_folded(lpString1, lpString2, true); }

int lstrcmpiW(LPCWSTR lpString1, LPCWSTR lpString2) { return compare_folded(lpString1, lpString2, false); }

int lstrcmpA(LPCSTR lpString1, LPCSTR lpString2) {
    if (!lpString1 || !lpString2) return lpString1 == lpString2 ? 0 : (lpString1 ? 1 : -1);
    return lstrcmpW(from_ansi(lpString1).c_str(), from_ansi(lpString2).c_str());
}

int lstrcmpiA(LPCSTR lpString1, LPCSTR lpString2) {
    if (!lpString1 || !lpString2) return lpString1 == lpString2 ? 0 : (lpString1 ? 1 : -1);
    // The comparison of the wide texts, decoded one character at a time:
    // no allocation, as this runs once per cabinet entry and wanted file.
    for (;; ++lpString1, ++lpString2) {
        wchar_t a = fold(cp1252_decode(static_cast<unsigned char>(*lpString1)));
        wchar_t b = fold(cp1252_decode(static_cast<unsigned char>(*lpString2)));
        if (a != b) return a < b ? -1 : 1;
        if (*lpString1 == 0) return 0;
    }
}

int lstrlenW(LPCWSTR lpString) { return lpString ? static_cast<int>(std::wcslen(lpString)) : 0; }

int lstrlenA(LPCSTR lpString) { return lpString ? static_cast<int>(std::strlen(lpString)) : 0; }

LPWSTR lstrcpyW(LPWSTR lpString1, LPCWSTR lpString2) {
    if (!lpString1 || !lpString2) return nullptr;
    return std::wcscpy(lpString1, lpString2);
}

LPSTR lstrcpyA(LPSTR lpString1, LPCSTR lpString2) {
    if (!lpString1 || !lpString2) return nullptr;
    return std::strcpy(lpString1, lpString2);
}

BOOL IsValidCodePage(UINT CodePage) {
    if (CodePage == 1252 || CodePage == CP_UTF8) return TRUE;
    if (CodePage == CP_ACP || CodePage == CP_OEMCP || CodePage == CP_MACCP || CodePage == CP_THREAD_ACP) return FALSE;
    return t_iconv.get(CodePage, true) != reinterpret_cast<iconv_t>(-1) ? TRUE : FALSE;
}

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte, LPWSTR lpWideCharStr,
                        int cchWideChar) {
    if (!lpMultiByteStr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
        (cchWideChar > 0 && !lpWideCharStr)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    UINT code_page = resolve_code_page(CodePage);
    if ((code_page == CP_UTF8 || code_page == CP_UTF7) && (dwFlags & ~MB_ERR_INVALID_CHARS)) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    size_t count = cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : static_cast<size_t>(cbMultiByte);
    std::wstring wide;
    switch (decode(code_page, (dwFlags & MB_ERR_INVALID_CHARS) != 0, lpMultiByteStr, count, wide)) {
        case Convert::bad_code_page: SetLastError(ERROR_INVALID_PARAMETER); return 0;
        case Convert::invalid_chars: SetLastError(ERROR_NO_UNICODE_TRANSLATION); return 0;
        case Convert::ok: break;
    }
    if (cchWideChar == 0) return static_cast<int>(wide.size());
    if (wide.size() > static_cast<size_t>(cchWideChar)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::wmemcpy(lpWideCharStr, wide.data(), wide.size());
    return static_cast<int>(wide.size());
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar, LPSTR lpMultiByteStr,
                        int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar) {
    if (!lpWideCharStr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
        (cbMultiByte > 0 && !lpMultiByteStr)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    UINT code_page = resolve_code_page(CodePage);
    if (code_page == CP_UTF8 || code_page == CP_UTF7) {
        if (lpDefaultChar || lpUsedDefaultChar) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return 0;
        }
        if (dwFlags & ~WC_ERR_INVALID_CHARS) {
            SetLastError(ERROR_INVALID_FLAGS);
            return 0;
        }
    }
    size_t count = cchWideChar == -1 ? std::wcslen(lpWideCharStr) + 1 : static_cast<size_t>(cchWideChar);
    std::string default_char = "?";
    if (lpDefaultChar && *lpDefaultChar) default_char.assign(lpDefaultChar, std::strlen(lpDefaultChar) > 1 ? 2 : 1);
    std::string bytes;
    bool used_default = false;
    switch (encode(code_page, lpWideCharStr, count, default_char, (dwFlags & WC_ERR_INVALID_CHARS) != 0, bytes,
                   used_default)) {
        case Convert::bad_code_page: SetLastError(ERROR_INVALID_PARAMETER); return 0;
        case Convert::invalid_chars: SetLastError(ERROR_NO_UNICODE_TRANSLATION); return 0;
        case Convert::ok: break;
    }
    if (lpUsedDefaultChar) *lpUsedDefaultChar = used_default ? TRUE : FALSE;
    if (cbMultiByte == 0) return static_cast<int>(bytes.size());
    if (bytes.size() > static_cast<size_t>(cbMultiByte)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(lpMultiByteStr, bytes.data(), bytes.size());
    return static_cast<int>(bytes.size());
}
