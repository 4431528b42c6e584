// A smoke run of the two fuzz targets in every test run: their entry points
// over seeds and over many inputs put together from the grammar's pieces,
// with a fixed random sequence. The full fuzzing runs in the fuzz preset.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#define LLVMFuzzerTestOneInput qv_fuzz_format
#include "../../fuzz/format.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput qv_fuzz_condition
#include "../../fuzz/condition.cpp"
#undef LLVMFuzzerTestOneInput

namespace {

std::string pieces_input(std::mt19937& random, const std::vector<std::string>& pieces, size_t count) {
    std::string out;
    for (size_t i = 0; i < count; ++i) out += pieces[random() % pieces.size()];
    return out;
}

std::vector<uint8_t> utf16(const std::string& text) {
    std::vector<uint8_t> out;
    for (unsigned char c : text) {
        out.push_back(c);
        out.push_back(0);
    }
    return out;
}

TEST(FuzzSmoke, FormatTargetSurvivesPiecesOfFormattedText) {
    const std::vector<std::string> pieces = {"[", "]", "{", "}", "{{", "}}", "[\\", "[~]", "[1]", "[2]", "[P]",
                                             "[Q]", "[%", "[#", "[!", "[$", "x", " ", "\x01", "[[", "]]", "\\"};
    std::mt19937 random(20261122);
    for (int i = 0; i < 20000; ++i) {
        std::vector<uint8_t> bytes = utf16(pieces_input(random, pieces, random() % 40));
        if (i % 3 == 0) bytes.insert(bytes.begin(), 0xFF);  // null template
        ASSERT_EQ(qv_fuzz_format(bytes.data(), bytes.size()), 0);
    }
    std::vector<uint8_t> deep = utf16(std::string(100000, '[') + std::string(100000, ']'));
    EXPECT_EQ(qv_fuzz_format(deep.data(), deep.size()), 0);
    EXPECT_EQ(qv_fuzz_format(nullptr, 0), 0);
}

TEST(FuzzSmoke, ConditionTargetSurvivesPiecesOfConditions) {
    const std::vector<std::string> pieces = {"(", ")", " NOT ", " AND ", " OR ", " XOR ", " EQV ", " IMP ", "A", "N",
                                             "\"", "\"x\"", "1", "-", "42", "=", "<>", "<", ">", "<=", ">=", "><",
                                             "<<", ">>", "~", "%PATH", "$C", "?C", "&F", "!F", " ", "99999999999"};
    std::mt19937 random(112026);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = pieces_input(random, pieces, random() % 30);
        ASSERT_EQ(qv_fuzz_condition(reinterpret_cast<const uint8_t*>(text.data()), text.size()), 0) << text;
    }
    const std::string deep = std::string(100000, '(') + "1" + std::string(100000, ')');
    EXPECT_EQ(qv_fuzz_condition(reinterpret_cast<const uint8_t*>(deep.data()), deep.size()), 0);
}

}  // namespace
