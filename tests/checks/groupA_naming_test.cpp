// QVBP02, QVBP03, QVBP04, QVBP05 and QVBP15 over fixture packages: the exact
// lines they deliver, banner first.
#include <algorithm>

#include "checks/bp/naming_dialog.h"
#include "groupA_fixture.h"

namespace {

using groupa::Insert;
using groupa::Lines;
using groupa::RunCheck;
using groupa::With;
using qvtest::BuildPackage;
using qvtest::TempDir;

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
    TempDir dir;
    const auto msi = BuildPackage(dir, "dirs",
                                  {groupa::kDirectoryTable, groupa::DirRow("TARGETDIR", "", "SourceDir"),
                                   groupa::DirRow("DATABASE", "TARGETDIR", "db"),
                                   groupa::DirRow("Database", "TARGETDIR", "db2"),
                                   groupa::DirRow("DATABASE1", "TARGETDIR", "db3")});
    EXPECT_EQ(RunCheck(QVBP02, msi),
              With(kBanner02, {L"QVBP02\t1\tDirectory DATABASE conflicts with Windows Installer's undocumented "
                               L"directory DATABASE.\t\tDirectory\tDirectory\tDATABASE"}));

    const auto none = BuildPackage(dir, "nodirs", {qvtest::kPropertyTable, qvtest::PropertyRow("A", "1")});
    EXPECT_EQ(RunCheck(QVBP02, none), Lines{kBanner02});
}

TEST(QVBP03, ComboBoxesBelowHeight50)
{
    TempDir dir;
    const auto msi = BuildPackage(dir, "combo",
                                  {groupa::kControlTable, ControlRow("Dlg", "Low", "ComboBox", 0, 0, 10, 49, 0, "", ""),
                                   ControlRow("Dlg", "Tall", "ComboBox", 0, 0, 10, 50, 0, "", ""),
                                   ControlRow("Dlg", "List", "ListBox", 0, 0, 10, 5, 0, "", "")});
    EXPECT_EQ(RunCheck(QVBP03, msi),
              With(L"QVBP03\t3\tQVBP03 - Reports a warning for each ComboBox control with size less than 50",
                   {L"QVBP03\t2\tComboBox Low on Dialog Dlg has a height less than 50. This results in a ComboBox too "
                    L"short to view multiple items at once.\t\tControl\tHeight\tDlg\tLow"}));
}

TEST(QVBP04, PrivateInsecureSecureAndExemptProperties)
{
    TempDir dir;
    const auto msi = BuildPackage(
        dir, "props",
        {groupa::kControlTable, qvtest::kPropertyTable,
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
         ControlRow("Safe", "S4", "Edit", 0, 0, 1, 1, 0, "quiet", "")});
    Lines lines = RunCheck(QVBP04, msi);
    ASSERT_FALSE(lines.empty());
    std::sort(lines.begin() + 1, lines.end());
    EXPECT_EQ(lines,
              With(kBanner04,
                   {L"QVBP04\t2\tDialog Main Control C3 uses private property MixedCase. Its value will be unavailable "
                    L"to the execute sequence.\t\tControl\tProperty\tMain\tC3",
                    L"QVBP04\t2\tDialog Main Control C6 uses insecure custom property LOOSE. Its value may be "
                    L"unavailable to the execute sequence.\t\tControl\tProperty\tMain\tC6",
                    L"QVBP04\t2\tDialog Safe Control S3 uses private property lower. Its value will be unavailable "
                    L"to the execute sequence.\t\tControl\tProperty\tSafe\tS3"}));
}

TEST(QVBP04, WithoutPropertyAndDirectoryTablesOnlyActionIsSecure)
{
    TempDir dir;
    const auto msi = BuildPackage(dir, "bare",
                                  {groupa::kControlTable, ControlRow("D", "A", "Edit", 0, 0, 1, 1, 0, "ACTION", ""),
                                   ControlRow("D", "B", "Edit", 0, 0, 1, 1, 0, "INSTALLDIR", "")});
    EXPECT_EQ(RunCheck(QVBP04, msi),
              With(kBanner04, {L"QVBP04\t2\tDialog D Control B uses insecure custom property INSTALLDIR. Its value "
                               L"may be unavailable to the execute sequence.\t\tControl\tProperty\tD\tB"}));
}

TEST(QVBP05, NullAndSingleBlankConditions)
{
    TempDir dir;
    auto row = [](const std::string& control, const std::string& condition) {
        return Insert("ControlEvent", {"Dialog_", "Control_", "Event", "Argument", "Condition"},
                      {"Dlg", control, "DoAction", "Arg", condition});
    };
    const auto msi = BuildPackage(dir, "events",
                                  {groupa::kControlEventTable, row("Null", "NULL"), row("Blank", " "),
                                   row("Blanks", "  "), row("One", "'1")});
    Lines lines = RunCheck(QVBP05, msi);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], L"QVBP05\t3\tQVBP05 - Reports an error for a control event with NULL condition");
    std::sort(lines.begin() + 1, lines.end());
    EXPECT_EQ(lines[1], L"QVBP05\t2\tDialog Dlg Control Blank has a NULL condition. To ensure the control event "
                        L"always runs, use a condition of 1.\t\tControlEvent\tCondition\tDlg\tBlank\tDoAction\tArg\t");
    EXPECT_EQ(lines[2], L"QVBP05\t2\tDialog Dlg Control Null has a NULL condition. To ensure the control event "
                        L"always runs, use a condition of 1.\t\tControlEvent\tCondition\tDlg\tNull\tDoAction\tArg\t");
}

TEST(QVBP15, BorderlessGroupsWithTextAndAControlStrictlyInside)
{
    TempDir dir;
    const auto msi = BuildPackage(
        dir, "radio",
        {groupa::kControlTable,
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
         ControlRow("D", "Edit", "Edit", 50, 50, 10, 10, 0, "", "")});
    EXPECT_EQ(RunCheck(QVBP15, msi),
              With(L"QVBP15\t3\tQVBP15 - Reports an error for known control settings that can cause repaint issues",
                   {L"QVBP15\t1\tControl Group on the Dialog A is a borderless RadioButtonGroup with overlapping "
                    L"controls and data in the Text column. This may cause repaint issues on some "
                    L"systems.\t\tControl\tText\tA\tGroup"}));
}

}  // namespace
