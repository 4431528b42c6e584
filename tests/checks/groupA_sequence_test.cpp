// QVBP06, QVBP08, QVBP09, QVBP10 and QVBP13 over fixture packages.
#include <algorithm>

#include "checks/bp/sequence_property.h"
#include "groupA_fixture.h"

namespace {

using groupa::CustomActionRow;
using groupa::Insert;
using groupa::Lines;
using groupa::RunOn;
using groupa::SequenceRow;
using groupa::With;
using qvtest::PropertyRow;

const wchar_t* const kBanner08 =
    L"QVBP08\t3\tQVBP08 - Reports a warning if ARPINSTALLLOCATION does not appear to be set";
const wchar_t* const kText181 =
    L"QVBP08\t2\tThere does not appear to be a Type 51 action setting ARPINSTALLLOCATION after CostFinalize in the "
    L"InstallExecuteSequence.";

TEST(QVBP06, CustomActionsInTheUISequenceOnly)
{
    const std::vector<std::string> package = {
        groupa::kCustomActionTable, groupa::SequenceTable("InstallUISequence"),
        groupa::SequenceTable("InstallExecuteSequence"), CustomActionRow("UiOnly", 1), CustomActionRow("Both", 1),
        CustomActionRow("ExecOnly", 1), SequenceRow("InstallUISequence", "UiOnly", 10),
        SequenceRow("InstallUISequence", "Both", 20), SequenceRow("InstallUISequence", "CostFinalize", 30),
        SequenceRow("InstallExecuteSequence", "Both", 20), SequenceRow("InstallExecuteSequence", "ExecOnly", 40)};
    const std::wstring banner =
        L"QVBP06\t3\tQVBP06 - Reports a warning for each Custom Action scheduled in the Install UI Sequence but not "
        L"in the Install Execute Sequence";
    EXPECT_EQ(RunOn(QVBP06, package),
              With(banner, {L"QVBP06\t2\tCustom Action UiOnly is scheduled in the InstallUISequence but not the "
                            L"InstallExecuteSequence. It will not run during a silent or reduced UI "
                            L"installation.\t\tCustomAction\tAction\tUiOnly"}));

    // Any of the three tables missing: nothing is looked at.
    EXPECT_EQ(RunOn(QVBP06, {groupa::kCustomActionTable, groupa::SequenceTable("InstallUISequence"),
                             CustomActionRow("UiOnly", 1), SequenceRow("InstallUISequence", "UiOnly", 10)}),
              Lines{banner});
}

// The location of 181 tells how far the search came.
TEST(QVBP08, EachStageOfTheSearchReportsWithItsLocation)
{
    const std::string ca = groupa::kCustomActionTable;
    const std::string exec = groupa::SequenceTable("InstallExecuteSequence");
    auto arp = [](int type) { return CustomActionRow("SetArp", type, "ARPINSTALLLOCATION"); };
    auto missing = [](const std::wstring& location) { return With(kBanner08, {kText181 + (L"\t\t" + location)}); };

    EXPECT_EQ(RunOn(QVBP08, {qvtest::kPropertyTable, PropertyRow("A", "1")}), Lines{kBanner08});
    EXPECT_EQ(RunOn(QVBP08, {ca, CustomActionRow("Other", 51, "OTHER")}), missing(L"CustomAction\t\t"));
    // Option bits added to type 51 hide the action.
    EXPECT_EQ(RunOn(QVBP08, {ca, arp(51 + 256)}), missing(L"CustomAction\t\t"));
    EXPECT_EQ(RunOn(QVBP08, {ca, exec, arp(51)}), missing(L"CustomAction\tAction\tSetArp"));
    EXPECT_EQ(RunOn(QVBP08, {ca, exec, arp(51), SequenceRow("InstallExecuteSequence", "SetArp", 999),
                             SequenceRow("InstallExecuteSequence", "CostFinalize", 1000)}),
              missing(L"InstallExecuteSequence\tSequence\tSetArp"));
    EXPECT_EQ(RunOn(QVBP08, {ca, exec, arp(51), SequenceRow("InstallExecuteSequence", "SetArp", 999)}),
              missing(L"InstallExecuteSequence\tSequence\tSetArp"));
    // The same number as CostFinalize passes.
    EXPECT_EQ(RunOn(QVBP08, {ca, exec, arp(51), SequenceRow("InstallExecuteSequence", "SetArp", 1000),
                             SequenceRow("InstallExecuteSequence", "CostFinalize", 1000)}),
              Lines{kBanner08});
}

TEST(QVBP08, APassingSearchLeavesItsLocationForTheClosingDebugLine)
{
    const std::vector<std::string> package = {
        groupa::kCustomActionTable, groupa::SequenceTable("InstallExecuteSequence"), qvtest::kPropertyTable,
        PropertyRow("_QV_DEBUGGING_ACTION", "1"), CustomActionRow("SetArp", 51, "ARPINSTALLLOCATION"),
        SequenceRow("InstallExecuteSequence", "SetArp", 1001),
        SequenceRow("InstallExecuteSequence", "CostFinalize", 1000)};
    EXPECT_EQ(RunOn(QVBP08, package),
              With(kBanner08, {L"QVBP08\t3\tFinished ICE QVBP08\t\tInstallExecuteSequence\tSequence\tSetArp"}));
}

TEST(QVBP09, LimitUIWithoutARPNoModifyRow)
{
    const std::string nullable =
        "CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR LOCALIZABLE PRIMARY KEY `Property`)";
    const std::wstring banner =
        L"QVBP09\t3\tQVBP09 - Reports an error if LIMITUI is set but ARPNOMODIFY is not set";
    EXPECT_EQ(RunOn(QVBP09, {nullable, PropertyRow("LIMITUI", "1")}),
              With(banner, {L"QVBP09\t1\tThe property LIMITUI has been set, but ARPNOMODIFY has not. This can lead "
                            L"to undesirable behavior with Add or Remove Programs.\t\tProperty\tProperty\t"}));
    // A row without a value still counts.
    EXPECT_EQ(RunOn(QVBP09, {nullable, PropertyRow("LIMITUI", "1"), Insert("Property", {"Property"}, {"ARPNOMODIFY"})}),
              Lines{banner});
    EXPECT_EQ(RunOn(QVBP09, {nullable, PropertyRow("ARPNOMODIFY", "1")}), Lines{banner});
}

TEST(QVBP10, PublicAppSearchPropertiesThatAreNotSecure)
{
    const std::vector<std::string> package = {
        "CREATE TABLE `AppSearch` (`Property` CHAR(72) NOT NULL, `Signature_` CHAR(72) NOT NULL PRIMARY KEY "
        "`Property`, `Signature_`)",
        qvtest::kPropertyTable, PropertyRow("SecureCustomProperties", "FOUNDIT"), groupa::kDirectoryTable,
        groupa::DirRow("APPDIR", "TARGETDIR", "App"),
        Insert("AppSearch", {"Property", "Signature_"}, {"FOUNDIT", "Sig1"}),
        Insert("AppSearch", {"Property", "Signature_"}, {"APPDIR", "Sig2"}),
        Insert("AppSearch", {"Property", "Signature_"}, {"privateOne", "Sig3"}),
        Insert("AppSearch", {"Property", "Signature_"}, {"LOSTIT", "Sig4"})};
    EXPECT_EQ(RunOn(QVBP10, package),
              With(L"QVBP10\t3\tQVBP10 - Reports a warning if an AppSearch uses a property that may be unavailable "
                   L"to the execute sequence",
                   {L"QVBP10\t2\tAppSearch Sig4 uses insecure custom property LOSTIT. Its value may be unavailable "
                    L"to the execute sequence.\t\tAppSearch\tProperty\tSig4"}));
}

std::wstring Finding192(const std::wstring& name, const std::wstring& table, const std::wstring& location)
{
    return L"QVBP13\t2\tProperty '" + name + L"' has no default, is set by a dialog control, and is used in table " +
           table + L". This may not be populated in a silent or reduced UI installation.\t\t" + location;
}

TEST(QVBP13, ReferencesToDialogPropertiesWithoutDefault)
{
    auto control = [](const std::string& name, const std::string& property) {
        return Insert("Control", {"Dialog_", "Control", "Type", "X", "Y", "Width", "Height", "Property"},
                      {"Dlg", name, "Edit", "0", "0", "1", "1", property});
    };
    auto registry = [](const std::string& key, const std::string& path, const std::string& name,
                       const std::string& value) {
        return Insert("Registry", {"Registry", "Root", "Key", "Name", "Value", "Component_"},
                      {key, "2", path, name, value, "C"});
    };
    const std::vector<std::string> package = {
        groupa::kControlTable, control("E1", "USERNAME"), control("E2", "COMPANY"), control("E3", "DEFAULTED"),
        control("E4", "\\["), qvtest::kPropertyTable, PropertyRow("DEFAULTED", "x"), groupa::kRegistryTable,
        // Twice in one value: two findings; a defaulted name: none.
        registry("r1", "Software\\[USERNAME]", "[COMPANY]", "[USERNAME]-[USERNAME]-[DEFAULTED]"),
        // Doubled brackets keep the inner bracket in the name; [\[] names "\[".
        registry("r2", "Software\\[[COMPANY]]", "x", "[\\[]"),
        // Unclosed and too short references end the scan quietly.
        registry("r3", "Software\\[COMPANY", "[", "[\\"),
        groupa::kEnvironmentTable,
        Insert("Environment", {"Environment", "Name", "Value", "Component_"}, {"e1", "PATH", "[COMPANY]", "C"}),
        "CREATE TABLE `QVXmlElementAttrib` (`QVXmlElementAttrib` CHAR(72) NOT NULL, `QVXmlElement_` CHAR(72) NOT "
        "NULL, `Name` CHAR(255), `Value` CHAR(255) PRIMARY KEY `QVXmlElementAttrib`, `QVXmlElement_`)",
        Insert("QVXmlElementAttrib", {"QVXmlElementAttrib", "QVXmlElement_", "Name", "Value"},
               {"a1", "el1", "n", "[USERNAME]"})};
    EXPECT_EQ(RunOn(QVBP13, package),
              With(L"QVBP13\t3\tQVBP13 - Reports a warning for each unset property tied to a dialog control and used "
                   L"as data for the installation",
                   {
                       Finding192(L"USERNAME", L"Registry", L"Registry\tKey\tr1"),
                       Finding192(L"COMPANY", L"Registry", L"Registry\tName\tr1"),
                       Finding192(L"USERNAME", L"Registry", L"Registry\tValue\tr1"),
                       Finding192(L"USERNAME", L"Registry", L"Registry\tValue\tr1"),
                       Finding192(L"\\[", L"Registry", L"Registry\tValue\tr2"),
                       Finding192(L"COMPANY", L"Environment", L"Environment\tValue\te1"),
                       Finding192(L"USERNAME", L"QVXmlElementAttrib", L"QVXmlElementAttrib\tValue\ta1\tel1"),
                   }));
}

}  // namespace
