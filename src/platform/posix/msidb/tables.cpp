#include "tables.h"

#include <algorithm>

#include "cfb.h"

namespace qv::msidb {
namespace {

enum class Kind : uint8_t { Short, Long, String, Stream };

Kind kind_of(uint16_t type) {
    Column c;
    c.type = type;
    if (c.is_integer()) return c.integer_width() == 2 ? Kind::Short : Kind::Long;
    return c.is_stream() ? Kind::Stream : Kind::String;
}

size_t width_of(Kind k, size_t string_width) {
    switch (k) {
    case Kind::Short: return 2;
    case Kind::Long: return 4;
    case Kind::String: return string_width;
    case Kind::Stream: return 2;
    }
    return 2;
}

// Raw stored values of a column-major stream, row-major in the result.
// The string reference width is 3 with long references, unless the stream
// only fits 2-byte references (some writers set the flag but keep 2 bytes).
struct RawTable {
    size_t rows = 0;
    std::vector<uint32_t> values;
};

RawTable decode_raw(const std::vector<uint8_t>& bytes, const std::vector<Kind>& kinds, bool long_refs) {
    RawTable out;
    if (kinds.empty()) return out;
    size_t string_width = long_refs ? 3 : 2;
    auto row_width = [&](size_t sw) {
        size_t w = 0;
        for (Kind k : kinds) w += width_of(k, sw);
        return w;
    };
    size_t width = row_width(string_width);
    if (long_refs && width != row_width(2) && bytes.size() % width != 0 && bytes.size() % row_width(2) == 0) {
        string_width = 2;
        width = row_width(2);
    }
    const size_t rows = bytes.size() / width;
    const size_t cols = kinds.size();
    out.rows = rows;
    out.values.resize(rows * cols);
    size_t base = 0;
    for (size_t c = 0; c < cols; ++c) {
        const size_t w = width_of(kinds[c], string_width);
        const uint8_t* p = bytes.data() + base;
        for (size_t r = 0; r < rows; ++r, p += w) {
            uint32_t v = p[0] | (static_cast<uint32_t>(p[1]) << 8);
            if (w >= 3) v |= static_cast<uint32_t>(p[2]) << 16;
            if (w == 4) v |= static_cast<uint32_t>(p[3]) << 24;
            out.values[r * cols + c] = v;
        }
        base += w * rows;
    }
    return out;
}

std::vector<uint8_t> stream_bytes(const TableStreams& streams, const std::wstring& name) {
    auto it = streams.find(name);
    if (it == streams.end() || !it->second) return {};
    return cfb::read_all(*it->second);
}

// A string id is usable when it names a non-empty pool entry.
bool valid_string(const Database& db, uint32_t id) { return id > 0 && id < db.strings.size() && !db.strings[id].empty(); }

struct ColumnRow {
    int number;
    Column column;
};

}  // namespace

bool load_tables(Database& db, const TableStreams& streams, std::string& error) {
    const bool long_refs = db.long_string_refs;

    // _Tables: one string column.
    std::vector<std::wstring> names;
    {
        const RawTable raw = decode_raw(stream_bytes(streams, L"_Tables"), {Kind::String}, long_refs);
        for (uint32_t id : raw.values) {
            if (!valid_string(db, id)) {
                error = "damaged table stream _Tables";
                return false;
            }
            names.push_back(db.strings[id]);
        }
    }

    // _Columns: Table, Number, Name, Type.
    std::unordered_map<std::wstring, std::vector<ColumnRow>> columns;
    for (const auto& name : names) columns.emplace(name, std::vector<ColumnRow>());
    {
        const RawTable raw =
            decode_raw(stream_bytes(streams, L"_Columns"), {Kind::String, Kind::Short, Kind::String, Kind::Short},
                       long_refs);
        for (size_t r = 0; r < raw.rows; ++r) {
            const uint32_t* v = &raw.values[r * 4];
            if (!valid_string(db, v[0]) || v[1] == 0 || !valid_string(db, v[2]) || v[3] == 0) {
                error = "damaged table stream _Columns";
                return false;
            }
            auto it = columns.find(db.strings[v[0]]);
            if (it == columns.end()) continue;  // a table that _Tables does not list
            ColumnRow row;
            row.number = static_cast<int16_t>(v[1] ^ 0x8000);
            row.column.name = db.strings[v[2]];
            row.column.type = static_cast<uint16_t>(v[3] ^ 0x8000);
            for (const auto& other : it->second)
                if (other.number == row.number) {
                    error = "damaged table stream _Columns";
                    return false;
                }
            it->second.push_back(std::move(row));
        }
    }

    // Named streams by name, and the index each got in db.streams once used.
    std::unordered_map<std::wstring, size_t> named;
    for (size_t i = 0; i < db.named_streams.size(); ++i) named.emplace(db.named_streams[i].first, i);
    std::unordered_map<size_t, int32_t> used_streams;

    for (const auto& name : names) {
        if (db.find_table(name)) continue;  // listed twice
        auto& rows = columns[name];
        std::stable_sort(rows.begin(), rows.end(),
                         [](const ColumnRow& a, const ColumnRow& b) { return a.number < b.number; });
        Table table;
        table.name = name;
        std::vector<Kind> kinds;
        for (auto& row : rows) {
            kinds.push_back(kind_of(row.column.type));
            table.columns.push_back(std::move(row.column));
        }
        const RawTable raw = decode_raw(stream_bytes(streams, name), kinds, long_refs);
        const size_t cols = kinds.size();
        table.cells.resize(raw.rows * cols);
        std::vector<size_t> keys;
        for (size_t c = 0; c < cols; ++c)
            if (table.columns[c].key() && kinds[c] != Kind::Stream) keys.push_back(c);

        for (size_t r = 0; r < raw.rows; ++r) {
            for (size_t c = 0; c < cols; ++c) {
                const uint32_t v = raw.values[r * cols + c];
                Cell& cell = table.cells[r * cols + c];
                if (v == 0) continue;
                switch (kinds[c]) {
                case Kind::Short:
                    cell.kind = CellKind::Integer;
                    cell.value = static_cast<int16_t>(v ^ 0x8000);
                    break;
                case Kind::Long:
                    cell.kind = CellKind::Integer;
                    cell.value = static_cast<int32_t>(v ^ 0x80000000u);
                    break;
                case Kind::String:
                    if (valid_string(db, v)) {
                        cell.kind = CellKind::String;
                        cell.value = static_cast<int32_t>(v);
                    }
                    break;
                case Kind::Stream: break;  // resolved below, once the keys are known
                }
            }
            for (size_t c = 0; c < cols; ++c) {
                if (kinds[c] != Kind::Stream || raw.values[r * cols + c] == 0) continue;
                // The data lives in the stream "<Table>.<key1>.<key2>...".
                std::wstring stream_name = name;
                for (size_t k : keys) {
                    stream_name += L'.';
                    const Cell& key = table.cells[r * cols + k];
                    if (key.kind == CellKind::Integer)
                        stream_name += std::to_wstring(key.value);
                    else if (key.kind == CellKind::String)
                        stream_name += db.strings[key.value];
                }
                auto it = named.find(stream_name);
                if (it == named.end()) continue;
                auto [slot, added] = used_streams.emplace(it->second, static_cast<int32_t>(db.streams.size()));
                if (added) db.streams.push_back(db.named_streams[it->second].second);
                Cell& cell = table.cells[r * cols + c];
                cell.kind = CellKind::Stream;
                cell.value = slot->second;
            }
        }
        db.add_table(std::move(table));
    }
    return true;
}

}  // namespace qv::msidb
