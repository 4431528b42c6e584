// In-memory model of an installer database: tables decoded from a compound
// file (or built in memory), one string pool, streams, summary information.
// Everything here is read-only once built; the SQL layer, the handle API and
// the session read it directly.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qv::msidb {

// Column type word as stored in _Columns.
namespace coltype {
constexpr uint16_t SizeMask = 0x00FF;
constexpr uint16_t Valid = 0x0100;
constexpr uint16_t Localizable = 0x0200;
constexpr uint16_t ShortOrString = 0x0400;  // with StringOrObject: string; alone: 2-byte integer
constexpr uint16_t StringOrObject = 0x0800;
constexpr uint16_t Nullable = 0x1000;
constexpr uint16_t Key = 0x2000;
constexpr uint16_t Temporary = 0x4000;
}  // namespace coltype

struct Column {
    std::wstring name;
    uint16_t type = 0;

    bool key() const { return (type & coltype::Key) != 0; }
    bool nullable() const { return (type & coltype::Nullable) != 0; }
    bool temporary() const { return (type & coltype::Temporary) != 0; }
    bool localizable() const { return (type & coltype::Localizable) != 0; }
    bool is_string() const {
        return (type & (coltype::StringOrObject | coltype::ShortOrString)) ==
               (coltype::StringOrObject | coltype::ShortOrString);
    }
    bool is_stream() const {
        return (type & (coltype::StringOrObject | coltype::ShortOrString)) == coltype::StringOrObject;
    }
    bool is_integer() const { return (type & coltype::StringOrObject) == 0; }
    // 2 or 4 for integer columns.
    int integer_width() const { return (type & coltype::ShortOrString) ? 2 : 4; }
    // The MsiViewGetColumnInfo notation: "s72", "S0", "l255", "I2", "i4", "V0", ...
    std::wstring definition() const;
};

// Bytes of one stream, wherever they live (compound file, memory).
class StreamSource {
public:
    virtual ~StreamSource() = default;
    virtual uint64_t size() const = 0;
    // Copies up to `count` bytes from `offset`; returns the number copied.
    virtual size_t read(uint64_t offset, void* buffer, size_t count) const = 0;
};

// A stream held in memory.
class MemoryStream final : public StreamSource {
public:
    explicit MemoryStream(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    uint64_t size() const override { return bytes_.size(); }
    size_t read(uint64_t offset, void* buffer, size_t count) const override;
    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

enum class CellKind : uint8_t { Null, Integer, String, Stream };

// One table cell. String cells index Database::strings; stream cells index
// Database::streams.
struct Cell {
    CellKind kind = CellKind::Null;
    int32_t value = 0;

    bool is_null() const { return kind == CellKind::Null; }
};

// Equality index of one column: the first row of each value, and the rows
// with the same value chained in stored order (next[row]). Strings are
// keyed by their text, so duplicate texts in a damaged pool still match.
struct ColumnIndex {
    size_t rows = 0;          // the table's row count when it was built
    uint64_t generation = 0;  // the table's generation when it was built
    std::unordered_map<int32_t, uint32_t> integers;
    std::unordered_map<std::wstring, uint32_t> strings;
    std::vector<uint32_t> next;
};

// Indexes that queries build on first use; a copy of a table starts
// without them.
struct ColumnIndexes {
    mutable std::map<size_t, std::shared_ptr<ColumnIndex>> by_column;
    ColumnIndexes() = default;
    ColumnIndexes(const ColumnIndexes&) {}
    ColumnIndexes& operator=(const ColumnIndexes&) {
        by_column.clear();
        return *this;
    }
};

struct Table {
    std::wstring name;
    std::vector<Column> columns;  // in column-number order: key columns first
    std::vector<Cell> cells;      // row-major, rows() * columns.size()
    bool temporary = false;
    // Bumped by every change to a stored cell (appended rows change rows()),
    // which makes the column indexes rebuild.
    uint64_t generation = 0;
    ColumnIndexes indexes;

    size_t rows() const { return columns.empty() ? 0 : cells.size() / columns.size(); }
    const Cell& at(size_t row, size_t column) const { return cells[row * columns.size() + column]; }
    Cell& at(size_t row, size_t column) { return cells[row * columns.size() + column]; }
    // Index of a column by exact name, or -1.
    int column_index(std::wstring_view column) const;
    size_t key_count() const;
};

// One property of the summary information stream.
struct SummaryProperty {
    uint32_t id = 0;
    uint16_t type = 0;       // VT_I2, VT_I4, VT_LPSTR, VT_FILETIME, VT_EMPTY
    int32_t integer = 0;     // VT_I2, VT_I4
    uint64_t filetime = 0;   // VT_FILETIME
    std::wstring text;       // VT_LPSTR, converted from the summary code page
};

class Database {
public:
    std::string file_path;     // POSIX path it was read from; empty when built in memory
    int codepage = 0;          // database code page from the string pool header
    bool long_string_refs = false;

    // String pool; id 0 is null. A deque, so that a text keeps its address
    // while the pool grows: fetched fields point at it.
    std::deque<std::wstring> strings{std::wstring()};
    std::vector<Table> tables;                          // in _Tables order
    std::vector<std::shared_ptr<const StreamSource>> streams;  // targets of stream cells

    // Streams of the file that are not tables, with decoded names
    // (e.g. "Binary.Icon", "Disk1.cab", "\x05SummaryInformation").
    std::vector<std::pair<std::wstring, std::shared_ptr<const StreamSource>>> named_streams;
    std::vector<std::wstring> storages;  // names of sub-storages

    std::map<uint32_t, SummaryProperty> summary;  // by property id

    const Table* find_table(std::wstring_view name) const;
    Table* find_table(std::wstring_view name);
    // Adds a table (replacing nothing); returns it. Keeps the name index current.
    Table& add_table(Table table);

    // Id of a string in the pool, adding it when new. Empty text is id 0.
    int32_t intern(std::wstring_view text);
    const std::wstring& string(int32_t id) const;

    // A stream by its decoded name among named_streams, or null.
    std::shared_ptr<const StreamSource> find_stream(std::wstring_view name) const;

private:
    std::unordered_map<std::wstring, size_t> table_index_;
    // Ids of the pool's texts by hash, open addressing (0 marks a free
    // slot); built on the first intern. It holds no copies of the texts.
    std::vector<int32_t> string_slots_;
    size_t string_slots_used_ = 0;
    // The slot of `text`: its id's slot, or the free slot where it belongs.
    size_t string_slot(std::wstring_view text) const;
    void index_strings(size_t slots);
};

// Why a file could not be opened as a database, in one line for the user.
struct OpenError {
    std::string reason;
};

// Reads a package, merge module, patch or validation database. Never throws
// on bad input: a damaged file fails with a reason.
std::unique_ptr<Database> open_database(const std::string& path, OpenError& error);
// The same over bytes already in memory (fuzzing, embedded data).
std::unique_ptr<Database> open_database_bytes(std::shared_ptr<const std::vector<uint8_t>> bytes,
                                              OpenError& error);

// The virtual tables _Tables, _Columns, _Streams and _Storages, built from the
// database on demand. Returns null for any other name.
std::unique_ptr<Table> make_virtual_table(Database& db, std::wstring_view name);
bool is_virtual_table(std::wstring_view name);

}  // namespace qv::msidb
