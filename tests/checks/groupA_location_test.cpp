// QVICE01, QVICE03, QVICE08, QVICE09 and QVICE10 over fixture packages.
#include <algorithm>

#include "checks/ice/location_custom_action.h"
#include "groupA_fixture.h"

namespace {

using groupa::CustomActionRow;
using groupa::DirRow;
using groupa::Insert;
using groupa::Lines;
using groupa::RunOn;
using groupa::With;
using qvtest::PropertyRow;

const wchar_t* const kBanner01 =
    L"QVICE01\t3\tQVICE01 - Validate that the application is installed to ProgramFiles or the user's AppData folder "
    L"by default";
const wchar_t* const kBanner08 =
    L"QVICE08\t3\tQVICE08 - Validate that deferred custom actions do not have the impersonate bit set";
const wchar_t* const kBanner10 =
    L"QVICE10\t3\tQVICE10 - Validate that each custom action has a path specified for the Help File Path setting in "
    L"the Custom ACtions view.";

std::wstring Finding126(const std::wstring& root)
{
    return L"QVICE01\t1\tThe application should be installed to either ProgramFiles or AppData folder by default. "
           L"The current default location is " +
           root + L"\t\tDirectory\tDirectory_Parent\tINSTALLDIR";
}

TEST(QVICE01, RootOfInstallDir)
{
    const std::vector<std::string> debug = {qvtest::kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", "1"),
                                            groupa::kDirectoryTable, DirRow("TARGETDIR", "", "SourceDir")};
    auto with = [&](std::vector<std::string> rows) {
        rows.insert(rows.begin(), debug.begin(), debug.end());
        return rows;
    };
    auto rootIs = [](const std::wstring& root) { return L"QVICE01\t3\tINSTALLDIR root is " + root; };
    const std::wstring finished = L"QVICE01\t3\tFinished ICE QVICE01";
    // Deep below ProgramFilesFolder: nothing but the debug lines.
    EXPECT_EQ(RunOn(QVICE01, with({DirRow("ProgramFilesFolder", "TARGETDIR", "."),
                                   DirRow("Company", "ProgramFilesFolder", "Co"), DirRow("INSTALLDIR", "Company", "App")})),
              With(kBanner01, {rootIs(L"ProgramFilesFolder"), finished}));
    // Directly below TARGETDIR: the misleading debug line, and INSTALLDIR as the root.
    EXPECT_EQ(RunOn(QVICE01, with({DirRow("INSTALLDIR", "TARGETDIR", "App")})),
              With(kBanner01, {L"QVICE01\t3\tUnable to determine root directory. INSTALLDIR not found",
                               rootIs(L"INSTALLDIR"), Finding126(L"INSTALLDIR"), finished}));
    // Exact in case: programfilesfolder is no allowed root.
    EXPECT_EQ(RunOn(QVICE01, with({DirRow("programfilesfolder", "TARGETDIR", "."),
                                   DirRow("INSTALLDIR", "programfilesfolder", "App")})),
              With(kBanner01, {rootIs(L"programfilesfolder"), Finding126(L"programfilesfolder"), finished}));
    EXPECT_EQ(RunOn(QVICE01,
                    with({DirRow("AppDataFolder", "TARGETDIR", "."), DirRow("INSTALLDIR", "AppDataFolder", "App")})),
              With(kBanner01, {rootIs(L"AppDataFolder"), finished}));
    // No INSTALLDIR row, no debugging: an empty root.
    EXPECT_EQ(RunOn(QVICE01, {groupa::kDirectoryTable, DirRow("TARGETDIR", "", "SourceDir")}),
              With(kBanner01, {Finding126(L"")}));
}

TEST(QVICE03, ExactNestedInstallationTypes)
{
    const std::vector<std::string> package = {groupa::kCustomActionTable, CustomActionRow("A7", 7),
                                              CustomActionRow("B23", 23), CustomActionRow("C39", 39),
                                              CustomActionRow("D7bits", 7 + 1024), CustomActionRow("E1", 1)};
    auto nested = [](const std::wstring& action, const std::wstring& type) {
        return L"QVICE03\t1\tNested custom action " + action + L" of type " + type +
               L" is not allowed\t\tCustomAction\tType\t" + action;
    };
    EXPECT_EQ(RunOn(QVICE03, package),
              With(L"QVICE03\t3\tQVICE03 - Validate that there are no nested-installation custom actions (type 7, 23, "
                   L"and 39).",
                   {nested(L"A7", L"7"), nested(L"B23", L"23"), nested(L"C39", L"39")}));
}

std::wstring Impersonates(const std::wstring& action)
{
    return L"QVICE08\t1\tCustom Action " + action + L" uses impersonation. Impersonation should not be used when "
           L"running setups on Windows Vista or later\t\tCustomAction\tType\t" + action;
}

TEST(QVICE08, DeferredActionsWithImpersonation)
{
    const std::vector<std::string> package = {groupa::kCustomActionTable, CustomActionRow("Deferred", 1025),
                                              CustomActionRow("NoImpersonate", 3073), CustomActionRow("Immediate", 1),
                                              CustomActionRow("InstallCEApps", 1025),
                                              CustomActionRow("installceapps", 1025)};
    EXPECT_EQ(RunOn(QVICE08, package),
              With(kBanner08, {Impersonates(L"Deferred"), Impersonates(L"installceapps")}));
}

TEST(QVICE08, MissingCustomActionTableEndsInMessage124)
{
    // Debugging is on, yet no closing debug line follows the failure.
    EXPECT_EQ(RunOn(QVICE08, {qvtest::kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", "1")}),
              With(kBanner08, {L"QVICE08\t0\tAn unexpected exception occurred in running QVICE08. -2147023281:  "
                               L"Windows Installer Error 2228: , CustomAction, SELECT * FROM `CustomAction`\n"
                               L"MsiOpenDatabaseView()"}));
}

TEST(QVICE09, PatchCertificateRowRequired)
{
    const std::string table =
        "CREATE TABLE `MsiPatchCertificate` (`PatchCertificate` CHAR(72) NOT NULL, `DigitalCertificate_` CHAR(72) "
        "NOT NULL PRIMARY KEY `PatchCertificate`)";
    const Lines reported =
        With(L"QVICE09\t3\tQVICE09 - Validate that setup includes MsiPatchCertificate table entry ",
             {L"QVICE09\t1\tAn MsiPatchCertificate table entry is required for User Account Control (UAC) "
              L"patching\t\tMsiPatchCertificate\t\t"});
    EXPECT_EQ(RunOn(QVICE09, {qvtest::kPropertyTable, PropertyRow("A", "1")}), reported);
    EXPECT_EQ(RunOn(QVICE09, {table}), reported);
    EXPECT_EQ(RunOn(QVICE09, {table, Insert("MsiPatchCertificate", {"PatchCertificate", "DigitalCertificate_"},
                                            {"Cert", "Digital"})}),
              Lines{reported[0]});
}

std::wstring Finding115(const std::wstring& action, int type)
{
    return L"QVICE10\t1\tCustom action " + action + L" of type " + std::to_wstring(type) +
           L" is not documented in table QVCustomActionReference\t\tCustomAction\tAction\t" + action;
}

TEST(QVICE10, UndocumentedCustomActions)
{
    const std::vector<std::string> package = {
        groupa::kCustomActionTable,
        "CREATE TABLE `QVCustomActionReference` (`Action` CHAR(72) NOT NULL, `Path` CHAR(255) PRIMARY KEY `Action`)",
        Insert("QVCustomActionReference", {"Action", "Path"}, {"Documented", "docs\\a.htm"}),
        Insert("QVCustomActionReference", {"Action"}, {"NoPath"}),
        CustomActionRow("Documented", 1), CustomActionRow("NoPath", 1 + 1024), CustomActionRow("SetDir", 35 + 64),
        CustomActionRow("SetProp", 51), CustomActionRow("Error", 19), CustomActionRow("ice42", 1),
        CustomActionRow("IcEm01", 1), CustomActionRow("ICEX01", 1), CustomActionRow("qvIce01", 1),
        CustomActionRow("QVICE001", 1), CustomActionRow("Plain", 2)};
    Lines lines = RunOn(QVICE10, package);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], kBanner10);
    Lines findings(lines.begin() + 1, lines.end());
    std::sort(findings.begin(), findings.end());
    EXPECT_EQ(findings, (Lines{Finding115(L"ICEX01", 1), Finding115(L"NoPath", 1025), Finding115(L"Plain", 2),
                               Finding115(L"QVICE001", 1)}));

    // Without the reference table every action that runs code is undocumented.
    EXPECT_EQ(RunOn(QVICE10, {groupa::kCustomActionTable, CustomActionRow("Run", 34)}),
              With(kBanner10, {Finding115(L"Run", 34)}));
}

}  // namespace
