// The run sequence of a check over fixture packages: banner, findings and
// their columns, debug lines, the two failure messages, the cost actions and
// the session services, as an installer session delivers them.
#include <algorithm>
#include <map>
#include <stdexcept>

#include "checks/bp/meta_feature.h"
#include "database/views.h"
#include "framework/check_base.h"
#include "framework/exports.h"
#include "framework/fixture.h"
#include "framework/library.h"
#include "framework/registry.h"
#include "platform/posix/kernel/paths.h"

namespace {

using qvtest::BuildPackage;
using qvtest::FeatureRow;
using qvtest::PropertyRow;
using qvtest::Session;
using qvtest::TempDir;
using Lines = std::vector<std::wstring>;

using qvtest::Probe;

void RunProbe(Session& session, std::function<void(Probe&)> body)
{
    Probe probe(session.handle(), std::move(body));
    EXPECT_EQ(probe.Execute(), 0u);
}

const wchar_t* const kProbeBanner = L"QVPROBE\t3\tQVPROBE - probe";

// A package with one Property row, ProductName or the debugging switch.
std::string PlainPackage(const TempDir& dir, const std::string& name = "plain")
{
    return BuildPackage(dir, name, {qvtest::kPropertyTable, PropertyRow("ProductName", "X")});
}
std::string DebugPackage(const TempDir& dir, const std::string& value = "1")
{
    return BuildPackage(dir, "debug" + value, {qvtest::kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", value)});
}

// Directory, Component and File rows for one file Tool.exe in
// ProgramFilesFolder\App.
std::vector<std::string> ToolPackage()
{
    return {
        "CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), `DefaultDir` "
        "CHAR(255) NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)",
        "INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('TARGETDIR', '', "
        "'SourceDir')",
        "INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('ProgramFilesFolder', "
        "'TARGETDIR', '.')",
        "INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('INSTALLDIR', "
        "'ProgramFilesFolder', 'App')",
        "CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), `Directory_` CHAR(72) "
        "NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), `KeyPath` CHAR(72) PRIMARY KEY "
        "`Component`)",
        "INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`, `KeyPath`) VALUES "
        "('Main', '{11111111-1111-1111-1111-111111111111}', 'INSTALLDIR', 0, 'ToolFile')",
        "CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT "
        "NULL LOCALIZABLE, `FileSize` LONG NOT NULL, `Version` CHAR(72), `Language` CHAR(20), `Attributes` SHORT, "
        "`Sequence` SHORT NOT NULL PRIMARY KEY `File`)",
        "INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Sequence`) VALUES ('ToolFile', "
        "'Main', 'TOOL.EXE|Tool.exe', 10, 1)",
    };
}

// ---- QVBP01 and the finding line ------------------------------------------------

TEST(QVBP01, ReportsFeaturesNamedAllInAnyCaseAndNothingElse)
{
    TempDir dir;
    const auto msi = BuildPackage(dir, "features", {qvtest::kFeatureTable, FeatureRow("ALL"), FeatureRow("all"),
                                                    FeatureRow("Alle"), FeatureRow("AL"), FeatureRow("Main")});
    Session session(msi);
    EXPECT_EQ(QVBP01(session.handle()), 0u);
    ASSERT_EQ(session.lines.size(), 3u);
    EXPECT_EQ(session.lines[0], L"QVBP01\t3\tQVBP01 - Reports an error if a feature is named 'ALL'");
    Lines findings(session.lines.begin() + 1, session.lines.end());
    std::sort(findings.begin(), findings.end());
    EXPECT_EQ(findings, (Lines{
                            L"QVBP01\t1\tFeature ALL conflicts with the installation meta-feature ALL.\t\tFeature\tFeature\tALL",
                            L"QVBP01\t1\tFeature ALL conflicts with the installation meta-feature ALL.\t\tFeature\tFeature\tall",
                        }));
}

TEST(QVBP01, AbsentFeatureTableGivesTheBannerOnly)
{
    TempDir dir;
    Session session(PlainPackage(dir));
    EXPECT_EQ(QVBP01(session.handle()), 0u);
    EXPECT_EQ(session.lines, (Lines{L"QVBP01\t3\tQVBP01 - Reports an error if a feature is named 'ALL'"}));
}

TEST(Findings, LocationIsFlushedOntoOneFindingAndThenEmpty)
{
    TempDir dir;
    Session session(PlainPackage(dir));
    bool emptiedAfterFinding = false;
    RunProbe(session, [&](Probe& p) {
        p.Location() = {L"Feature", L"Feature", L"ALL"};
        p.ReportMessage(165, 1);
        emptiedAfterFinding = p.Location().empty();
        p.ReportMessage(165, 2);
        p.Location() = {L"Registry", L"Key", L"reg1", L"second key"};
        p.ReportText(L"free text", 3);
    });
    EXPECT_TRUE(emptiedAfterFinding);
    EXPECT_EQ(session.lines,
              (Lines{
                  kProbeBanner,
                  L"QVPROBE\t1\tFeature ALL conflicts with the installation meta-feature ALL.\t\tFeature\tFeature\tALL",
                  L"QVPROBE\t2\tFeature ALL conflicts with the installation meta-feature ALL.",
                  L"QVPROBE\t3\tfree text\t\tRegistry\tKey\treg1\tsecond key",
              }));
}

TEST(Findings, ArgumentsPlaceholdersAndAbsentEntries)
{
    TempDir dir;
    Session session(PlainPackage(dir));
    RunProbe(session, [](Probe& p) {
        // 124 has three placeholders; two arguments leave "?" for the third.
        p.ReportMessage(124, L"QVX", L"-5", 2);
        p.ReportMessage(124, L"QVX", L"-5", L"the text", 1);
        // Id 261 is not in the catalogue: the finding goes out with empty text.
        p.ReportMessage(261, L"ignored", 2);
        // The line is a record template: the installer formats it on delivery.
        p.ReportMessage(147, L"Dlg", L"Name", 1);
    });
    EXPECT_EQ(session.lines, (Lines{
                                 kProbeBanner,
                                 L"QVPROBE\t2\tAn unexpected exception occurred in running QVX. -5:  ?",
                                 L"QVPROBE\t1\tAn unexpected exception occurred in running QVX. -5:  the text",
                                 L"QVPROBE\t2\t",
                                 L"QVPROBE\t1\tThe Title of Dialog Dlg does not include 'Name' or '[ProductName]'",
                             }));
}

// ---- debug lines -----------------------------------------------------------------

TEST(Debugging, OnlyWithThePropertyRowWhateverItsValue)
{
    TempDir dir;
    struct Case {
        std::string name;
        std::vector<std::string> queries;
        bool debugging;
    };
    const std::vector<Case> cases = {
        {"noproperty", {qvtest::kFeatureTable}, false},
        {"otherrow", {qvtest::kPropertyTable, PropertyRow("ProductName", "X")}, false},
        {"zero", {qvtest::kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", "0")}, true},
        {"one", {qvtest::kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", "1")}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Session session(BuildPackage(dir, c.name, c.queries));
        RunProbe(session, [](Probe& p) {
            p.DebugLine(L"plain line");
            p.DebugLine(L"one %s", L"argument");
            p.DebugLine(L"%s and %s", _stringx<>(L"two"), L"args");
        });
        const Lines debugLines{kProbeBanner, L"QVPROBE\t3\tplain line", L"QVPROBE\t3\tone argument",
                               L"QVPROBE\t3\ttwo and args", L"QVPROBE\t3\tFinished ICE QVPROBE"};
        EXPECT_EQ(session.lines, c.debugging ? debugLines : Lines{kProbeBanner});
    }
}

TEST(Debugging, DebugLineFlushesAPendingLocation)
{
    TempDir dir;
    Session session(DebugPackage(dir, "yes"));
    RunProbe(session, [](Probe& p) {
        p.Location() = {L"File", L"File", L"f1"};
        p.DebugLine(L"looking");
        p.ReportText(L"finding", 1);
    });
    EXPECT_EQ(session.lines, (Lines{kProbeBanner, L"QVPROBE\t3\tlooking\t\tFile\tFile\tf1", L"QVPROBE\t1\tfinding",
                                    L"QVPROBE\t3\tFinished ICE QVPROBE"}));
}

// ---- failures ----------------------------------------------------------------------

TEST(Failures, FailedViewEndsTheCheckWithMessage124AndNoClosingLine)
{
    TempDir dir;
    Session session(DebugPackage(dir));
    bool continued = false;
    RunProbe(session, [&](Probe& p) {
        p.ReportText(L"before", 2);
        MSIHANDLE view = 0;
        OpenView(view, p.Database(), L"SELECT * FROM `%s`", L"NoSuchTable");
        continued = true;
    });
    EXPECT_FALSE(continued);
    // HRESULT of ERROR_BAD_QUERY_SYNTAX (1615); the installer's error record
    // (2228: unknown table, with the table and the query) formatted with the
    // template of CheckInstallerResult; then the name of the failed step.
    EXPECT_EQ(session.lines, (Lines{kProbeBanner, L"QVPROBE\t2\tbefore",
                                    L"QVPROBE\t0\tAn unexpected exception occurred in running QVPROBE. -2147023281:  "
                                    L"Windows Installer Error 2228: , NoSuchTable, SELECT * FROM `NoSuchTable`\n"
                                    L"MsiOpenDatabaseView()"}));
}

TEST(Failures, AnyOtherExceptionIsMessage121AndNoClosingLine)
{
    TempDir dir;
    Session session(DebugPackage(dir));
    RunProbe(session, [](Probe&) { throw std::runtime_error("boom"); });
    RunProbe(session, [](Probe&) { throw 7; });
    EXPECT_EQ(session.lines, (Lines{kProbeBanner, L"QVPROBE\t0\tAn unhandled exception occurred.", kProbeBanner,
                                    L"QVPROBE\t0\tAn unhandled exception occurred."}));
}

TEST(Failures, FailedFieldReadInTheLoopEndsTheWalk)
{
    // Without an installer error record the text is the system's message
    // for the HRESULT, then the name of the step.
    TempDir dir;
    Session session(BuildPackage(dir, "fetch", {qvtest::kFeatureTable, FeatureRow("Main"), FeatureRow("Second")}));
    int rows = 0;
    RunProbe(session, [&](Probe& p) {
        ForEachRow(
            p.Database(),
            [&](MSIHANDLE) {
                ++rows;
                RecordFieldString(0, 1);
            },
            L"SELECT * FROM `%s`", L"Feature");
    });
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(session.lines, (Lines{kProbeBanner, L"QVPROBE\t0\tAn unexpected exception occurred in running "
                                                  L"QVPROBE. -2147024890:  The handle is invalid.\r\n"
                                                  L"MsiRecordGetString()"}));
}

// ---- forwards and banners ------------------------------------------------------------

TEST(Exports, ForwardsRunTheBestPracticeCheckUnderItsOwnName)
{
    TempDir dir;
    Session session(PlainPackage(dir));
    for (auto check : {QVICE13, QVICE14, QVICE15})
        EXPECT_EQ(check(session.handle()), 0u);
    EXPECT_EQ(session.lines,
              (Lines{
                  L"QVBP17\t3\tQVBP17 - Validate that no .hlp files or WinHelp run-time files are included in the "
                  L"installation.",
                  L"QVBP18\t3\tQVBP18 - Validate that no obsolete APIs are imported.",
                  L"QVBP19\t3\tQVBP19 - Validate that no deprecated APIs are imported.",
              }));
}

// ---- cost actions and session services -------------------------------------------------

TEST(CostActions, RunOncePerSessionAndMarkTheSession)
{
    TempDir dir;
    const auto msi = BuildPackage(dir, "tool", ToolPackage());

    Session session(msi);
    _stringx<> first, second;
    RunProbe(session, [&](Probe& p) { first = p.FormatTargetPath(L"[#ToolFile]"); });
    EXPECT_EQ(first, L"C:\\Program Files (x86)\\App\\Tool.exe");
    EXPECT_EQ(session.Property(L"_QVCostInitialize"), L"1");
    EXPECT_EQ(session.Property(L"_QVFileCost"), L"1");
    EXPECT_EQ(session.Property(L"_QVCostFinalize"), L"1");
    EXPECT_EQ(session.Property(L"_QVResolveSource"), L"");

    // Had CostFinalize run again, the new directory value would move the file.
    ASSERT_EQ(MsiSetPropertyW(session.handle(), L"INSTALLDIR", L"D:\\Other\\"), ERROR_SUCCESS);
    RunProbe(session, [&](Probe& p) { second = p.FormatTargetPath(L"[#ToolFile]"); });
    EXPECT_EQ(second, L"C:\\Program Files (x86)\\App\\Tool.exe");

    // The same value set before the first costing does move it.
    Session fresh(msi);
    ASSERT_EQ(MsiSetPropertyW(fresh.handle(), L"INSTALLDIR", L"D:\\Other\\"), ERROR_SUCCESS);
    RunProbe(fresh, [&](Probe& p) { first = p.FormatTargetPath(L"[#ToolFile]"); });
    EXPECT_EQ(first, L"D:\\Other\\Tool.exe");

    // A mark already set keeps the action from running at all.
    Session marked(msi);
    ASSERT_EQ(MsiSetPropertyW(marked.handle(), L"_QVCostFinalize", L"1"), ERROR_SUCCESS);
    RunProbe(marked, [&](Probe& p) { first = p.FormatTargetPath(L"[#ToolFile]"); });
    EXPECT_EQ(first, L"");
}

TEST(SessionServices, FormatTargetPathKeepsTheWholePath)
{
    TempDir dir;
    Session session(BuildPackage(dir, "tool", ToolPackage()));
    Lines results;
    RunProbe(session, [&](Probe& p) {
        for (const wchar_t* text : {L"[INSTALLDIR]", L"[INSTALLDIR]tool.EXE.CONFIG", L"plain"})
            results.push_back(p.FormatTargetPath(text).str());
    });
    EXPECT_EQ(results,
              (Lines{L"C:\\Program Files (x86)\\App\\", L"C:\\Program Files (x86)\\App\\tool.EXE.CONFIG", L"plain"}));
}

TEST(SessionServices, PropertyValuesFromTableAndSession)
{
    TempDir dir;
    const auto msi = BuildPackage(dir, "props", {qvtest::kPropertyTable, PropertyRow("ProductName", "Quill App"),
                                                 PropertyRow("Empty", "x")});
    Session session(msi);
    Lines values;
    RunProbe(session, [&](Probe& p) {
        // A broken query counts as absent.
        for (const wchar_t* name : {L"ProductName", L"Missing", L"it's"})
            values.push_back(p.GetPropertyTableValue(name).str());
        // An empty value makes ResolveSource run (which sets its mark) and is read again.
        for (const wchar_t* name : {L"ProductName", L"_QVResolveSource", L"SourceDir"})
            values.push_back(p.GetSessionProperty(name).str());
    });
    EXPECT_EQ(values, (Lines{L"Quill App", L"", L"", L"Quill App", L"1",
                             qv::posix::windows_path_from_posix(dir.path()) + L"\\"}));
}

}  // namespace

namespace {

TEST(Exports, EveryExportSendsItsBannerAndReturnsZero)
{
    TempDir dir;
    Session session(PlainPackage(dir));
    const std::map<std::wstring, std::wstring> forwards = {
        {L"QVICE13", L"QVBP17"}, {L"QVICE14", L"QVBP18"}, {L"QVICE15", L"QVBP19"}};
    for (const auto& e : qv::AllExports()) {
        SCOPED_TRACE(e.className);
        session.lines.clear();
        QvResetLibraryState();
        EXPECT_EQ(e.entry(session.handle()), 0u);
        const auto forward = forwards.find(e.name);
        const std::wstring name = forward == forwards.end() ? std::wstring(e.name) : forward->second;
        _stringx<> description;
        ASSERT_TRUE(LoadCatalogueString(description, QvLibraryModule(), e.descriptionId));
        // Checks may add findings over this package; the banner always leads.
        ASSERT_FALSE(session.lines.empty());
        EXPECT_EQ(session.lines[0], name + L"\t3\t" + name + L" - " + description.str());
    }
}

TEST(Exports, SharedChecksDescribeThemselvesInTheVirtualizationWords)
{
    TempDir dir;
    Session session(PlainPackage(dir));
    for (auto check : {QVUWP02, QVUWP14, QVUWP15, QVUWP04})
        EXPECT_EQ(check(session.handle()), 0u);
    EXPECT_EQ(session.lines,
              (Lines{
                  L"QVUWP02\t3\tQVUWP02 - Checks for the presence of drivers that are configured to be installed "
                  L"through the MsiDriverPackages table",
                  L"QVUWP14\t3\tQVUWP14 - Checks for the presence of files that are part of ASP.NET/IIS applications",
                  L"QVUWP15\t3\tQVUWP15 - Checks for the presence of Quillvane IIS support indicating that an "
                  L"ASP.NET/IIS application is installed",
                  L"QVUWP04\t3\tQVUWP04 - Checks for the presence of multiple shortcuts for Windows Store "
                  L"applications. Quillvane turns shortcuts into applications, and the Windows Store may disallow "
                  L"multiple applications.",
              }));
}

}  // namespace
