// Builds small databases in memory and runs queries over them, rendering
// each result row as one line: fields joined by '|', null as "~", integers in
// decimal, streams as "#<size>".
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "platform/posix/msidb/field.h"
#include "platform/posix/msidb/model.h"
#include "platform/posix/msisql/query.h"

namespace qv::msisql::test {

using msidb::Field;

// A column from its definition letter and width ("s72", "I2", "V0"), plus key.
inline msidb::Column col(const wchar_t* name, const wchar_t* def, bool key = false) {
    namespace ct = msidb::coltype;
    const wchar_t letter = def[0];
    const int size = std::stoi(def + 1);
    uint16_t type = ct::Valid;
    switch (letter) {
    case L's': case L'S': type |= ct::StringOrObject | ct::ShortOrString | size; break;
    case L'l': case L'L': type |= ct::StringOrObject | ct::ShortOrString | ct::Localizable | size; break;
    case L'i': case L'I': type |= size == 2 ? (ct::ShortOrString | 2) : 4; break;
    case L'v': case L'V': type |= ct::StringOrObject; break;
    }
    if (letter >= L'A' && letter <= L'Z') type |= ct::Nullable;
    if (key) type |= ct::Key;
    return {name, type};
}

// A cell value while building: integer, text, null, or stream bytes.
struct V {
    enum Kind { Null, Int, Text, Bytes } kind = Null;
    int32_t i = 0;
    std::wstring s;
    V(std::nullptr_t) {}
    V(int v) : kind(Int), i(v) {}
    V(const wchar_t* v) : kind(Text), s(v) {}
    static V bytes(size_t n) {
        V v(nullptr);
        v.kind = Bytes;
        v.i = static_cast<int32_t>(n);
        return v;
    }
};

inline msidb::Table& add(msidb::Database& db, const wchar_t* name, std::vector<msidb::Column> cols,
                         std::initializer_list<std::vector<V>> rows) {
    msidb::Table t;
    t.name = name;
    t.columns = std::move(cols);
    for (const auto& row : rows) {
        for (const V& v : row) {
            msidb::Cell c;
            switch (v.kind) {
            case V::Null: break;
            case V::Int: c = {msidb::CellKind::Integer, v.i}; break;
            case V::Text: c = {msidb::CellKind::String, db.intern(v.s)}; break;
            case V::Bytes:
                db.streams.push_back(std::make_shared<msidb::MemoryStream>(std::vector<uint8_t>(v.i, 0x5a)));
                c = {msidb::CellKind::Stream, static_cast<int32_t>(db.streams.size() - 1)};
                break;
            }
            t.cells.push_back(c);
        }
    }
    return db.add_table(std::move(t));
}

inline std::wstring render(const std::vector<Field>& row) {
    std::wstring out;
    for (size_t i = 0; i < row.size(); ++i) {
        if (i) out += L'|';
        const Field& f = row[i];
        switch (f.kind) {
        case msidb::CellKind::Null: out += L'~'; break;
        case msidb::CellKind::Integer: out += std::to_wstring(f.integer); break;
        case msidb::CellKind::String: out += f.text(); break;
        case msidb::CellKind::Stream: out += L'#' + std::to_wstring(f.stream->size()); break;
        }
    }
    return out;
}

using Rows = std::vector<std::wstring>;

// Prepares, executes and fetches everything; a failure renders as
// "error <result> <number>: p1 / p2 / ...".
inline Rows run(msidb::Database& db, std::wstring_view sql, const std::vector<Field>& params = {}) {
    Error error;
    auto q = Query::prepare(db, sql, L"", error);
    if (q && q->execute(params, error)) {
        Rows rows;
        std::vector<Field> row;
        while (q->fetch(row)) rows.push_back(render(row));
        return rows;
    }
    std::wstring text = L"error " + std::to_wstring(error.result) + L" " + std::to_wstring(error.number) + L":";
    for (size_t i = 0; i < error.params.size(); ++i) text += (i ? L" / " : L" ") + error.params[i];
    return {text};
}

// The result columns of a query as "name:definition" (none when it fails).
inline Rows describe(msidb::Database& db, std::wstring_view sql) {
    Error error;
    auto q = Query::prepare(db, sql, L"", error);
    if (!q) return {};
    Rows out;
    for (size_t i = 0; i < q->column_names().size(); ++i)
        out.push_back(q->column_names()[i] + L":" + q->column_definitions().at(i));
    EXPECT_EQ(q->column_definitions().size(), out.size());
    return out;
}

// Names of the first column of every result row.
inline Rows keys(msidb::Database& db, const std::wstring& where) {
    return run(db, L"SELECT `Name` FROM `Item` WHERE " + where);
}

// The common table of the tests:
//   Name | Size | Kind | Alt | Data
//   a    | 10   | x    | a   | 3 bytes
//   b    | ~    | y    | ~   | ~
//   c    | -5   | ~    | z   | ~
//   d    | 10   | X    | d   | 1 byte
//   e    | 3    | x    | ~   | ~
inline void add_items(msidb::Database& db) {
    add(db, L"Item",
        {col(L"Name", L"s72", true), col(L"Size", L"I4"), col(L"Kind", L"S32"), col(L"Alt", L"S72"),
         col(L"Data", L"V0")},
        {{L"a", 10, L"x", L"a", V::bytes(3)},
         {L"b", nullptr, L"y", nullptr, nullptr},
         {L"c", -5, nullptr, L"z", nullptr},
         {L"d", 10, L"X", L"d", V::bytes(1)},
         {L"e", 3, L"x", nullptr, nullptr}});
}

}  // namespace qv::msisql::test
