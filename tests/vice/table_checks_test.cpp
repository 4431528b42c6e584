// The virtualization checks over tables: IIS, driver and COM+ authoring,
// registry key shapes, and the package-wide checks.
#include "checks/uwp/shared_vice.h"
#include "checks/vice/iis_driver_complus.h"
#include "checks/vice/package_wide.h"
#include "checks/vice/registry_derived.h"
#include "vice_fixture.h"

namespace {

using namespace vicetest;
using groupa::With;

const std::wstring kIis09 =
    L"Checks for the presence of Quillvane IIS support indicating that an ASP.NET/IIS "
    L"application is installed";
const std::wstring kDrivers =
    L"Checks for the presence of drivers that are configured to be installed through the MsiDriverPackages table";

std::string Table(const std::string& name, const std::string& columns, const std::string& key)
{
    return "CREATE TABLE `" + name + "` (" + columns + " PRIMARY KEY `" + key + "`)";
}
std::string Reg(const std::string& key, int root, const std::string& path, const std::string& name,
                const std::string& value)
{
    return Insert("Registry", {"Registry", "Root", "Key", "Name", "Value", "Component_"},
                  {key, std::to_string(root), path, name, value, "Main"});
}

std::wstring Iis(const std::wstring& check, const std::wstring& label, const std::wstring& key,
                 const std::wstring& table, const std::wstring& column, bool appPackage = false)
{
    return Line(check, 1,
                L"IIS " + label + L" item '" + key + L"' is included in the package. This is not supported by " +
                    (appPackage ? L"applications in UWP app packages." : L"desktop application virtualization."),
                {table, column, key});
}

TEST(IisDriverComplus, ItemsByTypeThenTheOtherTables)
{
    const std::string item = Table(
        "QVIISItem", "`QVIISItem` CHAR(72) NOT NULL, `Name` CHAR(72), `Parent` CHAR(72), `Type` SHORT", "QVIISItem");
    const std::string pool = Table("QVIISAppPool", "`AppPool` CHAR(72) NOT NULL, `Name` CHAR(72)", "AppPool");
    const std::string common = Table("QVIISCommon", "`QVIISCommon` CHAR(72) NOT NULL", "QVIISCommon");
    const auto itemRow = [](const std::string& key, const std::string& type) {
        return Insert("QVIISItem", {"QVIISItem", "Type"}, {key, type});
    };
    EXPECT_EQ(RunPackage(QVVICE09, {item, itemRow("Site1", "3"), itemRow("Web", "1"), itemRow("Odd", "6"),
                                    itemRow("None", "NULL"), pool, Insert("QVIISAppPool", {"AppPool"}, {"Pool"})}),
              With(Banner(L"QVVICE09", kIis09),
                   {Iis(L"QVVICE09", L"virtual directory", L"Site1", L"QVIISItem", L"QVIISItem"),
                    Iis(L"QVVICE09", L"web site", L"Web", L"QVIISItem", L"QVIISItem"),
                    Iis(L"QVVICE09", L"", L"Odd", L"QVIISItem", L"QVIISItem"),
                    Iis(L"QVVICE09", L"", L"None", L"QVIISItem", L"QVIISItem"),
                    Iis(L"QVVICE09", L"application pool", L"Pool", L"QVIISAppPool", L"AppPool")}));
    // No item table: the other tables still report; an empty item table says nothing.
    EXPECT_EQ(RunPackage(QVVICE09, {item, common, Insert("QVIISCommon", {"QVIISCommon"}, {"Dir"})}),
              With(Banner(L"QVVICE09", kIis09),
                   {Iis(L"QVVICE09", L"virtual directory", L"Dir", L"QVIISCommon", L"QVIISCommon")}));
    // The app package wording reaches the items only.
    EXPECT_EQ(
        RunPackage(QVUWP15, {item, itemRow("App", "2"), pool, Insert("QVIISAppPool", {"AppPool"}, {"Pool"})}),
        With(Banner(L"QVUWP15", kIis09), {Iis(L"QVUWP15", L"application", L"App", L"QVIISItem", L"QVIISItem", true),
                                          Iis(L"QVUWP15", L"application pool", L"Pool", L"QVIISAppPool", L"AppPool")}));
}

TEST(IisDriverComplus, DriverPackagesAndComPlusRows)
{
    const std::vector<std::string> drivers = {
        Table("MsiDriverPackages", "`Component` CHAR(72) NOT NULL, `Flags` LONG NOT NULL", "Component"),
        Insert("MsiDriverPackages", {"Component", "Flags"}, {"Drv", "0"}), uwptest::kSeverityTable,
        uwptest::SeverityRow("QVVICE10", "2")};
    EXPECT_EQ(RunPackage(QVVICE10, drivers),
              With(Banner(L"QVVICE10", kDrivers),
                   {Line(L"QVVICE10", 2, Msg(228, L"Drv"), {L"MsiDriverPackages", L"Component", L"Drv"})}));
    // The QVVICE10 severity row does not reach QVUWP02.
    EXPECT_EQ(RunPackage(QVUWP02, drivers),
              With(Banner(L"QVUWP02", kDrivers),
                   {Line(L"QVUWP02", 1,
                         L"Component 'Drv' contains a device driver installed through the MsiDriverPackages (DIFxApp) "
                         L"table. UWP app packages do not support device drivers.",
                         {L"MsiDriverPackages", L"Component", L"Drv"})}));

    const auto complus = [](const std::wstring& table, const std::wstring& component) {
        return Line(L"QVVICE17", 1,
                    L"This package contains COM+ data (component '" + component +
                        L"'), which is not supported, so the application may not work correctly if virtualized.",
                    {table, L"Component_", component});
    };
    EXPECT_EQ(
        RunPackage(QVVICE17,
                   {Table("Complus", "`Component_` CHAR(72) NOT NULL, `ExpType` SHORT", "Component_`, `ExpType"),
                    Insert("Complus", {"Component_", "ExpType"}, {"Com", "1"}),
                    Insert("Complus", {"Component_", "ExpType"}, {"Com", "2"}),
                    Table("QVComPlusApplication",
                          "`Application` CHAR(72) NOT NULL, `Name` CHAR(72), `Component_` CHAR(72)", "Application"),
                    Insert("QVComPlusApplication", {"Application", "Name", "Component_"}, {"A", "N", "Plus"})}),
        With(Banner(L"QVVICE17", L"Checks for use of the Windows Installer COM+ tables"),
             {complus(L"Complus", L"Com"), complus(L"Complus", L"Com"), complus(L"QVComPlusApplication", L"Plus")}));
}

TEST(RegistryDerived, ShellExtensionsByKeyShape)
{
    const std::string guid = "{00000000-0000-0000-0000-000000000001}";
    const auto shell = [](const std::wstring& key, const std::wstring& row) {
        return Line(L"QVVICE12", 1, Msg(230, key), {L"Registry", L"Registry", row});
    };
    EXPECT_EQ(RunPackage(QVVICE12, {groupa::kRegistryTable, Reg("r1", 0, "Foo\\ShellEx\\" + guid, "", ""),
                                    Reg("r2", 2, "Foo\\ShellEx\\" + guid, "", ""),
                                    Reg("r3", 1, "software\\classes\\.txt\\shellex\\" + guid, "", ""),
                                    Reg("r4", 0, ".txt\\ShellEx\\{8895b1c6-b41f-4c1c-a562-0d564250836f}", "", ""),
                                    Reg("r5", 0, "*\\shellex\\ContextMenuHandlers\\Foo", "", ""),
                                    Reg("r6", 2, "Software\\Classes\\CLSID\\" + guid + "\\ShellEx\\" + guid, "", ""),
                                    Reg("r7", 0, "ShellEx\\" + guid, "", "")}),
              With(Banner(L"QVVICE12", L"Checks for the presence of shell extensions"),
                   {shell(L"Foo\\ShellEx\\{00000000-0000-0000-0000-000000000001}", L"r1"),
                    shell(L"software\\classes\\.txt\\shellex\\{00000000-0000-0000-0000-000000000001}", L"r3")}));
}

TEST(RegistryDerived, UrlProtocolsByFriendlyName)
{
    const auto url = [](const std::wstring& name) {
        return Line(L"QVVICE13", 1, L"This package registers a URL protocol (friendly name '" + name + L"').",
                    {L"Registry", L"Value", name});
    };
    // A filled value counts only away from the classes root; names differing
    // in case are one finding, spelled as first seen; no friendly name, no finding.
    EXPECT_EQ(
        RunPackage(QVVICE13,
                   {groupa::kRegistryTable, Reg("a1", 1, "Software\\Classes\\myproto", "URL Protocol", "'1"),
                    Reg("a2", 1, "Software\\Classes\\myproto", "FriendlyTypeName", "My Proto"),
                    Reg("b1", 0, "other", "URL Protocol", "'1"), Reg("b2", 0, "other", "FriendlyTypeName", "Other"),
                    Reg("c1", 0, "third", "url protocol", "NULL"),
                    Reg("c2", 0, "third", "FriendlyTypeName", "MY PROTO"), Reg("d1", 0, "bare", "URL Protocol", "NULL"),
                    Reg("e1", 2, "Software\\Classes\\deep\\x", "URL Protocol", "NULL"),
                    Reg("e2", 2, "Software\\Classes\\deep\\x", "FriendlyTypeName", "Deep")}),
        With(Banner(L"QVVICE13", L"Checks for the presence of URL protocol handlers"), {url(L"My Proto")}));
}

TEST(RegistryDerived, DefaultProgramsBootServicesAndSurrogates)
{
    EXPECT_EQ(
        RunPackage(QVVICE14, {groupa::kRegistryTable, Reg("p1", 2, "SOFTWARE\\RegisteredApplications", "Quill", "x"),
                              Reg("p2", 2, "Software\\Wow6432Node\\RegisteredApplications", "Quill32", "x"),
                              Reg("p3", 2, "Software\\RegisteredApplications\\Sub", "No", "x")}),
        With(Banner(L"QVVICE14", L"Checks for the presence of support for the Default Programs list"),
             {Line(L"QVVICE14", 1,
                   L"This package registers its capabilities in the Default Programs list (key 'Quill').",
                   {L"Registry", L"Registry", L"p1"}),
              Line(L"QVVICE14", 1,
                   L"This package registers its capabilities in the Default Programs list (key 'Quill32').",
                   {L"Registry", L"Registry", L"p2"})}));

    const auto boot = [](const std::wstring& name, const std::vector<std::wstring>& location) {
        return Line(L"QVVICE15", 1, Msg(233, name), location);
    };
    const std::string services = Table(
        "ServiceInstall", "`ServiceInstall` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL, `StartType` LONG NOT NULL",
        "ServiceInstall");
    const auto service = [](const std::string& key, const std::string& name, const std::string& start) {
        return Insert("ServiceInstall", {"ServiceInstall", "Name", "StartType"}, {key, name, start});
    };
    EXPECT_EQ(RunPackage(QVVICE15, {services, service("S1", "BootSvc", "0"), service("S2", "AutoSvc", "2"),
                                    groupa::kRegistryTable,
                                    Reg("s1", 2, "System\\CurrentControlSet\\Services\\Foo\\Parameters", "Start", "#0"),
                                    Reg("s2", 2, "system\\currentcontrolset\\services\\Bar", "START", "#0"),
                                    Reg("s3", 2, "System\\CurrentControlSet\\Services\\Baz", "Start", "#1"),
                                    Reg("s4", 2, "System\\CurrentControlSet\\Services\\Baz", "Type", "#0"),
                                    Reg("s5", 2, "X\\System\\CurrentControlSet\\Services\\Foo", "Start", "#0")}),
              With(Banner(L"QVVICE15", L"Checks for the presence of boot start services"),
                   {boot(L"BootSvc", {L"ServiceInstall", L"ServiceInstall", L"S1"}),
                    boot(L"Parameters", {L"Registry", L"Registry", L"s1"}),
                    boot(L"Bar", {L"Registry", L"Registry", L"s2"})}));

    const std::wstring surrogate = L"Foo\\Software\\Classes\\AppID\\{1}";
    EXPECT_EQ(RunPackage(QVVICE18, {groupa::kRegistryTable,
                                    Reg("d1", 2, "Foo\\Software\\Classes\\AppID\\{1}", "DllSurrogate", "host.exe"),
                                    Reg("d2", 2, "Software\\Classes\\AppID\\{2}", "DllSurrogate", "NULL"),
                                    Reg("d3", 2, "Software\\Wow6432Node\\Classes\\AppID\\{3}", "DllSurrogate", "x"),
                                    Reg("d4", 2, "Software\\Classes\\AppID\\{4}", "RunAs", "x")}),
              With(Banner(L"QVVICE18", L"Checks for the presence of COM DLL surrogate files"),
                   {Line(L"QVVICE18", 1,
                         L"This package contains a COM DLL surrogate (registry key '" + surrogate +
                             L"'), which is not supported, so the application may not work correctly if virtualized.",
                         {L"Registry", L"Key", surrogate})}));
}

TEST(PackageWide, ShortcutsSizeAndTemplate)
{
    const std::wstring noShortcut = Msg(229);
    const std::wstring banner11 =
        Banner(L"QVVICE11", L"Checks the package to ensure that it contains at least one shortcut");
    const std::string shortcuts = Table("Shortcut", "`Shortcut` CHAR(72) NOT NULL, `Target` CHAR(72)", "Shortcut");
    EXPECT_EQ(RunPackage(QVVICE11, {}), With(banner11, {L"QVVICE11\t1\t" + noShortcut + L"\t\tShortcut"}));
    EXPECT_EQ(RunPackage(QVVICE11, {shortcuts}), With(banner11, {L"QVVICE11\t1\t" + noShortcut + L"\t\tShortcut"}));
    EXPECT_EQ(RunPackage(QVVICE11, {shortcuts, Insert("Shortcut", {"Shortcut", "Target"}, {"S", "x"})}),
              Lines{banner11});

    const auto sized = [](const std::vector<std::string>& sizes) {
        std::vector<std::string> queries = {groupa::kFileTable};
        for (size_t i = 0; i < sizes.size(); ++i)
            queries.push_back(Insert("File", {"File", "Component_", "FileName", "FileSize", "Sequence"},
                                     {"f" + std::to_string(i), "Main", "a.txt", sizes[i], std::to_string(i + 1)}));
        return RunPackage(QVVICE16, queries);
    };
    const std::wstring banner16 =
        Banner(L"QVVICE16", L"Checks to ensure that the total installed file size is less than 4 GB");
    // 4294967295 bytes pass; exactly 4 GB is a finding, in spite of the words.
    EXPECT_EQ(sized({"2147483647", "2147483647", "1"}), Lines{banner16});
    EXPECT_EQ(sized({"2147483647", "2147483647", "1", "1"}),
              With(banner16, {L"QVVICE16\t1\t" + Msg(234) + L"\t\tFile"}));

    // "x64" anywhere, any case, type 1 and no location whatever the severity.
    const std::wstring banner19 = Banner(L"QVVICE19",
                                         L"Checks to see if this is a 64-bit package. ThinApp and XenApp "
                                         L"do not support 64-bit applications.");
    const std::wstring found =
        L"QVVICE19\t1\tThe package is 64-bit. ThinApp and XenApp do not support 64-bit applications.";
    const std::vector<std::string> severity = {uwptest::kSeverityTable, uwptest::SeverityRow("QVVICE19", "2")};
    EXPECT_EQ(RunPackage(QVVICE19, severity, "x64;1033"), With(banner19, {found}));
    EXPECT_EQ(RunPackage(QVVICE19, {}, "Intel,X64;1033"), With(banner19, {found}));
    EXPECT_EQ(RunPackage(QVVICE19, {}, "Intel;1033"), Lines{banner19});
    EXPECT_EQ(RunPackage(QVVICE19, {}, "Arm64;1033"), Lines{banner19});
}

}  // namespace
