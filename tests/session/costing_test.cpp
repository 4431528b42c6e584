// Cost actions and ResolveSource: target and source paths of a directory
// tree with short|long names, ".", a directory property set before
// CostFinalize, the Word Count bits, and the directory properties between
// the actions.
#include <gtest/gtest.h>

#include "platform/posix/session/session.h"
#include "session/fixture.h"

namespace qv::posix::session {
namespace {

std::shared_ptr<msidb::Database> tree(int word_count) {
    auto db = std::make_shared<msidb::Database>();
    test::add_table(*db, L"Directory", {L"Directory", L"Directory_Parent", L"DefaultDir"},
                    {{L"TARGETDIR", {}, L"SourceDir"},
                     {L"ProgramFilesFolder", L"TARGETDIR", L"PFiles"},
                     {L"Company", L"ProgramFilesFolder", L"QVCOMP|Quillvane Tools:SRCCOMP|Source Company"},
                     {L"INSTALLDIR", L"Company", L"QVPROBE|QV Probe"},
                     {L"BinDir", L"INSTALLDIR", L"Bin"},
                     {L"Binx86", L"BinDir", L".:x86"},
                     {L"DataDir", L"INSTALLDIR", L"DATA|Data Files"},
                     {L"UserDir", L"TARGETDIR", L"USERD|User Dir"},
                     {L"UserSub", L"UserDir", L"Sub"},
                     {L"LoopA", L"LoopB", L"A"},
                     {L"LoopB", L"LoopA", L"B"},
                     {L"Lost", L"NoSuchDir", L"Lost"}});
    test::add_table(*db, L"Component", {L"Component", L"ComponentId", L"Directory_", L"Attributes"},
                    {{L"Main", {}, L"BinDir", 0}, {L"Remote", {}, L"DataDir", 1}});
    test::add_table(*db, L"File", {L"File", L"Component_", L"FileName"},
                    {{L"App", L"Main", L"APP~1.EXE|Application.exe"}, {L"Doc", L"Remote", L"DOC~1.TXT|Document.txt"}});
    test::set_word_count(*db, word_count);
    return db;
}

void cost(Session& s) {
    ASSERT_EQ(s.do_action(L"CostInitialize"), 0u);
    ASSERT_EQ(s.do_action(L"FileCost"), 0u);
    ASSERT_EQ(s.do_action(L"CostFinalize"), 0u);
}

std::wstring target(const Session& s, const std::wstring& d) { return s.target_path(d).value_or(L"<none>"); }
std::wstring source(const Session& s, const std::wstring& d) { return s.source_path(d).value_or(L"<none>"); }

// Each directory of the table has the expected target (or source) path.
using Paths = std::vector<std::pair<std::wstring, std::wstring>>;
void targets(const Session& s, const Paths& table) {
    for (const auto& [d, expected] : table) EXPECT_EQ(target(s, d), expected) << d;
}
void sources(const Session& s, const Paths& table) {
    for (const auto& [d, expected] : table) EXPECT_EQ(source(s, d), expected) << d;
}
void properties(const Session& s, const Paths& table) {
    for (const auto& [name, expected] : table) EXPECT_EQ(s.property(name), expected) << name;
}

TEST(Costing, TargetPathsOfTheTree) {
    Session s(tree(0), L"Z:\\home\\u\\pkg\\p.msi");
    s.set_property(L"UserDir", L"D:\\Custom");  // set before CostFinalize, without the closing backslash
    cost(s);
    const std::wstring base = L"C:\\Program Files (x86)\\Quillvane Tools\\QV Probe\\";
    // The root also goes by its DefaultDir name; "." adds no folder.
    // Reading chosen: a row on a loop or under a missing parent hangs
    // directly below the root drive.
    targets(s, {{L"TARGETDIR", L"C:\\"}, {L"SourceDir", L"C:\\"}, {L"ProgramFilesFolder", L"C:\\Program Files (x86)\\"},
                {L"Company", L"C:\\Program Files (x86)\\Quillvane Tools\\"}, {L"INSTALLDIR", base},
                {L"BinDir", base + L"Bin\\"}, {L"Binx86", base + L"Bin\\"}, {L"DataDir", base + L"Data Files\\"},
                {L"UserDir", L"D:\\Custom\\"}, {L"UserSub", L"D:\\Custom\\Sub\\"}, {L"LoopB", L"C:\\B\\"},
                {L"LoopA", L"C:\\B\\A\\"}, {L"Lost", L"C:\\Lost\\"}, {L"NoSuchDir", L"<none>"}});
    // Every directory key is now a property holding its target path.
    properties(s, {{L"INSTALLDIR", base}, {L"TARGETDIR", L"C:\\"}, {L"UserDir", L"D:\\Custom\\"},
                   {L"CostingComplete", L"1"}});
    EXPECT_EQ(s.file_path(L"App", false), base + L"Bin\\Application.exe");
}

TEST(Costing, ShortTargetNamesAndAuthoredRoots) {
    Session s(tree(0), L"Z:\\pkg\\p.msi");
    s.set_property(L"SHORTFILENAMES", L"1");
    s.set_property(L"TARGETDIR", L"E:\\Root\\");
    cost(s);
    targets(s, {{L"TARGETDIR", L"E:\\Root\\"}, {L"DataDir", L"C:\\Program Files (x86)\\QVCOMP\\QVPROBE\\DATA\\"},
                {L"UserDir", L"E:\\Root\\USERD\\"}});
    EXPECT_EQ(s.file_path(L"App", false), L"C:\\Program Files (x86)\\QVCOMP\\QVPROBE\\Bin\\APP~1.EXE");

    Session r(tree(0), L"Z:\\pkg\\p.msi");
    r.set_property(L"ROOTDRIVE", L"F:\\");
    cost(r);
    targets(r, {{L"TARGETDIR", L"F:\\"}, {L"UserDir", L"F:\\User Dir\\"}});
}

TEST(Costing, SourcePathsByWordCount) {
    Session longs(tree(0), L"Z:\\home\\u\\pkg\\p.msi");
    ASSERT_EQ(longs.do_action(L"ResolveSource"), 0u);
    const std::wstring root = L"Z:\\home\\u\\pkg\\";
    const std::wstring probe = root + L"PFiles\\Source Company\\QV Probe\\";
    sources(longs, {{L"TARGETDIR", root}, {L"Company", root + L"PFiles\\Source Company\\"}, {L"INSTALLDIR", probe},
                    {L"Binx86", probe + L"Bin\\x86\\"}, {L"DataDir", probe + L"Data Files\\"}});

    Session shorts(tree(1), L"Z:\\home\\u\\pkg\\p.msi");
    ASSERT_EQ(shorts.do_action(L"ResolveSource"), 0u);
    sources(shorts, {{L"DataDir", root + L"PFiles\\SRCCOMP\\QVPROBE\\DATA\\"},
                     {L"Binx86", root + L"PFiles\\SRCCOMP\\QVPROBE\\Bin\\x86\\"}});

    // A compressed package takes every file from the source root.
    Session packed(tree(2 | 1), L"Z:\\home\\u\\pkg\\p.msi");
    ASSERT_EQ(packed.do_action(L"ResolveSource"), 0u);
    sources(packed, {{L"DataDir", root}, {L"TARGETDIR", root}});
    // The source property does not override a source path.
    Session named(tree(0), L"Z:\\pkg\\p.msi");
    named.set_property(L"INSTALLDIR", L"D:\\Elsewhere\\");
    ASSERT_EQ(named.do_action(L"ResolveSource"), 0u);
    EXPECT_EQ(source(named, L"BinDir"), L"Z:\\pkg\\PFiles\\Source Company\\QV Probe\\Bin\\");
}

// Directory properties: empty through CostInitialize and FileCost; from
// ResolveSource the source folder; from CostFinalize the target path, with
// a value set by hand in between counting as an authored target.
TEST(Costing, DirectoryPropertiesBetweenTheActions) {
    Session s(tree(0), L"Z:\\pkg\\p.msi");
    EXPECT_EQ(s.property(L"SourceDir"), L"");
    ASSERT_EQ(s.do_action(L"CostInitialize"), 0u);
    ASSERT_EQ(s.do_action(L"FileCost"), 0u);
    properties(s, {{L"INSTALLDIR", L""}, {L"ProgramFilesFolder", L"C:\\Program Files (x86)\\"}});
    EXPECT_EQ(target(s, L"INSTALLDIR"), L"<none>");
    EXPECT_EQ(source(s, L"INSTALLDIR"), L"<none>");
    ASSERT_EQ(s.do_action(L"ResolveSource"), 0u);
    properties(s, {{L"SourceDir", L"Z:\\pkg\\"}, {L"SOURCEDIR", L"Z:\\pkg\\"},
                   {L"INSTALLDIR", L"Z:\\pkg\\PFiles\\Source Company\\QV Probe\\"},
                   {L"ProgramFilesFolder", L"Z:\\pkg\\PFiles\\"}, {L"TARGETDIR", L"Z:\\pkg\\"}});
    s.set_property(L"DataDir", L"G:\\Data\\");
    ASSERT_EQ(s.do_action(L"CostFinalize"), 0u);
    properties(s, {{L"ProgramFilesFolder", L"C:\\Program Files (x86)\\"}, {L"TARGETDIR", L"C:\\"},
                   {L"INSTALLDIR", L"C:\\Program Files (x86)\\Quillvane Tools\\QV Probe\\"},
                   {L"DataDir", L"G:\\Data\\"}, {L"SourceDir", L"Z:\\pkg\\"}});
    // ResolveSource after CostFinalize leaves the target paths alone.
    ASSERT_EQ(s.do_action(L"ResolveSource"), 0u);
    EXPECT_EQ(s.property(L"INSTALLDIR"), L"C:\\Program Files (x86)\\Quillvane Tools\\QV Probe\\");
}

TEST(Costing, ActionOrderAndSourcesAfterCostingAlone) {
    Session s(tree(0), L"Z:\\pkg\\p.msi");
    EXPECT_EQ(s.do_action(L"FileCost"), ERROR_FUNCTION_NOT_CALLED);
    EXPECT_EQ(s.do_action(L"CostFinalize"), ERROR_FUNCTION_NOT_CALLED);
    EXPECT_EQ(s.do_action(L"InstallFiles"), ERROR_FUNCTION_NOT_CALLED);
    EXPECT_EQ(s.do_action(L"costinitialize"), ERROR_FUNCTION_NOT_CALLED);
    cost(s);
    // Without ResolveSource SourceDir stays unset, but the sources are known.
    EXPECT_EQ(s.property(L"SourceDir"), L"");
    EXPECT_EQ(source(s, L"BinDir"), L"Z:\\pkg\\PFiles\\Source Company\\QV Probe\\Bin\\");
    // A run-from-source component points at its source folder.
    EXPECT_EQ(s.file_path(L"Doc", false), L"Z:\\pkg\\PFiles\\Source Company\\QV Probe\\Data Files\\Document.txt");
    EXPECT_EQ(s.component_folder(L"Remote"), L"Z:\\pkg\\PFiles\\Source Company\\QV Probe\\Data Files\\");
    EXPECT_EQ(s.component_folder(L"Main"), L"C:\\Program Files (x86)\\Quillvane Tools\\QV Probe\\Bin\\");
}

TEST(Costing, InstallationContextFolders) {
    auto with_property = [](std::vector<test::Row> rows) {
        auto db = tree(0);
        test::add_table(*db, L"Property", {L"Property", L"Value"}, rows);
        return db;
    };
    Session machine(with_property({{L"ALLUSERS", L"1"}, {L"ProgramFilesFolder", L"X:\\Authored\\"}}), L"Z:\\p.msi");
    EXPECT_EQ(machine.property(L"DesktopFolder"), L"C:\\Users\\Public\\Desktop\\");
    EXPECT_EQ(machine.property(L"ProgramFilesFolder"), L"C:\\Program Files (x86)\\");  // the machine wins
    EXPECT_EQ(machine.property(L"OriginalDatabase"), L"Z:\\p.msi");
    Session user(with_property({{L"ROOTDRIVE", L"D:\\"}}), L"Z:\\p.msi");
    EXPECT_EQ(user.property(L"DesktopFolder"), L"C:\\Users\\User\\Desktop\\");
    EXPECT_EQ(user.property(L"ROOTDRIVE"), L"D:\\");  // authored value kept
    EXPECT_EQ(user.property(L"ProgramFilesFolder"), L"C:\\Program Files (x86)\\");
    Session dual(with_property({{L"ALLUSERS", L"2"}, {L"MSIINSTALLPERUSER", L"1"}}), L"Z:\\p.msi");
    EXPECT_EQ(dual.property(L"ProgramMenuFolder"),
              L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\");
    EXPECT_EQ(dual.property(L"ProgramFilesFolder"), L"C:\\Users\\User\\AppData\\Local\\Programs\\");
    Session admin(with_property({{L"ALLUSERS", L"2"}}), L"Z:\\p.msi");
    EXPECT_EQ(admin.property(L"StartupFolder"),
              L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\StartUp\\");
}

}  // namespace
}  // namespace qv::posix::session
