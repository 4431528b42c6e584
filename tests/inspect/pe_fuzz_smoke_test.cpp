// A smoke run of the PE fuzz target in every test run: the real images with
// bytes changed at random, and their prefixes, with a fixed random sequence.
// The full fuzzing runs in the fuzz preset.
#include <random>

#include "pe_support.h"

#define LLVMFuzzerTestOneInput qv_fuzz_pe
#include "../../fuzz/pe.cpp"
#undef LLVMFuzzerTestOneInput

TEST(PeFuzzSmoke, DamagedImagesEndCleanly)
{
    const petest::MingwImages& images = petest::MingwImages::Get();
    std::mt19937 random(20261123);
    for (const std::string& path : {images.app32(), images.app64()}) {
        const petest::Bytes original = petest::ReadAll(path);
        ASSERT_EQ(qv_fuzz_pe(original.data(), original.size()), 0);
        // The headers and the tables they point to sit in the first pages;
        // change bytes there most of the time.
        for (int round = 0; round < 400; ++round) {
            petest::Bytes bytes = original;
            const size_t region = round % 4 == 0 ? bytes.size() : std::min<size_t>(bytes.size(), 0x1000);
            for (int n = 1 + random() % 8; n > 0; --n)
                bytes[random() % region] = static_cast<uint8_t>(random());
            ASSERT_EQ(qv_fuzz_pe(bytes.data(), bytes.size()), 0) << round;
        }
        for (size_t cut = 0; cut < original.size(); cut += 331)
            ASSERT_EQ(qv_fuzz_pe(original.data(), cut), 0) << cut;
    }
    std::remove(InputPath().c_str());
}
