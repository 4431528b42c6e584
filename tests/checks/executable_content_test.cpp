// QVICE16, QVICE21, QVICE24 and QVICE26 over packages whose files stand
// uncompressed beside the package: images written byte by byte and the two
// mingw-w64 images of the PE tests.
#include "checks/ice/executable_content.h"
#include "uwp_fixture.h"

namespace {

using groupa::Lines;
using groupa::With;
using petest::Bytes;
using uwptest::At;
using uwptest::RunBeside;
using uwptest::Dos;
using uwptest::Mingw;
using uwptest::WithSignature;
using PackageFileSpec = uwptest::FileSpec;

Bytes Pe(uint16_t dllCharacteristics)
{
    petest::PeBuilder pe;
    pe.dllCharacteristics = dllCharacteristics;
    pe.sections = {{0x1000, 0x100, 0x100, 0x200}};
    return pe.Build();
}
std::wstring Lost(const std::wstring& check, const std::wstring& name, const std::wstring& key)
{
    return At(check, 1,
              L"File " + name + L" in Component Main could not be found. All tests against this file's contents may "
                                L"be invalid.",
              key);
}

// A 16-bit program, an NE library, a VXD, DOS bytes under a name that is no
// executable, a PE image, and an executable that is not there.
const std::vector<PackageFileSpec>& SixteenBitFiles()
{
    static const std::vector<PackageFileSpec> files = {
        {"Dos", "DOS.EXE|Dos Tool.exe", Dos()},  {"Ne", "ne.dll", WithSignature(0x454E)},
        {"Vxd", "vxd.sys", WithSignature(0x454C)}, {"Note", "note.txt", Dos()},
        {"Pe", "pe.dll", Pe(0x0140)},              {"Gone", "gone.ocx", std::nullopt},
        {"Drv", "old.DRV", Dos()}};
    return files;
}

const wchar_t* const kBanner16 =
    L"QVICE16\t3\tQVICE16 - Validate that no 16-bit components are distributed in an installation that targets "
    L"64-bit systems.";
const wchar_t* const kBanner24 =
    L"QVICE24\t3\tQVICE24 - Verifies that the installation does not install 16-bit components.";

std::wstring SixteenBit16(const std::wstring& name, const std::wstring& key)
{
    return At(L"QVICE16", 1,
              L"File " + name + L" in Component Main is a 16-bit file. Installations that target 64-bit systems may "
                                L"not include 16-bit files.",
              key);
}
std::wstring SixteenBit24(const std::wstring& name, const std::wstring& key)
{
    return At(L"QVICE24", 1,
              L"File " + name + L" in Component Main is a 16-bit file. Installations that target Windws 8 systems "
                                L"may not include 16-bit files.",
              key);
}

TEST(QVICE16, TemplatePlatformDecidesThenDosAndNeImagesAreFound)
{
    const Lines found = With(kBanner16, {SixteenBit16(L"Dos Tool.exe", L"Dos"), SixteenBit16(L"ne.dll", L"Ne"),
                                         Lost(L"QVICE16", L"gone.ocx", L"Gone"), SixteenBit16(L"old.DRV", L"Drv")});
    for (const char* targets : {"x64;1033", "Intel64;1033", "x64"})
        EXPECT_EQ(RunBeside(QVICE16, targets, SixteenBitFiles()), found) << targets;
    // A "64" after the first semicolon, or none: nothing is looked at.
    for (const char* not64 : {";1033", "Intel;1064", "Intel;1033"})
        EXPECT_EQ(RunBeside(QVICE16, not64, SixteenBitFiles()), With(kBanner16, {})) << not64;
}

TEST(QVICE16, TemplateOf260CharactersEndsTheCheck)
{
    const Lines lines = RunBeside(QVICE16, "x64" + std::string(257, 'a'), SixteenBitFiles());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], kBanner16);
    EXPECT_EQ(lines[1].rfind(L"QVICE16\t0\tAn unexpected exception occurred in running QVICE16. ", 0), 0u)
        << lines[1];
    EXPECT_NE(lines[1].find(L"MsiSummaryInfoGetProperty"), std::wstring::npos) << lines[1];
    // One character less fits the buffer with its terminator.
    EXPECT_EQ(RunBeside(QVICE16, "x64" + std::string(256, 'a'), {{"Dos", "dos.exe", Dos()}}),
              With(kBanner16, {SixteenBit16(L"dos.exe", L"Dos")}));
}

TEST(QVICE24, SixteenBitFilesWhateverTheTemplate)
{
    EXPECT_EQ(RunBeside(QVICE24, ";1033", SixteenBitFiles()),
              With(kBanner24, {SixteenBit24(L"Dos Tool.exe", L"Dos"), SixteenBit24(L"ne.dll", L"Ne"),
                               Lost(L"QVICE24", L"gone.ocx", L"Gone"), SixteenBit24(L"old.DRV", L"Drv")}));
}

TEST(QVICE21, FirstImportOfTheVb6RuntimeOncePerFile)
{
    const auto& images = petest::MingwImages::Get();
    auto vb6 = [](const std::wstring& name, const std::wstring& key) {
        return At(L"QVICE21", 1, L"File '" + name + L"' in Component 'Main' depends on the VB6 runtime.", key);
    };
    EXPECT_EQ(RunBeside(QVICE21, ";1033",
                  {{"App32", "APP32.EXE|App 32.exe", Mingw(images.app32())},
                   {"Plain", "plain.dll", Pe(0x0140)},
                   {"Gone", "gone.exe", std::nullopt},
                   {"Dos", "dos.com.exe", Dos()},
                   {"Text", "app64.txt", Mingw(images.app64())},
                   {"App64", "app64.scr", Mingw(images.app64())}}),
              With(L"QVICE21\t3\tQVICE21 - Verifies that the application does not depend on the VB6 runtime.",
                   {vb6(L"App 32.exe", L"App32"), Lost(L"QVICE21", L"gone.exe", L"Gone"),
                    vb6(L"app64.scr", L"App64")}));
}

TEST(QVICE26, ThreeBitsInOrderLocationOnlyOnTheFirst)
{
    const auto& images = petest::MingwImages::Get();
    auto bit = [](const std::wstring& key, const std::wstring& text, bool located) {
        return At(L"QVICE26", 1,
                  L"File '" + key + L"' in Component 'Main' does not have the Option Header bit " + text + L" set.",
                  located ? key : L"");
    };
    const std::wstring banner =
        L"QVICE26\t3\tQVICE26 - Verifies that applications support Windows security features by controlling "
        L"permissions appropriately.";
    EXPECT_EQ(RunBeside(QVICE26, ";1033",
                  {{"App32", "APP32.EXE|App 32.exe", Mingw(images.app32())},
                   {"App64", "app64.exe", Mingw(images.app64())},
                   {"NoAslr", "noaslr.ax", Pe(0x0500)},
                   {"Safe", "safe.cpl", Pe(0x0140)},
                   {"NoNx", "nonx.ocx", Pe(0x0040)},
                   {"Text", "bare.txt", Pe(0)},
                   {"Gone", "gone.dll", std::nullopt}}),
              With(banner, {bit(L"App32", L"DYNAMICBASE", true), bit(L"App32", L"NXCOMPAT", false),
                            bit(L"App32", L"safeSEH", false), bit(L"NoAslr", L"DYNAMICBASE", true),
                            bit(L"NoAslr", L"safeSEH", false), bit(L"NoNx", L"NXCOMPAT", true),
                            Lost(L"QVICE26", L"gone.dll", L"Gone")}));
}

TEST(QVICE26, ImageWithoutNtHeadersEndsTheCheck)
{
    // Files are chosen by extension alone: a DOS program named .exe has no
    // optional header to read, which ends the check; findings before stand,
    // and the failure carries the location set for the file.
    const Lines lines = RunBeside(QVICE26, ";1033",
                               {{"NoNx", "nonx.dll", Pe(0x0040)}, {"Dos", "dos.exe", Dos()}, {"Late", "late.dll", Pe(0)}});
    EXPECT_EQ(lines, With(L"QVICE26\t3\tQVICE26 - Verifies that applications support Windows security features by "
                          L"controlling permissions appropriately.",
                          {L"QVICE26\t1\tFile 'NoNx' in Component 'Main' does not have the Option Header bit NXCOMPAT "
                           L"set.\t\tFile\tFile\tNoNx",
                           L"QVICE26\t0\tAn unhandled exception occurred.\t\tFile\tFile\tDos"}));
}

}  // namespace
