// A smoke run of the cabinet fuzz target in every test run: real cabinets
// from gcab, then many damaged copies of them (flipped bytes, cut tails,
// overwritten header fields), with a fixed random sequence. The full fuzzing
// runs in the fuzz preset.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "cabinet_support.h"

#define LLVMFuzzerTestOneInput qv_fuzz_cabinet
#include "../../fuzz/cabinet.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

std::vector<uint8_t> Input(const std::string& name, const std::string& cabinet)
{
    std::vector<uint8_t> bytes;
    bytes.push_back(static_cast<uint8_t>(name.size()));
    bytes.insert(bytes.end(), name.begin(), name.end());
    bytes.insert(bytes.end(), cabinet.begin(), cabinet.end());
    return bytes;
}

TEST(FuzzSmoke, CabinetTargetSurvivesDamagedCabinets)
{
    qvtest::TempDir dir;
    const std::string zipped = qvtest::ReadPosixFile(qvtest::MakeCabinet(
        dir, "z.cab", {{"a", "short text, short text"}, {"Big", qvtest::NoiseBytes(40000, 7)}, {"c", "c"}}));
    const std::string stored = qvtest::ReadPosixFile(
        qvtest::MakeCabinet(dir, "s.cab", {{"a", std::string(5000, 'x')}, {"b", "b"}}, false));

    for (const std::string* seed : {&zipped, &stored}) {
        auto intact = Input("Big", *seed);
        ASSERT_EQ(qv_fuzz_cabinet(intact.data(), intact.size()), 0);
    }
    std::mt19937 random(20261123);
    for (int i = 0; i < 1500; ++i) {
        std::string cabinet = (i % 2) ? zipped : stored;
        switch (random() % 4) {
        case 0:  // flipped bytes anywhere
            for (int n = 1 + random() % 8; n > 0; --n)
                cabinet[random() % cabinet.size()] ^= static_cast<char>(1 + random() % 255);
            break;
        case 1:  // a cut tail
            cabinet.resize(random() % cabinet.size());
            break;
        case 2:  // header and folder fields: counts, offsets, flags, compression
            for (int n = 1 + random() % 3; n > 0; --n)
                cabinet[random() % 0x60] = static_cast<char>(random());
            break;
        default:  // a block size word in the first data block
            cabinet[0x60 + random() % 16] = static_cast<char>(random());
            break;
        }
        auto bytes = Input((i % 3) ? "a" : "Big", cabinet);
        ASSERT_EQ(qv_fuzz_cabinet(bytes.data(), bytes.size()), 0);
    }
    EXPECT_EQ(qv_fuzz_cabinet(nullptr, 0), 0);
    // Found by the fuzzer: two folders over damaged data, where the library
    // asks to read through a null file handle.
    const uint8_t nullRead[] = {
        0x01, 0x61, 0x4D, 0x53, 0x43, 0x46, 0x00, 0x00, 0x00, 0x00, 0x6E, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x2C, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x01, 0x01, 0x00, 0x02, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x50, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x15, 0x00,
        0x00, 0x00, 0x00, 0xC8, 0x00, 0x00, 0x00, 0x00, 0x77, 0x5D, 0xD1, 0x01, 0x20, 0x00, 0x61, 0x00,
        0x01, 0x00, 0x00, 0x00, 0x15, 0x00, 0x00, 0x00, 0x00, 0x00, 0x77, 0x5D, 0xD1, 0x01, 0x20, 0x00,
        0x43, 0x46, 0x00, 0x00, 0x00, 0x00, 0x6E, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2C, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x01, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x50, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x15, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x77, 0x5D, 0xD1, 0x01, 0x20, 0x00, 0x61, 0x00, 0x01, 0x00, 0x00, 0x00,
        0x15, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2F, 0x6E, 0x00, 0x00, 0x00, 0x00, 0x2C,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x01, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x50, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x15, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x78, 0x74, 0x4C, 0x63,
    };
    EXPECT_EQ(qv_fuzz_cabinet(nullRead, sizeof nullRead), 0);
    const uint8_t junk[] = {200, 'M', 'S', 'C', 'F'};
    EXPECT_EQ(qv_fuzz_cabinet(junk, sizeof junk), 0);
}

}  // namespace
