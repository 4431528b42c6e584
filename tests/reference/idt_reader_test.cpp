// The IDT reader: types, keys, cells and streams as the model holds them, and
// one exact reason, with file and line, for each kind of bad input.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/posix/msidb/idt.h"

namespace {

using qv::msidb::CellKind;
using qv::msidb::IdtStreamFile;
using qv::msidb::IdtText;

// Reads one file named T.idt; returns the error text, empty on success.
std::string ReadError(const std::string& text, std::vector<IdtStreamFile> streams = {}) {
    std::string error;
    const IdtText files[] = {{"T.idt", text}};
    auto db = qv::msidb::read_idt_tables(files, streams, error);
    EXPECT_EQ(db == nullptr, !error.empty());
    return error;
}

TEST(IdtReader, TypesKeysAndCells) {
    const std::string text =
        "Name\tNumber\tWide\tTitle\tNote\r\n"
        "s72\ti2\tI4\tL64\tS0\r\n"
        "T\tName\tNumber\r\n"
        "alpha\t-32767\t2147483647\tTab\x10here\tline\x19" "break\r\n"
        "beta\t7\t\t\t\r\n";
    std::string error;
    const IdtText files[] = {{"T.idt", text}};
    auto db = qv::msidb::read_idt_tables(files, {}, error);
    ASSERT_TRUE(db) << error;
    const auto* t = db->find_table(L"T");
    ASSERT_TRUE(t);
    ASSERT_EQ(t->columns.size(), 5u);
    std::wstring defs;
    for (const auto& c : t->columns) defs += c.name + L"(" + c.definition() + L")" + (c.key() ? L"k " : L" ");
    EXPECT_EQ(defs, L"Name(s72)k Number(i2)k Wide(I4) Title(L64) Note(S0) ");
    ASSERT_EQ(t->rows(), 2u);
    EXPECT_EQ(db->string(t->at(0, 0).value), L"alpha");
    EXPECT_EQ(t->at(0, 1).kind, CellKind::Integer);
    EXPECT_EQ(t->at(0, 1).value, -32767);
    EXPECT_EQ(t->at(0, 2).value, 2147483647);
    EXPECT_EQ(db->string(t->at(0, 3).value), L"Tab\there");
    EXPECT_EQ(db->string(t->at(0, 4).value), L"line\nbreak");
    EXPECT_TRUE(t->at(1, 2).is_null());
    EXPECT_TRUE(t->at(1, 3).is_null());
    EXPECT_TRUE(t->at(1, 4).is_null());
}

TEST(IdtReader, StreamsCodepageAndUtf8) {
    const std::string binary =
        "Name\tData\n"
        "s72\tV0\n"
        "Binary\tName\n"
        "doc.xml\tdoc.xml\n"
        "none\t\n";
    const std::string utf8 = "Word\ns16\nW\tWord\n\xC3\xA9t\xC3\xA9\n";
    const std::string codepage = "\n\n1252\t_ForceCodepage\n";
    const uint8_t bytes[] = {'<', 'a', '/', '>'};
    const IdtStreamFile streams[] = {{"Binary/doc.xml", bytes}};
    const IdtText files[] = {{"Binary.idt", binary}, {"W.idt", utf8}, {"_ForceCodepage.idt", codepage}};
    std::string error;
    auto db = qv::msidb::read_idt_tables(files, streams, error);
    ASSERT_TRUE(db) << error;
    EXPECT_EQ(db->codepage, 1252);
    ASSERT_EQ(db->tables.size(), 2u);
    const auto* t = db->find_table(L"Binary");
    ASSERT_TRUE(t);
    ASSERT_EQ(t->at(0, 1).kind, CellKind::Stream);
    const auto& stream = db->streams[t->at(0, 1).value];
    ASSERT_EQ(stream->size(), 4u);
    char read[4] = {0};
    EXPECT_EQ(stream->read(0, read, 4), 4u);
    EXPECT_EQ(std::string(read, 4), "<a/>");
    EXPECT_TRUE(t->at(1, 1).is_null());
    ASSERT_EQ(db->named_streams.size(), 1u);
    EXPECT_EQ(db->named_streams[0].first, L"Binary.doc.xml");
    EXPECT_EQ(db->string(db->find_table(L"W")->at(0, 0).value), L"\u00e9t\u00e9");
}

TEST(IdtReader, HeaderFaults) {
    EXPECT_EQ(ReadError("A\ns72\n"), "T.idt:3: an IDT file needs three header lines");
    EXPECT_EQ(ReadError("A\tB\ns72\nT\tA\n"), "T.idt:2: 1 types for 2 columns");
    EXPECT_EQ(ReadError("A\tB\ns72\tx4\nT\tA\n"), "T.idt:2: bad type 'x4' of column B");
    EXPECT_EQ(ReadError("A\tB\ns72\ti3\nT\tA\n"), "T.idt:2: bad type 'i3' of column B");
    EXPECT_EQ(ReadError("A\tB\ns72\ts256\nT\tA\n"), "T.idt:2: bad type 's256' of column B");
    EXPECT_EQ(ReadError("A\tB\ns72\tv1\nT\tA\n"), "T.idt:2: bad type 'v1' of column B");
    EXPECT_EQ(ReadError("A\tA\ns72\ts72\nT\tA\n"), "T.idt:1: column A given twice");
    EXPECT_EQ(ReadError("A\tB\ns72\ts72\nT\tB\n"), "T.idt:3: key column B is not column 1");
    EXPECT_EQ(ReadError("A\ns72\nT\n"), "T.idt:3: no key column");
    EXPECT_EQ(ReadError("A\ns72\nT\tA\tB\n"), "T.idt:3: more key columns than columns");
    EXPECT_EQ(ReadError("A\nv0\nT\tA\n"), "T.idt:3: a stream column cannot be a key");
    EXPECT_EQ(ReadError("\n\nabc\t_ForceCodepage\n"), "T.idt:3: bad code page");
}

TEST(IdtReader, RowFaults) {
    const std::string head = "A\tB\ns72\ti2\nT\tA\n";
    EXPECT_EQ(ReadError(head + "x\t1\ny\n"), "T.idt:5: 1 cells in a table of 2 columns");
    EXPECT_EQ(ReadError(head + "x\t1\t2\n"), "T.idt:4: 3 cells in a table of 2 columns");
    EXPECT_EQ(ReadError(head + "x\t\n"), "T.idt:4: empty value in column B, which needs one");
    EXPECT_EQ(ReadError(head + "x\t32768\n"), "T.idt:4: '32768' is no 16-bit integer for column B");
    EXPECT_EQ(ReadError(head + "x\t-32768\n"), "T.idt:4: '-32768' is no 16-bit integer for column B");
    EXPECT_EQ(ReadError(head + "x\t1x\n"), "T.idt:4: '1x' is no 16-bit integer for column B");
    EXPECT_EQ(ReadError(head + "x\t-\n"), "T.idt:4: '-' is no 16-bit integer for column B");
    EXPECT_EQ(ReadError("A\tB\ns72\ti4\nT\tA\nx\t-2147483648\n"),
              "T.idt:4: '-2147483648' is no 32-bit integer for column B");
    EXPECT_EQ(ReadError(head + "x\t1\nx\t2\n"), "T.idt:5: duplicate key");
    EXPECT_EQ(ReadError(head + "\xC3\x28\t1\n"), "T.idt:4: invalid UTF-8 in column A");
    EXPECT_EQ(ReadError(head + "\xE0\x80\xAF\t1\n"), "T.idt:4: invalid UTF-8 in column A");  // overlong
    EXPECT_EQ(ReadError(head + "\xED\xA0\x80\t1\n"), "T.idt:4: invalid UTF-8 in column A");  // surrogate
    EXPECT_EQ(ReadError(head + "ab\xE2\x82\t1\n"), "T.idt:4: invalid UTF-8 in column A");    // cut short
    EXPECT_EQ(ReadError("A\tB\ns72\tv0\nT\tA\nx\tmissing.bin\n"), "T.idt:4: no file T/missing.bin for column B");
}

TEST(IdtReader, SameTableTwice) {
    const std::string text = "A\ns72\nT\tA\n";
    const IdtText files[] = {{"one.idt", text}, {"two.idt", text}};
    std::string error;
    EXPECT_FALSE(qv::msidb::read_idt_tables(files, {}, error));
    EXPECT_EQ(error, "two.idt:3: table T given twice");
}

TEST(IdtReader, TypeWords) {
    struct Case {
        const char* text;
        uint16_t word;
    };
    const Case cases[] = {{"s72", 0x0D48}, {"S255", 0x1DFF}, {"l0", 0x0F00}, {"L64", 0x1F40},
                          {"i2", 0x0502}, {"I4", 0x1104}, {"v0", 0x0900}, {"V0", 0x1900}};
    for (const auto& c : cases) {
        uint16_t word = 0;
        EXPECT_TRUE(qv::msidb::parse_idt_type(c.text, word)) << c.text;
        EXPECT_EQ(word, c.word) << c.text;
    }
    uint16_t word = 0;
    for (const char* bad : {"", "s", "s-1", "i8", "g72", "s72x", "S1000", "I0"})
        EXPECT_FALSE(qv::msidb::parse_idt_type(bad, word)) << bad;
}

}  // namespace

namespace {

// Damaged texts: every truncation and many random byte changes of a valid
// file either read or fail with a reason that names the file and a line.
TEST(IdtReader, DamagedTextsFailCleanly) {
    const std::string valid =
        "Name\tCount\tData\tNote\r\n"
        "s72\tI4\tV0\tL0\r\n"
        "T\tName\r\n"
        "a\t1\tdoc\tx\x10y\r\n"
        "b\t-5\t\t\xC3\xA9\r\n";
    const uint8_t bytes[] = {1, 2, 3};
    const IdtStreamFile streams[] = {{"T/doc", bytes}};
    auto check = [&](const std::string& text) {
        std::string error;
        const IdtText files[] = {{"T.idt", text}};
        auto db = qv::msidb::read_idt_tables(files, streams, error);
        if (!db) {
            EXPECT_EQ(error.rfind("T.idt:", 0), 0u) << error;
        } else {
            EXPECT_TRUE(error.empty());
            for (const auto& t : db->tables) EXPECT_EQ(t.cells.size(), t.rows() * t.columns.size());
        }
    };
    for (size_t n = 0; n <= valid.size(); ++n) check(valid.substr(0, n));
    uint32_t seed = 12345;
    auto next = [&] { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7FFF; };
    const char alphabet[] = {'\t', '\n', '\r', '0', '9', '-', 'v', 'V', 's', 'i', 'I', '\x80', '\xFF', '\x10', ' '};
    for (int round = 0; round < 3000; ++round) {
        std::string text = valid;
        for (int k = 0, changes = 1 + next() % 4; k < changes; ++k) {
            const size_t at = next() % text.size();
            switch (next() % 3) {
            case 0: text[at] = alphabet[next() % sizeof alphabet]; break;
            case 1: text.erase(at, 1); break;
            default: text.insert(at, 1, alphabet[next() % sizeof alphabet]); break;
            }
        }
        check(text);
    }
}

}  // namespace
