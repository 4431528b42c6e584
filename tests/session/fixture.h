// In-memory databases for session tests: tables are given as rows of cells
// (null, integer or text), summary Word Count as an integer.
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/posix/msidb/model.h"

namespace qv::posix::session::test {

using Cell = std::variant<std::monostate, int, std::wstring>;
using Row = std::vector<Cell>;

inline void add_table(msidb::Database& db, const std::wstring& name, const std::vector<std::wstring>& columns,
                      const std::vector<Row>& rows) {
    msidb::Table table;
    table.name = name;
    for (const auto& c : columns) table.columns.push_back(msidb::Column{c, 0x0D48});
    for (const Row& row : rows) {
        for (size_t i = 0; i < columns.size(); ++i) {
            msidb::Cell cell;
            if (i < row.size()) {
                if (const int* v = std::get_if<int>(&row[i])) {
                    cell.kind = msidb::CellKind::Integer;
                    cell.value = *v;
                } else if (const std::wstring* s = std::get_if<std::wstring>(&row[i])) {
                    cell.kind = msidb::CellKind::String;
                    cell.value = db.intern(*s);
                }
            }
            table.cells.push_back(cell);
        }
    }
    db.add_table(std::move(table));
}

inline void set_word_count(msidb::Database& db, int value) {
    msidb::SummaryProperty p;
    p.id = 15;
    p.type = 3;
    p.integer = value;
    db.summary[15] = p;
}

// The probe package of the observed engine table: ProductName "QV Probe",
// INSTALLDIR under ProgramFilesFolder, file MainFile = readme.txt.
inline std::shared_ptr<msidb::Database> probe_database() {
    auto db = std::make_shared<msidb::Database>();
    add_table(*db, L"Property", {L"Property", L"Value"},
              {{L"ProductName", L"QV Probe"},
               {L"ProductCode", L"{8F3C2A10-4B5D-4E6F-9A7B-1C2D3E4F5A6B}"},
               {L"QV_BRACKET", L"[SourceDir]x"}});
    add_table(*db, L"Directory", {L"Directory", L"Directory_Parent", L"DefaultDir"},
              {{L"TARGETDIR", {}, L"SourceDir"},
               {L"ProgramFilesFolder", L"TARGETDIR", L"PFiles"},
               {L"INSTALLDIR", L"ProgramFilesFolder", L"QVPROBE|QV Probe"}});
    add_table(*db, L"Component", {L"Component", L"ComponentId", L"Directory_", L"Attributes"},
              {{L"MainComp", L"{11111111-2222-3333-4444-555555555555}", L"INSTALLDIR", 0}});
    add_table(*db, L"File", {L"File", L"Component_", L"FileName", L"FileSize"},
              {{L"MainFile", L"MainComp", L"readme.txt", 10}});
    add_table(*db, L"Feature", {L"Feature", L"Feature_Parent", L"Title", L"Description", L"Display", L"Level"},
              {{L"Main", {}, L"Main", {}, 1, 1}});
    set_word_count(*db, 2);
    return db;
}

}  // namespace qv::posix::session::test
