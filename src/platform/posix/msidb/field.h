// A self-contained value of a record field or a fetched row: what the handle
// API hands out and what SQL parameters and results carry.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model.h"

namespace qv::msidb {

struct Field {
    CellKind kind = CellKind::Null;
    int32_t integer = 0;
    // The text of a string field is its own, or borrowed from a database's
    // string pool: a fetched row points at the pool instead of copying every
    // text, since most rows are read a field or two at a time. The holder of
    // a field with borrowed text keeps the database alive (the pool never
    // drops or moves a text).
    std::wstring owned;
    const std::wstring* borrowed = nullptr;
    std::shared_ptr<const StreamSource> stream;
    uint64_t stream_pos = 0;  // read position of MsiRecordReadStream

    bool is_null() const { return kind == CellKind::Null; }
    const std::wstring& text() const { return borrowed ? *borrowed : owned; }

    static Field from_int(int32_t v) {
        Field f;
        f.kind = CellKind::Integer;
        f.integer = v;
        return f;
    }
    // An empty text is stored as null, as the installer does.
    static Field from_text(std::wstring v) {
        Field f;
        if (!v.empty()) {
            f.kind = CellKind::String;
            f.owned = std::move(v);
        }
        return f;
    }
    static Field from_stream(std::shared_ptr<const StreamSource> s) {
        Field f;
        if (s) {
            f.kind = CellKind::Stream;
            f.stream = std::move(s);
        }
        return f;
    }
    // Converts a table cell of `db` into a field.
    static Field from_cell(const Database& db, const Cell& cell) {
        switch (cell.kind) {
        case CellKind::Integer: return from_int(cell.value);
        case CellKind::String: return from_text(db.string(cell.value));
        case CellKind::Stream:
            return cell.value >= 0 && static_cast<size_t>(cell.value) < db.streams.size()
                       ? from_stream(db.streams[cell.value])
                       : Field();
        case CellKind::Null: break;
        }
        return Field();
    }
};

}  // namespace qv::msidb
