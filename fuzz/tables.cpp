// _Tables, _Columns and table streams over arbitrary bytes: the input is cut
// into length-prefixed parts (pool, data, _Tables, _Columns, table stream).
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/posix/msidb/stringpool.h"
#include "platform/posix/msidb/tables.h"

using namespace qv::msidb;

namespace {

std::vector<uint8_t> take(const uint8_t*& p, size_t& left) {
    if (left < 2) return {};
    size_t n = std::min<size_t>(left - 2, p[0] | (p[1] << 8));
    std::vector<uint8_t> out(p + 2, p + 2 + n);
    p += 2 + n;
    left -= 2 + n;
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const uint8_t* p = data;
    size_t left = size;
    auto pool = take(p, left);
    auto text = take(p, left);
    auto tables = take(p, left);
    auto columns = take(p, left);
    std::vector<uint8_t> rest(p, p + left);

    Database db;
    std::string error;
    if (!load_string_pool(pool, text, db, error)) return 0;
    TableStreams streams;
    streams[L"_Tables"] = std::make_shared<MemoryStream>(tables);
    streams[L"_Columns"] = std::make_shared<MemoryStream>(columns);
    // Every pool string may name a table stream and a stream cell target.
    for (size_t i = 1; i < db.strings.size() && i < 16; ++i) {
        streams[db.strings[i]] = std::make_shared<MemoryStream>(rest);
        db.named_streams.emplace_back(db.strings[i], std::make_shared<MemoryStream>(rest));
    }
    if (load_tables(db, streams, error)) {
        for (const auto& t : db.tables)
            for (size_t r = 0; r < t.rows(); ++r)
                for (size_t c = 0; c < t.columns.size(); ++c) {
                    const Cell& cell = t.at(r, c);
                    if (cell.kind == CellKind::String) (void)db.string(cell.value);
                    if (cell.kind == CellKind::Stream) (void)db.streams.at(cell.value)->size();
                }
    }
    return 0;
}
