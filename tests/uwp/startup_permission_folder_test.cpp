// QVICE22 (Run keys, Startup shortcuts), QVICE23 (lock table grants) and
// QVICE25 (components below the Windows folder) over msibuild packages.
#include "checks/groupA_fixture.h"
#include "checks/ice/startup_permission_folder.h"

namespace {

using groupa::DirRow;
using groupa::Insert;
using groupa::Lines;
using groupa::RunOn;
using groupa::With;

const wchar_t* const kBanner22 =
    L"QVICE22\t3\tQVICE22 - Verifies that the application is not set to start automatically on system startup";
const wchar_t* const kBanner23 =
    L"QVICE23\t3\tQVICE23 - Verifies that all executable files, directories, and registry keys have strong and "
    L"appropriate ACLs.";
const wchar_t* const kBanner25 =
    L"QVICE25\t3\tQVICE25 - Verifies that the installation does not install any files to the Windows directory or "
    L"its subdirectories.";

const char* kShortcutTable =
    "CREATE TABLE `Shortcut` (`Shortcut` CHAR(72) NOT NULL, `Directory_` CHAR(72) NOT NULL, `Name` CHAR(128) NOT "
    "NULL, `Component_` CHAR(72) NOT NULL, `Target` CHAR(72) NOT NULL PRIMARY KEY `Shortcut`)";
const char* kCreateFolderTable =
    "CREATE TABLE `CreateFolder` (`Directory_` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY "
    "`Directory_`, `Component_`)";

std::string LockTable(const std::string& name)
{
    return "CREATE TABLE `" + name +
           "` (`LockObject` CHAR(72) NOT NULL, `Table` CHAR(32) NOT NULL, `Domain` CHAR(255), `User` CHAR(255) NOT "
           "NULL, `Permission` LONG PRIMARY KEY `LockObject`, `Table`, `Domain`, `User`)";
}
std::string Lock(const std::string& table, const std::string& object, const std::string& kind,
                 const std::string& domain, const std::string& user, long long permission)
{
    return Insert(table, {"LockObject", "Table", "Domain", "User", "Permission"},
                  {object, kind, domain.empty() ? "NULL" : domain, user, std::to_string(permission)});
}
std::string Reg(const std::string& id, int root, const std::string& key, const std::string& component = "Main")
{
    return Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {id, std::to_string(root), key, component});
}
std::string Link(const std::string& key, const std::string& directory)
{
    return Insert("Shortcut", {"Shortcut", "Directory_", "Name", "Component_", "Target"},
                  {key, directory, key, "Main", "[#f1]"});
}

std::wstring RunKey(const std::wstring& id, const std::wstring& key, const std::wstring& component = L"Main")
{
    return L"QVICE22\t1\tRegistry key '" + key + L"' in Component '" + component +
           L"' sets a Run key.\t\tRegistry\tKey\t" + id;
}
std::wstring Startup(const std::wstring& id)
{
    return L"QVICE22\t1\tShortcut '" + id + L"' in Component 'Main' targets the startup folder.\t\tShortcut\tDirectory_\t" +
           id;
}
std::wstring Insecure(const std::wstring& table, const std::wstring& object, const std::wstring& component,
                      const std::wstring& rest)
{
    return L"QVICE23\t1\tLockObject '" + object + L"' in Component '" + component +
           L"' sets insecure permissions.\t\t" + table + L"\tPermission\t" + object + L"\t" + rest;
}
std::wstring Windows(const std::wstring& component)
{
    return L"QVICE25\t1\tThe desintation of Component '" + component +
           L"' is the Windows folder or one of its subfolders.\t\tComponent\tComponent\t" + component;
}

TEST(QVICE22, RunKeysAtAndBelowTheFourPathsByRoot)
{
    const std::string run = "Software\\Microsoft\\Windows\\CurrentVersion\\Run";
    EXPECT_EQ(RunOn(QVICE22, {groupa::kRegistryTable,
                              Reg("below", 2, "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\Quill\\Deep"),
                              Reg("user", 1, run, "Tray"), Reg("undefined", -1, run), Reg("classes", 0, run),
                              Reg("users", 3, run), Reg("once", 2, run + "Once"),
                              Reg("parent", 2, "Software\\Microsoft\\Windows\\CurrentVersion"),
                              Reg("wow", 2, "software\\wow6432node\\microsoft\\windows\\currentversion\\run"),
                              Reg("prefix", 1, "Software\\Microsoft\\Windows\\CurrentVersion\\Runner")}),
              With(kBanner22,
                   {RunKey(L"user", L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run", L"Tray"),
                    RunKey(L"below",
                           L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\Quill\\Deep"),
                    RunKey(L"wow",
                           L"HKEY_LOCAL_MACHINE\\software\\wow6432node\\microsoft\\windows\\currentversion\\run")}));
}

// Registry findings come before shortcut findings; a shortcut counts by the
// top of its directory chain, matched exactly.
TEST(QVICE22, StartupShortcutsAtAnyDepthAfterTheRegistry)
{
    EXPECT_EQ(RunOn(QVICE22, {groupa::kDirectoryTable, DirRow("TARGETDIR", "", "SourceDir"),
                              DirRow("StartupFolder", "TARGETDIR", "."), DirRow("Sub", "StartupFolder", "Sub"),
                              DirRow("Deep", "Sub", "Deep"), DirRow("ProgramMenuFolder", "TARGETDIR", "."),
                              DirRow("Menu", "ProgramMenuFolder", "Quill"), DirRow("startupfolder", "", "."),
                              kShortcutTable, Link("deep", "Deep"), Link("direct", "StartupFolder"),
                              Link("menu", "Menu"), Link("lower", "startupfolder"), Link("loose", "Nowhere"),
                              groupa::kRegistryTable,
                              Reg("tray", 1, "Software\\Microsoft\\Windows\\CurrentVersion\\Run")}),
              With(kBanner22, {RunKey(L"tray", L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run"),
                               Startup(L"deep"), Startup(L"direct")}));
    EXPECT_EQ(RunOn(QVICE22, {groupa::kComponentTable}), (Lines{kBanner22}));
}

TEST(QVICE23, MasksByTableUsersAndTheLastRowOfAnObject)
{
    const std::string lp = "LockPermissions", qp = "QVLockPermissions";
    EXPECT_EQ(
        RunOn(QVICE23,
              {groupa::kFileTable, groupa::FileRow("f1", "Files"), groupa::FileRow("f2", "Files"), kCreateFolderTable,
               Insert("CreateFolder", {"Directory_", "Component_"}, {"d1", "Folders"}), groupa::kRegistryTable,
               Reg("r2", 2, "Software\\Quill", "Keys"), LockTable(lp), LockTable(qp),
               Lock(lp, "f1", "File", "", "Everyone", -2147483648LL),  // GENERIC_READ only
               Lock(lp, "f2", "File", "", "Users", 0x40),              // delete child: not for files
               Lock(lp, "d1", "CreateFolder", "", "Users", 0x40),      // but for folders
               Lock(lp, "f3", "File", "[Domain]", "Users", 0x2),       // no File row: no component
               Lock(lp, "r1", "Registry", "", "[LogonUser]", 0x10000000),
               Lock(lp, "r2", "Registry", "", "Users", 0x40000),
               Lock(lp, "e1", "Environment", "", "Users", 0x10000000),
               Lock(lp, "f4", "File", "", "Administrator", 0x2),
               // One entry per object, the last fetched wins; rows of one object
               // come back here in the reverse of their insertion.
               Lock(lp, "o1", "File", "", "Administrators", 0x2), Lock(lp, "o1", "File", "", "Accounting", 0x2),
               Lock(lp, "o2", "File", "", "Users", 0x2), Lock(lp, "o2", "File", "", "Administrators", 0x2),
               Lock(qp, "f1", "File", "Quill", "Users", 0x100), Lock(qp, "a1", "File", "", "Users", 0x1)}),
        With(kBanner23, {Insecure(L"LockPermissions", L"d1", L"Folders", L"CreateFolder\t\tUsers"),
                         Insecure(L"LockPermissions", L"f3", L"", L"File\t[Domain]\tUsers"),
                         Insecure(L"LockPermissions", L"o2", L"", L"File\t\tUsers"),
                         Insecure(L"LockPermissions", L"r2", L"Keys", L"Registry\t\tUsers"),
                         Insecure(L"QVLockPermissions", L"f1", L"Files", L"File\tQuill\tUsers")}));
    EXPECT_EQ(RunOn(QVICE23, {groupa::kFileTable}), (Lines{kBanner23}));
}

TEST(QVICE25, ComponentsByTheTopOfTheirDirectory)
{
    EXPECT_EQ(RunOn(QVICE25, {groupa::kDirectoryTable, DirRow("TARGETDIR", "", "SourceDir"),
                              DirRow("WindowsFolder", "TARGETDIR", "."), DirRow("SystemFolder", "TARGETDIR", "."),
                              DirRow("Sub", "SystemFolder", "Sub"), DirRow("Deeper", "Sub", "Deeper"),
                              DirRow("ProgramFilesFolder", "TARGETDIR", "."), DirRow("App", "ProgramFilesFolder", "App"),
                              DirRow("windowsfolder", "", "."), groupa::kComponentTable,
                              groupa::ComponentRow("Win", "WindowsFolder", ""), groupa::ComponentRow("Deep", "Deeper", ""),
                              groupa::ComponentRow("App", "App", ""), groupa::ComponentRow("Sys64", "System64Folder", ""),
                              groupa::ComponentRow("lower", "windowsfolder", "")}),
              With(kBanner25, {Windows(L"Deep"), Windows(L"Sys64"), Windows(L"Win")}));
    EXPECT_EQ(RunOn(QVICE25, {groupa::kFileTable}), (Lines{kBanner25}));
}

}  // namespace
