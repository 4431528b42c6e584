// QVICE17 (disallowed actions in sequences and control events) and QVICE18
// (the files-in-use dialog and its title) over fixture packages.
#include "checks/ice/disallowed_action.h"
#include "groupB_fixture.h"

namespace {

using groupb::Insert;
using groupb::Lines;
using groupb::Queries;
using groupb::Quoted;
using groupb::RunCheck;
using groupb::SequenceRow;
using groupb::SequenceTable;

const wchar_t* const kBanner17 = L"QVICE17\t3\tQVICE17 - Validate that the installation does not force a reboot";
const wchar_t* const kBanner18 = L"QVICE18\t3\tQVICE18 - Validate that the MsiRMFilesInUse dialog is included";

const char* kDisallowedTable = "CREATE TABLE `_QVDisallowedAction` (`Action` CHAR(72) NOT NULL, `Description` "
                               "CHAR(255) PRIMARY KEY `Action`)";
const char* kControlEventTable =
    "CREATE TABLE `ControlEvent` (`Dialog_` CHAR(72) NOT NULL, `Control_` CHAR(50) NOT NULL, `Event` CHAR(50) NOT "
    "NULL, `Argument` CHAR(255) NOT NULL, `Condition` CHAR(255), `Ordering` SHORT PRIMARY KEY `Dialog_`, "
    "`Control_`, `Event`, `Argument`, `Condition`)";
const char* kDialogTable =
    "CREATE TABLE `Dialog` (`Dialog` CHAR(72) NOT NULL, `HCentering` SHORT NOT NULL, `VCentering` SHORT NOT NULL, "
    "`Width` SHORT NOT NULL, `Height` SHORT NOT NULL, `Attributes` LONG, `Title` CHAR(128) LOCALIZABLE, "
    "`Control_First` CHAR(50) NOT NULL, `Control_Default` CHAR(50), `Control_Cancel` CHAR(50) PRIMARY KEY "
    "`Dialog`)";

std::string Disallowed(const std::string& action)
{
    return Insert("_QVDisallowedAction", "`Action`", Quoted(action));
}

std::string Event(const std::string& dialog, const std::string& control, const std::string& event,
                  const std::string& argument, const std::string& condition)
{
    return Insert("ControlEvent", "`Dialog_`, `Control_`, `Event`, `Argument`, `Condition`, `Ordering`",
                  Quoted(dialog) + ", " + Quoted(control) + ", " + Quoted(event) + ", " + Quoted(argument) + ", " +
                      Quoted(condition) + ", 1");
}

std::string DialogRow(const std::string& name, const std::string& title)
{
    return Insert("Dialog", "`Dialog`, `HCentering`, `VCentering`, `Width`, `Height`, `Title`, `Control_First`",
                  Quoted(name) + ", 50, 50, 300, 200, " + Quoted(title) + ", 'Ok'");
}

// ---- QVICE17 ---------------------------------------------------------------------

std::wstring Waiver(const std::wstring& action)
{
    return L" action. Use of the " + action + L" action requires a waiver from Microsoft.\t\t";
}
std::wstring InSequence(const std::wstring& sequence, const std::wstring& action)
{
    return L"QVICE17\t1\tSequence " + sequence + L" includes the " + action + Waiver(action) + sequence +
           L"\tAction\t" + action;
}
std::wstring OnControl(const std::wstring& control, const std::wstring& action, const std::wstring& condition)
{
    return L"QVICE17\t1\tControl " + control + L" on Dialog Done runs the " + action + Waiver(action) +
           L"ControlEvent\tArgument\tDone\t" + control + L"\tDoAction\t" + action + L"\t" + condition;
}

TEST(QVICE17, FindsEachActionInEverySequenceAndControlEventGroupedByAction)
{
    const Lines lines = RunCheck(QVICE17, "ice17",
                            {
                                kDisallowedTable,
                                Disallowed("ForceReboot"),
                                Disallowed("ScheduleReboot"),
                                SequenceTable("InstallExecuteSequence"),
                                SequenceRow("InstallExecuteSequence", "ScheduleReboot", "0", 6500),
                                SequenceRow("InstallExecuteSequence", "ForceReboot", "", 6600),
                                SequenceRow("InstallExecuteSequence", "schedulereboot", "", 6700),
                                SequenceTable("InstallUISequence"),
                                SequenceRow("InstallUISequence", "ScheduleReboot", "", 100),
                                SequenceTable("ModuleAdvtUISequence"),
                                SequenceRow("ModuleAdvtUISequence", "ForceReboot", "", 5),
                                kControlEventTable,
                                Event("Done", "Finish", "DoAction", "ScheduleReboot", "1"),
                                Event("Done", "Other", "NewDialog", "ScheduleReboot", "1"),
                                Event("Done", "Lower", "DoAction", "schedulereboot", "1"),
                                Event("Done", "Never", "DoAction", "ForceReboot", "0"),
                            });
    // Conditions play no part: "0" on a sequence row or event is reported.
    // Names match exactly; another event with the action as argument is nothing.
    EXPECT_EQ(lines, (Lines{kBanner17, InSequence(L"InstallExecuteSequence", L"ForceReboot"),
                            InSequence(L"ModuleAdvtUISequence", L"ForceReboot"),
                            OnControl(L"Never", L"ForceReboot", L"0"),
                            InSequence(L"InstallExecuteSequence", L"ScheduleReboot"),
                            InSequence(L"InstallUISequence", L"ScheduleReboot"),
                            OnControl(L"Finish", L"ScheduleReboot", L"1")}));
}

TEST(QVICE17, NoTablesToSearchOrAnEmptyListGiveTheBannerOnly)
{
    EXPECT_EQ(RunCheck(QVICE17, "ice17none", {kDisallowedTable, Disallowed("ForceReboot")}), (Lines{kBanner17}));
    EXPECT_EQ(RunCheck(QVICE17, "ice17empty",
                  {kDisallowedTable, SequenceTable("InstallExecuteSequence"),
                   SequenceRow("InstallExecuteSequence", "ForceReboot", "", 10)}),
              (Lines{kBanner17}));
}

TEST(QVICE17, MissingReferenceTableEndsWithMessage124)
{
    EXPECT_EQ(RunCheck(QVICE17, "ice17noref",
                  {SequenceTable("InstallExecuteSequence"), SequenceRow("InstallExecuteSequence", "ForceReboot", "", 1)}),
              (Lines{kBanner17, groupb::MissingTableLine(L"QVICE17", L"_QVDisallowedAction")}));
}

// ---- QVICE18 ---------------------------------------------------------------------

const wchar_t* const kMissingDialog =
    L"QVICE18\t1\tDialog MsiRMFilesInUse is not present in the Dialog table\t\tDialog\tTitle\tMsiRMFilesInUse";

Lines Run18(const std::string& title, const std::string& productName, bool withProperty = true)
{
    Queries queries{kDialogTable, DialogRow("MsiRMFilesInUse", title), DialogRow("Other", "[ProductName]")};
    // An empty value is a Property table without the row (the column takes no null).
    if (withProperty)
        queries = groupb::Join(queries, {qvtest::kPropertyTable, productName.empty()
                                                                     ? groupb::PropertyRow("Manufacturer", "Quill")
                                                                     : groupb::PropertyRow("ProductName", productName)});
    return RunCheck(QVICE18, "ice18", queries);
}

std::wstring TitleLine(const std::wstring& productName)
{
    // The catalogue escapes the brackets of the token; the installer shows them.
    return L"QVICE18\t1\tThe Title of Dialog MsiRMFilesInUse does not include '" + productName +
           L"' or '[ProductName]'\t\tDialog\tTitle\tMsiRMFilesInUse";
}

TEST(QVICE18, DialogMustBePresentUnderItsExactName)
{
    EXPECT_EQ(RunCheck(QVICE18, "ice18none", {qvtest::kPropertyTable, groupb::PropertyRow("ProductName", "Tool")}),
              (Lines{kBanner18, kMissingDialog}));
    EXPECT_EQ(RunCheck(QVICE18, "ice18case", {kDialogTable, DialogRow("msirmfilesinuse", "[ProductName]")}),
              (Lines{kBanner18, kMissingDialog}));
}

TEST(QVICE18, TitleNeedsTheTokenOrTheAuthoredNameInExactCase)
{
    EXPECT_EQ(Run18("Files in use - [ProductName]", "Tool"), (Lines{kBanner18}));
    EXPECT_EQ(Run18("Setup of Quill Tool is blocked", "Quill Tool"), (Lines{kBanner18}));
    EXPECT_EQ(Run18("Setup of QUILL TOOL is blocked", "Quill Tool"), (Lines{kBanner18, TitleLine(L"Quill Tool")}));
    EXPECT_EQ(Run18("Files in use - [productname]", "Tool"), (Lines{kBanner18, TitleLine(L"Tool")}));
}

TEST(QVICE18, EmptyOrAbsentProductNameGivesAnEmptyArgument)
{
    EXPECT_EQ(Run18("Files in use", ""), (Lines{kBanner18, TitleLine(L"")}));
    EXPECT_EQ(Run18("Files in use", "", false), (Lines{kBanner18, TitleLine(L"")}));
}

}  // namespace
