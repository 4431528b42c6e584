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

size_t Database::string_slot(std::wstring_view text) const {
    const size_t mask = string_slots_.size() - 1;
    for (size_t slot = std::hash<std::wstring_view>()(text) & mask;; slot = (slot + 1) & mask) {
        const int32_t id = string_slots_[slot];
        if (id == 0 || (static_cast<size_t>(id) < strings.size() && strings[static_cast<size_t>(id)] == text))
            return slot;
    }
}

void Database::index_strings(size_t slots) {
    string_slots_.assign(slots, 0);
    string_slots_used_ = 0;
    // Ascending, so the first id of a text wins when the pool holds
    // duplicates.
    for (size_t i = 1; i < strings.size(); ++i) {
        if (strings[i].empty()) continue;
        const size_t slot = string_slot(strings[i]);
        if (string_slots_[slot] == 0) {
            string_slots_[slot] = static_cast<int32_t>(i);
            ++string_slots_used_;
        }
    }
}

int32_t Database::intern(std::wstring_view text) {
    if (text.empty()) return 0;
    // At most half the slots in use, so probes stay short.
    if ((string_slots_used_ + 1) * 2 > string_slots_.size()) {
        size_t slots = 64;
        while (slots < (strings.size() + 1) * 2) slots *= 2;
        index_strings(slots);
    }
    const size_t slot = string_slot(text);
    if (string_slots_[slot] != 0) return string_slots_[slot];
    const auto id = static_cast<int32_t>(strings.size());
    strings.emplace_back(text);
    string_slots_[slot] = id;
    ++string_slots_used_;
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
