// QVICE19: upgrade properties, the Upgrade table's columns and the one
// accepted pattern of downgrade prevention.
#include "checks/ice/upgrade.h"
#include "groupB_fixture.h"

namespace {

using groupb::Insert;
using groupb::Join;
using groupb::Lines;
using groupb::PropertyRow;
using groupb::Queries;
using groupb::Quoted;
using groupb::RunCheck;
using groupb::SequenceRow;
using groupb::SequenceTable;

const wchar_t* const kBanner =
    L"QVICE19\t3\tQVICE19 - Validate properties related to upgrades, that the Upgrade table is present, and that "
    L"the installation prevents downgrades";
const std::string kCode = "{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

// UpgradeCode may be null here so that a row can leave it empty.
const char* kUpgradeTable =
    "CREATE TABLE `Upgrade` (`UpgradeCode` CHAR(38), `VersionMin` CHAR(20), `VersionMax` CHAR(20), `Language` "
    "CHAR(255), `Attributes` LONG NOT NULL, `Remove` CHAR(255), `ActionProperty` CHAR(72) NOT NULL PRIMARY KEY "
    "`UpgradeCode`, `VersionMin`, `VersionMax`, `Language`, `Attributes`)";
const char* kCustomActionTable = "CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, "
                                 "`Source` CHAR(72), `Target` CHAR(255) PRIMARY KEY `Action`)";

std::string UpgradeRow(const std::string& code, const std::string& min, const std::string& max,
                       const std::string& language, int attributes, const std::string& property)
{
    std::string columns = "`Attributes`, `ActionProperty`";
    std::string values = std::to_string(attributes) + ", " + Quoted(property);
    const std::pair<const char*, const std::string*> optional[] = {
        {"`UpgradeCode`", &code}, {"`VersionMin`", &min}, {"`VersionMax`", &max}, {"`Language`", &language}};
    for (const auto& [column, value] : optional) {
        if (!value->empty()) {
            columns += std::string(", ") + column;
            values += ", " + Quoted(*value);
        }
    }
    return Insert("Upgrade", columns, values);
}

std::string CustomActionRow(const std::string& action, int type)
{
    return Insert("CustomAction", "`Action`, `Type`", Quoted(action) + ", " + std::to_string(type));
}

Queries GoodProperties(const std::string& secure = "OTHER;NEWERFOUND")
{
    return {qvtest::kPropertyTable,
            PropertyRow("ProductName", "Quill Tool"),
            PropertyRow("Manufacturer", "Quill"),
            PropertyRow("ProductCode", "{11111111-2222-3333-4444-555555555555}"),
            PropertyRow("UpgradeCode", kCode),
            PropertyRow("ProductLanguage", "1033"),
            PropertyRow("ProductVersion", "1.2.3"),
            PropertyRow("SecureCustomProperties", secure)};
}

// A type 19 action conditioned on the detection property, between
// FindRelatedProducts and CostInitialize.
Queries DowngradeSequence(const std::string& condition = "NEWERFOUND", int at = 30, int type = 19 + 256)
{
    return {kCustomActionTable,
            CustomActionRow("PreventDowngrade", type),
            CustomActionRow("SetDir", 51),
            SequenceTable("InstallExecuteSequence"),
            SequenceRow("InstallExecuteSequence", "FindRelatedProducts", "", 25),
            SequenceRow("InstallExecuteSequence", "SetDir", "NEWERFOUND", 27),
            SequenceRow("InstallExecuteSequence", "PreventDowngrade", condition, at),
            SequenceRow("InstallExecuteSequence", "CostInitialize", "", 800)};
}

Lines Run19(const Queries& queries) { return RunCheck(QVICE19, "ice19", queries); }

std::wstring PropertyLine(int id, const std::wstring& name, const std::wstring& value)
{
    std::wstring text;
    switch (id) {
    case 148: text = L"The property " + name + L" must be provided; '" + value + L"' is the default value"; break;
    case 149: text = L"The property " + name + L" must be a valid GUID; '" + value + L"' is not a valid GUID"; break;
    case 150:
        text = L"The property " + name + L" must hold a valid numeric LANGID; '" + value +
               L"' is not a numeric LANGID";
        break;
    case 151:
        text = L"The property " + name +
               L" must hold a valid numeric version in the format Major.Minor.Build; '" + value +
               L"' is not a version in this format";
        break;
    case 153: text = L"The property " + name + L" must not be null or empty"; break;
    }
    return L"QVICE19\t1\t" + text + L"\t\tProperty\tValue\t" + name;
}

std::wstring NoDowngrade(const std::wstring& code)
{
    return L"QVICE19\t1\tUpgradeCode " + code + L" does not detect and prevent downgrades with a properly scheduled "
           L"Type 19 Custom Action; the package must prevent downgrades\t\tUpgrade\t\t";
}
const std::wstring kNoDowngradeLine = NoDowngrade(L"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}");

// ---- the text rules --------------------------------------------------------------

TEST(QVICE19Rules, GuidVersionAndLanguageTexts)
{
    for (const wchar_t* good : {L"{11111111-2222-3333-4444-555555555555}", L"{ABCDEF01-2345-6789-ABCD-EF0123456789}"})
        EXPECT_TRUE(CQVIce19::ValidGuidText(good)) << good;
    for (const wchar_t* bad :
         {L"", L"{abcdef01-2345-6789-ABCD-EF0123456789}", L"11111111-2222-3333-4444-555555555555",
          L"{11111111-2222-3333-4444-5555555555555", L"{111111112-222-3333-4444-555555555555}",
          L"{11111111-2222-3333-4444-55555555555G}", L"{11111111-2222-3333-4444-555555555555}}",
          L"{11111111-2222-3333-4444--55555555555}"})
        EXPECT_FALSE(CQVIce19::ValidGuidText(bad)) << bad;

    for (const wchar_t* good : {L"1.2.3", L"1..3", L"1.2.3.", L"99999.0.65535", L"..."})
        EXPECT_TRUE(CQVIce19::ValidVersionText(good)) << good;
    for (const wchar_t* bad : {L"", L"1.2", L"1.2.3.4", L"1.2.3..", L"1.2.a", L"1.2.3 ", L"v1.2.3", L"1,2,3"})
        EXPECT_FALSE(CQVIce19::ValidVersionText(bad)) << bad;

    for (const wchar_t* good : {L"1033", L"0", L"-1", L"2147483647"})
        EXPECT_TRUE(CQVIce19::NumericLangIdText(good)) << good;
    for (const wchar_t* bad : {L"", L"01033", L"+1033", L"1033 ", L" 1033", L"1033,1031", L"2147483648", L"0x409"})
        EXPECT_FALSE(CQVIce19::NumericLangIdText(bad)) << bad;
}

// ---- properties --------------------------------------------------------------------

TEST(QVICE19Properties, ProperPackagePassesWithoutFindings)
{
    EXPECT_EQ(Run19(Join(Join(GoodProperties(), DowngradeSequence()),
                          {kUpgradeTable, UpgradeRow(kCode, "1.2.3", "", "", 2, "NEWERFOUND"),
                           UpgradeRow(kCode, "0.0.1", "1.2.3", "", 256, "OLDERFOUND")})),
              (Lines{kBanner}));
}

TEST(QVICE19Properties, NoPropertyTableFiresEveryNullAndValidityTestThenTheTableIsMissing)
{
    EXPECT_EQ(Run19({kCustomActionTable}),
              (Lines{kBanner, PropertyLine(153, L"ProductName", L""), PropertyLine(153, L"Manufacturer", L""),
                     PropertyLine(149, L"ProductCode", L""), PropertyLine(149, L"UpgradeCode", L""),
                     PropertyLine(150, L"ProductLanguage", L""), PropertyLine(151, L"ProductVersion", L""),
                     L"QVICE19\t1\tThe table Upgrade is not present in the installation package\t\tUpgrade\t\t"}));
}

TEST(QVICE19Properties, DefaultsAndMalformedValuesInTheirFixedOrder)
{
    const Queries queries = {qvtest::kPropertyTable,
                             PropertyRow("ProductName", "My Project Name-2"),
                             PropertyRow("Manufacturer", "Your Company Name Ltd"),
                             PropertyRow("ProductCode", "{11111111-2222-3333-4444-55555555555a}"),
                             PropertyRow("UpgradeCode", "AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE"),
                             PropertyRow("ProductLanguage", "1033,1031"),
                             PropertyRow("ProductVersion", "1.2.3.4"),
                             kUpgradeTable};
    EXPECT_EQ(Run19(queries),
              (Lines{kBanner, PropertyLine(148, L"Manufacturer", L"Your Company Name Ltd"),
                     PropertyLine(149, L"ProductCode", L"{11111111-2222-3333-4444-55555555555a}"),
                     PropertyLine(149, L"UpgradeCode", L"AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE"),
                     PropertyLine(150, L"ProductLanguage", L"1033,1031"),
                     PropertyLine(148, L"ProductName", L"My Project Name-2"),
                     PropertyLine(151, L"ProductVersion", L"1.2.3.4"),
                     NoDowngrade(L"AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE")}));
}

TEST(QVICE19Properties, OtherDefaultsAreExactInCaseAndAtTheStart)
{
    const auto run = [](const std::string& manufacturer, const std::string& productName) {
        Queries queries = GoodProperties();
        queries[1] = PropertyRow("ProductName", productName);
        queries[2] = PropertyRow("Manufacturer", manufacturer);
        return Run19(Join(queries, {kUpgradeTable}));
    };
    // (The third Manufacturer default is not in the package's code page.)
    EXPECT_EQ(run("Quill", "Name von eigenem Projekt-1"),
              (Lines{kBanner, PropertyLine(148, L"ProductName", L"Name von eigenem Projekt-1"), kNoDowngradeLine}));
    EXPECT_EQ(run("Ihr Firmenname", "my project name-1"),
              (Lines{kBanner, PropertyLine(148, L"Manufacturer", L"Ihr Firmenname"), kNoDowngradeLine}));
    EXPECT_EQ(run("The Your Company Name", "My Project Name"), (Lines{kBanner, kNoDowngradeLine}));
}

// ---- the Upgrade table ---------------------------------------------------------------

TEST(QVICE19Upgrade, ColumnTestsOnEveryRowInOrder)
{
    const Lines lines = Run19(Join(Join(GoodProperties(), DowngradeSequence()),
                                   {kUpgradeTable, UpgradeRow("", "1.0.0", "", "1033", 1, "EMPTYCODE")}));
    EXPECT_EQ(lines,
              (Lines{kBanner,
                     L"QVICE19\t1\tColumn UpgradeCode of table Upgrade must hold a valid GUID; '' is not a valid "
                     L"GUID\t\tUpgrade\tUpgradeCode\t",
                     L"QVICE19\t1\tColumn Upgrade of table UpgradeCode must not be null or empty\t\tUpgrade\t"
                     L"UpgradeCode\t\t1.0.0\t\t1033\t1",
                     kNoDowngradeLine}));

    const Lines versions = Run19(Join(Join(GoodProperties(), DowngradeSequence()),
                                      {kUpgradeTable, UpgradeRow(kCode, "1.2.3", "", "", 2, "NEWERFOUND"),
                                       UpgradeRow("{abcdef01-2345-6789-ABCD-EF0123456789}", "1.a.0", "1.2.3.4", "",
                                                  256, "OLDER")}));
    EXPECT_EQ(versions,
              (Lines{kBanner,
                     L"QVICE19\t1\tColumn UpgradeCode of table Upgrade must hold a valid GUID; "
                     L"'{abcdef01-2345-6789-ABCD-EF0123456789}' is not a valid GUID\t\tUpgrade\tUpgradeCode\t"
                     L"{abcdef01-2345-6789-ABCD-EF0123456789}",
                     L"QVICE19\t1\tColumn VersionMin of table Upgrade must hold a valid numeric version in the format "
                     L"Major.Minor.Build; '1.a.0' is not a version in this format\t\tUpgrade\tVersionMin\t"
                     L"{abcdef01-2345-6789-ABCD-EF0123456789}\t1.a.0\t1.2.3.4\t\t256",
                     L"QVICE19\t1\tColumn VersionMax of table Upgrade must hold a valid numeric version in the format "
                     L"Major.Minor.Build; '1.2.3.4' is not a version in this format\t\tUpgrade\tVersionMax\t"
                     L"{abcdef01-2345-6789-ABCD-EF0123456789}\t1.a.0\t1.2.3.4\t\t256"}));
}

TEST(QVICE19Upgrade, NearMissDetectionRowsAndSchedulesGiveMessage155)
{
    const auto run = [](const Queries& upgradeRows, const Queries& sequence) {
        return Run19(Join(Join(GoodProperties(), sequence), Join({kUpgradeTable}, upgradeRows)));
    };
    const Queries detection = {UpgradeRow(kCode, "1.2.3", "", "", 2, "NEWERFOUND")};
    const Lines failing{kBanner, kNoDowngradeLine};

    // Not a detection row: VersionMax set, other attributes, another version.
    EXPECT_EQ(run({UpgradeRow(kCode, "1.2.3", "9.9.9", "", 2, "NEWERFOUND")}, DowngradeSequence()), failing);
    EXPECT_EQ(run({UpgradeRow(kCode, "1.2.3", "", "", 258, "NEWERFOUND")}, DowngradeSequence()), failing);
    EXPECT_EQ(run({UpgradeRow(kCode, "1.2.4", "", "", 2, "NEWERFOUND")}, DowngradeSequence()), failing);
    // The action: a joined condition, outside the window, not type 19.
    EXPECT_EQ(run(detection, DowngradeSequence("NEWERFOUND AND 1")), failing);
    EXPECT_EQ(run(detection, DowngradeSequence("NEWERFOUND", 25)), failing);
    EXPECT_EQ(run(detection, DowngradeSequence("NEWERFOUND", 800)), failing);
    EXPECT_EQ(run(detection, DowngradeSequence("NEWERFOUND", 30, 51)), failing);
    // No CustomAction table, or no CostInitialize: no exception, message 155.
    EXPECT_EQ(run(detection, {SequenceTable("InstallExecuteSequence"),
                              SequenceRow("InstallExecuteSequence", "PreventDowngrade", "NEWERFOUND", 30),
                              SequenceRow("InstallExecuteSequence", "CostInitialize", "", 800)}),
              failing);
    EXPECT_EQ(run(detection, {kCustomActionTable, CustomActionRow("PreventDowngrade", 19),
                              SequenceTable("InstallExecuteSequence"),
                              SequenceRow("InstallExecuteSequence", "PreventDowngrade", "NEWERFOUND", 30)}),
              failing);
    // Without FindRelatedProducts the action needs only to stand before CostInitialize.
    EXPECT_EQ(run(detection, {kCustomActionTable, CustomActionRow("PreventDowngrade", 19),
                              SequenceTable("InstallExecuteSequence"),
                              SequenceRow("InstallExecuteSequence", "PreventDowngrade", "NEWERFOUND", 30),
                              SequenceRow("InstallExecuteSequence", "CostInitialize", "", 800)}),
              (Lines{kBanner}));
}

TEST(QVICE19Upgrade, DetectionPropertyMustBeASecureCustomProperty)
{
    const Queries rows = {kUpgradeTable, UpgradeRow(kCode, "1.2.3", "", "", 2, "NEWERFOUND")};
    const std::wstring notSecure =
        L"QVICE19\t1\tThe property NEWERFOUND is not listed in SecureCustomProperties; this can prevent it from "
        L"being used correctly for downgrade prevention.\t\tProperty\tValue\tSecureCustomProperties";
    EXPECT_EQ(Run19(Join(Join(GoodProperties("OTHER;NEWERFOUNDX;newerfound"), DowngradeSequence()), rows)),
              (Lines{kBanner, notSecure}));
    EXPECT_EQ(Run19(Join(Join(GoodProperties("NEWERFOUND"), DowngradeSequence()), rows)), (Lines{kBanner}));

    // A first candidate row whose property is not scheduled leaves the search
    // open; the second row is tried and detects.
    EXPECT_EQ(Run19(Join(Join(GoodProperties("OTHER"), DowngradeSequence()),
                         {kUpgradeTable, UpgradeRow(kCode, "1.2.3", "", "", 2, "UNSCHEDULED"),
                          UpgradeRow(kCode, "1.2.3", "", "1033", 2, "NEWERFOUND")})),
              (Lines{kBanner, notSecure}));
}

}  // namespace
