// Formatted text: every bracket form, groups, escapes, unbalanced text, the
// null template, formatting without a session, and the rows observed in a
// real installer engine after the three cost actions.
#include <gtest/gtest.h>

#include <initializer_list>

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
    // Each template formats to its expected text.
    void rows(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> table) {
        for (auto [text, expected] : table) EXPECT_EQ(fmt(text), expected) << text;
    }
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
    EXPECT_EQ(fmt(RecordText{std::nullopt, L"plain"}), L"1: plain ");
    EXPECT_EQ(fmt(RecordText{L"[1]", L""}), L"");
    EXPECT_EQ(fmt(RecordText{L"[1]", std::nullopt}), L"");
    rows({{L"[#MainFile]", L"C:\\Program Files (x86)\\QV Probe\\readme.txt"}, {L"[\\[]x[\\]]", L"[x]"},
          {L"{X}", L"{X}"}, {L"{[ProductName]}", L"QV Probe"}, {L"[QV_BRACKET]", L"[SourceDir]x"}});
}

// Names are case-sensitive, values are not formatted again; reading chosen:
// an empty name is an unknown property.
TEST_F(FormatTest, PropertiesAreCaseSensitiveAndNotFormattedAgain) {
    rows({{L"a[P]b", L"avb"}, {L"a[p]b", L"ab"}, {L"a[Unset]b", L"ab"}, {L"[Raw]", L"[P]"}, {L"[Braced]", L"{[P]}"},
          {L"[]", L""}, {L"[ProductName] [VersionNT]", L"QV Probe 603"}});
}

TEST_F(FormatTest, NestedBracketsResolveInsideOut) {
    rows({{L"[[Name]]", L"v"}, {L"<[[Unset]]>", L"<>"}, {L"[[[Name2]]]", L""}, {L"[%[EnvName]]", L""}});
    session.set_property(L"Name2", L"Name");
    session.set_property(L"EnvName", L"windir");
    rows({{L"[[[Name2]]]", L"v"}, {L"[%[EnvName]]", L"C:\\Windows"}});
}

TEST_F(FormatTest, EnvironmentOfTheReferenceMachineIgnoresCase) {
    rows({{L"[%SystemRoot]", L"C:\\Windows"}, {L"[%SYSTEMROOT]|[%username]", L"C:\\Windows|User"},
          {L"[%ProgramFiles(x86)]", L"C:\\Program Files (x86)"}, {L"<[%NoSuchVariable]>", L"<>"}});
}

// An escape keeps one character; the rest inside the brackets is dropped.
TEST_F(FormatTest, EscapesKeepOneCharacter) {
    rows({{L"[\\[]", L"["}, {L"[\\]]", L"]"}, {L"[\\abc]", L"a"}, {L"[\\[]ProductName[\\]]", L"[ProductName]"},
          {L"[\\{]a[\\}]", L"{a}"}});
    EXPECT_EQ(fmt(L"a[~]b"), std::wstring(L"a\0b", 3));
}

TEST_F(FormatTest, GroupsKeepDropOrUnwrap) {
    rows({{L"{text}", L"{text}"}, {L"x{a [P] b}y", L"xa v by"}, {L"x{a [Unset] b}y", L"xy"},
          {L"x{[P][Unset]}y", L"xy"}, {L"{[P]}{, [Unset]}{, [ProductName]}", L"v, QV Probe"},
          // Reading chosen for nested groups: the inner group decides for
          // itself; its substitution unwraps the outer one.
          {L"{a{[Unset]}b}", L"ab"}, {L"{a{b}c}", L"{a{b}c}"},
          // Reading chosen for double braces (shown in the log only): the
          // content without the braces, gone when a value is missing.
          {L"{{Fatal error: }}", L"Fatal error: "}, {L"{{Disk [P]}}!", L"Disk v!"}, {L"{{Disk [Unset]}}!", L"!"},
          {L"{{{{[P]}}}}", L"v"}, {L"{{a}}{{b [P]}}", L"ab v"},
          {L"{[\\[]}", L"["}});  // an escape counts as a substitution
}

// A brace inside keeps a bracket open; a bracket inside pairs first, so a
// brace can be part of a property name.
TEST_F(FormatTest, UnbalancedTextStaysAsWritten) {
    rows({{L"[P", L"[P"}, {L"a]b", L"a]b"}, {L"[abc [P]", L"[abc v"}, {L"[P]]", L"v]"}, {L"{a", L"{a"},
          {L"a}", L"a}"}, {L"{[P]", L"{v"}, {L"[a{b]", L"[a{b]"}, {L"{a[b}c]", L"{a"}, {L"[\\", L"[\\"},
          {L"[\\x", L"[\\x"}});
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
