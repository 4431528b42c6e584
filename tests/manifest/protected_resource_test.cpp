// QVICE06 and QVICE12 over packages whose Binary table carries a filter
// document: include and exclude rules, filekey exemptions, system roots,
// protected registry parents, and a missing document.
#include <fstream>
#include <sstream>

#include "checks/ice/protected_resource.h"
#include "manifest_fixture.h"

namespace {

using namespace mantest;
using groupa::DirRow;

const wchar_t* const kBanner06 =
    L"QVICE06\t3\tQVICE06 - Validate that the installation does not include any files protected by Windows "
    L"Resource Protection";
const wchar_t* const kBanner12 = L"QVICE12\t3\tQVICE12 - Validates that no protected registry keys are modified.";

const wchar_t* const kNoBinary06 =
    L"QVICE06\t0\tAn unexpected exception occurred in running QVICE06. -2147023281:  Windows Installer Error 2228: "
    L", Binary, SELECT * FROM `Binary` WHERE `Name`='_QVFilters.xml'\nMsiOpenDatabaseView()";
const wchar_t* const kFailed06 =
    L"QVICE06\t0\tAn unexpected exception occurred in running QVICE06. -2147467259:  Unspecified error\r\n";

const char kFilters[] =
    "<?xml version='1.0'?>\n<Filters>\n <Exclude>\n"
    "  <File name='shared.dll' path='[SystemFolder]'/>\n"
    "  <File name='keyed.dll' path='[SystemFolder]'><Use filekey='KeyedOk'/><!-- no key --></File>\n"
    "  <File name='gone.dll' path='[SystemFolder]'/>\n"
    "  <File name='twice.dll' path='[SystemFolder]'/>\n"
    "  <File name='twice.dll' path='[WindowsFolder]'/>\n"
    "  <File name='app.dll' path='[ProgramFilesFolder]App'/>\n"
    "  <Registry wrp='' key='HKEY_LOCAL_MACHINE\\Software\\Protected'/>\n"
    "  <Registry key='HKEY_CURRENT_USER\\Software\\NoWrp'/>\n"
    " </Exclude>\n <Include>\n"
    "  <File name='GONE.DLL'/>\n"
    "  <File name='twice.dll' path='[windowsfolder]'/>\n"
    "  <File name='shared.dll' path='[CommonFilesFolder]'/>\n"
    "  <Registry wrp='' key='HKEY_CURRENT_USER\\Software\\Included'/>\n"
    "  <Registry wrp='' key='HKEY_LOCAL_MACHINE\\Software\\Protected'/>\n"
    " </Include>\n</Filters>\n";

std::vector<std::string> FilePackage()
{
    std::vector<std::string> q = {groupa::kDirectoryTable,
                                  DirRow("TARGETDIR", "", "SourceDir"),
                                  DirRow("SystemFolder", "TARGETDIR", "."),
                                  DirRow("SysSub", "SystemFolder", "Sub"),
                                  DirRow("WindowsFolder", "TARGETDIR", "."),
                                  DirRow("ProgramFilesFolder", "TARGETDIR", "."),
                                  DirRow("App", "ProgramFilesFolder", "App"),
                                  groupa::kComponentTable,
                                  groupa::kFileTable};
    for (const auto& [component, directory] : std::vector<std::pair<std::string, std::string>>{
             {"Sys", "SystemFolder"}, {"SysSub", "SysSub"}, {"Win", "WindowsFolder"}, {"App", "App"}})
        q.push_back(groupa::ComponentRow(component, directory, ""));
    int sequence = 0;
    for (const auto& [key, component, name] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"Shared1", "Sys", "SHARED.DLL"},
             {"Shared2", "SysSub", "shared.dll"},
             {"Shared3", "App", "shared.dll"},
             {"Short", "Sys", "SHARED~1.DLL|Shared.dll"},
             {"AppDll", "App", "app.dll"},
             {"KeyedOk", "SysSub", "keyed.dll"},
             {"KeyedBad", "Sys", "keyed.dll"},
             {"Gone", "Sys", "gone.dll"},
             {"Twice1", "Win", "twice.dll"},
             {"Twice2", "Sys", "twice.dll"},
             {"Orphan", "Nowhere", "shared.dll"}})
        q.push_back(Insert("File", {"File", "Component_", "FileName", "FileSize", "Sequence"},
                           {key, component, name, "1", std::to_string(++sequence)}));
    return q;
}

std::wstring Protected(const std::wstring& name, const std::wstring& component, const std::wstring& key)
{
    return L"QVICE06\t1\tFile " + name + L" in Component " + component +
           L" is a Windows Protected File. Protected files may not be distributed to Windows Vista and "
           L"later.\t\tFile\tFile\t" + key;
}
std::wstring SameName(const std::wstring& name, const std::wstring& component, const std::wstring& key)
{
    return L"QVICE06\t2\tFile " + name + L" in Component " + component +
           L" has the same file name as a Windows Protected File, but appears to be distributed to a different "
           L"path.\t\tFile\tFile\t" + key;
}

TEST(QVICE06, ExcludeIncludeFileKeysAndSystemRoots)
{
    EXPECT_EQ(RunWithFilters(QVICE06, kFilters, FilePackage()),
              (Lines{kBanner06, Protected(L"SHARED.DLL", L"Sys", L"Shared1"),
                     SameName(L"shared.dll", L"SysSub", L"Shared2"), Protected(L"Shared.dll", L"Sys", L"Short"),
                     Protected(L"app.dll", L"App", L"AppDll"), Protected(L"keyed.dll", L"Sys", L"KeyedBad"),
                     SameName(L"twice.dll", L"Win", L"Twice1"), Protected(L"twice.dll", L"Sys", L"Twice2")}));
}

TEST(QVICE06, DefaultDocumentAndMissingDocument)
{
    std::ifstream in(std::string(QV_TEST_DATA_DIR) + "/../../data/reference/Binary/_QVFilters.xml");
    std::stringstream document;
    document << in.rdbuf();
    ASSERT_FALSE(document.str().empty());
    std::vector<std::string> package = FilePackage();
    package.push_back(Insert("File", {"File", "Component_", "FileName", "FileSize", "Sequence"},
                             {"Cmd", "Sys", "cmd.exe", "1", "20"}));
    EXPECT_EQ(RunWithFilters(QVICE06, document.str(), package),
              (Lines{kBanner06, Protected(L"cmd.exe", L"Sys", L"Cmd")}));
    // No Binary table, no row of that name, a document that is not XML:
    // each ends the check.
    EXPECT_EQ(RunWithFilters(QVICE06, "", package), (Lines{kBanner06, kNoBinary06}));
    EXPECT_EQ(RunWithFilters(QVICE06, kFilters, package, "Other.xml"), (Lines{kBanner06, kFailed06}));
    EXPECT_EQ(RunWithFilters(QVICE06, "<Filters><Exclude>", package), (Lines{kBanner06, kFailed06}));
}

std::vector<std::string> RegistryPackage()
{
    std::vector<std::string> q = {groupa::kRegistryTable};
    for (const auto& [key, root, path] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"Exact", "2", "Software\\Protected"},
             {"Below", "2", "SOFTWARE\\protected\\Sub\\Deep"},
             {"Above", "2", "Software"},
             {"Sibling", "2", "Software\\ProtectedX"},
             {"NoWrp", "1", "Software\\NoWrp"},
             {"Included", "1", "Software\\Included"}})
        q.push_back(Insert("Registry", {"Registry", "Root", "Key", "Name", "Component_"},
                           {key, root, path, "v", "C" + key}));
    return q;
}

std::wstring ProtectedKey(const std::wstring& key, const std::wstring& row)
{
    return L"QVICE12\t1\tRegistry key " + key + L" in Component C" + row +
           L" is a protected registry key. Protected registry keys may not be modified on Windows Vista and "
           L"later.\t\tRegistry\tKey\t" + row;
}

TEST(QVICE12, ListedKeysAndEverythingBelowThem)
{
    EXPECT_EQ(RunWithFilters(QVICE12, kFilters, RegistryPackage()),
              (Lines{kBanner12, ProtectedKey(L"HKEY_LOCAL_MACHINE\\Software\\Protected", L"Exact"),
                     ProtectedKey(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\protected\\Sub\\Deep", L"Below")}));
    // Without a Registry table nothing is reported, but the document is
    // still read first.
    EXPECT_EQ(RunWithFilters(QVICE12, kFilters, {groupa::kFileTable}), (Lines{kBanner12}));
    EXPECT_EQ(RunWithFilters(QVICE12, "", {groupa::kFileTable}),
              (Lines{kBanner12, L"QVICE12\t0\tAn unexpected exception occurred in running QVICE12. -2147023281:  "
                                L"Windows Installer Error 2228: , Binary, SELECT * FROM `Binary` WHERE "
                                L"`Name`='_QVFilters.xml'\nMsiOpenDatabaseView()"}));
}

}  // namespace
