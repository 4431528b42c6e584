// Random query text against a small in-memory database: prepare, column
// information, execute with a few parameters, fetch every row.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/posix/msidb/field.h"
#include "platform/posix/msidb/model.h"
#include "platform/posix/msisql/query.h"

namespace {

using qv::msidb::Cell;
using qv::msidb::CellKind;
using qv::msidb::Column;
using qv::msidb::Database;
using qv::msidb::Field;
using qv::msidb::Table;
namespace ct = qv::msidb::coltype;

constexpr uint16_t kStr = ct::Valid | ct::StringOrObject | ct::ShortOrString | 72;
constexpr uint16_t kInt = ct::Valid | ct::ShortOrString | 2;
constexpr uint16_t kStream = ct::Valid | ct::StringOrObject | ct::Nullable;

Database& database() {
    static Database* db = [] {
        auto* d = new Database();
        d->streams.push_back(std::make_shared<qv::msidb::MemoryStream>(std::vector<uint8_t>{1, 2, 3}));
        Table a;
        a.name = L"A";
        a.columns = {{L"K", kStr | ct::Key}, {L"N", kInt | ct::Nullable}, {L"S", kStr | ct::Nullable},
                     {L"D", kStream}};
        const wchar_t* keys[] = {L"a", L"b", L"c", L"d"};
        for (int i = 0; i < 4; ++i) {
            a.cells.push_back({CellKind::String, d->intern(keys[i])});
            a.cells.push_back(i == 1 ? Cell{} : Cell{CellKind::Integer, i * 3 - 2});
            a.cells.push_back(i == 2 ? Cell{} : Cell{CellKind::String, d->intern(keys[3 - i])});
            a.cells.push_back(i == 0 ? Cell{CellKind::Stream, 0} : Cell{});
        }
        d->add_table(std::move(a));
        Table b;
        b.name = L"B";
        b.columns = {{L"K", kStr | ct::Key}, {L"N", kInt}};
        for (int i = 0; i < 3; ++i) {
            b.cells.push_back({CellKind::String, d->intern(keys[i * 2 % 4])});
            b.cells.push_back({CellKind::Integer, i});
        }
        d->add_table(std::move(b));
        d->named_streams = {{L"Binary.x", d->streams[0]}};
        d->storages = {L"S"};
        return d;
    }();
    return *db;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The first byte picks the parameters; the rest is UTF-16LE query text.
    if (size < 1) return 0;
    const uint8_t mode = data[0];
    std::wstring sql;
    for (size_t i = 1; i + 1 < size; i += 2) sql.push_back(static_cast<wchar_t>(data[i] | (data[i + 1] << 8)));

    Database& db = database();
    qv::msisql::Error error;
    auto q = qv::msisql::Query::prepare(db, sql, L"", error);
    if (!q) return 0;
    (void)q->column_names();
    (void)q->column_definitions();
    std::vector<Field> params;
    for (int i = 0; i < (mode & 3); ++i)
        params.push_back(mode & 4 ? Field::from_int(i) : mode & 8 ? Field() : Field::from_text(L"b"));
    if (!q->execute(params, error)) return 0;
    std::vector<Field> row;
    for (int n = 0; n < 100000 && q->fetch(row); ++n) {
    }
    return 0;
}
