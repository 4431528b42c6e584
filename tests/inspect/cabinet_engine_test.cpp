// CabinetEngine over real cabinets written by gcab: extraction of one named
// entry, the name match, the stamp and attributes of the written file, the
// two error code forms, and one decompression per cabinet for entries asked
// for in order.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "cabinet_support.h"
#include "inspect/cabinet.h"

namespace {

using qvtest::MakeCabinet;
using qvtest::NoiseBytes;
using qvtest::ReadPosixFile;
using qvtest::TempDir;
using qvtest::WindowsNarrow;

struct Opened {
    CabinetEngine engine;
    DWORD created;
    Opened(const TempDir& dir, const std::string& cabName)
    {
        const std::string folder = WindowsNarrow(dir.path()) + "\\";
        created = engine.Create(cabName.c_str(), folder.c_str());
    }
};

TEST(CabinetEngine, CopiesOnlyTheEntryWhoseNameMatchesWithoutRegardToCase)
{
    TempDir dir;
    const std::string big = NoiseBytes(70000, 1);  // spans three data blocks
    MakeCabinet(dir, "one.cab", {{"Alpha.txt", "alpha text"}, {"Beta.dll", big}, {"gamma.exe", "gg"}});
    Opened cab(dir, "one.cab");
    ASSERT_EQ(cab.created, 0u);
    EXPECT_STREQ(cab.engine.CabinetName(), "one.cab");

    const std::string target = dir.path() + "/out/beta-copy";
    std::filesystem::create_directories(dir.path() + "/out");
    EXPECT_EQ(cab.engine.Copy("BETA.DLL", WindowsNarrow(target).c_str(), 0), 0u);
    EXPECT_EQ(ReadPosixFile(target), big);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path() + "/out"),
                            std::filesystem::directory_iterator()),
              1);

    // The entry's DOS stamp is the last write time of the file written
    // (local time is UTC here); the attribute 0x20 leaves it writable.
    struct stat info {};
    ASSERT_EQ(stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mtime, 1614834368);  // 2021-03-04 05:06:08 UTC
    EXPECT_EQ(GetFileAttributesW(qv::posix::windows_path_from_posix(target).c_str()), FILE_ATTRIBUTE_ARCHIVE);

    // Another entry of the same open cabinet, before the first in order.
    const std::string second = dir.path() + "/out/alpha";
    EXPECT_EQ(cab.engine.Copy("alpha.TXT", WindowsNarrow(second).c_str(), 0), 0u);
    EXPECT_EQ(ReadPosixFile(second), "alpha text");
}

TEST(CabinetEngine, AnEntryThatIsNotThereIsASuccessThatWritesNothing)
{
    TempDir dir;
    MakeCabinet(dir, "one.cab", {{"Alpha.txt", "a"}});
    Opened cab(dir, "one.cab");
    const std::string target = dir.path() + "/none";
    EXPECT_EQ(cab.engine.Copy("Alpha.tx", WindowsNarrow(target).c_str(), 0), 0u);
    EXPECT_EQ(cab.engine.Copy("Alpha.txt ", WindowsNarrow(target).c_str(), 0), 0u);
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST(CabinetEngine, FailuresComeBackInTheErrorRecordForm)
{
    TempDir dir;
    const std::string target = WindowsNarrow(dir.path() + "/t");

    {   // missing cabinet: the context is made, the copy fails
        Opened cab(dir, "missing.cab");
        EXPECT_EQ(cab.created, 0u);
        EXPECT_EQ(cab.engine.Copy("a", target.c_str(), 0), 0x8004ACE1u);
        EXPECT_EQ(cab.engine.Error().erfOper, 1);
        EXPECT_EQ(cab.engine.Error().fError, 1);
    }
    {   // not a cabinet
        std::ofstream(dir.path() + "/text.cab") << "this is not a cabinet at all, just some text";
        Opened cab(dir, "text.cab");
        EXPECT_EQ(cab.engine.Copy("a", target.c_str(), 0), 0x8004ACE2u);
    }
    {   // data cut short after the headers: the wanted entry cannot come out
        MakeCabinet(dir, "full.cab", {{"Big.bin", NoiseBytes(50000, 2)}});
        std::string bytes = ReadPosixFile(dir.path() + "/full.cab");
        std::ofstream(dir.path() + "/cut.cab", std::ios::binary) << bytes.substr(0, 2000);
        Opened cab(dir, "cut.cab");
        const DWORD result = cab.engine.Copy("Big.bin", target.c_str(), 0);
        EXPECT_EQ(result & 0xFFFFFFF0u, 0x8004ACE0u);
        EXPECT_NE(result, 0x8004ACE0u);
        // and a header cut inside the file list is not read as a cabinet entry
        std::ofstream(dir.path() + "/head.cab", std::ios::binary) << bytes.substr(0, 50);
        Opened head(dir, "head.cab");
        EXPECT_NE(head.engine.Copy("Big.bin", target.c_str(), 0), 0u);
    }
    {   // a target that cannot be created aborts the copy
        MakeCabinet(dir, "ok.cab", {{"A", "a"}});
        Opened cab(dir, "ok.cab");
        const std::string noFolder = WindowsNarrow(dir.path() + "/no/such/folder/a");
        EXPECT_EQ(cab.engine.Copy("a", noFolder.c_str(), 0), 0x8004ACEBu);
    }
}

TEST(CabinetEngine, EntriesInCabinetOrderReadTheCabinetOnceAndOutOfOrderRestarts)
{
    TempDir dir;
    std::vector<std::pair<std::string, std::string>> files;
    for (int i = 0; i < 12; ++i)
        files.emplace_back("f" + std::to_string(10 + i), NoiseBytes(40000, 100 + i));
    const std::string cabPath = MakeCabinet(dir, "set.cab", files);
    const uint64_t cabSize = std::filesystem::file_size(cabPath);
    const std::string target = WindowsNarrow(dir.path() + "/x");

    Opened forward(dir, "set.cab");
    for (const auto& [name, bytes] : files) {
        ASSERT_EQ(forward.engine.Copy(name.c_str(), target.c_str(), 0), 0u);
        ASSERT_EQ(ReadPosixFile(dir.path() + "/x"), bytes) << name;
    }
    EXPECT_LE(forward.engine.CabinetBytesRead(), cabSize + cabSize / 10);

    Opened backward(dir, "set.cab");
    for (auto it = files.rbegin(); it != files.rend(); ++it) {
        ASSERT_EQ(backward.engine.Copy(it->first.c_str(), target.c_str(), 0), 0u);
        ASSERT_EQ(ReadPosixFile(dir.path() + "/x"), it->second) << it->first;
    }
    EXPECT_GT(backward.engine.CabinetBytesRead(), 5 * cabSize);
}

TEST(CabinetEngine, StoredCabinetsExtractToo)
{
    TempDir dir;
    MakeCabinet(dir, "plain.cab", {{"One", "first"}, {"Two", NoiseBytes(33000, 9)}}, false);
    Opened cab(dir, "plain.cab");
    const std::string target = dir.path() + "/two";
    EXPECT_EQ(cab.engine.Copy("two", WindowsNarrow(target).c_str(), 0), 0u);
    EXPECT_EQ(ReadPosixFile(target), NoiseBytes(33000, 9));
}

}  // namespace

namespace {

TEST(CabinetEngine, AFailedWriteOfTheEntryThrowsTheFileExceptionOutOfCopy)
{
    TempDir dir;
    MakeCabinet(dir, "w.cab", {{"Big", NoiseBytes(70000, 3)}});
    Opened cab(dir, "w.cab");
    try {
        cab.engine.Copy("big", "Z:\\dev\\full", 0);  // every write fails: no space
        ADD_FAILURE() << "no exception";
    } catch (qv::file_exception* e) {
        std::unique_ptr<qv::file_exception> owned(e);
        EXPECT_EQ(e->Error(), static_cast<DWORD>(ERROR_DISK_FULL));
        EXPECT_EQ(e->Path(), _stringx<>(L"Z:\\dev\\full"));
    }
    // The context stays usable for the next entry.
    const std::string target = dir.path() + "/again";
    EXPECT_EQ(cab.engine.Copy("Big", WindowsNarrow(target).c_str(), 0), 0u);
    EXPECT_EQ(ReadPosixFile(target), NoiseBytes(70000, 3));
}

}  // namespace
