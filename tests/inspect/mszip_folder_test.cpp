// The MSZIP folder reader of the entry cache: it gives a folder's bytes
// exactly, and declines every folder the cabinet library would not read as
// it is (a set or a file of one, another method, a block out of bounds, a
// broken mark, a short middle block, a wrong checksum, a stream that does
// not end where its block ends). The differential fuzz target then runs over
// many damaged cabinets: where the reader gives bytes, the library gives the
// same.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "cabinet_support.h"
#include "platform/posix/inspect/mszip_folder.h"

#define LLVMFuzzerTestOneInput qv_fuzz_mszip
#include "../../fuzz/mszip.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

using namespace qvtest;
namespace mszip = qv::mscab::mszip;
using Bytes = std::vector<uint8_t>;

uint32_t U32(const Bytes& b, size_t at)
{
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}
void Put16(Bytes& b, size_t at, uint16_t v)
{
    b[at] = static_cast<uint8_t>(v);
    b[at + 1] = static_cast<uint8_t>(v >> 8);
}
void Put32(Bytes& b, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

struct Cabinet {
    Bytes bytes;
    std::string content;  // the files' bytes in cabinet order: the folder's output
};

// Text and noise across three blocks, then a short tail in a fourth.
Cabinet MakeZipped(const TempDir& dir)
{
    std::string text;
    while (text.size() < 60000)
        text += "line " + std::to_string(text.size()) + " of a text that repeats itself\n";
    const std::vector<std::pair<std::string, std::string>> files = {
        {"text", text}, {"noise", NoiseBytes(45000, 3)}, {"empty", ""}, {"tail", "the end"}};
    Cabinet c;
    const std::string cab = ReadPosixFile(MakeCabinet(dir, "z.cab", files));
    c.bytes.assign(cab.begin(), cab.end());
    for (const auto& file : files)
        c.content += file.second;
    return c;
}

// Decodes the folder; "declined" when Start refuses it, "failed" after the
// blocks that did decode when a block does not.
std::string Decode(const Bytes& cab, size_t folder = 0)
{
    mszip::Layout layout;
    if (!mszip::ReadLayout(cab.data(), cab.size(), layout))
        return "no layout";
    mszip::FolderDecoder decoder;
    if (!decoder.Start(cab.data(), cab.size(), layout, folder))
        return "declined";
    std::string out;
    const uint8_t* block = nullptr;
    size_t length = 0;
    while (decoder.Next(block, length))
        out.append(reinterpret_cast<const char*>(block), length);
    if (decoder.Position() != decoder.FolderLength())
        out += "|failed";
    return out;
}

// Offset of the n-th data block's header in the first folder.
size_t BlockAt(const Bytes& cab, size_t n)
{
    size_t at = U32(cab, 36);
    for (size_t i = 0; i < n; ++i)
        at += 8 + (cab[at + 4] | (cab[at + 5] << 8));
    return at;
}

// Recomputes a block's checksum after its bytes were changed.
void Reseal(Bytes& cab, size_t block)
{
    const size_t at = BlockAt(cab, block);
    const size_t size = cab[at + 4] | (cab[at + 5] << 8);
    Put32(cab, at, mszip::Checksum(&cab[at + 4], 4, mszip::Checksum(&cab[at + 8], size, 0)));
}

TEST(MszipFolder, GivesTheFolderExactlyWithEveryChecksumVerified)
{
    TempDir dir;
    const Cabinet c = MakeZipped(dir);
    mszip::Layout layout;
    ASSERT_TRUE(mszip::ReadLayout(c.bytes.data(), c.bytes.size(), layout));
    ASSERT_EQ(layout.folders.size(), 1u);
    EXPECT_EQ(layout.folders[0].blocks, 4u);
    EXPECT_EQ(layout.folders[0].compression, 1u);
    for (size_t i = 0; i < 4; ++i)
        ASSERT_NE(U32(c.bytes, BlockAt(c.bytes, i)), 0u) << "block " << i << " carries a checksum";
    EXPECT_EQ(Decode(c.bytes), c.content);

    // A block whose checksum is 0 is not verified, as the library does not.
    Bytes unsealed = c.bytes;
    Put32(unsealed, BlockAt(unsealed, 1), 0);
    EXPECT_EQ(Decode(unsealed), c.content);
}

TEST(MszipFolder, DeclinesWhatTheLibraryWouldNotReadAsItIs)
{
    TempDir dir;
    const Cabinet c = MakeZipped(dir);
    const size_t second = BlockAt(c.bytes, 1);

    Bytes flipped = c.bytes;  // a data byte, checksum left as it was
    flipped[second + 40] ^= 0x10;
    EXPECT_EQ(Decode(flipped), "declined");

    Bytes mark = c.bytes;  // "CK" broken, checksum made right again
    mark[second + 8] = 'X';
    Reseal(mark, 1);
    EXPECT_EQ(Decode(mark), "declined");

    Bytes shortMiddle = c.bytes;  // a middle block that claims less than 32 KB
    Put16(shortMiddle, second + 6, 30000);
    Reseal(shortMiddle, 1);
    EXPECT_EQ(Decode(shortMiddle), "declined");

    Bytes cut = c.bytes;  // the last block runs past the end
    cut.resize(cut.size() - 3);
    EXPECT_EQ(Decode(cut), "declined");

    Bytes set = c.bytes;  // a cabinet with a next one
    Put16(set, 0x1E, 0x0002);
    EXPECT_EQ(Decode(set), "no layout");
    for (uint16_t continued : {0xFFFD, 0xFFFE, 0xFFFF}) {  // a file continued from or into another cabinet
        Bytes file = c.bytes;
        Put16(file, U32(file, 0x10) + 8, continued);
        EXPECT_EQ(Decode(file), "no layout") << continued;
    }

    Bytes other = c.bytes;  // LZX
    Put16(other, 36 + 6, 0x1503);
    EXPECT_EQ(Decode(other), "declined");
    EXPECT_EQ(Decode(c.bytes, 1), "declined");  // no such folder

    const std::string stored = ReadPosixFile(MakeCabinet(dir, "s.cab", {{"a", "plain"}}, false));
    EXPECT_EQ(Decode(Bytes(stored.begin(), stored.end())), "declined");
}

TEST(MszipFolder, StopsAtTheFirstBlockThatDoesNotInflateAsItMust)
{
    TempDir dir;
    const Cabinet c = MakeZipped(dir);
    // The third block holds one byte more than its stream: the stream then
    // ends short of its block, so the reader stops there.
    Bytes trailing = c.bytes;
    const size_t third = BlockAt(trailing, 2);
    const uint16_t size = static_cast<uint16_t>(trailing[third + 4] | (trailing[third + 5] << 8));
    Put16(trailing, third + 4, static_cast<uint16_t>(size + 1));
    trailing.insert(trailing.begin() + static_cast<std::ptrdiff_t>(third + 8 + size), 0);
    Put32(trailing, 8, static_cast<uint32_t>(trailing.size()));
    Reseal(trailing, 2);
    EXPECT_EQ(Decode(trailing), c.content.substr(0, 2 * mszip::kBlockSize) + "|failed");
}

TEST(MszipFolder, AgreesWithTheLibraryOnDamagedCabinets)
{
    TempDir dir;
    const Cabinet c = MakeZipped(dir);
    ASSERT_EQ(qv_fuzz_mszip(c.bytes.data(), c.bytes.size()), 0);
    std::mt19937 random(20261125);
    mszip::Layout layout;
    ASSERT_TRUE(mszip::ReadLayout(c.bytes.data(), c.bytes.size(), layout));
    ASSERT_EQ(layout.folders.size(), 1u);
    for (int i = 0; i < 400; ++i) {
        Bytes cab = c.bytes;
        const size_t block = random() % layout.folders[0].blocks;
        const size_t at = BlockAt(cab, block);
        const size_t size = cab[at + 4] | (cab[at + 5] << 8);
        switch (random() % 3) {
        case 0:  // deflate bytes changed, the checksum made right: only inflate can tell
            for (int n = 1 + random() % 4; n > 0; --n)
                cab[at + 10 + random() % (size - 2)] ^= static_cast<uint8_t>(1 + random() % 255);
            Reseal(cab, block);
            break;
        case 1:  // the same with no checksum at all
            for (int n = 1 + random() % 4; n > 0; --n)
                cab[at + 10 + random() % (size - 2)] ^= static_cast<uint8_t>(1 + random() % 255);
            Put32(cab, at, 0);
            break;
        default:  // header, folder and block size fields
            cab[random() % (at + 8)] = static_cast<uint8_t>(random());
            break;
        }
        ASSERT_EQ(qv_fuzz_mszip(cab.data(), cab.size()), 0);
    }
}

}  // namespace
