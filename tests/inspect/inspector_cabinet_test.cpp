// File resolution through the package's cabinets: embedded cabinets in
// DiskId order with a forward-only cursor, the single-step advance, files in
// no cabinet, out-of-order lookups, a merge module's cabinet, a cabinet
// beside the package, and the debug lines of each step.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "inspector_support.h"
#include "pe_support.h"
#include "platform/posix/kernel/paths.h"

namespace {

using namespace qvtest;
using Lines = std::vector<std::wstring>;

const wchar_t* const kLost =
    L" could not be found. All tests against this file's contents may be invalid.";

const wchar_t* const kFinished = L"QVPROBE\t3\tFinished ICE QVPROBE";

std::wstring Lost(const std::wstring& name, const std::wstring& component, const std::wstring& key)
{
    return L"QVPROBE\t1\tFile " + name + L" in Component " + component + kLost + L"\t\tFile\tFile\t" + key;
}

std::string ReadWindowsFile(const _stringx<>& path)
{
    return ReadPosixFile(qv::posix::posix_path_from_windows(path.view()));
}

// Resolves each listed file in the inspector's order; records what came out.
struct Walk {
    std::vector<std::string> contents;
    std::vector<bool> goneAfter;
    void Resolve(ContentInspector& inspector, const std::vector<size_t>& order)
    {
        auto& files = inspector.GetFiles(kAllFiles);
        for (size_t index : order) {
            _stringx<> path;
            {
                TemporaryPath temporary;
                path = files[index].second->ResolveFilePath(temporary);
                contents.push_back(path.empty() ? "<none>" : ReadWindowsFile(path));
            }
            goneAfter.push_back(path.empty() || GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES);
        }
    }
};

TEST(InspectorCabinets, EmbeddedCabinetsAreWalkedInDiskIdOrderAndClosedWhenPassed)
{
    TempDir dir;
    MakeCabinet(dir, "one.cab", {{"A", "alpha"}, {"b", "beta"}});
    MakeCabinet(dir, "two.cab", {{"C", "gamma"}, {"D", NoiseBytes(90000, 4)}});
    auto q = ProductTables();
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("A", "Main", "a.txt", 0, 1),
                       FileRow("B", "Main", "B.TXT|Bee.txt", 0x4000, 2), FileRow("C", "Main", "c.txt", 0, 3),
                       FileRow("D", "Main", "d.bin", 0, 4), FileRow("E", "Main", "e.txt", 0, 5),
                       // DiskId order, not row order; an empty Cabinet is left out.
                       MediaRow(2, 4, "#two.cab"), MediaRow(1, 2, "#one.cab"), MediaRow(3, 5, "")});
    const std::string msi = BuildPackage(dir, "walk", q);
    AddStream(msi, "one.cab", dir.path() + "/one.cab");
    AddStream(msi, "two.cab", dir.path() + "/two.cab");

    Walk walk;
    std::vector<bool> cabinetCopyGone;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        walk.Resolve(inspector, {0, 1, 2});
        const _stringx<> firstCopy = inspector.Cabinets().Cabinets()[0]->Path();
        cabinetCopyGone.push_back(firstCopy.empty());
        walk.Resolve(inspector, {3, 4});
    });
    EXPECT_EQ(walk.contents, (std::vector<std::string>{"alpha", "beta", "gamma", NoiseBytes(90000, 4), "<none>"}));
    EXPECT_EQ(walk.goneAfter, (std::vector<bool>{true, true, true, true, true}));
    EXPECT_EQ(cabinetCopyGone, std::vector<bool>{true});  // the passed cabinet's copy is deleted
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tExtracting file A to temp location",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tExtracted file A to temp location: <tmp>a.txt",
                         L"QVPROBE\t3\tExtracting file B to temp location",
                         L"QVPROBE\t3\tExtracted file B to temp location: <tmp>Bee.txt",
                         L"QVPROBE\t3\tExtracting file C to temp location",
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tExtracted file C to temp location: <tmp>c.txt",
                         L"QVPROBE\t3\tExtracting file D to temp location",
                         L"QVPROBE\t3\tExtracted file D to temp location: <tmp>d.bin",
                         L"QVPROBE\t3\tExtracting file E to temp location",
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         L"QVPROBE\t3\tFile E is not in any cab",
                         L"QVPROBE\t3\tExtracted file E to temp location: ",
                         Lost(L"e.txt", L"Main", L"E"),
                         kFinished,
                     }));
}

TEST(InspectorCabinets, TheCursorAdvancesOneStepAndNeverGoesBack)
{
    TempDir dir;
    MakeCabinet(dir, "c1.cab", {{"F1", "one"}});
    MakeCabinet(dir, "c2.cab", {{"F2", "two"}});
    MakeCabinet(dir, "c3.cab", {{"F3", "three"}});
    auto q = ProductTables();
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("F1", "Main", "f1", 0, 1),
                       FileRow("F2", "Main", "f2", 0, 2), FileRow("F3", "Main", "f3", 0, 3),
                       MediaRow(1, 1, "#c1.cab"), MediaRow(2, 2, "#c2.cab"), MediaRow(3, 3, "#c3.cab")});
    const std::string msi = BuildPackage(dir, "steps", q);
    for (const char* cab : {"c1.cab", "c2.cab", "c3.cab"})
        AddStream(msi, cab, dir.path() + "/" + cab);

    Walk walk;
    size_t cursor = 0;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        // F3 first: one step to c2, which does not hold it; then F1 and F2
        // are looked for in c2, the cabinet under the cursor.
        walk.Resolve(inspector, {2, 0, 1});
        cursor = inspector.Cabinets().Cursor();
    });
    EXPECT_EQ(walk.contents, (std::vector<std::string>{"<none>", "<none>", "two"}));
    EXPECT_EQ(cursor, 1u);
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tExtracting file F3 to temp location",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tExtracted file F3 to temp location: <tmp>f3",
                         Lost(L"f3", L"Main", L"F3"),
                         L"QVPROBE\t3\tExtracting file F1 to temp location",
                         L"QVPROBE\t3\tExtracted file F1 to temp location: <tmp>f1",
                         Lost(L"f1", L"Main", L"F1"),
                         L"QVPROBE\t3\tExtracting file F2 to temp location",
                         L"QVPROBE\t3\tExtracted file F2 to temp location: <tmp>f2",
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         kFinished,
                     }));
}

TEST(InspectorCabinets, MergeModuleReadsItsOneStreamAndIgnoresMedia)
{
    TempDir dir;
    MakeCabinet(dir, "mm.cab", {{"Lib.dll.GUID", "library"}});
    // No ProductCode: a merge module. Its Media row points nowhere.
    const std::string msi =
        BuildPackage(dir, "module", {kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", "1"), kDirectoryTable,
                                     DirectoryRow("TARGETDIR", "", "SourceDir"), kComponentTable, kFileTable,
                                     kMediaTable, ComponentRow("Lib", "TARGETDIR"),
                                     FileRow("lib.dll.GUID", "Lib", "lib.dll", 0, 32000), MediaRow(1, 1, "#x.cab")});
    AddStream(msi, "MergeModule.CABinet", dir.path() + "/mm.cab");
    Walk walk;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        walk.Resolve(inspector, {0});
    });
    EXPECT_EQ(walk.contents, std::vector<std::string>{"library"});
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tExtracting file lib.dll.GUID to temp location",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tExtracted file lib.dll.GUID to temp location: <tmp>lib.dll",
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         kFinished,
                     }));
}

TEST(InspectorCabinets, CabinetBesideThePackageAndMissingOnes)
{
    TempDir dir;
    MakeCabinet(dir, "Side.cab", {{"S", "beside"}});
    auto q = ProductTables();
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("S", "Main", "s.txt", 0, 1),
                       FileRow("T", "Main", "t.txt", 0, 2), FileRow("U", "Main", "u.txt", 0, 3),
                       // names on disk are matched without regard to case
                       MediaRow(1, 1, "SIDE.CAB"), MediaRow(2, 2, "absent.cab"), MediaRow(3, 3, "#nostream.cab")});
    const std::string msi = BuildPackage(dir, "side", q);
    Walk walk;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        walk.Resolve(inspector, {0, 1, 2});
    });
    EXPECT_EQ(walk.contents, (std::vector<std::string>{"beside", "<none>", "<none>"}));
    EXPECT_TRUE(std::filesystem::exists(dir.path() + "/Side.cab"));  // never deleted
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tExtracting file S to temp location",
                         L"QVPROBE\t3\tOpening cab <pkg>SIDE.CAB",
                         L"QVPROBE\t3\tExtracted file S to temp location: <tmp>s.txt",
                         L"QVPROBE\t3\tExtracting file T to temp location",
                         L"QVPROBE\t3\tClosing cab <pkg>SIDE.CAB",
                         L"QVPROBE\t3\tOpening cab <pkg>absent.cab",
                         L"QVPROBE\t3\tExtracted file T to temp location: ",
                         Lost(L"t.txt", L"Main", L"T"),
                         L"QVPROBE\t3\tExtracting file U to temp location",
                         L"QVPROBE\t3\tClosing cab <pkg>absent.cab",
                         L"QVPROBE\t3\tCab nostream.cab not found in _Streams table",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tExtracted file U to temp location: ",
                         Lost(L"u.txt", L"Main", L"U"),
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         kFinished,
                     }));
}

TEST(InspectorCabinets, WithoutDebuggingOnlyTheFindingsRemain)
{
    TempDir dir;
    auto q = ProductTables(false);
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("K", "Main", "K.EXE|Kay.exe", 0, 1)});
    const std::string msi = BuildPackage(dir, "quiet", q);
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        Walk walk;
        walk.Resolve(inspector, {0, 0});  // reported once per operation
    });
    EXPECT_EQ(lines, (Lines{Lost(L"Kay.exe", L"Main", L"K"), Lost(L"Kay.exe", L"Main", L"K")}));
}

}  // namespace

namespace {

TEST(InspectorCabinets, FileVersionComesFromTheExtractedImage)
{
    TempDir dir;
    const std::string image = ReadPosixFile(petest::MingwImages::Get().app32());
    MakeCabinet(dir, "v.cab", {{"App", image}, {"Text", "no version here"}});
    auto q = ProductTables(false);
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("App", "Main", "APP.EXE|App.exe", 0, 1),
                       FileRow("Text", "Main", "t.txt", 0, 2), FileRow("Gone", "Main", "g.dll", 0, 3),
                       MediaRow(1, 3, "#v.cab")});
    const std::string msi = BuildPackage(dir, "version", q);
    AddStream(msi, "v.cab", dir.path() + "/v.cab");
    std::vector<std::wstring> versions;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles))
            versions.push_back(file->GetFileVersion().str());
    });
    EXPECT_EQ(versions, (std::vector<std::wstring>{L"1.2.3.4", L"", L""}));
    EXPECT_EQ(lines, Lines{Lost(L"g.dll", L"Main", L"Gone")});
}

}  // namespace

namespace {

TEST(InspectorCabinets, AStreamThatIsNoCabinetFailsTheCopyAndTheTargetIsStillReturned)
{
    TempDir dir;
    std::ofstream(dir.path() + "/bad.cab") << "plain text, not a cabinet";
    auto q = ProductTables();
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("X", "Main", "x.dll", 0, 1),
                       MediaRow(1, 1, "#bad.cab")});
    const std::string msi = BuildPackage(dir, "bad", q);
    AddStream(msi, "bad.cab", dir.path() + "/bad.cab");
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        Walk walk;
        walk.Resolve(inspector, {0});
    });
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tExtracting file X to temp location",
                         L"QVPROBE\t3\tOpening cab <tmp>#.TMP",
                         L"QVPROBE\t3\tUnable to extract file X in cab bad.cab",
                         L"QVPROBE\t3\tExtracted file X to temp location: <tmp>x.dll",
                         Lost(L"x.dll", L"Main", L"X"),
                         L"QVPROBE\t3\tClosing cab <tmp>#.TMP",
                         kFinished,
                     }));
}

}  // namespace
