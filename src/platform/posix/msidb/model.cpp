#include "model.h"

#include <algorithm>
#include <cstring>
#include <cwctype>

namespace qv::msidb {

std::wstring Column::definition() const {
    wchar_t letter;
    int size = type & coltype::SizeMask;
    if (is_integer()) {
        letter = L'i';
        size = integer_width();
    } else if (is_stream()) {
        letter = L'v';
        size = 0;
    } else {
        letter = localizable() ? L'l' : L's';
    }
    if (temporary()) {
        // Temporary columns use g/j/O in the installer's notation.
        letter = is_integer() ? L'j' : is_stream() ? L'o' : L'g';
    }
    if (nullable()) letter = static_cast<wchar_t>(std::towupper(letter));
    return std::wstring(1, letter) + std::to_wstring(size);
}

size_t MemoryStream::read(uint64_t offset, void* buffer, size_t count) const {
    if (offset >= bytes_.size()) return 0;
    const size_t n = std::min<uint64_t>(count, bytes_.size() - offset);
    std::memcpy(buffer, bytes_.data() + offset, n);
    return n;
}

int Table::column_index(std::wstring_view column) const {
    for (size_t i = 0; i < columns.size(); ++i)
        if (columns[i].name == column) return static_cast<int>(i);
    return -1;
}

size_t Table::key_count() const {
    return static_cast<size_t>(std::count_if(columns.begin(), columns.end(), [](const Column& c) { return c.key(); }));
}

const Table* Database::find_table(std::wstring_view name) const {
    auto it = table_index_.find(std::wstring(name));
    return it == table_index_.end() ? nullptr : &tables[it->second];
}

Table* Database::find_table(std::wstring_view name) {
    auto it = table_index_.find(std::wstring(name));
    return it == table_index_.end() ? nullptr : &tables[it->second];
}

Table& Database::add_table(Table table) {
    table_index_[table.name] = tables.size();
    tables.push_back(std::move(table));
    return tables.back();
}

int32_t Database::intern(std::wstring_view text) {
    if (text.empty()) return 0;
    if (!string_index_built_) {
        string_index_.reserve(strings.size());
        // The first id of a text wins when the pool holds duplicates.
        for (size_t i = strings.size(); i-- > 1;)
            if (!strings[i].empty()) string_index_[strings[i]] = static_cast<int32_t>(i);
        string_index_built_ = true;
    }
    std::wstring key(text);
    auto it = string_index_.find(key);
    if (it != string_index_.end()) return it->second;
    const auto id = static_cast<int32_t>(strings.size());
    strings.push_back(key);
    string_index_.emplace(std::move(key), id);
    return id;
}

const std::wstring& Database::string(int32_t id) const {
    static const std::wstring empty;
    return id > 0 && static_cast<size_t>(id) < strings.size() ? strings[id] : empty;
}

std::shared_ptr<const StreamSource> Database::find_stream(std::wstring_view name) const {
    for (const auto& [stream_name, source] : named_streams)
        if (stream_name == name) return source;
    return nullptr;
}

}  // namespace qv::msidb
