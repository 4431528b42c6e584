// The message type of a severity-driven check, read from _QvViceSeverity at
// construction, seen through QVUWP06 findings over one 16-bit program.
#include "checks/uwp/executable_content.h"
#include "uwp_fixture.h"

namespace {

using namespace uwptest;

const wchar_t* const kBanner =
    L"QVUWP06\t3\tQVUWP06 - Checks for the presence of 16-bit files. All server installations are 64-bit platforms "
    L"and 64-bit platforms do not support 16-bit files.";

std::wstring Finding(const std::wstring& type)
{
    return L"QVUWP06\t" + type +
           L"\tFile dos.exe in Component Main is a 16-bit file. 64-bit systems do not support 16-bit "
           L"applications.\t\tFile\tFile\tDos";
}

Lines RunWith(const std::vector<std::string>& tables) { return RunUwp(QVUWP06, {{"Dos", "dos.exe", Dos()}}, tables); }

TEST(ViceSeverity, RowOfTheCheckSetsTheTypeAsItStands)
{
    EXPECT_EQ(RunWith({kSeverityTable, SeverityRow("QVUWP06", "2")}), With(kBanner, {Finding(L"2")}));
    // Not range checked: any number goes out.
    EXPECT_EQ(RunWith({kSeverityTable, SeverityRow("QVUWP06", "7")}), With(kBanner, {Finding(L"7")}));
    EXPECT_EQ(RunWith({kSeverityTable, SeverityRow("QVUWP06", "-5")}), With(kBanner, {Finding(L"-5")}));
}

TEST(ViceSeverity, ZeroReadsAsErrorAndNullIsKept)
{
    EXPECT_EQ(RunWith({kSeverityTable, SeverityRow("QVUWP06", "0")}), With(kBanner, {Finding(L"1")}));
    EXPECT_EQ(RunWith({kSeverityTable, SeverityRow("QVUWP06", "NULL")}), With(kBanner, {Finding(L"-2147483648")}));
}

TEST(ViceSeverity, WithoutARowForTheCheckTheTypeIsOne)
{
    EXPECT_EQ(RunWith({}), With(kBanner, {Finding(L"1")}));
    EXPECT_EQ(RunWith({kSeverityTable}), With(kBanner, {Finding(L"1")}));
    // Rows of other checks, also one whose name only differs in case or
    // extends this one, do not count.
    EXPECT_EQ(RunWith({kSeverityTable, SeverityRow("QVUWP07", "2"), SeverityRow("qvuwp06", "3"),
                       SeverityRow("QVUWP066", "2")}),
              With(kBanner, {Finding(L"1")}));
}

TEST(ViceSeverity, ColumnsAreTakenByPosition)
{
    // Column 2 holds the name here: a text where the type should be.
    const std::string swapped = "CREATE TABLE `_QvViceSeverity` (`Level` SHORT NOT NULL, `Vice` CHAR(72) NOT NULL "
                                "PRIMARY KEY `Level`, `Vice`)";
    EXPECT_EQ(RunWith({swapped, Insert("_QvViceSeverity", {"Level", "Vice"}, {"2", "QVUWP06"})}),
              With(kBanner, {Finding(L"-2147483648")}));
    // Whatever the name of the second column, its number is the type.
    const std::string renamed =
        "CREATE TABLE `_QvViceSeverity` (`Vice` CHAR(72) NOT NULL, `Anything` LONG, `Level` SHORT PRIMARY KEY `Vice`)";
    EXPECT_EQ(RunWith({renamed, Insert("_QvViceSeverity", {"Vice", "Anything", "Level"}, {"QVUWP06", "3", "2"})}),
              With(kBanner, {Finding(L"3")}));
}

}  // namespace
