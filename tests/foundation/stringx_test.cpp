// _stringx: last-error preservation, COM string memory, growth, GetBuffer,
// the case-insensitive instance, and the standard string operations.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <tuple>

#include "foundation/stringx.h"

namespace {

using S = _stringx<>;
using SI = _stringx<qv::char_traitsi>;

TEST(StringxLastError, KeptAcrossLifeInlineAndOnTheHeap)
{
    SetLastError(5);
    { S s(L"short"); }
    EXPECT_EQ(GetLastError(), 5u);

    SetLastError(5);
    {
        S s(L"a text that lives on the heap");
        s += s;
        S copy(s);
        S moved(std::move(copy));
    }
    EXPECT_EQ(GetLastError(), 5u);

    // A value set while the string lives is the one left after it ends.
    SetLastError(1);
    {
        S s(L"another heap text of some length");
        SetLastError(87);
    }
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(StringxLastError, GetBufferEndRestoresTheCallersError)
{
    S s;
    {
        auto buffer = s.GetBuffer(40);
        std::wcscpy(buffer.wide(), L"filled by a call");
        SetLastError(234);
    }
    EXPECT_EQ(GetLastError(), 234u);
    EXPECT_EQ(s, L"filled by a call");
}

TEST(StringxMemory, HeapTextAndCopiesGoThroughComMemory)
{
    const size_t before = QvLiveBstrCount();
    {
        S seven(L"1234567");
        EXPECT_EQ(seven.capacity(), 7u);
        EXPECT_EQ(QvLiveBstrCount(), before);

        S eight(L"12345678");
        EXPECT_GT(eight.capacity(), 7u);
        EXPECT_EQ(QvLiveBstrCount(), before + 1);

        // A COM copy is one more, and a copy of the string takes the text only.
        BSTR com = seven.GetBSTR();
        EXPECT_EQ(SysStringLen(com), 7u);
        EXPECT_STREQ(com, L"1234567");
        EXPECT_EQ(QvLiveBstrCount(), before + 2);
        S copy(seven);
        EXPECT_EQ(QvLiveBstrCount(), before + 2);

        // The COM copy follows later changes.
        seven += L"89";
        com = seven.GetBSTR();
        EXPECT_EQ(SysStringLen(com), 9u);
        EXPECT_STREQ(com, L"123456789");
        seven.replace(0, 1, L"X");
        EXPECT_STREQ(seven.GetBSTR(), L"X23456789");
    }
    EXPECT_EQ(QvLiveBstrCount(), before);
}

// Between the plain and the case-insensitive instance a temporary gives up
// its buffer; a named string is copied and keeps its text.
TEST(StringxMemory, ConversionTakesOverATemporarysBufferAndCopiesANamedOne)
{
    const size_t before = QvLiveBstrCount();
    {
        S plain(L"a text longer than seven");
        const SI copied = plain;
        EXPECT_EQ(QvLiveBstrCount(), before + 2);
        EXPECT_STREQ(plain.c_str(), L"a text longer than seven");
        SI taken = S(L"ANOTHER LONG TEXT");
        EXPECT_EQ(QvLiveBstrCount(), before + 3);  // the temporary's buffer, not a new one
        EXPECT_TRUE(taken == L"another long text");
        S back = std::move(taken);
        EXPECT_EQ(QvLiveBstrCount(), before + 3);
        EXPECT_STREQ(back.c_str(), L"ANOTHER LONG TEXT");
        EXPECT_TRUE(taken.empty());
        const SI small = S(L"short");  // inline either way
        EXPECT_EQ(QvLiveBstrCount(), before + 3);
        EXPECT_TRUE(small == L"SHORT");
        SetLastError(77);
        const S kept = SI(L"the last error stays as it was");
        EXPECT_EQ(GetLastError(), 77u);
        EXPECT_STREQ(kept.c_str(), L"the last error stays as it was");
    }
    EXPECT_EQ(QvLiveBstrCount(), before);
}

TEST(StringxMemory, GrowthRule)
{
    S s;
    EXPECT_EQ(s.capacity(), 7u);
    s.reserve(8);  // 8 | 7
    EXPECT_EQ(s.capacity(), 15u);
    s.assign(16, L'x');  // 16 | 7 = 23; 15 / 2 = 7 is not above 23 / 3 = 7
    EXPECT_EQ(s.capacity(), 23u);
    s.push_back(L'y');
    s.reserve(24);  // 24 | 7 = 31, but 23 / 2 = 11 is above 31 / 3 = 10: 23 + 11
    EXPECT_EQ(s.capacity(), 34u);
    s.reserve(1000);
    EXPECT_EQ(s.capacity(), 1007u);
    EXPECT_EQ(s.size(), 17u);
    EXPECT_EQ(s, S(16, L'x') + L'y');
    s.reserve(10);  // never shrinks
    EXPECT_EQ(s.capacity(), 1007u);

    // One character at a time: the text survives every move.
    S grown;
    std::wstring expected;
    for (int i = 0; i < 500; ++i) {
        grown.push_back(static_cast<wchar_t>(L'a' + i % 26));
        expected.push_back(static_cast<wchar_t>(L'a' + i % 26));
    }
    EXPECT_EQ(grown.str(), expected);
}

TEST(StringxGetBuffer, SizeIsTheWrittenLength)
{
    S s(L"old text that is long");
    {
        auto buffer = s.GetBuffer(100);
        LPWSTR p = buffer;
        std::wcscpy(p, L"abc");
    }
    EXPECT_EQ(s.size(), 3u);
    EXPECT_EQ(s, L"abc");
    EXPECT_GE(s.capacity(), 100u);

    // Writing nothing leaves the empty text.
    { auto buffer = s.GetBuffer(10); }
    EXPECT_EQ(s.size(), 3u);
    {
        auto buffer = s.GetBuffer(10);
        (void)buffer.wide();
    }
    EXPECT_TRUE(s.empty());

    // An unterminated fill is taken up to the size asked for.
    {
        auto buffer = s.GetBuffer(4);
        wchar_t* p = buffer.wide();
        for (int i = 0; i < 4; ++i)
            p[i] = L'z';
    }
    EXPECT_EQ(s, L"zzzz");

    // Narrow text is taken in the system code page.
    {
        auto buffer = s.GetBuffer(20);
        std::strcpy(buffer.narrow(), "caf\xE9");
    }
    EXPECT_EQ(s, L"caf\u00E9");
}

TEST(StringxNarrow, ConvertsThroughTheSystemCodePage)
{
    S s(L"na\u00EFve");
    EXPECT_STREQ(s.GetNarrow(), "na\xEFve");
    S empty;
    EXPECT_STREQ(empty.GetNarrow(), "");
}

TEST(StringxConstruction, NullPointerAndCounts)
{
    EXPECT_TRUE(S(static_cast<const wchar_t*>(nullptr)).empty());
    S assigned(L"x");
    assigned = static_cast<const wchar_t*>(nullptr);
    EXPECT_TRUE(assigned.empty());
    EXPECT_EQ(S(L"abcdef", 3), L"abc");
    EXPECT_EQ(S(3, L'q'), L"qqq");
    EXPECT_EQ(S(std::wstring_view(L"view")), L"view");
    EXPECT_EQ(S(L"emb\0edded", 9).size(), 9u);
}

TEST(StringxErrors, PositionsAndLengths)
{
    S s(L"abc");
    try {
        (void)s.substr(4);
        FAIL();
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "invalid string position");
    }
    EXPECT_EQ(s.substr(3), L"");
    EXPECT_THROW(s.insert(5, L"x"), std::out_of_range);
    EXPECT_THROW(s.erase(4), std::out_of_range);
    EXPECT_THROW(s.replace(9, 1, L"x"), std::out_of_range);
    EXPECT_THROW(s.at(3), std::out_of_range);
    try {
        s.append(0x7FFFFFFF, L'x');
        FAIL();
    } catch (const std::length_error& e) {
        EXPECT_STREQ(e.what(), "string too long");
    }
    EXPECT_THROW(s.reserve(0x7FFFFFFFu), std::length_error);
    EXPECT_EQ(s, L"abc");
}

TEST(StringxEditing, AssignAppendInsertEraseReplace)
{
    S s(L"Hello");
    s += L", ";
    s += S(L"World");
    s += L'!';
    EXPECT_EQ(s, L"Hello, World!");
    s.insert(7, L"big ");
    EXPECT_EQ(s, L"Hello, big World!");
    s.erase(5, 5);
    EXPECT_EQ(s, L"Hello World!");
    s.replace(6, 5, L"there, friend");
    EXPECT_EQ(s, L"Hello there, friend!");
    s.erase(5);
    EXPECT_EQ(s, L"Hello");
    s.insert(0, 2, L'>');
    EXPECT_EQ(s, L">>Hello");
    s.resize(4);
    EXPECT_EQ(s, L">>He");
    s.resize(6, L'.');
    EXPECT_EQ(s, L">>He..");
    s.assign(S(L"0123456789"), 3, 4);
    EXPECT_EQ(s, L"3456");
    s.append(S(L"abcdef"), 4);
    EXPECT_EQ(s, L"3456ef");
    s.pop_back();
    EXPECT_EQ(s, L"3456e");

    // Sources inside the string itself.
    S self(L"abcdefghij");
    self.append(self);
    EXPECT_EQ(self, L"abcdefghijabcdefghij");
    self.insert(2, self.c_str() + 15);
    EXPECT_EQ(self, L"abfghijcdefghijabcdefghij");
    self.replace(0, 3, self.c_str() + 20, 5);
    EXPECT_EQ(self, L"fghijghijcdefghijabcdefghij");

    EXPECT_EQ(L"pre" + S(L"fix"), L"prefix");
    EXPECT_EQ(S(L"suf") + L"fix", L"suffix");
    EXPECT_EQ(S(L"a") + S(L"b"), L"ab");
}

TEST(StringxSearch, FindFamily)
{
    const S s(L"C:\\Dir\\file.name.ext");
    EXPECT_EQ(s.find(L'\\'), 2u);
    EXPECT_EQ(s.rfind(L'\\'), 6u);
    EXPECT_EQ(s.find(L"file"), 7u);
    EXPECT_EQ(s.find(L"File"), S::npos);
    EXPECT_EQ(s.find(L".", 12), 16u);
    EXPECT_EQ(s.rfind(L"."), 16u);
    EXPECT_EQ(s.rfind(L".", 15), 11u);
    EXPECT_EQ(s.find(L""), 0u);
    EXPECT_EQ(s.find(L"", 20), 20u);
    EXPECT_EQ(s.find(L"", 21), S::npos);
    EXPECT_EQ(s.find_first_of(L"\\."), 2u);
    EXPECT_EQ(s.find_last_of(L"\\:"), 6u);
    EXPECT_EQ(s.find_first_not_of(L"C:\\"), 3u);
    EXPECT_EQ(s.find_last_not_of(L"ext"), 16u);
    EXPECT_EQ(S().find_last_of(L"x"), S::npos);
    EXPECT_EQ(S(L"aaa").find_first_not_of(L"a"), S::npos);
}

TEST(StringxCaseless, EqualityOrderAndSearchIgnoreCase)
{
    EXPECT_EQ(SI(L"Feature"), SI(L"FEATURE"));
    EXPECT_EQ(SI(L"all"), L"ALL");
    EXPECT_FALSE(SI(L"ALL") == L"ALLE");
    EXPECT_FALSE(SI(L"AL") == L"ALL");
    // Only A-Z fold, and they fold to lower case: 'Z' sorts after '['.
    for (auto [a, b, order] : {std::tuple{L"abc", L"ABD", -1}, {L"abd", L"ABC", 1}, {L"ab", L"ABC", -1},
                               {L"ABC", L"ab", 1}, {L"Z", L"[", 1}})
        EXPECT_EQ(SI(a).compare(b), order) << a << " " << b;
    EXPECT_EQ(S(L"Z").compare(L"["), -1);
    EXPECT_FALSE(SI(L"\u00C9") == L"\u00E9");

    const SI path(L"C:\\App\\Tool.EXE.config");
    EXPECT_EQ(path.find(L".exe"), 11u);
    EXPECT_EQ(path.rfind(L".CONFIG"), 15u);
    EXPECT_EQ(path.find_first_of(L"t"), 7u);
    EXPECT_EQ(S(L"C:\\App\\Tool.EXE.config").find(L".exe"), S::npos);

    // As map keys, texts differing only in case are one key.
    std::map<SI, int> keys;
    keys[L"Value"] = 1;
    keys[L"VALUE"] = 2;
    keys[L"other"] = 3;
    EXPECT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[L"value"], 2);
}

TEST(StringxCompare, PlainComparesCodesThenLength)
{
    for (auto [a, b, order] : {std::tuple{L"a", L"b", -1}, {L"b", L"a", 1}, {L"B", L"a", -1}, {L"abc", L"abc", 0},
                               {L"abc", L"abcd", -1}, {L"\uFFFF", L"\u7FFF", 1}})
        EXPECT_EQ(S(a).compare(b), order) << a << " " << b;
    EXPECT_TRUE(S(L"A") < S(L"a"));
    EXPECT_TRUE(S(L"ab") <= S(L"ab"));
    EXPECT_TRUE(S(L"b") > S(L"abc"));
    EXPECT_TRUE(S(L"x") != S(L"X"));
    // Conversion between the two instances keeps the text.
    SI caseless = S(L"MiXed");
    S plain = caseless;
    EXPECT_EQ(plain, L"MiXed");
}

}  // namespace
