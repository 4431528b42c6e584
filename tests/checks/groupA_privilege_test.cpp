// QVICE20 over fixture packages whose summary Word Count says whether
// elevation is requested.
#include <algorithm>

#include "checks/ice/privilege.h"
#include "groupA_fixture.h"

namespace {

using groupa::ComponentRow;
using groupa::DirRow;
using groupa::FileRow;
using groupa::Insert;
using groupa::Lines;
using groupa::RunOn;
using groupa::With;

const wchar_t* const kBanner =
    L"QVICE20\t3\tQVICE20 - Validate that no machine-wide settings are installed by a non-privileged installation";

std::wstring Finding159(const std::wstring& table, const std::wstring& key, const std::wstring& directory,
                        const std::wstring& column)
{
    return L"QVICE20\t1\tRow " + key + L" of Table " + table +
           L": installing, modifying, or deleting a file in directory " + directory +
           L" requires elevated privileges, but this package does not request elevated privileges\t\t" + table +
           L"\t" + column + L"\t" + key;
}
std::wstring Finding158(const std::wstring& table, const std::wstring& key, int root, int type)
{
    return L"QVICE20\t" + std::to_wstring(type) + L"\tRow " + key + L" of Table " + table +
           L": installing, modifying, or deleting a registry key in root " + std::to_wstring(root) +
           L" requires elevated privileges, but this package does not request elevated privileges\t\t" + table +
           L"\tRoot\t" + key;
}
std::wstring Finding160(const std::wstring& name, const std::wstring& key, int type)
{
    return L"QVICE20\t" + std::to_wstring(type) + L"\tEnvironment variable " + name +
           L" is a system environment variable, but this package does not request elevated privileges\t\t"
           L"Environment\tName\t" +
           key;
}

// Machine-wide rows in every table of the walk, plus rows that pass.
std::vector<std::string> Package()
{
    return {
        groupa::kDirectoryTable,
        DirRow("TARGETDIR", "", "SourceDir"),
        DirRow("ProgramFilesFolder", "TARGETDIR", "."),
        DirRow("INSTALLDIR", "ProgramFilesFolder", "App"),
        DirRow("LocalAppDataFolder", "TARGETDIR", "."),
        DirRow("UserDir", "LocalAppDataFolder", "Mine"),
        DirRow("Deep", "UserDir", "Deeper"),
        "CREATE TABLE `_QVNonPrivilegedFolder` (`Directory` CHAR(72) NOT NULL PRIMARY KEY `Directory`)",
        Insert("_QVNonPrivilegedFolder", {"Directory"}, {"LocalAppDataFolder"}),
        groupa::kComponentTable,
        ComponentRow("Main", "INSTALLDIR", "NULL"),
        ComponentRow("Empty", "INSTALLDIR", "NULL"),
        ComponentRow("User", "Deep", "NULL"),
        ComponentRow("Admin", "INSTALLDIR", "Privileged"),
        ComponentRow("Mixed", "INSTALLDIR", "Privileged OR 1"),
        groupa::kFileTable,
        FileRow("f1", "Main"),
        FileRow("f2", "User"),
        FileRow("f3", "Admin"),
        FileRow("f4", "Mixed"),
        "CREATE TABLE `MoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `SourceName` "
        "CHAR(255), `DestName` CHAR(255), `SourceFolder` CHAR(72), `DestFolder` CHAR(72) NOT NULL, `Options` SHORT "
        "NOT NULL PRIMARY KEY `FileKey`)",
        Insert("MoveFile", {"FileKey", "Component_", "SourceFolder", "DestFolder", "Options"},
               {"copy", "Main", "INSTALLDIR", "ProgramFilesFolder", "0"}),
        Insert("MoveFile", {"FileKey", "Component_", "SourceFolder", "DestFolder", "Options"},
               {"move", "Main", "INSTALLDIR", "ProgramFilesFolder", "1"}),
        "CREATE TABLE `CreateFolder` (`Directory_` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY "
        "`Directory_`, `Component_`)",
        Insert("CreateFolder", {"Directory_", "Component_"}, {"INSTALLDIR", "Ghost"}),
        Insert("CreateFolder", {"Directory_", "Component_"}, {"UserDir", "Ghost"}),
        groupa::kRegistryTable,
        Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {"hklm", "2", "Software", "Main"}),
        Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {"hkcu", "1", "Software", "Main"}),
        Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {"either", "-1", "Software", "Main"}),
        Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {"hkcr", "0", "Software", "Ghost"}),
        Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {"hku", "3", "Software", "Admin"}),
        groupa::kEnvironmentTable,
        Insert("Environment", {"Environment", "Name", "Component_"}, {"sys", "=-*PATH", "Main"}),
        Insert("Environment", {"Environment", "Name", "Component_"}, {"user", "=-PATH", "Main"}),
        Insert("Environment", {"Environment", "Name", "Component_"}, {"ghost", "*", "Ghost"}),
        Insert("Environment", {"Environment", "Name", "Component_"}, {"admin", "*X", "Admin"}),
    };
}

TEST(QVICE20, NonPrivilegedPackageTouchingMachineWidePlaces)
{
    EXPECT_EQ(RunOn(QVICE20, Package(), 10),  // Word Count bits 1 and 3
              With(kBanner,
                   {
                       // Component: Main and Mixed have files; Empty has none, User is in a user folder.
                       Finding159(L"Component", L"Main", L"INSTALLDIR", L"Directory_"),
                       Finding159(L"Component", L"Mixed", L"INSTALLDIR", L"Directory_"),
                       // MoveFile: destination of both, source of the move that deletes it.
                       Finding159(L"MoveFile", L"copy", L"ProgramFilesFolder", L"DestFolder"),
                       Finding159(L"MoveFile", L"move", L"ProgramFilesFolder", L"DestFolder"),
                       Finding159(L"MoveFile", L"move", L"INSTALLDIR", L"SourceFolder"),
                       // CreateFolder with an unknown component: 205 without a location.
                       L"QVICE20\t0\tInvalid component referenced in table 'CreateFolder', key 'INSTALLDIR' (this "
                       L"would typically be caught by ICE03)",
                       Finding158(L"Registry", L"hklm", 2, 1),
                       Finding158(L"Registry", L"hkcr", 0, -1),
                       Finding160(L"PATH", L"sys", 1),
                       Finding160(L"", L"ghost", -1),
                   }));
}

TEST(QVICE20, ElevatedPackageIsNotExamined)
{
    EXPECT_EQ(RunOn(QVICE20, Package(), 2), Lines{kBanner});
}

TEST(QVICE20, WithoutComponentTableEveryStatusIsUnknown)
{
    const std::vector<std::string> package = {
        groupa::kRegistryTable,
        Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {"hklm", "2", "Software", "Main"}),
        "CREATE TABLE `RemoveRegistry` (`RemoveRegistry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` CHAR(255) "
        "NOT NULL, `Name` CHAR(255), `Component_` CHAR(72) NOT NULL PRIMARY KEY `RemoveRegistry`)",
        Insert("RemoveRegistry", {"RemoveRegistry", "Root", "Key", "Component_"}, {"gone", "3", "Software", "Main"}),
        "CREATE TABLE `RemoveFile` (`FileKey` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `FileName` "
        "CHAR(255), `DirProperty` CHAR(72) NOT NULL, `InstallMode` SHORT NOT NULL PRIMARY KEY `FileKey`)",
        Insert("RemoveFile", {"FileKey", "Component_", "DirProperty", "InstallMode"}, {"rf", "Main", "Any", "1"})};
    EXPECT_EQ(RunOn(QVICE20, package, 8),
              With(kBanner, {L"QVICE20\t0\tInvalid component referenced in table 'RemoveFile', key 'rf' (this would "
                             L"typically be caught by ICE03)",
                             Finding158(L"Registry", L"hklm", 2, -1), Finding158(L"RemoveRegistry", L"gone", 3, -1)}));
}

}  // namespace
