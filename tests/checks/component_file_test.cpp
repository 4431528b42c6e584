// QVBP07, QVBP11, QVBP12, QVBP14, QVBP16, QVBP17, QVBP18 and QVBP19 over
// fixture packages: the exact lines they deliver, banner first. The file
// checks that read bytes take mingw-built images out of an embedded cabinet.
#include "checks/bp/component_file.h"
#include "groupA_fixture.h"
#include "inspect/packagefile_support.h"

namespace {

using groupa::Insert;
using groupa::Lines;
using groupa::RunCheck;
using groupa::RunOn;
using groupa::With;

const char* kFeatureTable =
    "CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` CHAR(64), "
    "`Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), `Attributes` SHORT "
    "NOT NULL PRIMARY KEY `Feature`)";
const char* kFeatureComponentsTable =
    "CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY "
    "`Feature_`, `Component_`)";
const char* kSelfRegTable =
    "CREATE TABLE `SelfReg` (`File_` CHAR(72) NOT NULL, `Cost` SHORT PRIMARY KEY `File_`)";
const char* kQvSelfRegTable = "CREATE TABLE `QVSelfReg` (`FileKey` CHAR(72) NOT NULL PRIMARY KEY `FileKey`)";
const char* kFileHashTable =
    "CREATE TABLE `MsiFileHash` (`File_` CHAR(72) NOT NULL, `Options` SHORT NOT NULL, `HashPart1` LONG NOT NULL, "
    "`HashPart2` LONG NOT NULL, `HashPart3` LONG NOT NULL, `HashPart4` LONG NOT NULL PRIMARY KEY `File_`)";
const char* kApiTable =
    "CREATE TABLE `_QVDeprecatedApi` (`Module` CHAR(72) NOT NULL, `Function` CHAR(72) NOT NULL, `Kind` SHORT "
    "PRIMARY KEY `Module`, `Function`)";

std::string FeatureRow(const std::string& key)
{
    return Insert("Feature", {"Feature", "Level", "Attributes"}, {key, "1", "0"});
}
std::string LinkRow(const std::string& feature, const std::string& component)
{
    return Insert("FeatureComponents", {"Feature_", "Component_"}, {feature, component});
}
std::string NamedFile(const std::string& key, const std::string& name, int sequence,
                      const std::string& version = "NULL")
{
    return Insert("File", {"File", "Component_", "FileName", "FileSize", "Version", "Attributes", "Sequence"},
                  {key, "Main", name, "10", version, "0", std::to_string(sequence)});
}
std::string ComponentIn(const std::string& key, const std::string& directory, int attributes)
{
    return Insert("Component", {"Component", "ComponentId", "Directory_", "Attributes"},
                  {key, "{11111111-1111-1111-1111-111111111111}", directory, std::to_string(attributes)});
}

// A package whose files lie in an embedded cabinet; contents by file key.
std::string CabinetPackage(const qvtest::TempDir& dir, const std::vector<std::pair<std::string, std::string>>& contents,
                           std::vector<std::string> queries)
{
    qvtest::MakeCabinet(dir, "files.cab", contents);
    auto tables = qvtest::ProductTables(false);
    tables.insert(tables.end(), {qvtest::ComponentRow("Main", "INSTALLDIR"), qvtest::MediaRow(1, 20, "#files.cab")});
    queries.insert(queries.begin(), tables.begin(), tables.end());
    const std::string msi = qvtest::BuildPackage(dir, "files", queries);
    qvtest::AddStream(msi, "files.cab", dir.path() + "/files.cab");
    return msi;
}

std::wstring Lost(const std::wstring& check, const std::wstring& name, const std::wstring& key)
{
    return check + L"\t1\tFile " + name +
           L" in Component Main could not be found. All tests against this file's contents may be invalid.\t\tFile"
           L"\tFile\t" + key;
}

// ---- QVBP07 ---------------------------------------------------------------------

const wchar_t* const kBanner07 =
    L"QVBP07\t3\tQVBP07 - Reports a warning for a Feature or a Component not associated with any Components or "
    L"Features";

TEST(QVBP07, UnlinkedFeaturesThenUnlinkedComponents)
{
    const std::vector<std::string> tables = {kFeatureTable,           FeatureRow("Linked"), FeatureRow("Empty"),
                                             groupa::kComponentTable, ComponentIn("Used", "TARGETDIR", 0),
                                             ComponentIn("Orphan", "TARGETDIR", 0), kFeatureComponentsTable};
    auto linked = tables;
    linked.push_back(LinkRow("Linked", "Used"));
    const std::wstring feature = L"QVBP07\t2\tFeature Empty has no components.\t\tFeature\tFeature\tEmpty";
    const std::wstring component =
        L"QVBP07\t2\tComponent Orphan is not associated with any features.\t\tComponent\tComponent\tOrphan";
    EXPECT_EQ(RunOn(QVBP07, linked), With(kBanner07, {feature, component}));

    // An empty link table leaves every feature and every component alone.
    const Lines all = RunOn(QVBP07, tables);
    EXPECT_EQ(all, With(kBanner07, {L"QVBP07\t2\tFeature Linked has no components.\t\tFeature\tFeature\tLinked",
                                    feature,
                                    L"QVBP07\t2\tComponent Used is not associated with any features.\t\tComponent"
                                    L"\tComponent\tUsed",
                                    component}));

    // Without the link table nothing is judged.
    EXPECT_EQ(RunOn(QVBP07, {kFeatureTable, FeatureRow("Alone"), groupa::kComponentTable}), Lines{kBanner07});
}

// ---- QVBP11 and QVBP17: names only ------------------------------------------------

TEST(QVBP11, NativeImageSuffixAtTheEndOfTheLongNameInAnyCase)
{
    const std::wstring banner =
        L"QVBP11\t3\tQVBP11 - Reports a warning for each file that appears to be a precompiled .NET assembly";
    const std::wstring tail =
        L"' appears to be a precompiled native image of a .NET assembly. This may decrease the efficiency compared "
        L"to precompiling on the target machine.\t\tFile\tFile\t";
    EXPECT_EQ(RunOn(QVBP11, {groupa::kFileTable, NamedFile("Upper", "LIB.NI.DLL", 1),
                             NamedFile("Further", "lib.ni.dll.bak", 2), NamedFile("Twice", "a.ni.dll.ni.dll", 3),
                             NamedFile("Short", "SHORT.DLL|long.Ni.Dll", 4), NamedFile("LongOnly", "x.ni.dll|x.dll", 5),
                             NamedFile("Plain", "ni.dll", 6)}),
              With(banner, {L"QVBP11\t2\tFile 'Upper" + tail + L"Upper", L"QVBP11\t2\tFile 'Twice" + tail + L"Twice",
                            L"QVBP11\t2\tFile 'Short" + tail + L"Short"}));
    EXPECT_EQ(RunOn(QVBP11, {groupa::kComponentTable}), Lines{banner});
}

TEST(QVBP17, HelpFilesAndTheWinHelpRuntimeUnderBothExports)
{
    const std::vector<std::string> package = {
        groupa::kFileTable, NamedFile("Help", "HELP.HLP|Guide.Hlp", 1), NamedFile("Runtime", "winhlp32.EXE", 2),
        NamedFile("Other", "WinHelp.exe.txt", 3), NamedFile("Old", "WINHELP.EXE", 4), NamedFile("Text", "a.hlpx", 5)};
    const Lines expected = {
        L"QVBP17\t3\tQVBP17 - Validate that no .hlp files or WinHelp run-time files are included in the "
        L"installation.",
        L"QVBP17\t1\tFile Guide.Hlp in Component Main is a WinHelp file and may not be distributed to Windows Vista "
        L"or later\t\tFile\tFile\tHelp",
        L"QVBP17\t1\tFile winhlp32.EXE in Component Main is a WinHelp run-time file and may not be distributed to "
        L"Windows Vista or later\t\tFile\tFile\tRuntime",
        L"QVBP17\t1\tFile WINHELP.EXE in Component Main is a WinHelp run-time file and may not be distributed to "
        L"Windows Vista or later\t\tFile\tFile\tOld"};
    EXPECT_EQ(RunOn(QVBP17, package), expected);
    EXPECT_EQ(RunOn(QVICE13, package), expected);
}

// ---- QVBP12 ---------------------------------------------------------------------

TEST(QVBP12, SelfRegTablesThenRegsvr32ActionsOfAnExecutableType)
{
    const std::wstring tail =
        L"' is self-registered. Best practices encourage authoring COM and Registry table data into the installer "
        L"package.\t\t";
    const std::wstring action =
        L"' appears to invoke self-registration via RegSvr32. Best practices encourage authoring COM and Registry "
        L"table data into the installer package.\t\tCustomAction\tTarget\t";
    auto ca = [](const std::string& name, int type, const std::string& target) {
        return Insert("CustomAction", {"Action", "Type", "Source", "Target"}, {name, std::to_string(type), "x", target});
    };
    EXPECT_EQ(RunOn(QVBP12, {groupa::kCustomActionTable, ca("Mixed", 34, "[SystemFolder]RegSvr32.EXE /s a.dll"),
                             ca("NoBit", 33, "regsvr32.exe a.dll"), ca("Other", 50, "msiexec.exe"),
                             ca("Exe", 18, "c:\\regsvr32.exe"), kQvSelfRegTable, Insert("QVSelfReg", {"FileKey"}, {"Q"}),
                             kSelfRegTable, Insert("SelfReg", {"File_"}, {"S1"}), Insert("SelfReg", {"File_"}, {"S2"})}),
              With(L"QVBP12\t3\tQVBP12 - Reports an error for each file that is self-registered",
                   {L"QVBP12\t1\tFile 'S1" + tail + L"SelfReg\tFile_\tS1",
                    L"QVBP12\t1\tFile 'S2" + tail + L"SelfReg\tFile_\tS2",
                    L"QVBP12\t1\tFile 'Q" + tail + L"QVSelfReg\tFileKey\tQ",
                    L"QVBP12\t1\tCustom Action 'Mixed" + action + L"Mixed",
                    L"QVBP12\t1\tCustom Action 'Exe" + action + L"Exe"}));
}

// ---- QVBP14 ---------------------------------------------------------------------

TEST(QVBP14, RecordedVersionAgainstTheImageAndUnversionedFilesAgainstTheHashTable)
{
    qvtest::TempDir dir;
    const std::string image = qvtest::ReadPosixFile(petest::MingwImages::Get().app32());
    const std::string msi = CabinetPackage(
        dir, {{"Same", image}, {"Older", image}, {"Hashed", "text"}, {"Bare", "text"}, {"Companion", "text"}},
        {kFileHashTable,
         Insert("MsiFileHash", {"File_", "Options", "HashPart1", "HashPart2", "HashPart3", "HashPart4"},
                {"Hashed", "0", "1", "2", "3", "4"}),
         NamedFile("Same", "same.exe", 1, "1.2.3.4"), NamedFile("Older", "older.exe", 2, "1.2.3.5"),
         NamedFile("Hashed", "h.txt", 3), NamedFile("Bare", "b.txt", 4), NamedFile("Companion", "c.txt", 5, "Same"),
         NamedFile("Gone", "g.dll", 6, "2.0")});
    const std::wstring patch = L" This may require the source package when installing a patch.";
    EXPECT_EQ(RunCheck(QVBP14, msi),
              (Lines{L"QVBP14\t3\tQVBP14 - Reports an error for each file without either a file version or an "
                     L"MsiFileHash record",
                     L"QVBP14\t1\tFile 'Older' is recorded as version '1.2.3.5' but is actually version '1.2.3.4'." +
                         patch + L"\t\tFile\tVersion\tOlder",
                     L"QVBP14\t1\tFile 'Bare' has neither a file version nor an MsiFileHash record." + patch +
                         L"\t\tFile\tFile\tBare",
                     // A companion key is compared as a version: the text file has none.
                     L"QVBP14\t1\tFile 'Companion' is recorded as version 'Same' but is actually version ''." + patch +
                         L"\t\tFile\tVersion\tCompanion",
                     Lost(L"QVBP14", L"g.dll", L"Gone"),
                     L"QVBP14\t1\tFile 'Gone' is recorded as version '2.0' but is actually version ''." + patch +
                         L"\t\tFile\tVersion\tGone"}));
}

// ---- QVBP16 ---------------------------------------------------------------------

TEST(QVBP16, ComponentsUnderTheListedSixtyFourBitFolders)
{
    const std::string bad = "CommonmFiles64Folder";
    const std::wstring banner =
        L"QVBP16\t3\tQVBP16 - Reports an error for each component installed to a 64-bit location and is not set as "
        L"a 64-bit component";
    auto finding = [](const std::wstring& component, const std::wstring& directory) {
        return L"QVBP16\t1\tComponent " + component + L" installed to 64-bit location " + directory +
               L" is not marked with the 64-bit component attribute. This may allow files to be installed to an "
               L"incorrect location.\t\tComponent\tAttributes\t" + component;
    };
    EXPECT_EQ(
        RunOn(QVBP16,
              {groupa::kDirectoryTable, groupa::DirRow("TARGETDIR", "", "SourceDir"),
               groupa::DirRow("ProgramFiles64Folder", "TARGETDIR", "."), groupa::DirRow("App", "ProgramFiles64Folder", "App"),
               groupa::DirRow("Deep", "App", "Deep"), groupa::DirRow("CommonFiles64Folder", "TARGETDIR", "."),
               groupa::DirRow(bad, "TARGETDIR", "."), groupa::DirRow("Odd", bad, "Odd"),
               groupa::DirRow("ProgramFilesFolder", "TARGETDIR", "."), groupa::DirRow("App32", "ProgramFilesFolder", "A"),
               groupa::DirRow("System64Folder", "TARGETDIR", "."), groupa::kComponentTable,
               ComponentIn("Direct", "ProgramFiles64Folder", 0), ComponentIn("Nested", "Deep", 4),
               ComponentIn("Marked", "Deep", 0x104), ComponentIn("Again", "Deep", 0),
               ComponentIn("Common", "CommonFiles64Folder", 0), ComponentIn("Misspelt", "Odd", 0),
               ComponentIn("Narrow", "App32", 0), ComponentIn("System", "System64Folder", 2),
               ComponentIn("Lower", "system64folder", 0)}),
        With(banner, {finding(L"Direct", L"ProgramFiles64Folder"), finding(L"Nested", L"Deep"),
                      finding(L"Again", L"Deep"), finding(L"Misspelt", L"Odd"), finding(L"System", L"System64Folder")}));
    EXPECT_EQ(RunOn(QVBP16, {groupa::kComponentTable, ComponentIn("Direct", "ProgramFiles64Folder", 0)}),
              Lines{banner});
}

// ---- QVBP18 and QVBP19 ------------------------------------------------------------

TEST(QVBP18And19, ListedImportsOfExecutablesWithTheLocationOnTheFirstFindingOnly)
{
    qvtest::TempDir dir;
    const auto& images = petest::MingwImages::Get();
    const std::string image32 = qvtest::ReadPosixFile(images.app32());
    const std::string msi = CabinetPackage(
        dir, {{"App", image32}, {"Tool", qvtest::ReadPosixFile(images.app64())}, {"Copy", image32}},
        {kApiTable,
         Insert("_QVDeprecatedApi", {"Module", "Function", "Kind"}, {"ordlib.dll", "'7", "2"}),
         Insert("_QVDeprecatedApi", {"Module", "Function", "Kind"}, {"MSVBVM60.DLL", "rtcMsgBox", "2"}),
         Insert("_QVDeprecatedApi", {"Module", "Function", "Kind"}, {"kernel32.dll", "GetVersion", "1"}),
         NamedFile("App", "APP.EXE|App.exe", 1), NamedFile("Tool", "tool.OCX", 2),
         // Not an executable name: never opened.
         NamedFile("Copy", "app.bin", 3), NamedFile("Gone", "gone.dll", 4)});
    const std::wstring obsolete = L" in Component Main imports obsolete API ";
    const Lines bp18 = {
        L"QVBP18\t3\tQVBP18 - Validate that no obsolete APIs are imported.",
        L"QVBP18\t1\tFile App.exe" + obsolete + L"ordlib.dll!7\t\tFile\tFile\tApp",
        L"QVBP18\t1\tFile App.exe" + obsolete + L"msvbvm60.dll!rtcMsgBox",
        L"QVBP18\t1\tFile tool.OCX" + obsolete + L"ordlib.dll!7\t\tFile\tFile\tTool",
        L"QVBP18\t1\tFile tool.OCX" + obsolete + L"msvbvm60.dll!rtcMsgBox",
        Lost(L"QVBP18", L"gone.dll", L"Gone"),
    };
    EXPECT_EQ(RunCheck(QVBP18, msi), bp18);
    EXPECT_EQ(RunCheck(QVICE14, msi), bp18);
    const std::wstring deprecated = L" in Component Main imports deprecated API KERNEL32.dll!GetVersion\t\tFile\tFile\t";
    EXPECT_EQ(RunCheck(QVICE15, msi),
              (Lines{L"QVBP19\t3\tQVBP19 - Validate that no deprecated APIs are imported.",
                     L"QVBP19\t1\tFile App.exe" + deprecated + L"App", L"QVBP19\t1\tFile tool.OCX" + deprecated + L"Tool",
                     Lost(L"QVBP19", L"gone.dll", L"Gone")}));
}

}  // namespace
