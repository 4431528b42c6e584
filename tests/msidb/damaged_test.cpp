// Hand-made compound files: well-formed variants the tools do not write
// (version 4, 2-byte refs under the 3-byte flag, long strings, sub-storages)
// and damaged ones, each of which must fail with its reason or decode safely.
#include <sys/stat.h>

#include <random>

#include "fixture.h"
#include "platform/posix/msidb/cfb.h"

using namespace msidb_test;

namespace {

using Rows = std::vector<std::string>;

// Pool: 1 "T", 2 "K", 3 "V", 4 "row1", 5 "hello", 6 "row2".
// T(K s72 key, V L0) with rows (row1, hello), (row2, <id>).
struct Db {
    uint32_t pool_header = 0;
    std::vector<std::string> strings{"T", "K", "V", "row1", "hello", "row2"};
    std::string tables = le16s({1});
    std::string columns = le16s({1, 1, 0x8001, 0x8002, 2, 3, 0xAD48, 0x9F00});
    std::string t = le16s({4, 6, 5, 5});
    bool with_pool = true;

    CfbWriter writer() const {
        CfbWriter w;
        if (with_pool) add_pool(w, pool_header, strings);
        w.add(encode_name("_Tables", true), tables);
        w.add(encode_name("_Columns", true), columns);
        w.add(encode_name("T", true), t);
        return w;
    }
};

std::string open_reason(const std::vector<uint8_t>& bytes) {
    std::string reason;
    auto db = open_bytes(bytes, reason);
    return db ? "opened" : reason;
}

TEST(HandMade, SmallDatabaseInBothVersions) {
    for (int version : {3, 4}) {
        SCOPED_TRACE(version);
        CfbWriter w = Db().writer();
        w.version = version;
        w.add(encode_name("Binary.data", false), std::string(10000, 'x') + "tail");
        w.add_storage(encode_name("Sub", false));
        std::string reason;
        auto db = open_bytes(w.build(), reason);
        ASSERT_TRUE(db) << reason;
        ASSERT_EQ(db->tables.size(), 1u);
        EXPECT_EQ(rows_text(*db, db->tables[0]), (Rows{"row1|hello", "row2|hello"}));
        EXPECT_EQ(db->storages, (std::vector<std::wstring>{L"Sub"}));
        ASSERT_EQ(db->named_streams.size(), 1u);
        EXPECT_EQ(db->named_streams[0].first, L"Binary.data");
        EXPECT_EQ(stream_text(*db->named_streams[0].second), std::string(10000, 'x') + "tail");
        EXPECT_TRUE(db->summary.empty());
    }
}

TEST(HandMade, StringReferenceWidths) {
    // Declared 3-byte references with tables that only fit 2 bytes.
    Db d;
    d.pool_header = 0x80000000u | 1252;
    std::string reason;
    auto db = open_bytes(d.writer().build(), reason);
    ASSERT_TRUE(db) << reason;
    EXPECT_TRUE(db->long_string_refs);
    EXPECT_EQ(db->codepage, 1252);
    EXPECT_EQ(rows_text(*db, db->tables.at(0)), (Rows{"row1|hello", "row2|hello"}));

    // Real 3-byte references: low word then high byte, per column.
    Db d3;
    d3.pool_header = 0x80000000u;
    d3.tables = std::string("\x01\x00\x00", 3);
    d3.columns = std::string("\x01\x00\x00\x01\x00\x00", 6) + le16s({0x8001, 0x8002}) +
                 std::string("\x02\x00\x00\x03\x00\x00", 6) + le16s({0xAD48, 0x9F00});
    d3.t = std::string("\x04\x00\x00\x06\x00\x00\x05\x00\x00\x00\x00\x00", 12);
    db = open_bytes(d3.writer().build(), reason);
    ASSERT_TRUE(db) << reason;
    EXPECT_EQ(rows_text(*db, db->tables.at(0)), (Rows{"row1|hello", "row2|~"}));
}

TEST(HandMade, PoolSlotForms) {
    // Slot 2 unused (0,0); slot 3-4 one long string of 65552 bytes; then "end".
    CfbWriter w;
    std::string pool = std::string("\0\0\0\0", 4) + le16s({1, 1, 0, 0, 0, 1, 16, 3, 3, 1});
    std::string data = "T" + std::string(65552, 'L') + "end";
    w.add(encode_name("_StringPool", true), pool);
    w.add(encode_name("_StringData", true), data);
    w.add(encode_name("_Tables", true), le16s({1}));
    std::string reason;
    auto db = open_bytes(w.build(), reason);
    ASSERT_TRUE(db) << reason;
    ASSERT_EQ(db->strings.size(), 5u);
    EXPECT_EQ(db->strings[1], L"T");
    EXPECT_EQ(db->strings[2], L"");
    EXPECT_EQ(db->strings[3], std::wstring(65552, L'L'));
    EXPECT_EQ(db->strings[4], L"end");
    // T is listed but has no columns and no stream: an empty table.
    ASSERT_EQ(db->tables.size(), 1u);
    EXPECT_EQ(db->tables[0].rows(), 0u);

    // Slots describing more bytes than _StringData holds.
    CfbWriter bad;
    bad.add(encode_name("_StringPool", true), std::string("\0\0\0\0", 4) + le16s({10, 1}));
    bad.add(encode_name("_StringData", true), "short");
    EXPECT_EQ(open_reason(bad.build()), "damaged string pool");
}

TEST(HandMade, OutOfRangeIdsAndMissingStreams) {
    Db d;
    d.t = le16s({4, 6, 5, 999});  // second V refers past the pool
    std::string reason;
    auto db = open_bytes(d.writer().build(), reason);
    ASSERT_TRUE(db) << reason;
    EXPECT_EQ(rows_text(*db, db->tables.at(0)), (Rows{"row1|hello", "row2|~"}));

    // A padding tail after the last full row is ignored.
    d.t = le16s({4, 5, 0});
    db = open_bytes(d.writer().build(), reason);
    ASSERT_TRUE(db) << reason;
    EXPECT_EQ(rows_text(*db, db->tables.at(0)), (Rows{"row1|hello"}));

    // A stream column whose stream "T.row1" exists and one whose "T.row2" does not.
    Db s;
    s.columns = le16s({1, 1, 0x8001, 0x8002, 2, 3, 0xAD48, 0x9900});
    s.t = le16s({4, 6, 1, 1});
    CfbWriter w = s.writer();
    w.add(encode_name("T.row1", false), "data");
    db = open_bytes(w.build(), reason);
    ASSERT_TRUE(db) << reason;
    EXPECT_EQ(rows_text(*db, db->tables.at(0)), (Rows{"row1|<stream 4>", "row2|~"}));

    Db bad_tables;
    bad_tables.tables = le16s({77});
    EXPECT_EQ(open_reason(bad_tables.writer().build()), "damaged table stream _Tables");
    Db bad_columns;
    bad_columns.columns = le16s({1, 1, 0x8001, 0x8002, 2, 300, 0xAD48, 0x9F00});
    EXPECT_EQ(open_reason(bad_columns.writer().build()), "damaged table stream _Columns");
    Db repeated;
    repeated.columns = le16s({1, 1, 0x8001, 0x8001, 2, 3, 0xAD48, 0x9F00});
    EXPECT_EQ(open_reason(repeated.writer().build()), "damaged table stream _Columns");
}

TEST(HandMade, MissingStringPool) {
    Db d;
    d.with_pool = false;
    EXPECT_EQ(open_reason(d.writer().build()), "missing string pool");
    // Without any table data the pool is not needed.
    CfbWriter empty;
    empty.add(encode_name("Binary.x", false), "x");
    std::string reason;
    auto db = open_bytes(empty.build(), reason);
    ASSERT_TRUE(db) << reason;
    EXPECT_TRUE(db->tables.empty());
    EXPECT_EQ(db->named_streams.size(), 1u);
}

// A file with one large stream (entry 1 after the pool's 2) in ordinary sectors.
struct Damage {
    CfbWriter w;
    std::vector<uint8_t> bytes;
    Damage() {
        w = Db().writer();
        w.add(encode_name("Binary.big", false), std::string(3000 * 4, 'b'));
        bytes = w.build();
    }
    uint32_t big_entry() const { return static_cast<uint32_t>(w.children.size()); }
    uint32_t big_first() const { return w.first_sector.back(); }
};

TEST(Damaged, HeaderProblems) {
    Damage d;
    EXPECT_EQ(open_reason({}), "not a compound file");
    EXPECT_EQ(open_reason(std::vector<uint8_t>(d.bytes.begin(), d.bytes.begin() + 4)), "truncated file");
    EXPECT_EQ(open_reason(std::vector<uint8_t>(d.bytes.begin(), d.bytes.begin() + 300)), "truncated file");
    auto b = d.bytes;
    b[3] = 0;
    EXPECT_EQ(open_reason(b), "not a compound file");
    b = d.bytes;
    b[0x1A] = 5;
    EXPECT_EQ(open_reason(b), "unsupported compound file version");
    b = d.bytes;
    b[0x1E] = 12;  // 4096-byte sectors in a version 3 file
    EXPECT_EQ(open_reason(b), "damaged compound file header");
    b = d.bytes;
    CfbWriter::put32(b, 0x2C, 50000);  // more FAT sectors than the file has
    EXPECT_EQ(open_reason(b), "truncated file");
    const std::string zip = "PK\3\4 not a package";
    EXPECT_EQ(open_reason(std::vector<uint8_t>(zip.begin(), zip.end())), "not a compound file");
}

TEST(Damaged, ChainProblems) {
    Damage d;
    ASSERT_EQ(open_reason(d.bytes), "opened");
    // A loop inside the large stream's chain.
    auto b = d.bytes;
    CfbWriter::put32(b, d.w.fat_entry_offset(d.big_first() + 3), d.big_first() + 1);
    EXPECT_EQ(open_reason(b), "cyclic sector chain");
    // The directory chain pointing at itself.
    b = d.bytes;
    CfbWriter::put32(b, d.w.fat_entry_offset(d.w.dir_start), d.w.dir_start);
    EXPECT_EQ(open_reason(b), "cyclic sector chain");
    // A chain running into the directory's sectors.
    b = d.bytes;
    CfbWriter::put32(b, d.w.fat_entry_offset(d.big_first()), d.w.dir_start);
    EXPECT_EQ(open_reason(b), "overlapping sector chains");
    // A chain pointing past the end of the file.
    b = d.bytes;
    CfbWriter::put32(b, d.w.entry_offset(d.big_entry()) + 116, 100000);
    EXPECT_EQ(open_reason(b), "truncated file");
    // The file cut inside the large stream.
    b = d.bytes;
    b.resize(b.size() - 3 * 512);
    EXPECT_EQ(open_reason(b), "truncated file");
    // A free sector inside a chain.
    b = d.bytes;
    CfbWriter::put32(b, d.w.fat_entry_offset(d.big_first()), 0xFFFFFFFF);
    EXPECT_EQ(open_reason(b), "damaged sector chain");
}

TEST(Damaged, DirectoryProblems) {
    Damage d;
    auto b = d.bytes;
    // Entry 3's right sibling back to entry 2.
    CfbWriter::put32(b, d.w.entry_offset(3) + 72, 2);
    EXPECT_EQ(open_reason(b), "cyclic directory tree");
    b = d.bytes;
    CfbWriter::put32(b, d.w.entry_offset(0) + 76, 5000);
    EXPECT_EQ(open_reason(b), "damaged directory");
    b = d.bytes;
    b[d.w.entry_offset(0) + 66] = 2;  // entry 0 is not a root
    EXPECT_EQ(open_reason(b), "damaged directory");
}

TEST(Damaged, OversizedDeclaredSizesAreCutToTheChain) {
    Damage d;
    auto b = d.bytes;
    CfbWriter::put32(b, d.w.entry_offset(d.big_entry()) + 120, 0x7FFFFFF0);
    std::string reason;
    auto db = open_bytes(b, reason);
    ASSERT_TRUE(db) << reason;
    auto s = db->find_stream(L"Binary.big");
    ASSERT_TRUE(s);
    EXPECT_EQ(s->size(), 12288u);  // 24 sectors of 512
    EXPECT_EQ(stream_text(*s), std::string(12000, 'b') + std::string(288, '\0'));

    // A table stream claiming more than its mini chain holds: it is read
    // as the whole 64-byte mini sector, so 16 rows of mostly zero cells.
    b = d.bytes;
    CfbWriter::put32(b, d.w.entry_offset(5) + 120, 4000);
    db = open_bytes(b, reason);
    ASSERT_TRUE(db) << reason;
    Rows expected{"row1|~", "row2|~", "hello|~", "hello|~"};
    expected.resize(16, "~|~");
    EXPECT_EQ(rows_text(*db, db->tables.at(0)), expected);
}

// Random damage to a real package: every mutant either fails with a reason
// or opens and can be read entirely.
TEST(Damaged, RandomMutantsNeverCrash) {
    const std::string dir = make_temp_dir("mutants");
    mkdir((dir + "/Binary").c_str(), 0755);
    write_file(dir + "/Binary/a.bin", std::string(6000, 'a'));
    write_file(dir + "/Binary/b.bin", "small");
    const std::string path = build_package(
        dir, "m.msi",
        {{"T.idt", idt("K\tA\tB\tL", "s72\ti2\tI4\tL0", "T\tK", {"r1\t1\t-5\thello", "r2\t2\t\tworld"})},
         {"Binary.idt", idt("Name\tData", "s72\tv0", "Binary\tName", {"a\ta.bin", "b\tb.bin"})}},
        "-s Subject Author 'Intel;1033'");
    const auto original = read_file(path);
    ASSERT_GT(original.size(), 2048u);

    std::mt19937 rng(20240611);
    int opened = 0, failed = 0;
    for (int n = 0; n < 400; ++n) {
        auto b = original;
        const int edits = 1 + static_cast<int>(rng() % 8);
        for (int e = 0; e < edits; ++e) {
            // Half the edits land in the header and first sectors, where the
            // structure is; the rest anywhere.
            const size_t span = rng() % 2 ? std::min<size_t>(b.size(), 2048) : b.size();
            const size_t at = rng() % span;
            if (rng() % 2)
                b[at] ^= static_cast<uint8_t>(1u << (rng() % 8));
            else
                b[at] = static_cast<uint8_t>(rng());
        }
        if (n % 10 == 0) b.resize(rng() % b.size());
        std::string reason;
        auto db = open_bytes(b, reason);
        if (!db) {
            EXPECT_FALSE(reason.empty());
            ++failed;
            continue;
        }
        ++opened;
        size_t total = 0;
        for (const auto& t : db->tables)
            for (size_t r = 0; r < t.rows(); ++r)
                for (size_t c = 0; c < t.columns.size(); ++c) total += cell_text(*db, t, r, c).size();
        for (const auto& [name, s] : db->named_streams) total += qv::msidb::cfb::read_all(*s).size();
        (void)total;
    }
    RecordProperty("opened", opened);
    EXPECT_GT(opened, 0) << failed << " failed";
    EXPECT_GT(failed, 0) << opened << " opened";
}

}  // namespace
