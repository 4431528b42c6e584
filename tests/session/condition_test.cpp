// Conditions: operators on strings and integers, the ~ forms, type rules,
// precedence of the logical operators, parentheses, environment and the
// component/feature states of a session that has not been costed yet.
#include <gtest/gtest.h>

#include "platform/posix/session/session.h"
#include "session/fixture.h"

namespace qv::posix::session {
namespace {

class ConditionTest : public ::testing::Test {
protected:
    ConditionTest() : session(make_db(), L"Z:\\pkg\\c.msi") {
        session.set_property(L"S", L"abc");
        session.set_property(L"Ten", L"10");
        session.set_property(L"Nine", L"9");
        session.set_property(L"Neg", L"-3");
        session.set_property(L"Zero", L"0");
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
    bool yes(const std::wstring& c) { return eval(c) == MSICONDITION_TRUE; }
    bool no(const std::wstring& c) { return eval(c) == MSICONDITION_FALSE; }
    Session session;
};

TEST_F(ConditionTest, StringComparisons) {
    EXPECT_TRUE(yes(L"S = \"abc\""));
    EXPECT_TRUE(no(L"S = \"ABC\""));
    EXPECT_TRUE(yes(L"S ~= \"ABC\""));
    EXPECT_TRUE(yes(L"S <> \"abd\""));
    EXPECT_TRUE(no(L"S ~<> \"ABC\""));
    EXPECT_TRUE(yes(L"S < \"abd\""));
    EXPECT_TRUE(yes(L"S > \"ab\""));
    EXPECT_TRUE(yes(L"S <= \"abc\" AND S >= \"abc\""));
    EXPECT_TRUE(yes(L"\"B\" < \"a\""));        // ordinal: upper case sorts first
    EXPECT_TRUE(no(L"\"B\" ~< \"a\""));
    EXPECT_TRUE(yes(L"S >< \"b\""));
    EXPECT_TRUE(no(L"S >< \"B\""));
    EXPECT_TRUE(yes(L"S ~>< \"B\""));
    EXPECT_TRUE(yes(L"S << \"ab\""));
    EXPECT_TRUE(no(L"S << \"bc\""));
    EXPECT_TRUE(yes(L"S ~<< \"AB\""));
    EXPECT_TRUE(yes(L"S >> \"bc\""));
    EXPECT_TRUE(yes(L"S ~>> \"BC\""));
    EXPECT_TRUE(no(L"S >> \"abcd\""));
    EXPECT_TRUE(yes(L"Unset = \"\""));         // an absent property is empty
}

TEST_F(ConditionTest, IntegerComparisonsAndTypeRules) {
    EXPECT_TRUE(yes(L"VersionNT >= 600"));
    EXPECT_TRUE(yes(L"VersionNT64 = 603"));
    EXPECT_TRUE(no(L"Ten < 9"));               // numeric, not "10" < "9"
    EXPECT_TRUE(no(L"Ten < Nine"));            // two integer properties compare as numbers
    EXPECT_TRUE(yes(L"Ten < \"9\""));          // a quoted literal is always text
    EXPECT_TRUE(yes(L"Neg < 0"));
    EXPECT_TRUE(yes(L"-3 = Neg"));
    EXPECT_TRUE(no(L"S = 5"));                 // integer against text: false ...
    EXPECT_TRUE(no(L"S < 5"));
    EXPECT_TRUE(yes(L"S <> 5"));               // ... except <>
    EXPECT_TRUE(no(L"5 = \"5\""));
    EXPECT_TRUE(yes(L"5 <> \"5\""));
    EXPECT_TRUE(no(L"Unset = 0"));
    EXPECT_TRUE(yes(L"Unset <> 0"));
    EXPECT_TRUE(yes(L"6 >< 2"));               // bitwise AND
    EXPECT_TRUE(no(L"6 >< 1"));
    EXPECT_TRUE(yes(L"65537 << 1"));           // high 16 bits
    EXPECT_TRUE(yes(L"65537 >> 1"));           // low 16 bits
    EXPECT_TRUE(no(L"131072 >> 1"));
    EXPECT_TRUE(yes(L"-1 << 65535"));
    EXPECT_TRUE(yes(L"2147483647 > -2147483648"));
    EXPECT_EQ(eval(L"2147483648 > 0"), MSICONDITION_ERROR);
}

TEST_F(ConditionTest, BareValues) {
    EXPECT_TRUE(yes(L"S"));
    EXPECT_TRUE(yes(L"Zero"));                 // set, so true, whatever the text
    EXPECT_TRUE(no(L"Unset"));
    EXPECT_TRUE(no(L"0"));
    EXPECT_TRUE(yes(L"7"));
    EXPECT_TRUE(no(L"\"\""));
    EXPECT_TRUE(yes(L"\"x\""));
    session.set_property(L"S", L"");
    EXPECT_TRUE(no(L"S"));                     // setting "" removes the property
}

TEST_F(ConditionTest, LogicalOperatorsAndPrecedence) {
    EXPECT_TRUE(yes(L"1 OR 0 AND 0"));         // AND binds tighter than OR
    EXPECT_TRUE(no(L"(1 OR 0) AND 0"));
    EXPECT_TRUE(yes(L"NOT 0 AND 1"));
    EXPECT_TRUE(no(L"NOT (1 AND 1)"));
    EXPECT_TRUE(yes(L"NOT NOT 1"));
    EXPECT_TRUE(no(L"1 XOR 1 OR 1"));          // OR binds tighter than XOR
    EXPECT_TRUE(yes(L"0 IMP 0 EQV 0"));        // IMP is the loosest
    EXPECT_TRUE(yes(L"1 XOR 0"));
    EXPECT_TRUE(no(L"1 XOR 1"));
    EXPECT_TRUE(yes(L"0 EQV 0"));
    EXPECT_TRUE(no(L"1 EQV 0"));
    EXPECT_TRUE(no(L"1 IMP 0"));
    EXPECT_TRUE(yes(L"0 IMP 0"));
    EXPECT_TRUE(yes(L"not Unset and s <> S"));  // keywords in any case; names not
    EXPECT_TRUE(yes(L"((S = \"abc\") AND (Ten = 10)) Or 0"));
    EXPECT_TRUE(yes(L"\tS\r\n=\"abc\" "));
}

TEST_F(ConditionTest, EnvironmentNamesIgnoreCase) {
    EXPECT_TRUE(yes(L"%PROCESSOR_ARCHITECTURE = \"AMD64\""));
    EXPECT_TRUE(yes(L"%processor_architecture ~= \"amd64\""));
    EXPECT_TRUE(yes(L"%NUMBER_OF_PROCESSORS = 2"));
    EXPECT_TRUE(no(L"%NoSuchVariable"));
}

// Before CostFinalize no action state is known (-1); nothing is installed
// on the reference machine (2). Unknown rows read as an empty value.
TEST_F(ConditionTest, ComponentAndFeatureStatesBeforeAndAfterCosting) {
    EXPECT_TRUE(yes(L"$Comp = -1"));
    EXPECT_TRUE(yes(L"?Comp = 2"));
    EXPECT_TRUE(yes(L"&Feat = -1"));
    EXPECT_TRUE(yes(L"!Feat = 2"));
    EXPECT_TRUE(no(L"$Comp = 3"));
    EXPECT_TRUE(no(L"$NoComp = -1"));
    EXPECT_TRUE(yes(L"$NoComp <> -1"));
    EXPECT_TRUE(no(L"$NoComp"));
    EXPECT_TRUE(yes(L"$Comp"));                // -1 is a non-zero integer
    ASSERT_EQ(session.do_action(L"CostInitialize"), 0u);
    ASSERT_EQ(session.do_action(L"FileCost"), 0u);
    EXPECT_TRUE(yes(L"$Comp = -1"));
    ASSERT_EQ(session.do_action(L"CostFinalize"), 0u);
    EXPECT_TRUE(yes(L"$Comp = 3 AND $SrcComp = 4 AND ?Comp = 2"));
    EXPECT_TRUE(yes(L"&Feat = 3 AND &Deep = -1 AND &FromSource = 4 AND !Feat = 2"));
    session.set_property(L"INSTALLLEVEL", L"5");
    EXPECT_TRUE(yes(L"&Deep = 3"));
}

TEST_F(ConditionTest, EmptyAndMalformedConditions) {
    EXPECT_EQ(eval(L""), MSICONDITION_NONE);
    EXPECT_EQ(eval(L" \t\r\n"), MSICONDITION_NONE);
    for (const wchar_t* bad : {L"(", L"(1", L"1)", L"S =", L"= 1", L"\"abc", L"S ~ \"a\"", L"5 5", L"AND",
                               L"1 AND", L"NOT", L"\"a\"\"b\"", L"S == \"abc\"", L"-", L"S + 1", L"%", L"$",
                               L"()", L"1 = 2 = 3", L"S @ 1"}) {
        EXPECT_EQ(eval(bad), MSICONDITION_ERROR) << bad;
    }
    EXPECT_EQ(eval(std::wstring(150, L'(') + L"1" + std::wstring(150, L')')), MSICONDITION_TRUE);
    EXPECT_EQ(eval(std::wstring(100000, L'(') + L"1" + std::wstring(100000, L')')), MSICONDITION_ERROR);
    std::wstring nots;
    for (int i = 0; i < 10001; ++i) nots += L"NOT ";
    EXPECT_EQ(eval(nots + L"1"), MSICONDITION_FALSE);
}

}  // namespace
}  // namespace qv::posix::session
