// The system tables that SQL can name without the database storing them as
// ordinary tables: _Tables, _Columns, _Streams and _Storages. Each is built
// from the model when a query asks for it.
#include <unordered_map>

#include "model.h"

namespace qv::msidb {
namespace {

constexpr uint16_t kString = coltype::Valid | coltype::StringOrObject | coltype::ShortOrString;
constexpr uint16_t kShort = coltype::Valid | coltype::ShortOrString | 2;
constexpr uint16_t kStream = coltype::Valid | coltype::StringOrObject;

bool is_virtual_name(std::wstring_view name) {
    return name == L"_Tables" || name == L"_Columns" || name == L"_Streams" || name == L"_Storages";
}

Cell string_cell(Database& db, std::wstring_view text) {
    const int32_t id = db.intern(text);
    return id == 0 ? Cell{} : Cell{CellKind::String, id};
}

Cell integer_cell(int32_t value) { return Cell{CellKind::Integer, value}; }

}  // namespace

bool is_virtual_table(std::wstring_view name) { return is_virtual_name(name); }

std::unique_ptr<Table> make_virtual_table(Database& db, std::wstring_view name) {
    auto table = std::make_unique<Table>();
    table->name.assign(name);
    table->temporary = true;
    if (name == L"_Tables") {
        table->columns = {{L"Name", kString | coltype::Key | 64}};
        // Every table the database holds, temporary ones included, in the
        // order of the database; never the virtual tables themselves.
        for (const Table& t : db.tables)
            if (!is_virtual_name(t.name)) table->cells.push_back(string_cell(db, t.name));
    } else if (name == L"_Columns") {
        table->columns = {{L"Table", kString | coltype::Key | 64},
                          {L"Number", kShort | coltype::Key},
                          {L"Name", kString | 64},
                          {L"Type", kShort}};
        // Persistent columns only, numbered from 1 in column order, with the
        // type word as stored.
        for (const Table& t : db.tables) {
            if (is_virtual_name(t.name)) continue;
            const Cell table_name = string_cell(db, t.name);
            int32_t number = 0;
            for (const Column& c : t.columns) {
                ++number;
                if (c.temporary()) continue;
                table->cells.push_back(table_name);
                table->cells.push_back(integer_cell(number));
                table->cells.push_back(string_cell(db, c.name));
                table->cells.push_back(integer_cell(static_cast<int16_t>(c.type)));
            }
        }
    } else if (name == L"_Streams") {
        table->columns = {{L"Name", kString | coltype::Key | 62}, {L"Data", kStream | coltype::Nullable}};
        // Data cells index db.streams: reuse the entry of a source that is
        // already there, append the others.
        std::unordered_map<const StreamSource*, int32_t> known;
        for (size_t i = 0; i < db.streams.size(); ++i)
            known.emplace(db.streams[i].get(), static_cast<int32_t>(i));
        for (const auto& [stream_name, source] : db.named_streams) {
            table->cells.push_back(string_cell(db, stream_name));
            if (!source) {
                table->cells.push_back(Cell{});
                continue;
            }
            auto [it, fresh] = known.try_emplace(source.get(), static_cast<int32_t>(db.streams.size()));
            if (fresh) db.streams.push_back(source);
            table->cells.push_back(Cell{CellKind::Stream, it->second});
        }
    } else if (name == L"_Storages") {
        table->columns = {{L"Name", kString | coltype::Key | 62}, {L"Data", kStream | coltype::Nullable}};
        for (const std::wstring& storage : db.storages) {
            table->cells.push_back(string_cell(db, storage));
            table->cells.push_back(Cell{});
        }
    } else {
        return nullptr;
    }
    return table;
}

}  // namespace qv::msidb
