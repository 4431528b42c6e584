// Formatted text: every bracket form, groups, escapes, unbalanced text, the
// null template, formatting without a session, and the rows observed in a
// real installer engine after the three cost actions.
#include <gtest/gtest.h>

#include "platform/posix/session/formatter.h"
#include "platform/posix/session/session.h"
#include "session/fixture.h"

namespace qv::posix::session {
namespace {

using test::probe_database;

class FormatTest : public ::testing::Test {
protected:
    FormatTest() : session(probe_database(), L"Z:\\pkg\\probe.msi") {
        session.set_property(L"P", L"v");
        session.set_property(L"Name", L"P");
        session.set_property(L"Raw", L"[P]");
        session.set_property(L"Braced", L"{[P]}");
    }
    std::wstring fmt(const std::wstring& text) { return session.format({text}); }
    std::wstring fmt(RecordText record) { return session.format(record); }
    void cost() {
        ASSERT_EQ(session.do_action(L"CostInitialize"), 0u);
        ASSERT_EQ(session.do_action(L"FileCost"), 0u);
        ASSERT_EQ(session.do_action(L"CostFinalize"), 0u);
    }
    Session session;
};

// The table observed in a real engine, with our reference machine's
// 64-bit ProgramFilesFolder.
TEST_F(FormatTest, ObservedEngineRows) {
    cost();
    EXPECT_EQ(fmt(RecordText{std::nullopt, L"[#MainFile]"}),
              L"1: C:\\Program Files (x86)\\QV Probe\\readme.txt ");
    EXPECT_EQ(fmt(L"[#MainFile]"), L"C:\\Program Files (x86)\\QV Probe\\readme.txt");
    EXPECT_EQ(fmt(RecordText{std::nullopt, L"plain"}), L"1: plain ");
    EXPECT_EQ(fmt(L"[\\[]x[\\]]"), L"[x]");
    EXPECT_EQ(fmt(L"{X}"), L"{X}");
    EXPECT_EQ(fmt(L"{[ProductName]}"), L"QV Probe");
    EXPECT_EQ(fmt(L"[QV_BRACKET]"), L"[SourceDir]x");
    EXPECT_EQ(fmt(RecordText{L"[1]", L""}), L"");
    EXPECT_EQ(fmt(RecordText{L"[1]", std::nullopt}), L"");
}

TEST_F(FormatTest, PropertiesAreCaseSensitiveAndNotFormattedAgain) {
    EXPECT_EQ(fmt(L"a[P]b"), L"avb");
    EXPECT_EQ(fmt(L"a[p]b"), L"ab");          // another name
    EXPECT_EQ(fmt(L"a[Unset]b"), L"ab");
    EXPECT_EQ(fmt(L"[Raw]"), L"[P]");
    EXPECT_EQ(fmt(L"[Braced]"), L"{[P]}");
    EXPECT_EQ(fmt(L"[]"), L"");               // reading chosen: an empty name is an unknown property
    EXPECT_EQ(fmt(L"[ProductName] [VersionNT]"), L"QV Probe 603");
}

TEST_F(FormatTest, NestedBracketsResolveInsideOut) {
    EXPECT_EQ(fmt(L"[[Name]]"), L"v");
    EXPECT_EQ(fmt(L"<[[Unset]]>"), L"<>");
    EXPECT_EQ(fmt(L"[[[Name2]]]"), L"");
    session.set_property(L"Name2", L"Name");
    EXPECT_EQ(fmt(L"[[[Name2]]]"), L"v");
    EXPECT_EQ(fmt(L"[%[EnvName]]"), L"");
    session.set_property(L"EnvName", L"windir");
    EXPECT_EQ(fmt(L"[%[EnvName]]"), L"C:\\Windows");
}

TEST_F(FormatTest, EnvironmentOfTheReferenceMachineIgnoresCase) {
    EXPECT_EQ(fmt(L"[%SystemRoot]"), L"C:\\Windows");
    EXPECT_EQ(fmt(L"[%SYSTEMROOT]|[%username]"), L"C:\\Windows|User");
    EXPECT_EQ(fmt(L"[%ProgramFiles(x86)]"), L"C:\\Program Files (x86)");
    EXPECT_EQ(fmt(L"<[%NoSuchVariable]>"), L"<>");
}

TEST_F(FormatTest, EscapesKeepOneCharacter) {
    EXPECT_EQ(fmt(L"[\\[]"), L"[");
    EXPECT_EQ(fmt(L"[\\]]"), L"]");
    EXPECT_EQ(fmt(L"[\\abc]"), L"a");          // the rest inside the brackets is dropped
    EXPECT_EQ(fmt(L"[\\[]ProductName[\\]]"), L"[ProductName]");
    EXPECT_EQ(fmt(L"[\\{]a[\\}]"), L"{a}");
    const std::wstring nul = fmt(L"a[~]b");
    ASSERT_EQ(nul.size(), 3u);
    EXPECT_EQ(nul[1], L'\0');
}

TEST_F(FormatTest, GroupsKeepDropOrUnwrap) {
    EXPECT_EQ(fmt(L"{text}"), L"{text}");
    EXPECT_EQ(fmt(L"x{a [P] b}y"), L"xa v by");
    EXPECT_EQ(fmt(L"x{a [Unset] b}y"), L"xy");
    EXPECT_EQ(fmt(L"x{[P][Unset]}y"), L"xy");
    EXPECT_EQ(fmt(L"{[P]}{, [Unset]}{, [ProductName]}"), L"v, QV Probe");
    // Reading chosen for nested groups: the inner group decides for itself;
    // its substitution unwraps the outer one.
    EXPECT_EQ(fmt(L"{a{[Unset]}b}"), L"ab");
    EXPECT_EQ(fmt(L"{a{b}c}"), L"{a{b}c}");
    // Reading chosen for double braces (shown in the log only): the content
    // without the braces, gone when a value is missing.
    EXPECT_EQ(fmt(L"{{Fatal error: }}"), L"Fatal error: ");
    EXPECT_EQ(fmt(L"{{Disk [P]}}!"), L"Disk v!");
    EXPECT_EQ(fmt(L"{{Disk [Unset]}}!"), L"!");
    EXPECT_EQ(fmt(L"{{{{[P]}}}}"), L"v");
    EXPECT_EQ(fmt(L"{{a}}{{b [P]}}"), L"ab v");
    // An escape counts as a substitution.
    EXPECT_EQ(fmt(L"{[\\[]}"), L"[");
}

TEST_F(FormatTest, UnbalancedTextStaysAsWritten) {
    EXPECT_EQ(fmt(L"[P"), L"[P");
    EXPECT_EQ(fmt(L"a]b"), L"a]b");
    EXPECT_EQ(fmt(L"[abc [P]"), L"[abc v");
    EXPECT_EQ(fmt(L"[P]]"), L"v]");
    EXPECT_EQ(fmt(L"{a"), L"{a");
    EXPECT_EQ(fmt(L"a}"), L"a}");
    EXPECT_EQ(fmt(L"{[P]"), L"{v");
    EXPECT_EQ(fmt(L"[a{b]"), L"[a{b]");   // a brace inside keeps the bracket open
    // A bracket inside pairs first, so the brace is part of a property name.
    EXPECT_EQ(fmt(L"{a[b}c]"), L"{a");
    EXPECT_EQ(fmt(L"[\\"), L"[\\");
    EXPECT_EQ(fmt(L"[\\x"), L"[\\x");
    EXPECT_EQ(fmt(std::wstring(5000, L'[') + L"[P]"), std::wstring(5000, L'[') + L"v");
}

// Openers nested deeper than 200 levels are plain text (a guard against
// hostile templates; real ones nest a few levels).
TEST_F(FormatTest, NestingDepthIsCapped) {
    auto nest = [](int groups) {
        std::wstring t;
        for (int i = 0; i < groups; ++i) t += L"{a";
        return t + L"[P]" + std::wstring(static_cast<size_t>(groups), L'}');
    };
    EXPECT_EQ(fmt(nest(199)), std::wstring(199, L'a') + L"v");
    EXPECT_EQ(fmt(nest(200)), nest(200));
    const std::wstring deep = std::wstring(100000, L'[') + std::wstring(100000, L']');
    EXPECT_EQ(format_record({deep}, nullptr), deep);
}

TEST_F(FormatTest, RecordFields) {
    EXPECT_EQ(fmt(RecordText{L"[1]-[2]-[3]", L"one", L"2"}), L"one-2-");
    EXPECT_EQ(fmt(RecordText{L"[0][1]", L"x"}), L"x");
    EXPECT_EQ(fmt(RecordText{L"[99999999999]", L"x"}), L"");
    // A field's text is formatted once more; a property's value is not.
    EXPECT_EQ(fmt(RecordText{L"<[1]>", L"[P]"}), L"<v>");
    EXPECT_EQ(fmt(RecordText{L"<[1]>", L"[Raw]"}), L"<[P]>");
    // Reading chosen: inside a field's text [n] names a property, so a
    // field cannot pull in another field (or itself).
    EXPECT_EQ(fmt(RecordText{L"<[1]>", L"[2]", L"two"}), L"<>");
    EXPECT_EQ(fmt(RecordText{L"<[1]>", L"[1]"}), L"<>");
    EXPECT_EQ(fmt(RecordText{L"[[1]]", L"ProductName"}), L"QV Probe");
    EXPECT_EQ(fmt(RecordText{L"{[1]}{, [2]}", L"a", std::nullopt}), L"a");
}

TEST_F(FormatTest, NullTemplateListsEveryField) {
    EXPECT_EQ(fmt(RecordText{std::nullopt, L"a", std::nullopt, L"5"}), L"1: a 2:  3: 5 ");
    EXPECT_EQ(fmt(RecordText{std::nullopt}), L"");
    EXPECT_EQ(fmt(RecordText{}), L"");
    EXPECT_EQ(fmt(RecordText{std::nullopt, L"[ProductName]", L"[\\[]"}), L"1: QV Probe 2: [ ");
}

// Without a session only record markers, escapes and groups are expanded.
TEST(FormatWithoutSession, LeavesPropertyFormsAsWritten) {
    RecordText r{L"field: [1], property: [property], [%windir] [#F] [$C] [\\[]x[\\]] {g [2]}{h [1]}", L"one"};
    EXPECT_EQ(format_record(r, nullptr), L"field: one, property: [property], [%windir] [#F] [$C] [x] h one");
    EXPECT_EQ(format_record({L"{, [Prop]}"}, nullptr), L"{, [Prop]}");
    RecordText error{std::nullopt, L"2711", L"INSTALLDIR"};
    error[0] = L"Windows Installer Error [1]: [2]{, [3]}{, [4]}{, [5]}\n";
    EXPECT_EQ(format_record(error, nullptr), L"Windows Installer Error 2711: INSTALLDIR\n");
}

TEST_F(FormatTest, FileAndComponentFormsAreBlankUntilCosted) {
    EXPECT_EQ(fmt(L"<[#MainFile]|[!MainFile]|[$MainComp]>"), L"<||>");
    EXPECT_EQ(fmt(L"x{[#MainFile]}y"), L"xy");
    cost();
    EXPECT_EQ(fmt(L"[$MainComp]"), L"C:\\Program Files (x86)\\QV Probe\\");
    // Reading chosen: outside Registry and IniFile values [!File] is [#File].
    EXPECT_EQ(fmt(L"[!MainFile]"), L"C:\\Program Files (x86)\\QV Probe\\readme.txt");
    EXPECT_EQ(fmt(L"<[#NoFile]|[$NoComp]>"), L"<|>");
}

}  // namespace
}  // namespace qv::posix::session
