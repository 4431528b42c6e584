// The entry cache shared by the checks of one run: the same bytes and the
// same debug lines with and without it, each entry decompressed once over
// several checks whatever order they ask in, the spill to disk when memory
// is full, and the bypass of entries too large to keep.
#include <gtest/gtest.h>

#include "inspector_support.h"
#include "platform/posix/inspect/cabinet_cache.h"
#include "platform/posix/inspect/mszip_folder.h"
#include "platform/posix/kernel/paths.h"

namespace {

using namespace qvtest;
namespace cache = qv::mscab::cache;
using Lines = std::vector<std::wstring>;

struct Package {
    TempDir dir;
    std::string msi;
    std::vector<std::string> bytes;
};

// Six files in two embedded cabinets, noise so that sizes stay as given.
Package MakePackage()
{
    Package p;
    for (int i = 0; i < 6; ++i)
        p.bytes.push_back(NoiseBytes(20000 + 1000 * i, 10 + i));
    MakeCabinet(p.dir, "one.cab", {{"F0", p.bytes[0]}, {"F1", p.bytes[1]}, {"F2", p.bytes[2]}});
    MakeCabinet(p.dir, "two.cab", {{"F3", p.bytes[3]}, {"F4", p.bytes[4]}, {"F5", p.bytes[5]}});
    auto q = ProductTables();
    q.push_back(ComponentRow("Main", "INSTALLDIR"));
    for (int i = 0; i < 6; ++i)
        q.push_back(FileRow("F" + std::to_string(i), "Main", "f" + std::to_string(i) + ".bin", 0, i + 1));
    q.push_back(MediaRow(1, 3, "#one.cab"));
    q.push_back(MediaRow(2, 6, "#two.cab"));
    p.msi = BuildPackage(p.dir, "cached", q);
    AddStream(p.msi, "one.cab", p.dir.path() + "/one.cab");
    AddStream(p.msi, "two.cab", p.dir.path() + "/two.cab");
    return p;
}

// One check: resolves the files at the given places of the Sequence order
// and keeps what it read.
Lines RunCheck(const Package& p, const std::vector<size_t>& order, std::vector<std::string>& contents)
{
    return RunInspect(p.msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        auto& files = inspector.GetFiles(kAllFiles);
        for (size_t index : order) {
            TemporaryPath temporary;
            const _stringx<> path = files[index].second->ResolveFilePath(temporary);
            contents.push_back(path.empty() ? "<none>"
                                            : ReadPosixFile(qv::posix::posix_path_from_windows(path.view())));
        }
    });
}

class CabinetCache : public ::testing::Test {
protected:
    void TearDown() override { cache::Enable(false); }
};

TEST_F(CabinetCache, ChecksSeeTheSameBytesAndLinesWhileEachEntryIsDecompressedOnce)
{
    const Package p = MakePackage();
    const std::vector<size_t> all = {0, 1, 2, 3, 4, 5};

    cache::Enable(false);
    std::vector<std::string> plain;
    const Lines plainLines = RunCheck(p, all, plain);
    const Lines plainAgain = RunCheck(p, all, plain);
    EXPECT_EQ(cache::GetStats().decompressed, 12u);  // twice every entry without the cache

    cache::Enable(true);
    std::vector<std::string> first, second, third;
    EXPECT_EQ(RunCheck(p, all, first), plainLines);
    EXPECT_EQ(cache::GetStats().decompressed, 6u);
    EXPECT_EQ(RunCheck(p, all, second), plainAgain);
    // A third check that starts at the end of each cabinet still finds every
    // entry in the cache.
    RunCheck(p, {2, 1, 0, 5, 4, 3}, third);
    const cache::Stats stats = cache::GetStats();
    EXPECT_EQ(stats.decompressed, 6u);
    EXPECT_EQ(stats.served, 12u);
    EXPECT_EQ(first, std::vector<std::string>(plain.begin(), plain.begin() + 6));
    EXPECT_EQ(second, first);
    EXPECT_EQ(third, (std::vector<std::string>{p.bytes[2], p.bytes[1], p.bytes[0], p.bytes[5], p.bytes[4],
                                               p.bytes[3]}));
}

TEST_F(CabinetCache, EntriesPassedOnTheWayAreKeptForTheNextCheck)
{
    const Package p = MakePackage();
    cache::Enable(true);
    std::vector<std::string> contents;
    RunCheck(p, {2, 5}, contents);  // the last entry of each cabinet only
    EXPECT_EQ(cache::GetStats().decompressed, 6u);
    EXPECT_EQ(cache::GetStats().served, 0u);
    RunCheck(p, {0, 1, 3, 4}, contents);
    EXPECT_EQ(cache::GetStats().decompressed, 6u);
    EXPECT_EQ(cache::GetStats().served, 4u);
    EXPECT_EQ(contents, (std::vector<std::string>{p.bytes[2], p.bytes[5], p.bytes[0], p.bytes[1], p.bytes[3],
                                                  p.bytes[4]}));
}

TEST_F(CabinetCache, MemoryOverflowGoesToDiskAndLargeEntriesBypass)
{
    const Package p = MakePackage();
    const std::vector<size_t> all = {0, 1, 2, 3, 4, 5};

    cache::Limits small;
    small.memoryBytes = 50000;  // about two entries; the rest is written to disk
    cache::Enable(true, small);
    std::vector<std::string> first, second;
    RunCheck(p, all, first);
    EXPECT_GT(cache::GetStats().diskBytes, 0u);
    EXPECT_LE(cache::GetStats().memoryBytes, 50000u);
    RunCheck(p, all, second);
    EXPECT_EQ(cache::GetStats().decompressed, 6u);
    EXPECT_EQ(second, first);
    EXPECT_EQ(second, std::vector<std::string>(p.bytes.begin(), p.bytes.end()));

    cache::Limits tiny;
    tiny.diskBytes = 0;
    tiny.memoryBytes = 0;
    cache::Enable(true, tiny);
    RunCheck(p, all, second);
    RunCheck(p, all, second);
    EXPECT_EQ(cache::GetStats().decompressed, 12u);  // nothing could be kept
    EXPECT_EQ(cache::GetStats().diskBytes, 0u);

    cache::Limits bypass;
    bypass.largestEntry = 1000;
    cache::Enable(true, bypass);
    std::vector<std::string> third;
    RunCheck(p, all, third);
    RunCheck(p, all, third);
    EXPECT_EQ(cache::GetStats().decompressed, 12u);
    EXPECT_EQ(cache::GetStats().served, 0u);
    EXPECT_EQ(std::vector<std::string>(third.begin(), third.begin() + 6), first);
}

// A cabinet whose second block does not inflate: the entry cache reads the
// first block itself, then leaves the folder to the cabinet library, which
// fails on the entries that reach into the second as it does without the
// cache. The checks see the same bytes and the same lines either way.
TEST_F(CabinetCache, ABlockThatDoesNotInflateGivesTheSameLinesWithAndWithoutTheCache)
{
    Package p;
    for (int i = 0; i < 3; ++i)
        p.bytes.push_back(NoiseBytes(i == 2 ? 5000 : 20000 + 5000 * i, 30 + i));
    const std::string cabPath =
        MakeCabinet(p.dir, "one.cab", {{"F0", p.bytes[0]}, {"F1", p.bytes[1]}, {"F2", p.bytes[2]}});
    std::string cab = ReadPosixFile(cabPath);
    auto u16 = [&cab](size_t at) { return static_cast<uint8_t>(cab[at]) | (static_cast<uint8_t>(cab[at + 1]) << 8); };
    const size_t first = static_cast<uint8_t>(cab[36]) | (static_cast<uint8_t>(cab[37]) << 8);
    const size_t second = first + 8 + u16(first + 4);
    ASSERT_LT(second + 10, cab.size());
    cab[second + 10] = 0x07;  // a final block of the reserved type
    std::vector<uint8_t> block(cab.begin() + static_cast<std::ptrdiff_t>(second), cab.end());
    const uint32_t sum = qv::mscab::mszip::Checksum(block.data() + 4, 4,
                                                    qv::mscab::mszip::Checksum(block.data() + 8, u16(second + 4), 0));
    for (int i = 0; i < 4; ++i)
        cab[second + i] = static_cast<char>(sum >> (8 * i));
    std::ofstream(cabPath, std::ios::binary | std::ios::trunc) << cab;

    auto q = ProductTables();
    q.push_back(ComponentRow("Main", "INSTALLDIR"));
    for (int i = 0; i < 3; ++i)
        q.push_back(FileRow("F" + std::to_string(i), "Main", "f" + std::to_string(i) + ".bin", 0, i + 1));
    q.push_back(MediaRow(1, 3, "#one.cab"));
    p.msi = BuildPackage(p.dir, "damaged", q);
    AddStream(p.msi, "one.cab", cabPath);

    cache::Enable(false);
    std::vector<std::string> plain;
    const Lines plainLines = RunCheck(p, {0, 1, 2}, plain);
    ASSERT_EQ(plain[0], p.bytes[0]);
    ASSERT_NE(plain[1], p.bytes[1]);
    cache::Enable(true);
    std::vector<std::string> cached, again;
    EXPECT_EQ(RunCheck(p, {0, 1, 2}, cached), plainLines);
    EXPECT_EQ(RunCheck(p, {0, 1, 2}, again), plainLines);
    // An entry that fails is not written at all when the cache is on (the
    // library writes what it got before the fault only without it).
    std::vector<size_t> sizes;
    for (const std::string& content : cached)
        sizes.push_back(content.size());
    EXPECT_EQ(cached[0], p.bytes[0]);
    EXPECT_EQ(sizes, (std::vector<size_t>{20000, 0, 0}));
    EXPECT_EQ(again, cached);
}

// The cache tells cabinets apart by their fingerprint: a change of any one
// byte, in any lane of the words or in the tail, or of the length, or of the
// chunk before (the seed), gives another.
TEST(CabinetFingerprint, EveryByteTheLengthAndTheSeedCount)
{
    std::vector<unsigned char> bytes(1000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i * 31 + 7);
    const uint64_t base = cache::Fingerprint(bytes.data(), bytes.size(), 0);
    EXPECT_NE(base, 0u);
    EXPECT_EQ(cache::Fingerprint(bytes.data(), bytes.size(), 0), base);
    for (size_t at : {size_t{0}, size_t{9}, size_t{17}, size_t{31}, size_t{990}, size_t{999}}) {
        bytes[at] ^= 1;
        EXPECT_NE(cache::Fingerprint(bytes.data(), bytes.size(), 0), base) << at;
        bytes[at] ^= 1;
    }
    EXPECT_NE(cache::Fingerprint(bytes.data(), bytes.size() - 1, 0), base);
    EXPECT_NE(cache::Fingerprint(bytes.data(), bytes.size(), 1), base);
    // Two words swapped between lanes.
    std::swap_ranges(bytes.begin(), bytes.begin() + 8, bytes.begin() + 8);
    EXPECT_NE(cache::Fingerprint(bytes.data(), bytes.size(), 0), base);
}

}  // namespace
