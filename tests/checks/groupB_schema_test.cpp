// QVICE04 (standard tables against the stored schema) and QVICE05 (names in
// the reserved MSI range) over one fixture package with its own reference
// tables.
#include "checks/ice/schema_reserved.h"
#include "groupB_fixture.h"

namespace {

using groupb::Insert;
using groupb::Join;
using groupb::Lines;
using groupb::PropertyRow;
using groupb::Queries;
using groupb::Quoted;
using groupb::RunCheck;

const wchar_t* const kBanner04 =
    L"QVICE04\t3\tQVICE04 - Validate that there are no custom columns added to standard MSI tables";
const wchar_t* const kBanner05 = L"QVICE05\t3\tQVICE05 - Validate that there are no properties or custom tables that "
                                 L"begin with \"MSI\" (case-insensitive)";

// Two rows may describe one table: the schema text is part of the key.
const char* kSchemaTable = "CREATE TABLE `_QVTableSchema` (`Table` CHAR(64) NOT NULL, `Schema` CHAR(255) PRIMARY KEY "
                           "`Table`, `Schema`)";
const char* kMsiPropertyTable = "CREATE TABLE `_QVMsiProperty` (`Property` CHAR(72) NOT NULL PRIMARY KEY `Property`)";

std::string Schema(const std::string& table, const std::string& schema)
{
    if (schema.empty())
        return Insert("_QVTableSchema", "`Table`", Quoted(table));
    return Insert("_QVTableSchema", "`Table`, `Schema`", Quoted(table) + ", " + Quoted(schema));
}

std::string Create(const std::string& table, const std::string& columns)
{
    return "CREATE TABLE `" + table + "` (" + columns + ")";
}

// Standard tables in several states against their stored schema, custom
// tables with and without the reserved prefix, and properties.
Queries SchemaPackage()
{
    return {
        kSchemaTable,
        kMsiPropertyTable,
        Insert("_QVMsiProperty", "`Property`", "'MSIFASTINSTALL'"),
        qvtest::kPropertyTable,
        PropertyRow("_QV_DEBUGGING_ACTION", "1"),
        // Listed in exactly this spelling; the others are not.
        PropertyRow("MSIFASTINSTALL", "1"),
        PropertyRow("MsiFastInstall", "1"),
        PropertyRow("MSI", "1"),
        PropertyRow("MS", "1"),
        PropertyRow("msiLogging", "v"),
        PropertyRow("ProductName", "Quill Tool"),
        // Matches; stored lengths differ from the table's and do not matter.
        Schema("Property", "Property(s38)Value(l255)"),
        // Stored in two rows that append.
        Create("Directory", "`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), `DefaultDir` CHAR(255) "
                            "NOT NULL LOCALIZABLE PRIMARY KEY `Directory`"),
        Schema("Directory", "Directory(s72)Directory_Parent(S72)"),
        Schema("Directory", "DefaultDir(l255)"),
        // One extra string column.
        Create("Component", "`Component` CHAR(72) NOT NULL, `Directory_` CHAR(72) NOT NULL, `Extra` CHAR(10), "
                            "`Extra2` SHORT PRIMARY KEY `Component`"),
        Schema("Component", "Component(s72)Directory_(s72)"),
        // A name that differs in case only.
        Create("File", "`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY `File`"),
        Schema("File", "file(s72)Component_(s72)"),
        // Nullability differs: the case of the type letter.
        Create("Feature", "`Feature` CHAR(38) NOT NULL, `Title` CHAR(64) PRIMARY KEY `Feature`"),
        Schema("Feature", "Feature(s38)Title(s64)"),
        // Fewer columns than stored: passes.
        Create("Media", "`DiskId` SHORT NOT NULL, `LastSequence` SHORT NOT NULL PRIMARY KEY `DiskId`"),
        Schema("Media", "DiskId(i2)LastSequence(i2)DiskPrompt(L64)Cabinet(S255)"),
        // An entry without "(": debug line, later columns shift, reported.
        Create("Registry", "`Registry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL PRIMARY "
                           "KEY `Registry`"),
        Schema("Registry", "Registry(s72)Root i2)Key(l255)"),
        // An entry with two "(": the same.
        Create("Icon", "`Name` CHAR(72) NOT NULL, `Data` OBJECT PRIMARY KEY `Name`"),
        Schema("Icon", "Name(s72)Data((V0)"),
        // An empty schema: every column is extra and none is temporary.
        Create("Binary", "`Name` CHAR(72) NOT NULL PRIMARY KEY `Name`"),
        Schema("Binary", ""),
        // Stored, so spared by the reserved name test.
        Create("MsiFileHash", "`File_` CHAR(72) NOT NULL PRIMARY KEY `File_`"),
        Schema("MsiFileHash", "File_(s72)"),
        // Custom tables: no stored schema.
        Create("Quill", "`Key` CHAR(10) NOT NULL PRIMARY KEY `Key`"),
        Create("msiCustom", "`Key` CHAR(10) NOT NULL PRIMARY KEY `Key`"),
        Create("_QvCustom", "`Key` CHAR(10) NOT NULL PRIMARY KEY `Key`"),
    };
}

std::wstring Mismatch(const std::wstring& table)
{
    return L"QVICE04\t1\tThe standard MSI table " + table +
           L" does not match the MSI schema defined in schema.msi\t\t" + table + L"\t\t";
}

std::wstring Reserved(const std::wstring& property)
{
    return L"QVICE05\t1\tMSI property " + property + L" begins with reserved characters. MSI property names cannot "
           L"start with \"MSI\" (case-insensitive)\t\tProperty\tProperty\t" + property;
}

std::wstring Lacks(const std::wstring& table)
{
    return L"QVICE04\t3\tTable " + table + L" lacks stored schema information";
}

TEST(QVICE04, ComparesStandardTablesOneSidedAndSkipsCustomOnes)
{
    const Lines lines = RunCheck(QVICE04, "ice04", SchemaPackage());
    // The walk follows _Tables: the order in which the tables were created.
    EXPECT_EQ(lines, (Lines{
                         kBanner04,
                         L"QVICE04\t3\tColumn schema doesn't have two parts: Root i2",
                         L"QVICE04\t3\tColumn schema doesn't have two parts: Data((V0",
                         Mismatch(L"Component"),
                         Mismatch(L"File"),
                         Mismatch(L"Feature"),
                         Mismatch(L"Registry"),
                         Mismatch(L"Icon"),
                         Mismatch(L"Binary"),
                         Lacks(L"Quill"),
                         Lacks(L"msiCustom"),
                         L"QVICE04\t3\tFinished ICE QVICE04",
                     }));
}

TEST(QVICE04, MissingStoredSchemaEndsWithMessage124)
{
    EXPECT_EQ(RunCheck(QVICE04, "ice04noref", {qvtest::kPropertyTable, PropertyRow("ProductName", "Quill")}),
              (Lines{kBanner04, groupb::MissingTableLine(L"QVICE04", L"_QVTableSchema")}));
}

TEST(QVICE04, ExtraColumnsPassOnlyWhenTemporary)
{
    // The emulated database cannot hold temporary columns: the rule is
    // pinned on the comparison itself, with installer type texts.
    StoredTableSchema stored;
    stored.names = {L"Key", L"Value"};
    stored.types = {L"s72", L"L0"};
    const auto match = [&](std::vector<_stringx<>> names, std::vector<_stringx<>> types) {
        return CQVIce04::ColumnsMatch(stored, names, types);
    };
    EXPECT_TRUE(match({L"Key", L"Value"}, {L"s10", L"L255"}));
    EXPECT_TRUE(match({L"Key"}, {L"s72"}));
    EXPECT_TRUE(match({}, {}));
    for (const wchar_t* temporary : {L"g10", L"G10", L"j2", L"J4", L"o0", L"O0"})
        EXPECT_TRUE(match({L"Key", L"Value", L"Temp"}, {L"s72", L"L0", temporary})) << temporary;
    for (const wchar_t* persistent : {L"s10", L"S10", L"i2", L"v0", L"l0", L"sg"})
        EXPECT_FALSE(match({L"Key", L"Value", L"Extra"}, {L"s72", L"L0", persistent})) << persistent;
    EXPECT_FALSE(match({L"Key", L"Value"}, {L"S72", L"L0"}));
    EXPECT_FALSE(match({L"Key", L"Value"}, {L"i2", L"L0"}));
    EXPECT_FALSE(match({L"KEY", L"Value"}, {L"s72", L"L0"}));
    EXPECT_FALSE(match({L"Value", L"Key"}, {L"L0", L"s72"}));
}

TEST(QVICE05, ReservedPrefixSparesOnlyTheListedSpelling)
{
    EXPECT_EQ(RunCheck(QVICE05, "ice05", SchemaPackage()),
              (Lines{
                  kBanner05,
                  Reserved(L"MsiFastInstall"),
                  Reserved(L"MSI"),
                  Reserved(L"msiLogging"),
                  L"QVICE05\t1\tTable msiCustom begins with reserved characters. Custom table names cannot start "
                  L"with \"MSI\" (case-insensitive)\t\tmsiCustom\t\t",
                  L"QVICE05\t3\tFinished ICE QVICE05",
              }));
}

TEST(QVICE05, ReferenceListsAreHardNeeds)
{
    // _QVMsiProperty is read first, even without a Property table.
    EXPECT_EQ(RunCheck(QVICE05, "ice05noref", {kSchemaTable}),
              (Lines{kBanner05, groupb::MissingTableLine(L"QVICE05", L"_QVMsiProperty")}));
    EXPECT_EQ(RunCheck(QVICE05, "ice05noschema",
                       {kMsiPropertyTable, qvtest::kPropertyTable, PropertyRow("MsiLogging", "v")}),
              (Lines{kBanner05, Reserved(L"MsiLogging"), groupb::MissingTableLine(L"QVICE05", L"_QVTableSchema")}));
}

}  // namespace
