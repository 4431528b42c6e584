// The typed printf-style formatter: %s is wide text, integers keep the
// printf rules, and the result has no fixed limit.
#include <gtest/gtest.h>

#include "foundation/format.h"

namespace {

using qv::Format;

TEST(Format, TextArguments)
{
    EXPECT_EQ(Format(L"%s - %s", L"QVBP01", _stringx<>(L"desc")), L"QVBP01 - desc");
    EXPECT_EQ(Format(L"%s", _stringx<qv::char_traitsi>(L"Ci")), L"Ci");
    EXPECT_EQ(Format(L"[%5s|%-5s|%.2s]", L"ab", L"cd", L"efgh"), L"[   ab|cd   |ef]");
    EXPECT_EQ(Format(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
    EXPECT_EQ(Format(L"%ls %ws %S", L"a", L"b", L"c"), L"a b c");
    EXPECT_EQ(Format(L"no arguments 100%%"), L"no arguments 100%");
}

TEST(Format, Integers)
{
    EXPECT_EQ(Format(L"%d", static_cast<HRESULT>(0x8007064F)), L"-2147023281");
    EXPECT_EQ(Format(L"%d", 0x8007064Fu), L"-2147023281");
    EXPECT_EQ(Format(L"%u", -1), L"4294967295");
    EXPECT_EQ(Format(L"%08X", 0x1A2Bu), L"00001A2B");
    EXPECT_EQ(Format(L"%#x", 255), L"0xff");
    EXPECT_EQ(Format(L"%o", 8), L"10");
    EXPECT_EQ(Format(L"%+d % d %5d|%-5d|", 3, 4, -5, 6), L"+3  4    -5|6    |");
    EXPECT_EQ(Format(L"%.3d", 7), L"007");
    EXPECT_EQ(Format(L"%lu %I64d %lld", 1u, static_cast<int64_t>(-9000000000LL), 2LL), L"1 -9000000000 2");
    EXPECT_EQ(Format(L"%c%c", L'o', L'k'), L"ok");
    EXPECT_EQ(Format(L"%*d", 4, 1), L"   1");
}

TEST(Format, OddFormats)
{
    // Missing arguments print nothing; an unknown conversion stays.
    EXPECT_EQ(Format(L"<%s><%d>"), L"<><>");
    EXPECT_EQ(Format(L"%q %s", L"x"), L"%q x");
    EXPECT_EQ(Format(L"end %"), L"end %");
    EXPECT_EQ(Format(L"%s\t%d\t%s", L"QVBP01", 1, L"text"), L"QVBP01\t1\ttext");
}

TEST(Format, NoFixedLimitAndBoundedInto)
{
    const std::wstring big(10000, L'x');
    EXPECT_EQ(Format(L"<%s>", big.c_str()).size(), 10002u);

    wchar_t small[6];
    const qv::FormatArg args[] = {qv::MakeFormatArg(L"abcdefgh")};
    EXPECT_EQ(qv::FormatInto(small, 6, L"%s!", args, 1), 9u);
    EXPECT_STREQ(small, L"abcde");
    EXPECT_EQ(qv::FormatInto(nullptr, 0, L"%s!", args, 1), 9u);
}

}  // namespace
