// The inspector's file list and its filters, uncompressed files in source
// folders, and the per-package reference tables (extensions, listed APIs,
// self-registration).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "inspector_support.h"
#include "platform/posix/kernel/paths.h"

namespace {

using namespace qvtest;
using Lines = std::vector<std::wstring>;

std::vector<std::wstring> Keys(const ContentInspector::FileList& files)
{
    std::vector<std::wstring> keys;
    for (const auto& [owned, file] : files)
        keys.push_back(file->GetKey().str());
    return keys;
}

TEST(InspectorFiles, UncompressedFilesAreFoundInTheirSourceFolderWithoutRegardToCase)
{
    TempDir dir;
    auto q = ProductTables();
    q.insert(q.end(), {DirectoryRow("SUB", "INSTALLDIR", "SUBDIR|Sub Folder"), ComponentRow("Main", "INSTALLDIR"),
                       ComponentRow("Deep", "SUB"),
                       FileRow("Tool", "Main", "TOOL.EXE|Tool.exe", 0x2000, 1),
                       FileRow("Deep", "Deep", "deep.txt", 0x2000, 2),
                       FileRow("Orphan", "Ghost", "o.txt", 0x2000, 3),
                       FileRow("Hidden", "Main", "hid", 0x2000, 4)});
    const std::string msi = BuildPackage(dir, "source", q);
    std::filesystem::create_directories(dir.path() + "/app/Sub Folder");
    std::filesystem::create_directories(dir.path() + "/app/hid");
    std::ofstream(dir.path() + "/app/tool.EXE") << "tool bytes";
    std::ofstream(dir.path() + "/app/Sub Folder/Deep.TXT") << "deep bytes";
    // A folder with one more attribute than 0x10 is not caught.
    SetFileAttributesW(qv::posix::windows_path_from_posix(dir.path() + "/app/hid").c_str(),
                       FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN);

    std::vector<std::string> contents;
    std::vector<bool> empty;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
            TemporaryPath temporary;
            const _stringx<> path = file->ResolveFilePath(temporary);
            empty.push_back(path.empty());
            EXPECT_TRUE(temporary.Path().empty());  // nothing extracted, nothing to delete
            if (!path.empty() && GetFileAttributesW(path.c_str()) == FILE_ATTRIBUTE_ARCHIVE)
                contents.push_back(ReadPosixFile(qv::posix::posix_path_from_windows(path.view())));
        }
    });
    EXPECT_EQ(contents, (std::vector<std::string>{"tool bytes", "deep bytes"}));
    EXPECT_EQ(empty, (std::vector<bool>{false, false, true, false}));
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t3\tUncompressed file path <pkg>App\\Tool.exe",
                         L"QVPROBE\t3\tUncompressed file path <pkg>App\\Sub Folder\\deep.txt",
                         L"QVPROBE\t3\tUncompressed file path ",
                         L"QVPROBE\t1\tFile o.txt in Component Ghost could not be found. All tests against this "
                         L"file's contents may be invalid.\t\tFile\tFile\tOrphan",
                         L"QVPROBE\t3\tUncompressed file path <pkg>App\\hid",
                         L"QVPROBE\t3\tFinished ICE QVPROBE",
                     }));
}

TEST(InspectorFiles, CompressionFollowsTheTwoAttributeBitsOnly)
{
    TempDir dir;
    auto q = ProductTables(false);
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR"), FileRow("none", "Main", "a", 0, 1),
                       FileRow("comp", "Main", "b", 0x4000, 2), FileRow("plain", "Main", "c", 0x2000, 3),
                       FileRow("both", "Main", "d", 0x6000, 4), FileRow("other", "Main", "e", 0x0102, 5)});
    const std::string msi = BuildPackage(dir, "bits", q);
    std::vector<bool> compressed;
    std::vector<bool> masks;
    RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
            compressed.push_back(file->IsCompressed());
            masks.push_back(file->HasAttribute(0x0102));
        }
    });
    EXPECT_EQ(compressed, (std::vector<bool>{true, true, false, true, true}));
    EXPECT_EQ(masks, (std::vector<bool>{false, false, false, false, true}));
}

TEST(InspectorFiles, FiltersKeepTheirExtensionsAndTheFirstFilterHoldsForTheInspector)
{
    TempDir dir;
    auto q = ProductTables(false);
    q.insert(q.end(),
             {ComponentRow("Main", "INSTALLDIR"),
              "CREATE TABLE `_QVManifest` (`Extension` CHAR(32) NOT NULL PRIMARY KEY `Extension`)",
              "INSERT INTO `_QVManifest` (`Extension`) VALUES ('.Manifest')",
              "INSERT INTO `_QVManifest` (`Extension`) VALUES ('MANIFEST')",
              "INSERT INTO `_QVManifest` (`Extension`) VALUES ('cfg')",
              "CREATE TABLE `_QVSignedExtension` (`Extension` CHAR(32) NOT NULL PRIMARY KEY `Extension`)",
              "INSERT INTO `_QVSignedExtension` (`Extension`) VALUES ('exe')",
              FileRow("f1", "Main", "APP.EXE|App.Exe", 0, 1), FileRow("f2", "Main", "x.manifest", 0, 2),
              FileRow("f3", "Main", "HELP.HLP", 0, 3), FileRow("f4", "Main", "WINHLP32.EXE", 0, 4),
              FileRow("f5", "Main", "lib.AX", 0, 5), FileRow("f6", "Main", "web.config", 0, 6),
              FileRow("f7", "Main", "noext", 0, 7), FileRow("f8", "Main", "a.exe.bak", 0, 8),
              FileRow("f9", "Main", "dir.d\\file", 0, 9), FileRow("f10", "Main", "k.exex", 0, 10)});
    const std::string msi = BuildPackage(dir, "filters", q);
    std::map<int, std::vector<std::wstring>> kept;
    std::vector<std::wstring> later;
    size_t manifestEntries = 0;
    RunInspect(msi, [&](InspectProbe& probe) {
        for (int filter = 0; filter <= 7; ++filter) {
            ContentInspector inspector(&probe);
            kept[filter] = Keys(inspector.GetFiles(filter));
            if (filter == 2)
                manifestEntries = inspector.ManifestExtensions().size();
        }
        ContentInspector inspector(&probe);
        inspector.GetFiles(kExeExtension);
        later = Keys(inspector.GetFiles(kAllFiles));  // the first filter still holds
    });
    EXPECT_EQ(kept[0], (std::vector<std::wstring>{L"f1", L"f2", L"f3", L"f4", L"f5", L"f6", L"f7", L"f8", L"f9",
                                                  L"f10"}));
    EXPECT_EQ(kept[1], (std::vector<std::wstring>{L"f1", L"f4"}));
    EXPECT_EQ(kept[2], (std::vector<std::wstring>{L"f2"}));
    EXPECT_EQ(manifestEntries, 2u);  // ".Manifest" and "MANIFEST" are one entry
    EXPECT_EQ(kept[3], (std::vector<std::wstring>{L"f1", L"f4", L"f5"}));
    EXPECT_EQ(kept[4], (std::vector<std::wstring>{L"f3", L"f4"}));
    EXPECT_EQ(kept[5], (std::vector<std::wstring>{L"f1", L"f4"}));
    EXPECT_EQ(kept[6], (std::vector<std::wstring>{L"f6"}));
    EXPECT_TRUE(kept[7].empty());
    EXPECT_EQ(later, (std::vector<std::wstring>{L"f1", L"f4"}));
}

TEST(InspectorFiles, ListedApisAreFiledByNameOrOrdinalAndSelfRegistrationIsTheUnionOfTwoTables)
{
    TempDir dir;
    auto q = ProductTables(false);
    q.insert(q.end(),
             {ComponentRow("Main", "INSTALLDIR"), FileRow("a", "Main", "a.dll", 0, 1),
              FileRow("b", "Main", "b.dll", 0, 2), FileRow("c", "Main", "c.dll", 0, 3),
              "CREATE TABLE `_QVDeprecatedApi` (`Module` CHAR(64) NOT NULL, `Function` CHAR(64) NOT NULL, `Kind` "
              "SHORT NOT NULL PRIMARY KEY `Module`, `Function`)",
              "INSERT INTO `_QVDeprecatedApi` (`Module`, `Function`, `Kind`) VALUES ('KERNEL32.dll', 'WinExec', 2)",
              "INSERT INTO `_QVDeprecatedApi` (`Module`, `Function`, `Kind`) VALUES ('kernel32.DLL', '0', 1)",
              "INSERT INTO `_QVDeprecatedApi` (`Module`, `Function`, `Kind`) VALUES ('ws2_32.dll', '23', 3)",
              "INSERT INTO `_QVDeprecatedApi` (`Module`, `Function`, `Kind`) VALUES ('ws2_32.dll', '65536', 1)",
              "INSERT INTO `_QVDeprecatedApi` (`Module`, `Function`, `Kind`) VALUES ('ws2_32.dll', '65539', 2)",
              "CREATE TABLE `SelfReg` (`File_` CHAR(72) NOT NULL, `Cost` SHORT PRIMARY KEY `File_`)",
              "INSERT INTO `SelfReg` (`File_`) VALUES ('a')",
              "CREATE TABLE `QVSelfReg` (`File_` CHAR(72) NOT NULL PRIMARY KEY `File_`)",
              "INSERT INTO `QVSelfReg` (`File_`) VALUES ('c')"});
    const std::string msi = BuildPackage(dir, "apis", q);
    std::vector<int> kinds;
    std::vector<bool> selfReg;
    RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        auto kind = [&](auto&&... args) { kinds.push_back(static_cast<int>(inspector.LookupApi(args...))); };
        kind(L"kernel32.dll", L"WinExec");
        kind(L"kernel32.dll", L"winexec");  // function names compare exactly
        kind(L"KERNEL32.DLL", L"0");
        kind(L"Ws2_32.dll", uint16_t(23));
        kind(L"ws2_32.dll", L"65536");   // truncates to 0: filed as a name
        kind(L"ws2_32.dll", uint16_t(3));  // 65539 truncates to 3
        kind(L"ws2_32.dll", uint16_t(24));
        kind(L"user32.dll", L"WinExec");
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles))
            selfReg.push_back(file->HasSelfRegistration());
    });
    EXPECT_EQ(kinds, (std::vector<int>{2, 0, 1, 3, 1, 2, 0, 0}));
    EXPECT_EQ(selfReg, (std::vector<bool>{true, false, true}));
}

TEST(InspectorFiles, WithoutAFileTableTheListIsEmptyAndSilent)
{
    TempDir dir;
    const std::string msi = BuildPackage(dir, "nofile", {kPropertyTable, PropertyRow("_QV_DEBUGGING_ACTION", "1")});
    size_t count = 99;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        count = inspector.GetFiles(kAllFiles).size();
        EXPECT_FALSE(inspector.LookupApi(L"a.dll", L"f") != ImportKind::None);
    });
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(lines, Lines{L"QVPROBE\t3\tFinished ICE QVPROBE"});
}

}  // namespace
