// QVUWP01, 16-19 (tables with rows) and QVUWP03-05 (application shortcuts)
// over packages whose files stand beside them in App/.
#include "checks/uwp/table_shortcut.h"
#include "checks/uwp_fixture.h"

namespace {

using namespace uwptest;

const wchar_t* const kBanner03 =
    L"QVUWP03\t3\tQVUWP03 - Checks for the presence of shortcuts. Quillvane requires shortcuts to identify "
    L"applications. Without shortcuts to identify applications, the package is invalid as there are no ways to start "
    L"your app.";
const wchar_t* const kBanner04 =
    L"QVUWP04\t3\tQVUWP04 - Checks for the presence of multiple shortcuts for Windows Store applications. Quillvane "
    L"turns shortcuts into applications, and the Windows Store may disallow multiple applications.";
const wchar_t* const kBanner05 =
    L"QVUWP05\t3\tQVUWP05 - Checks for the presence of shortcuts for Windows Nano Server applications. Quillvane will "
    L"turn any shortcut into a tile if it points to an .exe installed by the package; however Windows Nano Server "
    L"cannot display application tiles.";
const wchar_t* const kNone =
    L"QVUWP03\t1\tThis package contains no shortcuts. Shortcuts are usually necessary to define the entry point into "
    L"the application.\t\tShortcut";
const wchar_t* const kMany =
    L"QVUWP04\t1\tThis package contains more than one shortcut. Windows Store may not allow more than one "
    L"application.\t\tShortcut";
const wchar_t* const kTiles =
    L"QVUWP05\t1\tThis package contains one or more shortcuts. Windows Nano Server cannot show application "
    L"tiles.\t\tShortcut";

const char* kShortcutTable =
    "CREATE TABLE `Shortcut` (`Shortcut` CHAR(72) NOT NULL, `Directory_` CHAR(72) NOT NULL, `Name` CHAR(128) NOT "
    "NULL, `Component_` CHAR(72) NOT NULL, `Target` CHAR(72) NOT NULL PRIMARY KEY `Shortcut`)";

std::string Link(const std::string& key, const std::string& target)
{
    return Insert("Shortcut", {"Shortcut", "Directory_", "Name", "Component_", "Target"},
                  {key, "INSTALLDIR", key, "Main", target});
}

const std::vector<FileSpec> kFiles = {{"App", "APP.EXE|Quill App.EXE", Bytes{'M', 'Z'}},
                                      {"Tool", "tool.bat", Bytes{'@'}},
                                      {"Lib", "quill.dll", Bytes{'M', 'Z'}}};

// Shortcut rows (with the Feature table) and the lines of QVUWP03, 04, 05.
Lines AllThree(const std::vector<std::string>& links)
{
    std::vector<std::string> extra = {qvtest::kFeatureTable, qvtest::FeatureRow("Complete"), kShortcutTable};
    extra.insert(extra.end(), links.begin(), links.end());
    Lines all;
    for (auto check : {QVUWP03, QVUWP04, QVUWP05}) {
        const Lines lines = RunUwp(check, kFiles, extra);
        all.insert(all.end(), lines.begin(), lines.end());
    }
    return all;
}

TEST(ApplicationShortcuts, AdvertisedAndPackageExecutablesCount)
{
    // Two on the feature and one on the package's .EXE: three applications.
    EXPECT_EQ(AllThree({Link("adv1", "Complete"), Link("adv2", "Complete"), Link("exe", "[#App]"),
                        Link("bat", "[#Tool]"), Link("dll", "[#Lib]"), Link("system", "[SystemFolder]cmd.exe"),
                        Link("plain", "C:\\Quill\\quill.exe"), Link("bracket", "[Complete]")}),
              (Lines{kBanner03, kBanner04, kMany, kBanner05, kTiles}));
    // Exactly one: neither none nor several.
    EXPECT_EQ(AllThree({Link("exe", "[#App]"), Link("bat", "[#Tool]")}), (Lines{kBanner03, kBanner04, kBanner05, kTiles}));
    // Only targets that are no application, then no row at all.
    const Lines none = {kBanner03, kNone, kBanner04, kBanner05};
    EXPECT_EQ(AllThree({Link("bat", "[#Tool]"), Link("feature", "Partial")}), none);
    EXPECT_EQ(AllThree({}), none);
}

// Each table check reports once at its table, with its own severity.
TEST(TableChecks, OneFindingForATableWithRows)
{
    const auto table = [](const std::string& name) {
        return "CREATE TABLE `" + name + "` (`" + name + "` CHAR(72) NOT NULL PRIMARY KEY `" + name + "`)";
    };
    const auto row = [](const std::string& name, const std::string& key) { return Insert(name, {name}, {key}); };
    const std::vector<std::string> extra = {
        kSeverityTable, SeverityRow("QVUWP16", "2"), table("ServiceInstall"), row("ServiceInstall", "svc"),
        table("QVSQLScriptFile"), row("QVSQLScriptFile", "a"), row("QVSQLScriptFile", "b"), row("QVSQLScriptFile", "c"),
        table("QVSearchReplace"), table("QVScheduledTasks"), row("QVScheduledTasks", "task")};
    Lines all;
    for (auto check : {QVUWP01, QVUWP16, QVUWP17, QVUWP18, QVUWP19}) {
        const Lines lines = RunUwp(check, {}, extra);
        all.insert(all.end(), lines.begin() + 1, lines.end());  // without the banner
    }
    EXPECT_EQ(all, (Lines{L"QVUWP01\t1\tThis package contains one or more Windows services. UWP app packages that "
                          L"target other devices than Windows Server do not support Windows services.\t\tServiceInstall",
                          L"QVUWP16\t2\tThis package contains one or more SQL scripts that run during an installation. "
                          L"UWP app packages do not support executing SQL scripts.\t\tQVSQLScriptFile",
                          L"QVUWP19\t1\tThis package contains one or more Quillvane Scheduled Tasks items that are "
                          L"performed during an installation. UWP app packages do not support creating scheduled "
                          L"tasks.\t\tQVScheduledTasks"}));
}

}  // namespace
