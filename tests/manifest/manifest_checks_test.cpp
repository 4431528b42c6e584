// QVUWP08, QVUWP09 and QVICE11 over real images beside the package: which
// manifest the reader finds (resource number 1, its language, the routes by
// extension, cabinets), what the checks conclude, and what stays behind.

#include "checks/ice/executable_content.h"
#include "checks/uwp/executable_content.h"
#include "manifest_fixture.h"
#include "platform/posix/kernel/paths.h"

namespace {

using namespace mantest;
using uwptest::At;
using uwptest::FileSpec;
using uwptest::RunUwp;

const wchar_t* const kBanner08 =
    L"QVUWP08\t3\tQVUWP08 - Checks for the presence of applications that require elevated privileges";
const wchar_t* const kBanner09 =
    L"QVUWP09\t3\tQVUWP09 - Checks for the presence of applications that are allowed to bypass UI protection "
    L"levels";
const wchar_t* const kBanner11 =
    L"QVICE11\t3\tQVICE11 - Validate that .exe files have embedded manifests with required information.";

std::vector<FileSpec> Executables()
{
    Images& images = Images::Get();
    return {{"Admin", "admin.exe", images["admin"]},       {"Invoker", "invoker.exe", images["invoker"]},
            {"NoUia", "nouia.exe", images["nouia"]},       {"Capital", "CAPITAL.EXE", images["capital"]},
            {"Second", "second.exe", images["second"]},    {"Langs", "LANGS~1.EXE|langs.exe", images["langs"]},
            {"Broken", "broken.exe", images["broken"]},    {"Plain", "plain.exe", images["plain"]},
            {"Text", "text.exe", Text("MZ but no image")}, {"AdminDll", "admin.dll", images["admin"]},
            {"Gone", "gone.exe", std::nullopt}};
}

std::wstring Elevated(const std::wstring& name, const std::wstring& key)
{
    return At(L"QVUWP08", 1,
              L"File " + name + L" in Component Main is an application executable file that requires elevated "
                                L"privileges. Windows Store does not allow applications that require administrative "
                                L"privileges.",
              key);
}
std::wstring Bypass(const std::wstring& name, const std::wstring& key, int type = 1)
{
    return At(L"QVUWP09", type,
              L"File " + name + L" in Component Main is an application executable file that is allowed to bypass "
                                L"UI protection levels to drive input to higher privilege windows on the desktop. UWP "
                                L"app packages do not support applications that are allowed to bypass UI protection "
                                L"levels.",
              key);
}
std::wstring Lost(const std::wstring& check, const std::wstring& name, const std::wstring& key)
{
    return At(check, 1,
              L"File " + name + L" in Component Main could not be found. All tests against this file's contents may "
                                L"be invalid.",
              key);
}

// Entries below the temporary folder, counted through the kernel, which
// keeps the files made there in memory.
size_t TemporaryFiles(const std::wstring& folder = {})
{
    wchar_t temp[MAX_PATH];
    const std::wstring base = folder.empty() ? std::wstring(temp, GetTempPathW(MAX_PATH, temp)) : folder;
    size_t count = 0;
    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW((base + L"*").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE)
        return 0;
    do {
        const std::wstring name = data.cFileName;
        if (name == L"." || name == L"..")
            continue;
        ++count;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
            count += TemporaryFiles(base + name + L"\\");
    } while (FindNextFileW(search, &data));
    FindClose(search);
    return count;
}

TEST(QVUWP08, LevelOtherThanAsInvokerFromManifestNumberOneOfExeFiles)
{
    const size_t before = TemporaryFiles();
    // langs.exe: number 1 in 0x409 (asInvoker) is chosen over 0x407.
    EXPECT_EQ(RunUwp(QVUWP08, Executables()),
              uwptest::With(kBanner08, {Elevated(L"admin.exe", L"Admin"), Elevated(L"CAPITAL.EXE", L"Capital"),
                                        Lost(L"QVUWP08", L"gone.exe", L"Gone")}));
    EXPECT_EQ(TemporaryFiles(), before);
}

TEST(QVUWP09, MissingUiAccessIsAFindingAndSeverityIsTheType)
{
    EXPECT_EQ(RunUwp(QVUWP09, Executables()),
              uwptest::With(kBanner09, {Bypass(L"nouia.exe", L"NoUia"), Lost(L"QVUWP09", L"gone.exe", L"Gone")}));
    EXPECT_EQ(RunUwp(QVUWP09, {{"NoUia", "nouia.exe", Images::Get()["nouia"]}},
                     {uwptest::kSeverityTable, uwptest::SeverityRow("QVUWP09", "3")}),
              uwptest::With(kBanner09, {Bypass(L"nouia.exe", L"NoUia", 3)}));
}

std::vector<std::string> ManifestRules()
{
    return {kManifestTable,
            ManifestRow("exe", " ", 0, "W %1 in %2 has none (%3)"),
            ManifestRow(".EXE", "/v1:assembly/v3:trustInfo", 3, "E %1 in %2 matches %3"),
            ManifestRow("ocx", " ", 1, "E %1 has none"),
            ManifestRow("ax", " ", 1, "E %1 has none"),
            ManifestRow("cab", " ", 2, "W %1 carries one"),
            ManifestRow("dll", "/v1:assembly/v1:missing", 0, "W %1 lacks %3")};
}

std::wstring Rule(int type, const std::wstring& text, const std::wstring& key)
{
    return At(L"QVICE11", type, text, key);
}

TEST(QVICE11, RulesByExtensionOverTheManifestRoutes)
{
    Images& images = Images::Get();
    const std::vector<FileSpec> files = {
        {"Admin", "admin.exe", images["admin"]},     {"None", "none.exe", images["none"]},
        {"Broken", "broken.exe", images["broken"]},  {"Text", "text.exe", Text("plain text")},
        {"Ocx", "x.ocx", images["invoker"]},         {"Ax", "y.ax", images["invoker"]},
        {"With", "with.cab", images["with.cab"]},    {"Without", "without.cab", images["without.cab"]},
        {"AdminDll", "admin.dll", images["admin"]},  {"NoneDll", "none.dll", images["none"]},
        {"Txt", "readme.txt", Text("not listed")}};
    EXPECT_EQ(RunUwp(QVICE11, files, ManifestRules()),
              uwptest::With(kBanner11, {Rule(1, L"E admin.exe in Main matches /v1:assembly/v3:trustInfo", L"Admin"),
                                        Rule(2, L"W none.exe in Main has none ()", L"None"),
                                        Rule(2, L"W broken.exe in Main has none ()", L"Broken"),
                                        Rule(2, L"W text.exe in Main has none ()", L"Text"),
                                        Rule(1, L"E y.ax has none", L"Ax"),
                                        Rule(2, L"W with.cab carries one", L"With"),
                                        Rule(2, L"W admin.dll lacks /v1:assembly/v1:missing", L"AdminDll")}));
}

TEST(QVICE11, MissingRuleTableEndsTheCheck)
{
    EXPECT_EQ(RunUwp(QVICE11, {{"Admin", "admin.exe", Images::Get()["admin"]}}),
              (Lines{kBanner11, L"QVICE11\t0\tAn unexpected exception occurred in running QVICE11. -2147023281:  "
                                L"Windows Installer Error 2228: , _QVManifest, SELECT * FROM `_QVManifest`\n"
                                L"MsiOpenDatabaseView()"}));
}

}  // namespace
