// QVUWP10 (COM tables and registry rows) and QVUWP20 (extensions listed in
// _QvViceFileTestEntries).
#include "checks/uwp/com_file_type.h"
#include "checks/uwp_fixture.h"

namespace {

using namespace uwptest;

const wchar_t* const kBanner10 = L"QVUWP10\t3\tQVUWP10 - Checks for the presence of COM registration";
const wchar_t* const kBanner20 =
    L"QVUWP20\t3\tQVUWP20 - Checks for the presence of file type associations that are reserved or forbidden";

std::string KeyTable(const std::string& name)
{
    return "CREATE TABLE `" + name + "` (`" + name + "` CHAR(72) NOT NULL PRIMARY KEY `" + name + "`)";
}
std::string Reg(const std::string& id, int root, const std::string& key)
{
    return Insert("Registry", {"Registry", "Root", "Key", "Component_"}, {id, std::to_string(root), key, "Main"});
}
std::wstring Com(const std::wstring& id, const std::wstring& key)
{
    return L"QVUWP10\t1\tRegistry key " + key +
           L" in Component Main is COM data. Applications in UWP app packages cannot expose COM servers to other "
           L"applications.\t\tRegistry\tRegistry\t" + id;
}
std::wstring ComTable(const std::wstring& table)
{
    return L"QVUWP10\t1\tTable " + table +
           L" contains one or more entries. Applications in UWP app packages cannot expose COM servers to other "
           L"applications.\t\t" + table;
}

TEST(QVUWP10, ComTablesThenRegistryPrefixesByRoot)
{
    const std::string inproc = "Software\\Classes\\CLSID\\{0A1B2C3D-0000-0000-0000-000000000001}\\InprocServer32";
    EXPECT_EQ(RunUwp(QVUWP10, {},
                     {KeyTable("Class"), Insert("Class", {"Class"}, {"c"}), KeyTable("TypeLib"), KeyTable("SelfReg"),
                      KeyTable("QVSelfReg"), Insert("QVSelfReg", {"QVSelfReg"}, {"s"}), groupa::kRegistryTable,
                      Reg("machine", 2, inproc), Reg("users", 3, inproc), Reg("classes", 0, inproc),
                      Reg("undefined", -1, inproc), Reg("short", 0, "clsid\\{0A1B2C3D-0000-0000-0000-000000000002}"),
                      Reg("bare", 0, "CLSID"), Reg("plural", 2, "Software\\Classes\\Interfaces\\x"),
                      Reg("wow", 1, "SOFTWARE\\Wow6432Node\\Classes\\TypeLib\\{0A1B2C3D-0000-0000-0000-000000000003}")}),
              With(kBanner10,
                   {ComTable(L"Class"), ComTable(L"QVSelfReg"),
                    Com(L"short", L"HKEY_CLASSES_ROOT\\clsid\\{0A1B2C3D-0000-0000-0000-000000000002}"),
                    Com(L"wow",
                        L"HKEY_CURRENT_USER\\SOFTWARE\\Wow6432Node\\Classes\\TypeLib\\{0A1B2C3D-0000-0000-0000-000000000003}"),
                    Com(L"machine", L"HKEY_LOCAL_MACHINE\\" + std::wstring(inproc.begin(), inproc.end()))}));
    EXPECT_EQ(RunUwp(QVUWP10, {}), (Lines{kBanner10}));
}

const char* kTestTable =
    "CREATE TABLE `_QvViceFileTestEntries` (`Vice` CHAR(72) NOT NULL, `Test` CHAR(255) NOT NULL, `Value` CHAR(255) "
    "PRIMARY KEY `Vice`, `Test`)";
const char* kExtensionTable =
    "CREATE TABLE `Extension` (`Extension` CHAR(255) NOT NULL, `Component_` CHAR(72) NOT NULL, `ProgId_` CHAR(255), "
    "`MIME_` CHAR(64), `Feature_` CHAR(38) NOT NULL PRIMARY KEY `Extension`, `Component_`)";

std::string FileTest(const std::string& check, const std::string& test)
{
    return Insert("_QvViceFileTestEntries", {"Vice", "Test", "Value"}, {check, test, "x"});
}
std::string Ext(const std::string& extension, const std::string& component)
{
    return Insert("Extension", {"Extension", "Component_", "Feature_"}, {extension, component, "Complete"});
}

TEST(QVUWP20, ExtensionsFoundWholeAmongTheCheckOwnTests)
{
    const std::vector<std::string> tests = {kTestTable,          FileTest("QVUWP20", "EXE"), FileTest("QVUWP20", ".dll"),
                                            FileTest("QVUWP20", "sc."), FileTest("QVVICE05", "txt"), kSeverityTable,
                                            SeverityRow("QVUWP20", "2")};
    std::vector<std::string> extra = tests;
    extra.insert(extra.end(), {kExtensionTable, Ext("exe", "Main"), Ext("dll", "Main"), Ext("txt", "Main"),
                               Ext("Exe", "Other"), Ext("scr", "Main")});
    const auto reserved = [](const std::wstring& extension, const std::wstring& component) {
        return L"QVUWP20\t2\tExtension " + extension + L" in Component " + component +
               L" is a file type that is reserved or forbidden for UWP app packages.\t\tExtension\tExtension\t" +
               extension + L"\t" + component;
    };
    EXPECT_EQ(RunUwp(QVUWP20, {}, extra), With(kBanner20, {reserved(L"exe", L"Main"), reserved(L"Exe", L"Other")}));
    EXPECT_EQ(RunUwp(QVUWP20, {}, tests), (Lines{kBanner20}));
    EXPECT_EQ(RunUwp(QVUWP20, {}, {kExtensionTable, Ext("exe", "Main")}), (Lines{kBanner20}));
}

}  // namespace
