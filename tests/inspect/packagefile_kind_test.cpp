// Is16Bit, Is32Bit and IsDotNetAssembly on files out of an embedded cabinet:
// each call extracts the file afresh, and a file in no cabinet is false
// after finding 162.
#include "packagefile_support.h"

namespace {

using namespace pftest;

struct Kinds {
    std::vector<bool> is16, is32, dotNet;
};

TEST(PackageFileKind, BitnessAndManagedCodeOfEachExtractedFile)
{
    TempDir dir;
    const std::string msi = ImagePackage(dir);
    Kinds kinds;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
            kinds.is16.push_back(file->Is16Bit());
            kinds.is32.push_back(file->Is32Bit());
            kinds.dotNet.push_back(file->IsDotNetAssembly());
        }
    });
    //                                     App    Wide   Dos    Net    Text   Gone
    EXPECT_EQ(kinds.is16, (std::vector<bool>{false, false, true, false, false, false}));
    EXPECT_EQ(kinds.is32, (std::vector<bool>{true, false, false, true, false, false}));
    EXPECT_EQ(kinds.dotNet, (std::vector<bool>{false, false, false, true, false, false}));
    // The unreachable file is reported once per operation.
    const std::wstring lost = Lost(L"gone.dll", L"Gone");
    EXPECT_EQ(lines, (Lines{lost, lost, lost}));
}

TEST(PackageFileKind, TheOperationsLineFollowsTheExtractionAndTheCopyIsGoneAfterwards)
{
    TempDir dir;
    const std::string msi = ImagePackage(dir, {}, true);
    bool wide32 = true;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        auto& files = inspector.GetFiles(kAllFiles);
        wide32 = files[1].second->Is32Bit();
        files[5].second->Is16Bit();
    });
    EXPECT_FALSE(wide32);
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tExtracting file Wide to temp location",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tExtracted file Wide to temp location: <tmp>wide.exe",
                         L"QVPROBE\t3\tChecking if file Wide is 32-bit",
                         L"QVPROBE\t3\tExtracting file Gone to temp location",
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         L"QVPROBE\t3\tFile Gone is not in any cab",
                         L"QVPROBE\t3\tExtracted file Gone to temp location: ",
                         Lost(L"gone.dll", L"Gone"),
                         L"QVPROBE\t3\tFinished ICE QVPROBE",
                     }));
}

}  // namespace
