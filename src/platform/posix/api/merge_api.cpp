// MsiDatabaseMergeW in memory: the reference database's tables and rows are
// added to the open database; nothing is written to disk.
#include <unordered_map>
#include <unordered_set>

#include "../winapi/msi.h"
#include "handles.h"

using qv::msidb::Cell;
using qv::msidb::CellKind;
using qv::msidb::Database;
using qv::msidb::Table;
using qv::winapi::DatabaseObject;
using qv::winapi::lookup;

namespace {

// Moves cells of `from` into the string pool and stream list of `to`.
class CellMapper {
public:
    CellMapper(Database& to, const Database& from) : to_(to), from_(from) {}

    Cell map(const Cell& cell) {
        Cell out = cell;
        if (cell.kind == CellKind::String) {
            out.value = to_.intern(from_.string(cell.value));
            if (out.value == 0) out.kind = CellKind::Null;
        } else if (cell.kind == CellKind::Stream) {
            auto it = streams_.find(cell.value);
            if (it == streams_.end()) {
                const bool valid = cell.value >= 0 && static_cast<size_t>(cell.value) < from_.streams.size();
                if (!valid) return Cell();
                to_.streams.push_back(from_.streams[cell.value]);
                it = streams_.emplace(cell.value, static_cast<int32_t>(to_.streams.size() - 1)).first;
            }
            out.value = it->second;
        }
        return out;
    }

private:
    Database& to_;
    const Database& from_;
    std::unordered_map<int32_t, int32_t> streams_;
};

// A comparable text for one cell, independent of the string pool it lives in.
void append_cell_text(std::wstring& out, const Database& db, const Cell& cell) {
    switch (cell.kind) {
    case CellKind::Null: out += L"\x01N"; break;
    case CellKind::Integer: out += L"\x01I" + std::to_wstring(cell.value); break;
    case CellKind::String: out += L"\x01S" + db.string(cell.value); break;
    case CellKind::Stream: out += L"\x01B"; break;  // stream contents are not compared
    }
}

std::wstring row_text(const Database& db, const Table& table, size_t row, bool keys_only) {
    std::wstring text;
    for (size_t c = 0; c < table.columns.size(); ++c)
        if (!keys_only || table.columns[c].key()) append_cell_text(text, db, table.at(row, c));
    return text;
}

bool same_kind(const qv::msidb::Column& a, const qv::msidb::Column& b) {
    if (a.key() != b.key()) return false;
    if (a.is_integer() != b.is_integer() || a.is_stream() != b.is_stream()) return false;
    return !a.is_integer() || a.integer_width() == b.integer_width();
}

// Adds the rows of `source` that `target` lacks; returns the number of rows
// whose key exists with other values (conflicts keep the target's row).
size_t merge_rows(Database& to, Table& target, const Database& from, const Table& source, CellMapper& mapper) {
    std::unordered_map<std::wstring, size_t> keys;
    keys.reserve(target.rows() + source.rows());
    for (size_t r = 0; r < target.rows(); ++r) keys.emplace(row_text(to, target, r, true), r);
    size_t conflicts = 0;
    for (size_t r = 0; r < source.rows(); ++r) {
        std::wstring key = row_text(from, source, r, true);
        auto it = keys.find(key);
        if (it != keys.end()) {
            if (row_text(to, target, it->second, false) != row_text(from, source, r, false)) ++conflicts;
            continue;
        }
        for (size_t c = 0; c < source.columns.size(); ++c) target.cells.push_back(mapper.map(source.at(r, c)));
        keys.emplace(std::move(key), target.rows() - 1);
    }
    return conflicts;
}

}  // namespace

UINT MsiDatabaseMergeW(MSIHANDLE hDatabase, MSIHANDLE hDatabaseMerge, LPCWSTR szTableName) {
    auto base = lookup<DatabaseObject>(hDatabase);
    auto reference = lookup<DatabaseObject>(hDatabaseMerge);
    if (!base || !reference) return ERROR_INVALID_HANDLE;
    if (base->db == reference->db) {
        qv::winapi::set_last_error_record(2273, {L""});
        return ERROR_INVALID_PARAMETER;
    }
    Database& to = *base->db;
    const Database& from = *reference->db;
    CellMapper mapper(to, from);

    bool schema_mismatch = false;
    std::vector<std::pair<std::wstring, size_t>> conflicts;
    for (const Table& source : from.tables) {
        Table* target = to.find_table(source.name);
        if (!target) {
            Table copy;
            copy.name = source.name;
            copy.columns = source.columns;
            copy.temporary = source.temporary;
            copy.cells.reserve(source.cells.size());
            for (const Cell& cell : source.cells) copy.cells.push_back(mapper.map(cell));
            to.add_table(std::move(copy));
            continue;
        }
        if (target->columns.size() != source.columns.size()) {
            qv::winapi::set_last_error_record(2269, {L"", source.name});
            schema_mismatch = true;
            continue;
        }
        bool compatible = true;
        for (size_t c = 0; c < source.columns.size() && compatible; ++c) {
            const auto number = std::to_wstring(c + 1);
            if (target->columns[c].name != source.columns[c].name) {
                qv::winapi::set_last_error_record(2270, {L"", source.name, number});
                compatible = false;
            } else if (!same_kind(target->columns[c], source.columns[c])) {
                qv::winapi::set_last_error_record(2248, {L"", source.name, number});
                compatible = false;
            }
        }
        if (!compatible) {
            schema_mismatch = true;
            continue;
        }
        if (size_t n = merge_rows(to, *target, from, source, mapper)) conflicts.emplace_back(source.name, n);
    }

    if (!conflicts.empty() && szTableName && *szTableName) {
        // The conflict table the caller named: one row per table with conflicts.
        Table* report = to.find_table(szTableName);
        if (!report) {
            Table t;
            t.name = szTableName;
            t.columns = {{L"Table", static_cast<uint16_t>(0x2DFF)}, {L"NumRowMergeConflicts", 0x0502}};
            t.temporary = true;
            report = &to.add_table(std::move(t));
        }
        if (report->columns.size() == 2 && report->columns[0].is_string() && report->columns[1].is_integer())
            for (const auto& [name, count] : conflicts) {
                report->cells.push_back(Cell{CellKind::String, to.intern(name)});
                report->cells.push_back(Cell{CellKind::Integer, static_cast<int32_t>(count)});
            }
    }
    if (schema_mismatch) return ERROR_DATATYPE_MISMATCH;
    if (!conflicts.empty()) {
        qv::winapi::set_last_error_record(2268, {L"", std::to_wstring(conflicts.size())});
        return ERROR_FUNCTION_FAILED;
    }
    qv::winapi::clear_last_error_record();
    return ERROR_SUCCESS;
}
