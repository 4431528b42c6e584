// The file tests of the file pattern checks: rows of _QvViceFileTestEntries
// matched against the long names of the File table.
#include <regex>

#include "checks/uwp/shared_vice.h"
#include "checks/vice/file_pattern.h"
#include "vice_fixture.h"

namespace {

using namespace vicetest;
using uwptest::FileSpec;

const std::wstring kBanner01 =
    Banner(L"QVVICE01", L"Checks for the presence of files that may normally be part of the Windows operating system");
const std::wstring kBanner02 = Banner(L"QVVICE02", L"Checks for the presence of device driver files");
const std::wstring kAspText = L"' appears to be a part of an ASP.NET/IIS application. This is not supported by ";

std::wstring Os(const std::wstring& name, const std::wstring& key)
{
    return Line(L"QVVICE01", 1, Msg(219, name), {L"File", L"FileName", key});
}

std::vector<FileSpec> Files(const std::vector<std::string>& names)
{
    std::vector<FileSpec> files;
    for (size_t i = 0; i < names.size(); ++i)
        files.push_back({"f" + std::to_string(i + 1), names[i], std::nullopt});
    return files;
}

TEST(FileTests, WholeNameExpressionThenExtension)
{
    // tests\.dll must match the whole long name in any case; .bak works as
    // an extension; the short name is never tested; a file without
    // extension meets the expressions only; two hits on one file give one
    // finding.
    const Lines lines = uwptest::RunUwp(
        QVVICE01,
        Files({"Tests.dll", "tests.DLL", "tests.dll.bak", "TESTS~1.DLL|Tests Library.dll", "README", "x.txt",
               "TESTS~2.DLL|other.dll"}),
        {kTestsTable, TestRow("QVVICE01", "tests\\.dll"), TestRow("QVVICE01", "tests library\\.DLL"),
         TestRow("QVVICE01", ".Library.dll"), TestRow("QVVICE01", "tests~2\\.dll"), TestRow("QVVICE02", ".txt")});
    EXPECT_EQ(lines, groupa::With(kBanner01,
                                  {Os(L"Tests.dll", L"f1"), Os(L"tests.DLL", L"f2"), Os(L"Tests Library.dll", L"f4")}));
    EXPECT_EQ(uwptest::RunUwp(QVVICE01, Files({"tests.dll.bak", "README"}),
                              {kTestsTable, TestRow("QVVICE01", ".BAK"), TestRow("QVVICE01", ".readme")}),
              groupa::With(kBanner01, {Os(L"tests.dll.bak", L"f1")}));
}

TEST(FileTests, SeverityAndOneFindingPerCheck)
{
    const std::string severity = uwptest::kSeverityTable;
    const auto files = Files({"Driver.SYS", "a.txt", "b.cpl"});
    const std::vector<std::string> tables = {kTestsTable,
                                             TestRow("QVVICE02", ".sys"),
                                             TestRow("QVVICE02", "driver\\..*"),
                                             TestRow("QVVICE07", ".sys"),
                                             severity,
                                             uwptest::SeverityRow("QVVICE02", "2")};
    EXPECT_EQ(uwptest::RunUwp(QVVICE02, files, tables),
              groupa::With(kBanner02, {Line(L"QVVICE02", 2, Msg(220, L"Driver.SYS"), {L"File", L"FileName", L"f1"})}));
    // The same file under another check's rows: its own finding, type 1.
    EXPECT_EQ(uwptest::RunUwp(QVVICE07, files, tables),
              groupa::With(Banner(L"QVVICE07",
                                  L"Checks for the presence of files that are part of applications that "
                                  L"may not work when virtualized"),
                           {Line(L"QVVICE07", 1, Msg(225, L"Driver.SYS"), {L"File", L"FileName", L"f1"})}));
}

TEST(FileTests, AppPackageSubclassReadsItsOwnRows)
{
    const auto files = Files({"default.aspx"});
    const std::wstring banner04 =
        Banner(L"QVVICE04", L"Checks for the presence of files that are part of ASP.NET/IIS applications");
    const std::vector<std::string> vice04 = {kTestsTable, TestRow("QVVICE04", ".aspx"), uwptest::kSeverityTable,
                                             uwptest::SeverityRow("QVVICE04", "3")};
    EXPECT_EQ(uwptest::RunUwp(QVVICE04, files, vice04),
              groupa::With(
                  banner04,
                  {Line(L"QVVICE04", 3, L"The file 'default.aspx" + kAspText + L"desktop application virtualization.",
                        {L"File", L"FileName", L"f1"})}));
    // QVUWP14 describes itself as QVVICE04 but neither its tests nor its
    // severity come from the QVVICE04 rows.
    const std::wstring banner14 =
        Banner(L"QVUWP14", L"Checks for the presence of files that are part of ASP.NET/IIS applications");
    EXPECT_EQ(uwptest::RunUwp(QVUWP14, files, vice04), Lines{banner14});
    EXPECT_EQ(uwptest::RunUwp(QVUWP14, files, {kTestsTable, TestRow("QVUWP14", "DEFAULT\\.aspx")}),
              groupa::With(banner14, {Line(L"QVUWP14", 1,
                                           L"The file 'default.aspx" + kAspText + L"applications in UWP app package.",
                                           {L"File", L"FileName", L"f1"})}));
}

TEST(FileTests, InvalidExpressionEndsTheCheckAtTheFirstFileReachingIt)
{
    // ".dll" sorts before "[": a.dll hits first; b.txt reaches the bad
    // expression and the check ends, so c.dll is not tested.
    EXPECT_EQ(uwptest::RunUwp(QVVICE01, Files({"a.dll", "b.txt", "c.dll"}),
                              {kTestsTable, TestRow("QVVICE01", ".dll"), TestRow("QVVICE01", "[")}),
              groupa::With(kBanner01, {Os(L"a.dll", L"f1"), L"QVVICE01\t0\tAn unhandled exception occurred."}));
}

TEST(FileTests, NothingWithoutTestsOrFiles)
{
    EXPECT_EQ(uwptest::RunUwp(QVVICE01, Files({"kernel32.dll"})), Lines{kBanner01});
    EXPECT_EQ(uwptest::RunUwp(QVVICE01, Files({"kernel32.dll"}), {kTestsTable}), Lines{kBanner01});
    EXPECT_EQ(uwptest::RunUwp(QVVICE01, {}, {kTestsTable, TestRow("QVVICE01", ".*")}), Lines{kBanner01});
    EXPECT_EQ(RunPackage(QVVICE01, {kTestsTable, TestRow("QVVICE01", ".*")}), Lines{kBanner01});
}

TEST(FileTests, LoadKeepsOneEntryPerTestIgnoringCaseAndMatchGivesItsValue)
{
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(
        dir, "package",
        {kTestsTable, TestRow("QVVICE01", "a\\.dll", "first"), TestRow("QVVICE01", "A\\.DLL", "second"),
         TestRow("QVVICE01", ".exe", "program"), TestRow("QVVICE02", ".sys", "driver")});
    qvtest::Session session(msi);
    CQVVice01 check(session.handle());
    ASSERT_EQ(check.FileTests.size(), 2u);
    _stringx<qv::char_traitsi> value;
    EXPECT_TRUE(CQVViceBase::MatchFileTests(L"A.dll", check.FileTests, value));
    EXPECT_EQ(value.str(), L"second");
    EXPECT_TRUE(CQVViceBase::MatchFileTests(L"dir.x\\setup.EXE", check.FileTests, value));
    EXPECT_EQ(value.str(), L"program");
    // No dot after the last backslash: no extension at all.
    EXPECT_FALSE(CQVViceBase::MatchFileTests(L"dir.exe\\setup", check.FileTests, value));
    EXPECT_FALSE(CQVViceBase::MatchFileTests(L"x.sys", check.FileTests, value));

    // An empty key is skipped, so it matches neither an empty name nor a
    // name without extension.
    FileTestMap tests{{L"", L"empty"}};
    EXPECT_FALSE(CQVViceBase::MatchFileTests(L"", tests, value));
    EXPECT_FALSE(CQVViceBase::MatchFileTests(L"README", tests, value));
    tests.emplace(L"(", L"bad");
    EXPECT_THROW(CQVViceBase::MatchFileTests(L"README", tests, value), std::regex_error);
}

TEST(FileTests, AFailedReadOfTheTestsEscapesTheConstructor)
{
    // Without a Vice column the query cannot open; the fetch on the empty
    // view raises before the export's handlers exist.
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(
        dir, "package",
        {"CREATE TABLE `_QvViceFileTestEntries` (`Check` CHAR(72) NOT NULL, `Test` CHAR(255) PRIMARY KEY `Check`)",
         Insert("_QvViceFileTestEntries", {"Check", "Test"}, {"QVVICE01", "x"})});
    qvtest::Session session(msi);
    EXPECT_THROW(CQVVice01 check(session.handle()), com_exception);
}

}  // namespace
