// QVBP02, QVBP03, QVBP04, QVBP05 and QVBP15 over fixture packages: the exact
// lines they deliver, banner first.
#include <algorithm>

#include "checks/bp/naming_dialog.h"
#include "groupA_fixture.h"

namespace {

using groupa::Insert;
using groupa::Lines;
using groupa::RunOn;
using groupa::With;

std::string ControlRow(const std::string& dialog, const std::string& control, const std::string& type, int x, int y,
                       int width, int height, int attributes, const std::string& property, const std::string& text)
{
    return Insert("Control",
                  {"Dialog_", "Control", "Type", "X", "Y", "Width", "Height", "Attributes", "Property", "Text"},
                  {dialog, control, type, std::to_string(x), std::to_string(y), std::to_string(width),
                   std::to_string(height), std::to_string(attributes), property.empty() ? "NULL" : property,
                   text.empty() ? "NULL" : text});
}

const wchar_t* const kBanner02 = L"QVBP02\t3\tQVBP02 - Reports an error if a directory is named 'DATABASE'";
const wchar_t* const kBanner04 =
    L"QVBP04\t3\tQVBP04 - Reports a warning for a property used on a dialog that may be unavailable to the execute "
    L"sequence";

TEST(QVBP02, OnlyTheUpperCaseNameIsReported)
{
    const std::vector<std::string> package = {groupa::kDirectoryTable, groupa::DirRow("TARGETDIR", "", "SourceDir"),
                                              groupa::DirRow("DATABASE", "TARGETDIR", "db"),
                                              groupa::DirRow("Database", "TARGETDIR", "db2"),
                                              groupa::DirRow("DATABASE1", "TARGETDIR", "db3")};
    EXPECT_EQ(RunOn(QVBP02, package),
              With(kBanner02, {L"QVBP02\t1\tDirectory DATABASE conflicts with Windows Installer's undocumented "
                               L"directory DATABASE.\t\tDirectory\tDirectory\tDATABASE"}));

    EXPECT_EQ(RunOn(QVBP02, {qvtest::kPropertyTable, qvtest::PropertyRow("A", "1")}), Lines{kBanner02});
}

TEST(QVBP03, ComboBoxesBelowHeight50)
{
    const std::vector<std::string> package = {groupa::kControlTable,
                                              ControlRow("Dlg", "Low", "ComboBox", 0, 0, 10, 49, 0, "", ""),
                                              ControlRow("Dlg", "Tall", "ComboBox", 0, 0, 10, 50, 0, "", ""),
                                              ControlRow("Dlg", "List", "ListBox", 0, 0, 10, 5, 0, "", "")};
    EXPECT_EQ(RunOn(QVBP03, package),
              With(L"QVBP03\t3\tQVBP03 - Reports a warning for each ComboBox control with size less than 50",
                   {L"QVBP03\t2\tComboBox Low on Dialog Dlg has a height less than 50. This results in a ComboBox too "
                    L"short to view multiple items at once.\t\tControl\tHeight\tDlg\tLow"}));
}

std::wstring Unavailable(const std::wstring& dialog, const std::wstring& control, const std::wstring& property,
                         bool isPrivate)
{
    return L"QVBP04\t2\tDialog " + dialog + L" Control " + control + L" uses " +
           (isPrivate ? L"private property " : L"insecure custom property ") + property + L". Its value " +
           (isPrivate ? L"will" : L"may") + L" be unavailable to the execute sequence.\t\tControl\tProperty\t" +
           dialog + L"\t" + control;
}

TEST(QVBP04, PrivateInsecureSecureAndExemptProperties)
{
    const std::vector<std::string> package = {
        groupa::kControlTable, qvtest::kPropertyTable,
        qvtest::PropertyRow("SecureCustomProperties", "SECURED;OTHER"), groupa::kDirectoryTable,
        groupa::DirRow("INSTALLDIR", "TARGETDIR", "App"),
        "CREATE TABLE `_QVSafeProperty` (`Dialog` CHAR(72) NOT NULL, `Property` CHAR(72) NOT NULL PRIMARY KEY "
        "`Dialog`, `Property`)",
        Insert("_QVSafeProperty", {"Dialog", "Property"}, {"Safe", "LOOSE"}),
        Insert("_QVSafeProperty", {"Dialog", "Property"}, {"Safe", "quiet"}),
        ControlRow("Main", "C1", "Edit", 0, 0, 1, 1, 0, "", ""),
        ControlRow("Main", "C2", "Edit", 0, 0, 1, 1, 0, "ACTION", ""),
        ControlRow("Main", "C3", "Edit", 0, 0, 1, 1, 0, "MixedCase", ""),
        ControlRow("Main", "C4", "Edit", 0, 0, 1, 1, 0, "SECURED", ""),
        ControlRow("Main", "C5", "Edit", 0, 0, 1, 1, 0, "INSTALLDIR", ""),
        ControlRow("Main", "C6", "Edit", 0, 0, 1, 1, 0, "LOOSE", ""),
        ControlRow("Safe", "S1", "Edit", 0, 0, 1, 1, 0, "LOOSE", ""),
        ControlRow("Safe", "S2", "Edit", 0, 0, 1, 1, 0, "LOOSE", ""),
        ControlRow("Safe", "S3", "Edit", 0, 0, 1, 1, 0, "lower", ""),
        ControlRow("Safe", "S4", "Edit", 0, 0, 1, 1, 0, "quiet", "")};
    Lines lines = RunOn(QVBP04, package);
    ASSERT_FALSE(lines.empty());
    std::sort(lines.begin() + 1, lines.end());
    EXPECT_EQ(lines, With(kBanner04, {Unavailable(L"Main", L"C3", L"MixedCase", true),
                                      Unavailable(L"Main", L"C6", L"LOOSE", false),
                                      Unavailable(L"Safe", L"S3", L"lower", true)}));
}

TEST(QVBP04, WithoutPropertyAndDirectoryTablesOnlyActionIsSecure)
{
    EXPECT_EQ(RunOn(QVBP04, {groupa::kControlTable, ControlRow("D", "A", "Edit", 0, 0, 1, 1, 0, "ACTION", ""),
                             ControlRow("D", "B", "Edit", 0, 0, 1, 1, 0, "INSTALLDIR", "")}),
              With(kBanner04, {Unavailable(L"D", L"B", L"INSTALLDIR", false)}));
}

TEST(QVBP05, NullAndSingleBlankConditions)
{
    auto row = [](const std::string& control, const std::string& condition) {
        return Insert("ControlEvent", {"Dialog_", "Control_", "Event", "Argument", "Condition"},
                      {"Dlg", control, "DoAction", "Arg", condition});
    };
    auto finding = [](const std::wstring& control) {
        return L"QVBP05\t2\tDialog Dlg Control " + control + L" has a NULL condition. To ensure the control event "
               L"always runs, use a condition of 1.\t\tControlEvent\tCondition\tDlg\t" + control + L"\tDoAction\tArg\t";
    };
    Lines lines = RunOn(QVBP05, {groupa::kControlEventTable, row("Null", "NULL"), row("Blank", " "),
                                 row("Blanks", "  "), row("One", "'1")});
    ASSERT_FALSE(lines.empty());
    std::sort(lines.begin() + 1, lines.end());
    EXPECT_EQ(lines, With(L"QVBP05\t3\tQVBP05 - Reports an error for a control event with NULL condition",
                          {finding(L"Blank"), finding(L"Null")}));
}

TEST(QVBP15, BorderlessGroupsWithTextAndAControlStrictlyInside)
{
    const std::vector<std::string> package = {
        groupa::kControlTable,
        // Overlapped by an Edit whose corner lies inside: reported.
        ControlRow("A", "Group", "RadioButtonGroup", 10, 10, 100, 100, 0, "P", "Choose"),
        ControlRow("A", "Edit", "Edit", 50, 50, 10, 10, 0, "", ""),
        // The same with a border (0x1000000): skipped.
        ControlRow("B", "Group", "RadioButtonGroup", 10, 10, 100, 100, 0x1000000, "P", "Choose"),
        ControlRow("B", "Edit", "Edit", 50, 50, 10, 10, 0, "", ""),
        // A control on the group's left edge, and a radio button inside: no overlap.
        ControlRow("C", "Group", "RadioButtonGroup", 10, 10, 100, 100, 0, "P", "Choose"),
        ControlRow("C", "Edge", "Edit", 10, 50, 10, 10, 0, "", ""),
        ControlRow("C", "Radio", "RadioButton", 50, 50, 10, 10, 0, "", ""),
        // No text: skipped.
        ControlRow("D", "Group", "RadioButtonGroup", 10, 10, 100, 100, 0, "P", ""),
        ControlRow("D", "Edit", "Edit", 50, 50, 10, 10, 0, "", "")};
    EXPECT_EQ(RunOn(QVBP15, package),
              With(L"QVBP15\t3\tQVBP15 - Reports an error for known control settings that can cause repaint issues",
                   {L"QVBP15\t1\tControl Group on the Dialog A is a borderless RadioButtonGroup with overlapping "
                    L"controls and data in the Text column. This may cause repaint issues on some "
                    L"systems.\t\tControl\tText\tA\tGroup"}));
}

}  // namespace
