// Conditions: operators on strings and integers, the ~ forms, type rules,
// precedence of the logical operators, parentheses, environment and the
// component/feature states of a session that has not been costed yet.
#include <gtest/gtest.h>

#include <initializer_list>

#include "platform/posix/session/session.h"
#include "session/fixture.h"

namespace qv::posix::session {
namespace {

class ConditionTest : public ::testing::Test {
protected:
    ConditionTest() : session(make_db(), L"Z:\\pkg\\c.msi") {
        for (auto [name, value] : {std::pair{L"S", L"abc"}, {L"Ten", L"10"}, {L"Nine", L"9"}, {L"Neg", L"-3"},
                                   {L"Zero", L"0"}})
            session.set_property(name, value);
    }
    static std::shared_ptr<msidb::Database> make_db() {
        auto db = std::make_shared<msidb::Database>();
        test::add_table(*db, L"Component", {L"Component", L"ComponentId", L"Directory_", L"Attributes"},
                        {{L"Comp", {}, L"TARGETDIR", 0}, {L"SrcComp", {}, L"TARGETDIR", 1}});
        test::add_table(*db, L"Feature", {L"Feature", L"Level", L"Attributes"},
                        {{L"Feat", 1, 0}, {L"Deep", 5, 0}, {L"FromSource", 1, 1}});
        test::add_table(*db, L"Directory", {L"Directory", L"Directory_Parent", L"DefaultDir"},
                        {{L"TARGETDIR", {}, L"SourceDir"}});
        return db;
    }
    MSICONDITION eval(const std::wstring& c) { return session.evaluate(c); }
    // Every condition of the list evaluates to `expected`.
    void all(MSICONDITION expected, std::initializer_list<const wchar_t*> conditions) {
        for (const wchar_t* c : conditions) EXPECT_EQ(eval(c), expected) << c;
    }
    void yes(std::initializer_list<const wchar_t*> c) { all(MSICONDITION_TRUE, c); }
    void no(std::initializer_list<const wchar_t*> c) { all(MSICONDITION_FALSE, c); }
    Session session;
};

// Ordinal order: upper case sorts first; an absent property is empty.
TEST_F(ConditionTest, StringComparisons) {
    yes({L"S = \"abc\"", L"S ~= \"ABC\"", L"S <> \"abd\"", L"S < \"abd\"", L"S > \"ab\"",
         L"S <= \"abc\" AND S >= \"abc\"", L"\"B\" < \"a\"", L"S >< \"b\"", L"S ~>< \"B\"", L"S << \"ab\"",
         L"S ~<< \"AB\"", L"S >> \"bc\"", L"S ~>> \"BC\"", L"Unset = \"\""});
    no({L"S = \"ABC\"", L"S ~<> \"ABC\"", L"\"B\" ~< \"a\"", L"S >< \"B\"", L"S << \"bc\"", L"S >> \"abcd\""});
}

// Integers compare as numbers, a quoted literal is always text, integer
// against text is false except <>; >< is bitwise AND, << and >> the high
// and low 16 bits.
TEST_F(ConditionTest, IntegerComparisonsAndTypeRules) {
    yes({L"VersionNT >= 600", L"VersionNT64 = 603", L"Ten < \"9\"", L"Neg < 0", L"-3 = Neg", L"S <> 5",
         L"5 <> \"5\"", L"Unset <> 0", L"6 >< 2", L"65537 << 1", L"65537 >> 1", L"-1 << 65535",
         L"2147483647 > -2147483648"});
    no({L"Ten < 9", L"Ten < Nine", L"S = 5", L"S < 5", L"5 = \"5\"", L"Unset = 0", L"6 >< 1", L"131072 >> 1"});
    EXPECT_EQ(eval(L"2147483648 > 0"), MSICONDITION_ERROR);
}

// A set property is true whatever its text; setting "" removes it.
TEST_F(ConditionTest, BareValues) {
    yes({L"S", L"Zero", L"7", L"\"x\""});
    no({L"Unset", L"0", L"\"\""});
    session.set_property(L"S", L"");
    no({L"S"});
}

// AND binds tighter than OR, OR tighter than XOR, IMP is the loosest;
// keywords in any case, names not.
TEST_F(ConditionTest, LogicalOperatorsAndPrecedence) {
    yes({L"1 OR 0 AND 0", L"NOT 0 AND 1", L"NOT NOT 1", L"0 IMP 0 EQV 0", L"1 XOR 0", L"0 EQV 0", L"0 IMP 0",
         L"not Unset and s <> S", L"((S = \"abc\") AND (Ten = 10)) Or 0", L"\tS\r\n=\"abc\" "});
    no({L"(1 OR 0) AND 0", L"NOT (1 AND 1)", L"1 XOR 1 OR 1", L"1 XOR 1", L"1 EQV 0", L"1 IMP 0"});
}

TEST_F(ConditionTest, EnvironmentNamesIgnoreCase) {
    yes({L"%PROCESSOR_ARCHITECTURE = \"AMD64\"", L"%processor_architecture ~= \"amd64\"",
         L"%NUMBER_OF_PROCESSORS = 2"});
    no({L"%NoSuchVariable"});
}

// Before CostFinalize no action state is known (-1, a non-zero integer);
// nothing is installed on the reference machine (2). Unknown rows read as
// an empty value.
TEST_F(ConditionTest, ComponentAndFeatureStatesBeforeAndAfterCosting) {
    yes({L"$Comp = -1", L"?Comp = 2", L"&Feat = -1", L"!Feat = 2", L"$NoComp <> -1", L"$Comp"});
    no({L"$Comp = 3", L"$NoComp = -1", L"$NoComp"});
    ASSERT_EQ(session.do_action(L"CostInitialize"), 0u);
    ASSERT_EQ(session.do_action(L"FileCost"), 0u);
    yes({L"$Comp = -1"});
    ASSERT_EQ(session.do_action(L"CostFinalize"), 0u);
    yes({L"$Comp = 3 AND $SrcComp = 4 AND ?Comp = 2", L"&Feat = 3 AND &Deep = -1 AND &FromSource = 4 AND !Feat = 2"});
    session.set_property(L"INSTALLLEVEL", L"5");
    yes({L"&Deep = 3"});
}

TEST_F(ConditionTest, EmptyAndMalformedConditions) {
    all(MSICONDITION_NONE, {L"", L" \t\r\n"});
    all(MSICONDITION_ERROR, {L"(", L"(1", L"1)", L"S =", L"= 1", L"\"abc", L"S ~ \"a\"", L"5 5", L"AND", L"1 AND",
                             L"NOT", L"\"a\"\"b\"", L"S == \"abc\"", L"-", L"S + 1", L"%", L"$", L"()",
                             L"1 = 2 = 3", L"S @ 1"});
    EXPECT_EQ(eval(std::wstring(150, L'(') + L"1" + std::wstring(150, L')')), MSICONDITION_TRUE);
    EXPECT_EQ(eval(std::wstring(100000, L'(') + L"1" + std::wstring(100000, L')')), MSICONDITION_ERROR);
    std::wstring nots;
    for (int i = 0; i < 10001; ++i) nots += L"NOT ";
    EXPECT_EQ(eval(nots + L"1"), MSICONDITION_FALSE);
}

}  // namespace
}  // namespace qv::posix::session
