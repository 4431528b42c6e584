// Packages written by msibuild, read back and compared value by value (and
// against msiinfo's export where the tool can read its own output).
#include <sys/stat.h>

#include <algorithm>

#include "fixture.h"

using namespace msidb_test;

namespace {

using Rows = std::vector<std::string>;

std::vector<std::string> column_defs(const Table& t) {
    std::vector<std::string> out;
    for (const auto& c : t.columns) out.push_back(narrow(c.name) + ":" + narrow(c.definition()));
    return out;
}

// A table in msiinfo's export form (stream columns are not compared).
std::string export_text(const Database& db, const Table& t) {
    std::string names, types, keys = narrow(t.name);
    for (size_t c = 0; c < t.columns.size(); ++c) {
        names += (c ? "\t" : "") + narrow(t.columns[c].name);
        types += (c ? "\t" : "") + narrow(t.columns[c].definition());
        if (t.columns[c].key()) keys += "\t" + narrow(t.columns[c].name);
    }
    std::string out = names + "\r\n" + types + "\r\n" + keys + "\r\n";
    for (size_t r = 0; r < t.rows(); ++r) {
        for (size_t c = 0; c < t.columns.size(); ++c) {
            const std::string v = cell_text(db, t, r, c);
            out += (c ? "\t" : "") + (v == "~" ? "" : v);
        }
        out += "\r\n";
    }
    return out;
}

class BasicPackage : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = make_temp_dir("basic");
        // msibuild looks for a stream file in a folder named after the table.
        mkdir((dir_ + "/Binary").c_str(), 0755);
        mkdir((dir_ + "/TwoKey").c_str(), 0755);
        write_file(dir_ + "/Binary/foo.bin", "hello\n");
        write_file(dir_ + "/TwoKey/foo.bin", "hello\n");
        write_file(dir_ + "/Binary/big.bin", std::string(5000, 'B') + "end");
        path_ = build_package(
            dir_, "basic.msi",
            {{"T.idt", idt("K\tA\tB\tL", "s72\ti2\tI4\tL0", "T\tK",
                           {"r1\t1\t-5\thello", "r2\t-32767\t2147483647\tworld", "r3\t0\t\t",
                            "r4\t32767\t-2147483647\tx"})},
             {"Binary.idt", idt("Name\tData", "s72\tv0", "Binary\tName", {"foo\tfoo.bin", "big\tbig.bin"})},
             {"TwoKey.idt", idt("A\tB\tData", "s72\ti2\tV0", "TwoKey\tA\tB", {"key.one\t5\tfoo.bin", "other\t7\t"})},
             {"Empty.idt", idt("K\tN", "s38\tI2", "Empty\tK", {})}},
            "-s Subject Author 'Intel;1033' '{11111111-2222-3333-4444-555555555555}'");
    }
    void SetUp() override { ASSERT_TRUE(db = open_ok(path_)); }
    static inline std::string dir_, path_;
    std::unique_ptr<Database> db;
};

TEST_F(BasicPackage, IntegersStringsAndNullsDecodeExactly) {
    EXPECT_EQ(db->file_path, path_);
    EXPECT_FALSE(db->long_string_refs);
    EXPECT_EQ(db->codepage, 0);
    const Table* t = db->find_table(L"T");
    ASSERT_TRUE(t);
    EXPECT_EQ(column_defs(*t), (std::vector<std::string>{"K:s72", "A:i2", "B:I4", "L:L0"}));
    EXPECT_EQ(t->columns[0].type, 0x2D48);
    EXPECT_EQ(t->columns[3].type, 0x1F00);
    EXPECT_EQ(rows_text(*db, *t), (Rows{"r1|1|-5|hello", "r2|-32767|2147483647|world", "r3|0|~|~",
                                         "r4|32767|-2147483647|x"}));

    const Table* e = db->find_table(L"Empty");
    ASSERT_TRUE(e);
    EXPECT_EQ(column_defs(*e), (std::vector<std::string>{"K:s38", "N:I2"}));
    EXPECT_EQ(e->rows(), 0u);
}

TEST_F(BasicPackage, StreamCellsFollowTheirKeys) {
    const Table* bin = db->find_table(L"Binary");
    ASSERT_TRUE(bin);
    EXPECT_EQ(rows_text(*db, *bin), (Rows{"foo|<stream 6>", "big|<stream 5003>"}));
    EXPECT_EQ(stream_text(*db->streams.at(bin->at(0, 1).value)), "hello\n");
    // The large one lives in ordinary sectors, not the mini stream.
    EXPECT_EQ(stream_text(*db->streams.at(bin->at(1, 1).value)), std::string(5000, 'B') + "end");

    const Table* two = db->find_table(L"TwoKey");
    ASSERT_TRUE(two);
    EXPECT_EQ(rows_text(*db, *two), (Rows{"key.one|5|<stream 6>", "other|7|~"}));

    // Partial reads across sector boundaries.
    auto big = db->streams.at(bin->at(1, 1).value);
    char buf[10];
    ASSERT_EQ(big->read(4995, buf, 10), 8u);
    EXPECT_EQ(std::string(buf, 8), "BBBBBend");
    EXPECT_EQ(big->read(5003, buf, 10), 0u);
}

TEST_F(BasicPackage, NamedStreamsAreTheNonTableStreams) {
    std::vector<std::string> names;
    for (const auto& [name, stream] : db->named_streams) names.push_back(narrow(name));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"\x05SummaryInformation", "Binary.big", "Binary.foo",
                                               "TwoKey.key.one.5"}));
    EXPECT_TRUE(db->storages.empty());
    ASSERT_TRUE(db->find_stream(L"Binary.foo"));
    EXPECT_EQ(stream_text(*db->find_stream(L"Binary.foo")), "hello\n");
}

TEST_F(BasicPackage, TablesMatchTheToolsOwnExport) {
    std::string listed;
    run_in(dir_, "msiinfo tables basic.msi", &listed);
    std::string ours;
    for (const auto& t : db->tables) ours += narrow(t.name) + "\n";
    EXPECT_EQ("_SummaryInformation\n_ForceCodepage\n" + ours, listed);
    for (const char* name : {"T", "Empty"}) {
        std::string expected;
        run_in(dir_, std::string("msiinfo export basic.msi ") + name, &expected);
        EXPECT_EQ(export_text(*db, *db->find_table(std::wstring(name, name + strlen(name)))), expected) << name;
    }
}

TEST_F(BasicPackage, SummaryFromCommandLine) {
    EXPECT_EQ(summary_text(db->summary),
              (Rows{"2/30=Installation Database", "3/30=Subject", "4/30=Author", "5/30=Installer, MSI",
                    "7/30=Intel;1033", "9/30={11111111-2222-3333-4444-555555555555}", "14/3=200", "15/3=0", "16/3=0",
                    "18/30=libmsi msibuild"}));
}

TEST(Summary, AllPropertyKindsFromIdt) {
    const std::string dir = make_temp_dir("summary");
    const std::string path = build_package(
        dir, "s.msi",
        {{"_ForceCodepage.idt", codepage_idt(1252)},
         {"_SummaryInformation.idt",
          idt("PropertyId\tValue", "i2\tl255", "_SummaryInformation\tPropertyId",
              {"1\t65001", "2\tInstallation Database", "4\tJörg Müller", "7\tx64;1033,1031", "12\t2020/01/02 03:04:05",
               "14\t200", "15\t10", "19\t2"})}});
    auto db = open_ok(path);
    ASSERT_TRUE(db);
    // 2020-01-02 03:04:05 UTC in 100 ns ticks since 1601-01-01.
    const uint64_t seconds = 11644473600ull + 1577923200ull + 3 * 3600 + 4 * 60 + 5;
    // msibuild adds defaults of its own (a fresh package code among them):
    // compare the imported ones. The code page (1) is a 16-bit value, 65001
    // read signed; text follows it, not the database's code page.
    std::map<uint32_t, SummaryProperty> imported;
    for (uint32_t id : {1, 2, 4, 7, 12, 14, 15, 19})
        if (db->summary.count(id)) imported[id] = db->summary.at(id);
    EXPECT_EQ(summary_text(imported),
              (Rows{"1/2=-535", "2/30=Installation Database", "4/30=Jörg Müller", "7/30=x64;1033,1031",
                    "12/64=" + std::to_string(seconds * 10000000ull), "14/3=200", "15/3=10", "19/3=2"}));
}

struct CodepageCase {
    int codepage;
    std::string utf8;  // the text as written to the .idt
    std::wstring expected;
};

TEST(Codepages, TextConvertsFromTheDatabaseCodepage) {
    const std::vector<CodepageCase> cases = {
        {1252, "café € Œuvre", L"café € Œuvre"},
        {932, "日本語テキスト", L"日本語テキスト"},
        {65001, "ünï 日本 €", L"ünï 日本 €"},
        {1255, "שלום עולם", L"שלום עולם"},
        {0, "plain text", L"plain text"},
    };
    const std::string dir = make_temp_dir("codepage");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.codepage);
        const std::string name = "cp" + std::to_string(c.codepage) + ".msi";
        const std::string path =
            build_package(dir, name,
                          {{"_ForceCodepage.idt", codepage_idt(c.codepage)},
                           {"T.idt", idt("K\tV", "s72\tL0", "T\tK", {"k1\t" + c.utf8, "k2\tascii"})}});
        auto db = open_ok(path);
        ASSERT_TRUE(db);
        EXPECT_EQ(db->codepage, c.codepage);
        const Table* t = db->find_table(L"T");
        ASSERT_TRUE(t);
        ASSERT_EQ(t->rows(), 2u);
        EXPECT_EQ(db->string(t->at(0, 1).value), c.expected);
        EXPECT_EQ(db->string(t->at(1, 1).value), L"ascii");
    }
}

TEST(Layout, ThreeByteStringReferences) {
    const std::string dir = make_temp_dir("long");
    std::vector<std::string> rows;
    for (int i = 0; i < 70000; ++i) {
        char key[16];
        snprintf(key, sizeof key, "key%05d", i);
        rows.push_back(std::string(key) + "\t" + std::to_string(i - 35000));
    }
    const std::string path = build_package(dir, "long.msi",
                                           {{"Big.idt", idt("K\tV", "s72\tI4", "Big\tK", rows)},
                                            {"Small.idt", idt("K\tN", "s72\tS20", "Small\tK", {"alpha\tbeta"})}});
    auto db = open_ok(path);
    ASSERT_TRUE(db);
    EXPECT_TRUE(db->long_string_refs);
    const Table* big = db->find_table(L"Big");
    ASSERT_TRUE(big);
    ASSERT_EQ(big->rows(), 70000u);
    EXPECT_EQ(cell_text(*db, *big, 0, 0) + "|" + cell_text(*db, *big, 0, 1), "key00000|-35000");
    EXPECT_EQ(cell_text(*db, *big, 69999, 0) + "|" + cell_text(*db, *big, 69999, 1), "key69999|34999");
    const Table* small = db->find_table(L"Small");
    ASSERT_TRUE(small);
    EXPECT_EQ(rows_text(*db, *small), (Rows{"alpha|beta"}));

    std::string expected;
    run_in(dir, "msiinfo export long.msi Big", &expected);
    EXPECT_EQ(export_text(*db, *big), expected);
}

TEST(Layout, ThirtyColumns) {
    const std::string dir = make_temp_dir("wide");
    std::string names = "K", types = "s72", row = "key";
    std::vector<std::string> defs{"K:s72"};
    std::vector<std::string> values{"key"};
    const char* kinds[] = {"i2", "I4", "s32", "L0"};
    for (int c = 1; c < 30; ++c) {
        const std::string kind = kinds[c % 4];
        names += "\tC" + std::to_string(c);
        types += "\t" + kind;
        defs.push_back("C" + std::to_string(c) + ":" + kind);
        std::string v = kind[0] == 'i' || kind[0] == 'I' ? std::to_string(c * (c % 2 ? -1000 : 1)) : "v" + std::to_string(c);
        if (c == 29) v = "";  // a nullable column left empty
        row += "\t" + v;
        values.push_back(v.empty() ? "~" : v);
    }
    const std::string path = build_package(dir, "wide.msi", {{"Wide.idt", idt(names, types, "Wide\tK", {row})}});
    auto db = open_ok(path);
    ASSERT_TRUE(db);
    const Table* t = db->find_table(L"Wide");
    ASSERT_TRUE(t);
    EXPECT_EQ(column_defs(*t), defs);
    ASSERT_EQ(t->rows(), 1u);
    std::string joined;
    for (size_t i = 0; i < values.size(); ++i) joined += (i ? "|" : "") + values[i];
    EXPECT_EQ(rows_text(*db, *t), (Rows{joined}));
}

}  // namespace

namespace {

// 8 MB of stream data need more FAT sectors than the header's 109 slots, so
// the FAT is reached through DIFAT sectors.
TEST(Layout, LargeStreamThroughDifat) {
    const std::string dir = make_temp_dir("difat");
    std::string payload(8u << 20, '\0');
    uint32_t x = 12345;
    for (auto& ch : payload) {
        x = x * 1103515245u + 12345u;
        ch = static_cast<char>(x >> 24);
    }
    write_file(dir + "/cab.bin", payload);
    const std::string path = build_package(dir, "difat.msi", {}, "-a Disk1.cab cab.bin");
    const auto file = read_file(path);
    ASSERT_GE(file.size(), 0x4Cu);
    EXPECT_GT(file[0x48] | (file[0x49] << 8), 0);  // DIFAT sector count in the header
    auto db = open_ok(path);
    ASSERT_TRUE(db);
    auto cab = db->find_stream(L"Disk1.cab");
    ASSERT_TRUE(cab);
    ASSERT_EQ(cab->size(), payload.size());
    EXPECT_TRUE(stream_text(*cab) == payload);
    EXPECT_TRUE(db->tables.empty());
}

}  // namespace
