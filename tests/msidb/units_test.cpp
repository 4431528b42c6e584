// The pieces on their own: stream names, code page conversion, summary streams.
#include <tuple>

#include "fixture.h"
#include "platform/posix/msidb/streamname.h"
#include "platform/posix/msidb/stringpool.h"
#include "platform/posix/msidb/summary.h"

using namespace msidb_test;

namespace {

TEST(StreamNames, DecodesStoredForms) {
    // Stored units as read from msibuild output; characters outside the packed
    // alphabet stand for themselves, a surrogate pair becomes one character.
    const std::vector<std::tuple<std::u16string, bool, std::wstring>> cases = {
        {u"\x4840\x3B3F\x43F2\x4438\x45B1", true, L"_Columns"},
        {u"\x4840\x3F3F\x4577\x446C\x3E6A\x44B2\x482F", true, L"_StringPool"},
        {u"\x4840\x481D", true, L"T"},
        {u"\x430B\x4131\x4735\x427E\x44B2", false, L"Binary.foo"},
        {u"\x0005SummaryInformation", false, L"\x05SummaryInformation"},
        {u"a-b\xD83D\xDE00", false, L"a-b\U0001F600"},
    };
    for (const auto& [stored, table, name] : cases) {
        SCOPED_TRACE(narrow(name));
        auto decoded = decode_stream_name(stored);
        EXPECT_EQ(decoded.table, table);
        EXPECT_EQ(decoded.name, name);
    }
}

TEST(StreamNames, EveryPackedCharacterRoundTrips) {
    const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";
    // Odd and even lengths exercise the single-character unit at the end.
    for (const std::string& name : {alphabet, alphabet.substr(1), std::string("Disk1.cab"), std::string("x")}) {
        auto decoded = decode_stream_name(encode_name(name, true));
        EXPECT_TRUE(decoded.table);
        EXPECT_EQ(narrow(decoded.name), name);
        EXPECT_EQ(narrow(decode_stream_name(encode_name(name, false)).name), name);
    }
}

TEST(TextDecoding, InvalidBytesAreReplacedNotFatal) {
    struct Case {
        int codepage;
        std::string bytes;
        std::wstring expected;
    };
    const std::vector<Case> cases = {
        {0, "caf\xE9 \x80", L"café €"},
        {1252, "\x81\x8D\x8F\x90\x9D!", L"\x81\x8D\x8F\x90\x9D!"},
        {932, "\x93\xFA\x96\x7B", L"日本"},
        {932, "a\xFF" "b\x93", L"a\xFFFD" L"b\xFFFD"},
        {65001, "ok\xC3\xA9\xFF\xE2\x82", L"oké\xFFFD\xFFFD\xFFFD"},
        {1255, "\xF9\xEC\xE5\xED", L"שלום"},
        {1251, "\xCF\xF0\xE8\xE2\xE5\xF2", L"Привет"},
        {1250, "\x8A\x9A", L"Šš"},
        // Unknown to the converter: taken as 1252.
        {12345, "\xE9", L"é"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.codepage);
        TextDecoder decoder(c.codepage);
        EXPECT_EQ(decoder.decode(c.bytes), c.expected);
        // The converter state does not leak into the next string.
        EXPECT_EQ(decoder.decode(std::string("plain")), L"plain");
    }
}

// A property set stream: header, one set, and the given (id, value bytes).
std::vector<uint8_t> property_set(const std::vector<std::pair<uint32_t, std::string>>& props) {
    std::string s = le16s({0xFFFE, 0, 0x0A00, 2}) + std::string(16, '\0') + le16s({1, 0});
    s += std::string("\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9", 16) + le16s({48, 0});
    std::string table, values;
    const uint32_t base = 8 + 8 * static_cast<uint32_t>(props.size());
    for (const auto& [id, v] : props) {
        table += le16s({id & 0xFFFF, id >> 16, (base + static_cast<uint32_t>(values.size())) & 0xFFFF, 0});
        values += v;
    }
    const uint32_t size = base + static_cast<uint32_t>(values.size());
    s += le16s({size, 0, static_cast<uint32_t>(props.size()), 0}) + table + values;
    return std::vector<uint8_t>(s.begin(), s.end());
}

std::string lpstr(const std::string& text) {
    std::string v = le16s({30, 0}) + le16s({static_cast<uint32_t>(text.size() + 1), 0}) + text + '\0';
    v.resize((v.size() + 3) / 4 * 4, '\0');
    return v;
}

TEST(SummaryStream, ValueKindsAndCodepage) {
    const auto bytes = property_set({
        {1, le16s({2, 0, 1251, 0})},
        {2, lpstr("\xCF\xF0\xE8")},
        {10, le16s({64, 0, 0x5678, 0x1234, 0xDEF0, 0x9ABC})},
        {14, le16s({3, 0, 0xFF38, 0xFFFF})},
        {15, le16s({2, 0, 0xFFFE, 0})},
        {16, le16s({0, 0})},
        {17, le16s({71, 0, 4, 0}) + "abcd"},  // clipboard data: skipped
    });
    EXPECT_EQ(summary_text(parse_summary(bytes, 1252)),
              (std::vector<std::string>{"1/2=1251", "2/30=При", "10/64=" + std::to_string(0x9ABCDEF012345678ull),
                                        "14/3=-200", "15/2=-2", "16/0=0"}));

    // Without property 1 the database code page applies.
    auto fallback = parse_summary(property_set({{2, lpstr("\xCF\xF0\xE8")}}), 1252);
    EXPECT_EQ(fallback.at(2).text, L"Ïðè");
}

TEST(SummaryStream, DamageYieldsNothing) {
    const auto good = property_set({{2, lpstr("title")}, {14, le16s({3, 0, 200, 0})}});
    ASSERT_EQ(parse_summary(good, 0).size(), 2u);
    // Cut anywhere inside the property set.
    for (size_t cut : {size_t{0}, size_t{20}, size_t{47}, size_t{60}, good.size() - 1}) {
        auto b = good;
        b.resize(cut);
        EXPECT_TRUE(parse_summary(b, 0).empty()) << cut;
    }
    // A string length beyond the set, a property offset beyond it, not the
    // summary format id.
    const std::pair<size_t, uint8_t> edits[] = {{48 + 8 + 16 + 4, 0xFF}, {48 + 8 + 4 + 3, 0x7F}, {28, good[28] ^ 1}};
    for (const auto& [at, value] : edits) {
        auto b = good;
        b[at] = value;
        EXPECT_TRUE(parse_summary(b, 0).empty()) << at;
    }
}

}  // namespace

// Texts added to a pool read from a file: the first id of a text the pool
// holds twice, one new id per new text however many come, none for "".
TEST(StringPool, InterningFindsTheFirstIdAndAddsEachNewTextOnce) {
    qv::msidb::Database db;
    db.strings = {L"", L"Alpha", L"beta", L"Alpha", L"", L"gamma"};
    EXPECT_EQ(db.intern(L"Alpha"), 1);
    EXPECT_EQ(db.intern(L"gamma"), 5);
    EXPECT_EQ(db.intern(L""), 0);
    EXPECT_EQ(db.intern(L"alpha"), 6);  // case counts
    std::vector<int32_t> ids;
    for (int i = 0; i < 5000; ++i) ids.push_back(db.intern(L"text " + std::to_wstring(i)));
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(ids[static_cast<size_t>(i)], 7 + i);
        ASSERT_EQ(db.intern(L"text " + std::to_wstring(i)), 7 + i);
        ASSERT_EQ(db.string(7 + i), L"text " + std::to_wstring(i));
    }
    EXPECT_EQ(db.intern(L"beta"), 2);
    EXPECT_EQ(db.strings.size(), 5007u);
}
