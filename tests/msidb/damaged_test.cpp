// Hand-made compound files: well-formed variants the tools do not write
// (version 4, 2-byte refs under the 3-byte flag, long strings, sub-storages)
// and damaged ones, each of which must fail with its reason or decode safely.
#include <sys/stat.h>

#include <deque>
#include <functional>
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

std::unique_ptr<Database> opened(const std::vector<uint8_t>& bytes) {
    std::string reason;
    auto db = open_bytes(bytes, reason);
    EXPECT_TRUE(db) << reason;
    return db;
}

// The rows of the first table, or why there are none.
Rows first_rows(const std::vector<uint8_t>& bytes) {
    auto db = opened(bytes);
    if (!db || db->tables.empty()) return {"no table"};
    return rows_text(*db, db->tables[0]);
}

TEST(HandMade, SmallDatabaseInBothVersions) {
    for (int version : {3, 4}) {
        SCOPED_TRACE(version);
        CfbWriter w = Db().writer();
        w.version = version;
        w.add(encode_name("Binary.data", false), std::string(10000, 'x') + "tail");
        w.add_storage(encode_name("Sub", false));
        auto db = opened(w.build());
        ASSERT_TRUE(db);
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
    auto db = opened(d.writer().build());
    ASSERT_TRUE(db);
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
    EXPECT_EQ(first_rows(d3.writer().build()), (Rows{"row1|hello", "row2|~"}));
}

TEST(HandMade, PoolSlotForms) {
    // Slot 2 unused (0,0); slot 3-4 one long string of 65552 bytes; then "end".
    CfbWriter w;
    std::string pool = std::string("\0\0\0\0", 4) + le16s({1, 1, 0, 0, 0, 1, 16, 3, 3, 1});
    std::string data = "T" + std::string(65552, 'L') + "end";
    w.add(encode_name("_StringPool", true), pool);
    w.add(encode_name("_StringData", true), data);
    w.add(encode_name("_Tables", true), le16s({1}));
    auto db = opened(w.build());
    ASSERT_TRUE(db);
    EXPECT_EQ(db->strings, (std::deque<std::wstring>{L"", L"T", L"", std::wstring(65552, L'L'), L"end"}));
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
    EXPECT_EQ(first_rows(d.writer().build()), (Rows{"row1|hello", "row2|~"}));
    d.t = le16s({4, 5, 0});  // a padding tail after the last full row is ignored
    EXPECT_EQ(first_rows(d.writer().build()), (Rows{"row1|hello"}));

    // A stream column whose stream "T.row1" exists and one whose "T.row2" does not.
    Db s;
    s.columns = le16s({1, 1, 0x8001, 0x8002, 2, 3, 0xAD48, 0x9900});
    s.t = le16s({4, 6, 1, 1});
    CfbWriter w = s.writer();
    w.add(encode_name("T.row1", false), "data");
    EXPECT_EQ(first_rows(w.build()), (Rows{"row1|<stream 4>", "row2|~"}));

}

TEST(HandMade, DamagedTablesAndMissingPool) {
    auto changed = [](const std::function<void(Db&)>& change) {
        Db d;
        change(d);
        return open_reason(d.writer().build());
    };
    EXPECT_EQ(changed([](Db& d) { d.tables = le16s({77}); }), "damaged table stream _Tables");
    EXPECT_EQ(changed([](Db& d) { d.columns = le16s({1, 1, 0x8001, 0x8002, 2, 300, 0xAD48, 0x9F00}); }),
              "damaged table stream _Columns");
    EXPECT_EQ(changed([](Db& d) { d.columns = le16s({1, 1, 0x8001, 0x8001, 2, 3, 0xAD48, 0x9F00}); }),
              "damaged table stream _Columns");  // a repeated column number
    EXPECT_EQ(changed([](Db& d) { d.with_pool = false; }), "missing string pool");
    // Without any table data the pool is not needed.
    CfbWriter empty;
    empty.add(encode_name("Binary.x", false), "x");
    auto db = opened(empty.build());
    ASSERT_TRUE(db);
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

// Each damage, applied to a fresh copy of the good file, and its reason.
TEST(Damaged, StructureProblemsFailWithTheirReason) {
    Damage d;
    ASSERT_EQ(open_reason(d.bytes), "opened");
    using Bytes = std::vector<uint8_t>;
    auto put = [](size_t at, uint32_t v) { return [=](Bytes& b) { CfbWriter::put32(b, at, v); }; };
    auto cut = [](size_t size) { return [=](Bytes& b) { b.resize(size); }; };
    const uint32_t big = d.big_first();
    static const std::string zip = "PK\3\4 not a package";
    const std::vector<std::pair<std::function<void(Bytes&)>, std::string>> cases = {
        {cut(0), "not a compound file"},
        {cut(4), "truncated file"},
        {cut(300), "truncated file"},
        {[](Bytes& b) { b[3] = 0; }, "not a compound file"},
        {[](Bytes& b) { b[0x1A] = 5; }, "unsupported compound file version"},
        {[](Bytes& b) { b[0x1E] = 12; }, "damaged compound file header"},  // 4096-byte sectors in version 3
        {put(0x2C, 50000), "truncated file"},                               // more FAT sectors than the file has
        {[](Bytes& b) { b.assign(zip.begin(), zip.end()); }, "not a compound file"},
        // Sector chains: a loop inside the large stream, the directory pointing
        // at itself, a chain running into the directory, a start past the end
        // of the file, the file cut inside the stream, a free sector in a chain.
        {put(d.w.fat_entry_offset(big + 3), big + 1), "cyclic sector chain"},
        {put(d.w.fat_entry_offset(d.w.dir_start), d.w.dir_start), "cyclic sector chain"},
        {put(d.w.fat_entry_offset(big), d.w.dir_start), "overlapping sector chains"},
        {put(d.w.entry_offset(d.big_entry()) + 116, 100000), "truncated file"},
        {cut(d.bytes.size() - 3 * 512), "truncated file"},
        {put(d.w.fat_entry_offset(big), 0xFFFFFFFF), "damaged sector chain"},
        // Directory: entry 3's right sibling back to entry 2, a child past the
        // end, entry 0 not a root.
        {put(d.w.entry_offset(3) + 72, 2), "cyclic directory tree"},
        {put(d.w.entry_offset(0) + 76, 5000), "damaged directory"},
        {[&](Bytes& b) { b[d.w.entry_offset(0) + 66] = 2; }, "damaged directory"},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        Bytes b = d.bytes;
        cases[i].first(b);
        EXPECT_EQ(open_reason(b), cases[i].second);
    }
}

TEST(Damaged, OversizedDeclaredSizesAreCutToTheChain) {
    Damage d;
    auto b = d.bytes;
    CfbWriter::put32(b, d.w.entry_offset(d.big_entry()) + 120, 0x7FFFFFF0);
    auto db = opened(b);
    ASSERT_TRUE(db);
    auto s = db->find_stream(L"Binary.big");
    ASSERT_TRUE(s);
    EXPECT_EQ(s->size(), 12288u);  // 24 sectors of 512
    EXPECT_EQ(stream_text(*s), std::string(12000, 'b') + std::string(288, '\0'));

    // A table stream claiming more than its mini chain holds: it is read
    // as the whole 64-byte mini sector, so 16 rows of mostly zero cells.
    b = d.bytes;
    CfbWriter::put32(b, d.w.entry_offset(5) + 120, 4000);
    Rows expected{"row1|~", "row2|~", "hello|~", "hello|~"};
    expected.resize(16, "~|~");
    EXPECT_EQ(first_rows(b), expected);
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
