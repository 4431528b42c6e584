// QVUWP06, QVUWP07 and QVUWP11 over executables beside the package: images
// written byte by byte and the two mingw-w64 images of the PE tests.
#include "checks/uwp/executable_content.h"
#include "uwp_fixture.h"

namespace {

using namespace uwptest;

const wchar_t* const kBanner06 =
    L"QVUWP06\t3\tQVUWP06 - Checks for the presence of 16-bit files. All server installations are 64-bit platforms "
    L"and 64-bit platforms do not support 16-bit files.";
const wchar_t* const kBanner07 =
    L"QVUWP07\t3\tQVUWP07 - Checks for the presence of 32-bit files. All server installations are 64-bit platforms "
    L"and 64-bit platforms do not support 32-bit files.";
const wchar_t* const kBanner11 =
    L"QVUWP11\t3\tQVUWP11 - Checks for the presence of executable files that set a custom Application User Model ID";

std::wstring Lost(const std::wstring& check, const std::wstring& name, const std::wstring& key)
{
    return At(check, 1,
              L"File " + name + L" in Component Main could not be found. All tests against this file's contents may "
                                L"be invalid.",
              key);
}
std::wstring SixteenBit(const std::wstring& name, const std::wstring& key, int type = 1)
{
    return At(L"QVUWP06", type,
              L"File " + name + L" in Component Main is a 16-bit file. 64-bit systems do not support 16-bit "
                                L"applications.",
              key);
}
std::wstring ThirtyTwoBit(const std::wstring& name, const std::wstring& key, int type = 1)
{
    return At(L"QVUWP07", type,
              L"File " + name + L" in Component Main is a 32-bit file. 64-bit systems may not support 32-bit "
                                L"applications.",
              key);
}

// One of each image class under executable names, the same bytes under a
// name that is no executable, and an executable that is not there.
std::vector<FileSpec> MixedImages()
{
    const auto& images = petest::MingwImages::Get();
    return {{"Dos", "DOS.EXE|Dos Tool.exe", Dos()},
            {"Ne", "ne.dll", WithSignature(0x454E)},
            {"Vxd", "vxd.sys", WithSignature(0x454C)},
            {"Note", "note.txt", Dos()},
            {"App32", "APP32.EXE|App 32.exe", Mingw(images.app32())},
            {"App64", "app64.exe", Mingw(images.app64())},
            {"X86", "x86.ocx", Pe(0x14C)},
            {"Arm", "arm.dll", Pe(0x1C0)},
            {"Text32", "x86.txt", Pe(0x14C)},
            {"Gone", "gone.cpl", std::nullopt}};
}

TEST(QVUWP06, DosAndNeImagesAmongTheExecutables)
{
    EXPECT_EQ(RunUwp(QVUWP06, MixedImages()),
              With(kBanner06, {SixteenBit(L"Dos Tool.exe", L"Dos"), SixteenBit(L"ne.dll", L"Ne"),
                               Lost(L"QVUWP06", L"gone.cpl", L"Gone")}));
    EXPECT_EQ(RunUwp(QVUWP06, {}), With(kBanner06, {}));
}

TEST(QVUWP07, X86PortableExecutablesOnlyAndBothExeAndDll)
{
    EXPECT_EQ(RunUwp(QVUWP07, MixedImages()),
              With(kBanner07, {ThirtyTwoBit(L"App 32.exe", L"App32"), ThirtyTwoBit(L"x86.ocx", L"X86"),
                               Lost(L"QVUWP07", L"gone.cpl", L"Gone")}));
    // An x86 .exe and .dll are both reported; the optional header magic
    // does not decide, the file header's machine does.
    EXPECT_EQ(RunUwp(QVUWP07, {{"Exe", "a.exe", Pe(0x14C)}, {"Dll", "b.dll", Pe(0x14C)},
                            {"Plus", "c.dll", Pe(0x8664, 0x20B)}}),
              With(kBanner07, {ThirtyTwoBit(L"a.exe", L"Exe"), ThirtyTwoBit(L"b.dll", L"Dll")}));
}

TEST(QVUWP07, SeverityTableSetsTheTypeOfEachFindingButNotOfTheBanner)
{
    EXPECT_EQ(RunUwp(QVUWP07, {{"Exe", "a.exe", Pe(0x14C)}, {"Dll", "b.dll", Pe(0x14C)}},
                  {kSeverityTable, SeverityRow("QVUWP07", "2"), SeverityRow("QVUWP06", "3")}),
              With(kBanner07, {ThirtyTwoBit(L"a.exe", L"Exe", 2), ThirtyTwoBit(L"b.dll", L"Dll", 2)}));
}

TEST(QVUWP11, ListedKindThreeImportsLocationOnTheFirstOfEachFile)
{
    const auto& images = petest::MingwImages::Get();
    auto imports = [](const std::wstring& name, const std::wstring& api, const std::wstring& key, int type) {
        return At(L"QVUWP11", type,
                  L"File " + name + L" in Component Main imports API " + api +
                      L". Applications in UWP app packages are not allowed to set a custom Application User Model "
                      L"ID.",
                  key);
    };
    const std::vector<FileSpec> files = {{"App32", "APP32.EXE|App 32.exe", Mingw(images.app32())},
                                         {"Text", "app64.txt", Mingw(images.app64())},
                                         {"App64", "app64.dll", Mingw(images.app64())},
                                         {"Gone", "gone.exe", std::nullopt}};
    // Only kind 3 counts; module names ignore case.
    const std::vector<std::string> apis = {kApiTable, ApiRow("ORDLIB.DLL", "'7", 3), ApiRow("msvbvm60.dll", "rtcMsgBox", 3),
                                           ApiRow("kernel32.dll", "GetVersion", 1)};
    EXPECT_EQ(RunUwp(QVUWP11, files, apis),
              With(kBanner11, {imports(L"App 32.exe", L"ordlib.dll!7", L"App32", 1),
                               imports(L"App 32.exe", L"msvbvm60.dll!rtcMsgBox", L"", 1),
                               imports(L"app64.dll", L"ordlib.dll!7", L"App64", 1),
                               imports(L"app64.dll", L"msvbvm60.dll!rtcMsgBox", L"", 1),
                               Lost(L"QVUWP11", L"gone.exe", L"Gone")}));
    // The type follows the check's own severity row.
    std::vector<std::string> withSeverity = apis;
    withSeverity.insert(withSeverity.end(), {kSeverityTable, SeverityRow("QVUWP11", "3")});
    EXPECT_EQ(RunUwp(QVUWP11, {files[0]}, withSeverity),
              With(kBanner11, {imports(L"App 32.exe", L"ordlib.dll!7", L"App32", 3),
                               imports(L"App 32.exe", L"msvbvm60.dll!rtcMsgBox", L"", 3)}));
    // No list of APIs in the package: nothing to find.
    EXPECT_EQ(RunUwp(QVUWP11, {files[0]}), With(kBanner11, {}));
    EXPECT_EQ(RunUwp(QVUWP11, {files[0]}, {kApiTable, ApiRow("msvbvm60.dll", "rtcMsgBox", 2)}), With(kBanner11, {}));
}

}  // namespace
