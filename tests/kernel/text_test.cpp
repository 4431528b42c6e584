// Case mapping, comparisons, code pages, system messages and string tables.

#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <tuple>

#include "fixture.h"

namespace {

using qv::posix::to_utf8;

std::wstring upper(std::wstring text) {
    CharUpperW(text.data());
    return text;
}
std::wstring lower(std::wstring text) {
    CharLowerW(text.data());
    return text;
}
wchar_t upper_one(wchar_t c) {
    return static_cast<wchar_t>(reinterpret_cast<uintptr_t>(CharUpperW(reinterpret_cast<LPWSTR>(static_cast<uintptr_t>(c)))));
}

TEST(CaseMapping, SimpleUnicodeMappingOnStringsAndSingleCharacters) {
    EXPECT_EQ(upper(L"straße éàÿ ǆ qv_01"), L"STRAßE ÉÀŸ Ǆ QV_01");
    EXPECT_EQ(lower(L"ÀÉÎ ΣΑ Ǆ QV_01"), L"àéî σα ǆ qv_01");
    EXPECT_EQ(upper_one(L'é'), L'É');
    EXPECT_EQ(upper_one(L'a'), L'A');
    EXPECT_EQ(upper_one(L'1'), L'1');
    std::wstring buffer = L"abcdef";
    EXPECT_EQ(CharUpperBuffW(buffer.data(), 3), 3u);
    EXPECT_EQ(buffer, L"ABCdef");
}

TEST(Comparison, OrdersLikeTheWindowsStringFunctions) {
    // Ignoring case ("_" sorts before "a": folded to lower case), then exact.
    const std::tuple<const wchar_t*, const wchar_t*, int> folded[] = {
        {L"Hello", L"hELLO", 0}, {L"a", L"B", -1},        {L"B", L"a", 1},    {L"_", L"a", -1},
        {L"ab", L"abc", -1},     {L"ÉCOLE", L"école", 0}, {nullptr, L"", -1}, {nullptr, nullptr, 0}};
    const std::tuple<const wchar_t*, const wchar_t*, int> exact[] = {
        {L"abc", L"abc", 0}, {L"a", L"A", -1}, {L"A", L"a", 1}, {L"A", L"b", -1}, {L"Ab", L"aC", -1}};
    auto text = [](const wchar_t* s) { return s ? to_utf8(s) : std::string("null"); };
    for (const auto& [a, b, order] : folded) EXPECT_EQ(lstrcmpiW(a, b), order) << text(a) << " " << text(b);
    for (const auto& [a, b, order] : exact) EXPECT_EQ(lstrcmpW(a, b), order) << text(a) << " " << text(b);
    EXPECT_EQ(lstrcmpiA("\xC9" "COLE.CAB", "\xE9" "cole.cab"), 0);  // code page 1252
    EXPECT_EQ(lstrcmpiA("file1", "FILE2"), -1);
    EXPECT_EQ(lstrlenW(L"four"), 4);
    EXPECT_EQ(lstrlenW(nullptr), 0);
    wchar_t copy[8];
    EXPECT_EQ(lstrcpyW(copy, L"text"), copy);
    EXPECT_EQ(std::wstring(copy), L"text");
}

std::wstring to_wide(UINT code_page, const std::string& bytes, DWORD flags = 0) {
    int size = MultiByteToWideChar(code_page, flags, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    if (size == 0) return L"error " + std::to_wstring(GetLastError());
    std::wstring out(static_cast<size_t>(size), L'\0');
    EXPECT_EQ(MultiByteToWideChar(code_page, flags, bytes.data(), static_cast<int>(bytes.size()), out.data(), size), size);
    return out;
}

std::string to_bytes(UINT code_page, const std::wstring& text, LPCSTR default_char = nullptr, BOOL* used = nullptr) {
    int size = WideCharToMultiByte(code_page, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, default_char, used);
    if (size == 0) return "error " + std::to_string(GetLastError());
    std::string out(static_cast<size_t>(size), '\0');
    EXPECT_EQ(WideCharToMultiByte(code_page, 0, text.data(), static_cast<int>(text.size()), out.data(), size, default_char,
                                  used),
              size);
    return out;
}

TEST(CodePages, WindowsLatin1) {
    EXPECT_EQ(to_wide(1252, "A\x80\x81\x9F\xE9"), L"A\u20AC\u0081\u0178\u00E9");
    EXPECT_EQ(to_wide(CP_ACP, "\x80"), L"\u20AC");
    BOOL used = TRUE;
    EXPECT_EQ(to_bytes(1252, L"\u20AC\u00E9\u0178", nullptr, &used), "\x80\xE9\x9F");
    EXPECT_FALSE(used);
    EXPECT_EQ(to_bytes(CP_ACP, L"a\u0100b", nullptr, &used), "a?b");
    EXPECT_TRUE(used);
    EXPECT_EQ(to_bytes(1252, L"\u4E00", "*"), "*");
}

TEST(CodePages, ShiftJis) {
    EXPECT_EQ(to_wide(932, "\x82\xA0 \x93\xFA\x96\x7B"), L"\u3042 \u65E5\u672C");
    EXPECT_EQ(to_bytes(932, L"\u65E5\u672Cx"), "\x93\xFA\x96\x7Bx");
    BOOL used = FALSE;
    EXPECT_EQ(to_bytes(932, L"a\u0100", nullptr, &used), "a?");
    EXPECT_TRUE(used);
    EXPECT_EQ(to_wide(932, "\x93\xFA\x96", MB_ERR_INVALID_CHARS), L"error 1113");
}

TEST(CodePages, Utf8AndTheCallContract) {
    EXPECT_EQ(to_wide(CP_UTF8, "\xE6\x97\xA5\xC3\xA9"), L"\u65E5\u00E9");
    EXPECT_EQ(to_wide(CP_UTF8, "a\xFF"), L"a\uFFFD");
    EXPECT_EQ(to_wide(CP_UTF8, "a\xFF", MB_ERR_INVALID_CHARS), L"error 1113");
    EXPECT_EQ(to_wide(CP_UTF8, "\xEF\xBF\xBD", MB_ERR_INVALID_CHARS), L"\uFFFD");
    EXPECT_EQ(to_bytes(CP_UTF8, L"\u65E5\U0001F600"), "\xE6\x97\xA5\xF0\x9F\x98\x80");
    BOOL used;
    EXPECT_EQ(to_bytes(CP_UTF8, L"x", nullptr, &used), "error 87");  // no default character in UTF-8

    // -1 counts the terminator; a size query returns the need.
    EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", -1, nullptr, 0), 4);
    wchar_t small[2];
    EXPECT_EQ(ERROR_OF(MultiByteToWideChar(1252, 0, "abc", -1, small, 2)), ERROR_INSUFFICIENT_BUFFER);
    wchar_t wide[4];
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 4), 4);
    EXPECT_EQ(std::wstring(wide), L"abc");
    char narrow[3];
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"\u00E9", -1, narrow, 3, nullptr, nullptr), 3);
    EXPECT_EQ(std::string(narrow), "\xC3\xA9");
    EXPECT_EQ(ERROR_OF(MultiByteToWideChar(1252, 0, "abc", 0, wide, 4)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(to_wide(12345, "abc"), L"error 87");
    EXPECT_TRUE(IsValidCodePage(932));
    EXPECT_TRUE(IsValidCodePage(1252));
    EXPECT_FALSE(IsValidCodePage(12345));
}

std::wstring system_text(DWORD code) {
    LPWSTR text = nullptr;
    DWORD length = FormatMessageW(0x1300, nullptr, code, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    if (length == 0) return L"error " + std::to_wstring(GetLastError());
    std::wstring out(text, length);
    EXPECT_EQ(LocalFree(text), nullptr);
    return out;
}

TEST(SystemMessages, TextsOfTheCodesInUse) {
    EXPECT_EQ(system_text(0), L"The operation completed successfully.\r\n");
    EXPECT_EQ(system_text(2), L"The system cannot find the file specified.\r\n");
    EXPECT_EQ(system_text(5), L"Access is denied.\r\n");
    EXPECT_EQ(system_text(1615), L"SQL query syntax invalid or unsupported.\r\n");
    EXPECT_EQ(system_text(1627), L"Function failed during execution.\r\n");
    EXPECT_EQ(system_text(0x80070005), L"Access is denied.\r\n");
    EXPECT_EQ(system_text(0x80070057), L"The parameter is incorrect.\r\n");
    EXPECT_EQ(system_text(0x8007000E), L"Not enough memory resources are available to complete this operation.\r\n");
    EXPECT_EQ(system_text(0x80004005), L"Unspecified error\r\n");
    EXPECT_EQ(system_text(0x8000FFFF), L"Catastrophic failure\r\n");
    EXPECT_EQ(system_text(0x800401F3), L"Invalid class string\r\n");
    for (DWORD unknown : {0x12345u, 0x800403E8u, 0x80071234u}) EXPECT_EQ(system_text(unknown), L"error 317") << unknown;
    for (DWORD code : {1u, 3u, 6u, 8u, 13u, 14u, 87u, 110u, 234u, 259u, 1006u, 1603u, 1628u, 1629u, 0x80070002u}) {
        std::wstring text = system_text(code);
        SCOPED_TRACE(code);
        ASSERT_GT(text.size(), 3u);
        EXPECT_NE(text.substr(0, 6), L"error ");
        EXPECT_EQ(text.substr(text.size() - 2), L"\r\n");
    }
}

TEST(SystemMessages, CallerBuffersAndInserts) {
    wchar_t exact[20];  // "Access is denied.\r\n" is 19 characters
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, exact, 20, nullptr), 19u);
    EXPECT_EQ(std::wstring(exact), L"Access is denied.\r\n");
    EXPECT_EQ(ERROR_OF(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, exact, 19, nullptr)),
              ERROR_INSUFFICIENT_BUFFER);
    // The message for 317 has inserts: without arguments it needs IGNORE_INSERTS.
    wchar_t big[200];
    EXPECT_EQ(ERROR_OF(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 317, 0, big, 200, nullptr)),
              ERROR_INVALID_PARAMETER);
    EXPECT_GT(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, 317, 0, big, 200, nullptr), 0u);
    EXPECT_EQ(std::wstring(big).substr(0, 47), L"The system cannot find message text for message");
}

const QvStringResource kStrings[] = {
    {103, L"Hello world"},
    {104, L"x"},
};

TEST(StringTable, LoadStringCopiesTruncatesAndPointsLikeWindows) {
    HMODULE module = GetModuleHandleW(nullptr);
    ASSERT_NE(module, nullptr);
    QvRegisterStringTable(module, kStrings, 2);
    wchar_t buffer[32];
    EXPECT_EQ(LoadStringW(module, 103, buffer, 32), 11);
    EXPECT_EQ(std::wstring(buffer), L"Hello world");
    EXPECT_EQ(LoadStringW(module, 103, buffer, 6), 5);
    EXPECT_EQ(std::wstring(buffer), L"Hello");
    EXPECT_EQ(LoadStringW(module, 103, buffer, 1), 0);
    EXPECT_EQ(buffer[0], L'\0');
    const wchar_t* pointer = nullptr;
    EXPECT_EQ(LoadStringW(module, 103, reinterpret_cast<LPWSTR>(&pointer), 0), 11);
    EXPECT_EQ(pointer, kStrings[0].text);
    EXPECT_EQ(LoadStringW(nullptr, 104, buffer, 32), 1);  // null: the process module
    EXPECT_EQ(ERROR_OF(LoadStringW(module, 999, buffer, 32)), ERROR_RESOURCE_NAME_NOT_FOUND);
    EXPECT_EQ(ERROR_OF(LoadStringW(reinterpret_cast<HMODULE>(0x10000000), 103, buffer, 32)),
              ERROR_RESOURCE_TYPE_NOT_FOUND);
}

TEST(Modules, ProcessFileNameInWindowsForm) {
    wchar_t name[MAX_PATH];
    DWORD length = GetModuleFileNameW(nullptr, name, MAX_PATH);
    ASSERT_GT(length, 3u);
    char target[4096];
    ssize_t size = readlink("/proc/self/exe", target, sizeof(target));
    ASSERT_GT(size, 0);
    EXPECT_EQ(qv::posix::posix_path_from_windows(std::wstring(name, length)), std::string(target, size));
    EXPECT_EQ(std::wstring(name, 3), L"Z:\\");
    wchar_t small[4];
    EXPECT_EQ(GetModuleFileNameW(nullptr, small, 4), 4u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::wstring(small), L"Z:\\");
    EXPECT_EQ(ERROR_OF(GetModuleHandleW(L"kernel32.dll")), ERROR_MOD_NOT_FOUND);
}

}  // namespace

namespace {

TEST(CodePages, RandomInputRoundTripsOrIsReplacedWithoutOverrun) {
    std::mt19937 random(1234);
    for (int round = 0; round < 300; ++round) {
        // Scalar values survive UTF-8 both ways.
        std::wstring text;
        for (int i = 0; i < 40; ++i) {
            auto c = static_cast<wchar_t>(random() % 0x110000);
            if (c >= 0xD800 && c <= 0xDFFF) c = L'x';
            text += c;
        }
        EXPECT_EQ(qv::posix::from_utf8(qv::posix::to_utf8(text)), text);

        // Arbitrary bytes decode in any code page with the size first asked
        // for, and never more.
        std::string bytes;
        for (int i = 0; i < 33; ++i) bytes += static_cast<char>(random() & 0xFF);
        for (UINT code_page : {1252u, 932u, 65001u, 936u}) {
            int size = MultiByteToWideChar(code_page, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
            ASSERT_GT(size, 0);
            std::wstring out(static_cast<size_t>(size) + 1, L'#');
            EXPECT_EQ(MultiByteToWideChar(code_page, 0, bytes.data(), static_cast<int>(bytes.size()), out.data(), size), size);
            EXPECT_EQ(out.back(), L'#');
        }
    }
}

}  // namespace
