// File test expressions: the plain ones are matched without the standard
// engine, and must agree with it on every name.
#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>
#include <vector>

#include "framework/file_test_expression.h"

namespace {

using qv::FileTestExpression;

// The standard engine with the standard traits, as the answer to compare
// with. nullopt when it rejects the expression.
std::optional<bool> Standard(const std::wstring& expression, const std::wstring& name)
{
    try {
        const std::wregex engine(expression, std::regex_constants::ECMAScript | std::regex_constants::icase);
        return std::regex_match(name, engine);
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

std::optional<bool> Ours(const std::wstring& expression, const std::wstring& name, bool* plain = nullptr)
{
    try {
        const qv::CaseTraits traits;
        const FileTestExpression compiled(expression, traits);
        if (plain)
            *plain = compiled.Plain();
        return compiled.FullMatch(name);
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

TEST(FileTestExpression, TheTestsPeopleWriteAreCompiledPlain)
{
    for (const wchar_t* text : {L"iexplore\\.exe", L"dotnetfx.*\\.exe", L"ndp\\d+.*\\.exe", L".msu", L"web\\.config",
                                L"ejb-jar\\.xml", L"a+b*", L"\\\\x\\$"}) {
        const FileTestExpression expression(text, qv::CaseTraits());
        EXPECT_TRUE(expression.Plain()) << text;
    }
    for (const wchar_t* text : {L"[a-z]+\\.exe", L"a|b", L"(a)", L"a?", L"a*?", L"\\w+", L"a{2}", L"^a$", L"\\x41",
                                L"(a)\\1", L"a\nb", L"]"}) {
        const FileTestExpression expression(text, qv::CaseTraits());
        EXPECT_FALSE(expression.Plain()) << text;
    }
}

TEST(FileTestExpression, MatchesTheWholeNameIgnoringCase)
{
    struct Case {
        const wchar_t* expression;
        const wchar_t* name;
        bool matches;
    };
    for (const Case& c : {Case{L"ndp\\d+.*\\.exe", L"NDP48-x86-x64-AllOS-ENU.EXE", true},
                          {L"ndp\\d+.*\\.exe", L"ndp.exe", false},
                          {L"ndp\\d+.*\\.exe", L"xndp4.exe", false},
                          {L"iexplore\\.exe", L"iexploreXexe", false},
                          {L"iexplore.exe", L"iexploreXexe", true},
                          {L".sys", L"a.sys", false},
                          {L".sys", L"Xsys", true},
                          {L"a*", L"", true},
                          {L"a+", L"", false},
                          {L"a+", L"AaA", true},
                          // '.' stops at line ends, as in the standard engine.
                          {L"a.b", L"a\nb", false},
                          {L"a.b", L"a\u2028b", false},
                          {L"a.b", L"a\tb", true}})
        EXPECT_EQ(Ours(c.expression, c.name), c.matches) << c.expression;
    EXPECT_EQ(Ours(L"\u00c9t\u00e9", L"\u00e9T\u00c9"), Standard(L"\u00c9t\u00e9", L"\u00e9T\u00c9"));
}

// Expressions of more than 64 steps keep their walk on the heap.
TEST(FileTestExpression, LongExpressionsMatchAsShortOnes)
{
    for (const std::size_t length : {62u, 63u, 64u, 65u, 130u}) {
        const std::wstring expression = std::wstring(length - 2, L'a') + L"\\d+";
        for (const std::wstring& name : {std::wstring(length - 2, L'A') + L"7", std::wstring(length - 2, L'a') + L"12",
                                         std::wstring(length - 2, L'a'), std::wstring(length - 3, L'a') + L"1",
                                         std::wstring(length - 2, L'a') + L"1x"}) {
            bool plain = false;
            EXPECT_EQ(Ours(expression, name, &plain), Standard(expression, name)) << length << " " << name.size();
            EXPECT_TRUE(plain);
        }
    }
    const std::wstring stars = L"a*" + std::wstring(70, L'.') + L"b*";
    for (const std::size_t length : {69u, 70u, 71u, 90u})
        EXPECT_EQ(Ours(stars, std::wstring(length, L'a')), length >= 70) << length;
}

TEST(FileTestExpression, BadExpressionsThrowAsTheStandardEngineDoes)
{
    for (const wchar_t* text : {L"*a", L"a**", L"+", L"\\", L"(", L"a{", L"[", L"a++", L"\\c"}) {
        const bool standardThrows = !Standard(text, L"a").has_value();
        EXPECT_EQ(!Ours(text, L"a").has_value(), standardThrows) << text;
    }
    const qv::CaseTraits traits;
    EXPECT_THROW(FileTestExpression(L"*a", traits), std::regex_error);
    EXPECT_THROW(FileTestExpression(L"abc\\", traits), std::regex_error);
}

// Random expressions of plain and other pieces against random names: every
// answer, or error, must be the standard engine's.
TEST(FileTestExpression, AgreesWithTheStandardEngine)
{
    const std::vector<std::wstring> pieces = {L"a", L"B", L"1", L"-", L"\u00e9", L"\u00c9", L".", L"\\.", L"\\d",
                                              L"\\\\", L"*", L"+", L"?", L"[a-c]", L"(b)", L"|", L"\\w", L"x", L"_"};
    const std::wstring letters = L"aAbB19.-x_\\\u00e9\u00c9\n\u0663";
    std::mt19937 random(11);
    int plain = 0;
    for (int round = 0; round < 3000; ++round) {
        std::wstring expression;
        const int length = 1 + static_cast<int>(random() % 6);
        for (int i = 0; i < length; ++i)
            expression += pieces[random() % pieces.size()];
        for (int n = 0; n < 12; ++n) {
            std::wstring name;
            const int nameLength = static_cast<int>(random() % 7);
            for (int i = 0; i < nameLength; ++i)
                name += letters[random() % letters.size()];
            bool wasPlain = false;
            ASSERT_EQ(Ours(expression, name, &wasPlain), Standard(expression, name))
                << "expression '" << std::string(expression.begin(), expression.end()) << "' name of "
                << name.size();
            plain += wasPlain ? 1 : 0;
        }
    }
    // Most random expressions fall into the plain form, so the comparison
    // covers it and not only the standard engine.
    EXPECT_GT(plain, 3000 * 12 / 10);
}

}  // namespace
