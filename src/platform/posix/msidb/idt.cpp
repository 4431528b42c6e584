#include "idt.h"

#include <climits>
#include <map>
#include <set>

namespace qv::msidb {
namespace {

// Decodes UTF-8 into wide text; false on a malformed or overlong sequence,
// a surrogate or a value above U+10FFFF.
bool decode_utf8(std::string_view in, std::wstring& out) {
    out.clear();
    out.reserve(in.size());
    size_t i = 0;
    while (i < in.size()) {
        const auto b0 = static_cast<unsigned char>(in[i]);
        if (b0 < 0x80) {
            out.push_back(static_cast<wchar_t>(b0));
            ++i;
            continue;
        }
        size_t extra;
        uint32_t cp, min;
        if ((b0 & 0xE0) == 0xC0) { extra = 1; cp = b0 & 0x1F; min = 0x80; }
        else if ((b0 & 0xF0) == 0xE0) { extra = 2; cp = b0 & 0x0F; min = 0x800; }
        else if ((b0 & 0xF8) == 0xF0) { extra = 3; cp = b0 & 0x07; min = 0x10000; }
        else return false;
        if (in.size() - i <= extra) return false;
        for (size_t k = 1; k <= extra; ++k) {
            const auto b = static_cast<unsigned char>(in[i + k]);
            if ((b & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (b & 0x3F);
        }
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        out.push_back(static_cast<wchar_t>(cp));
        i += extra + 1;
    }
    return true;
}

std::vector<std::string_view> split(std::string_view line, char separator) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (;;) {
        const size_t end = line.find(separator, start);
        if (end == std::string_view::npos) {
            parts.push_back(line.substr(start));
            return parts;
        }
        parts.push_back(line.substr(start, end - start));
        start = end + 1;
    }
}

std::wstring unescape(std::wstring text) {
    for (auto& c : text) {
        if (c == 16) c = L'\t';
        else if (c == 17) c = L'\r';
        else if (c == 25) c = L'\n';
    }
    return text;
}

// A decimal integer with an optional minus sign, within [low, high].
bool parse_integer(std::string_view text, int64_t low, int64_t high, int32_t& value) {
    size_t i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
    if (i == text.size() || text.size() - i > 11) return false;
    int64_t v = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        v = v * 10 + (text[i] - '0');
    }
    if (negative) v = -v;
    if (v < low || v > high) return false;
    value = static_cast<int32_t>(v);
    return true;
}

class Reader {
public:
    Reader(std::span<const IdtStreamFile> streams, std::string& error) : error_(error) {
        for (const auto& s : streams) streams_.emplace(s.path, s.bytes);
    }

    bool read(const IdtText& file, Database& db);

private:
    bool fail(const std::string& file, size_t line, const std::string& reason) {
        error_ = file + ":" + std::to_string(line) + ": " + reason;
        return false;
    }

    std::map<std::string, std::span<const uint8_t>> streams_;
    std::string& error_;
};

bool Reader::read(const IdtText& input, Database& db) {
    const std::string& file = input.file;
    std::vector<std::string_view> lines = split(input.text, '\n');
    for (auto& l : lines)
        if (!l.empty() && l.back() == '\r') l.remove_suffix(1);
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    if (lines.size() < 3) return fail(file, lines.size() + 1, "an IDT file needs three header lines");

    const auto header = split(lines[2], '\t');
    if (header.size() >= 2 && header[1] == "_ForceCodepage") {
        int32_t codepage = 0;
        if (!parse_integer(header[0], 0, 65535, codepage)) return fail(file, 3, "bad code page");
        db.codepage = codepage;
        return true;
    }

    const auto names = split(lines[0], '\t');
    const auto types = split(lines[1], '\t');
    if (names.size() != types.size())
        return fail(file, 2, std::to_string(types.size()) + " types for " + std::to_string(names.size()) + " columns");

    Table table;
    if (!decode_utf8(header[0], table.name) || table.name.empty()) return fail(file, 3, "bad table name");
    if (db.find_table(table.name)) return fail(file, 3, "table " + std::string(header[0]) + " given twice");
    for (size_t c = 0; c < names.size(); ++c) {
        Column column;
        if (!decode_utf8(names[c], column.name) || column.name.empty())
            return fail(file, 1, "bad name of column " + std::to_string(c + 1));
        if (!parse_idt_type(types[c], column.type))
            return fail(file, 2, "bad type '" + std::string(types[c]) + "' of column " + std::string(names[c]));
        for (size_t k = 0; k < c; ++k)
            if (table.columns[k].name == column.name)
                return fail(file, 1, "column " + std::string(names[c]) + " given twice");
        table.columns.push_back(std::move(column));
    }
    // Key columns, as named on line 3, must be the leading columns.
    if (header.size() < 2) return fail(file, 3, "no key column");
    if (header.size() - 1 > table.columns.size()) return fail(file, 3, "more key columns than columns");
    for (size_t k = 1; k < header.size(); ++k) {
        const size_t c = k - 1;
        if (names[c] != header[k])
            return fail(file, 3, "key column " + std::string(header[k]) + " is not column " + std::to_string(c + 1));
        if (table.columns[c].is_stream()) return fail(file, 3, "a stream column cannot be a key");
        table.columns[c].type |= coltype::Key;
    }
    const size_t keys = header.size() - 1;
    const size_t cols = table.columns.size();

    std::set<std::vector<std::pair<CellKind, int32_t>>> seen_keys;
    std::wstring text;
    for (size_t l = 3; l < lines.size(); ++l) {
        const size_t line_number = l + 1;
        const auto cells = split(lines[l], '\t');
        if (cells.size() != cols)
            return fail(file, line_number,
                        std::to_string(cells.size()) + " cells in a table of " + std::to_string(cols) + " columns");
        const size_t row = table.rows();
        table.cells.resize(table.cells.size() + cols);
        for (size_t c = 0; c < cols; ++c) {
            const Column& column = table.columns[c];
            Cell& cell = table.at(row, c);
            const std::string column_name(names[c]);
            if (cells[c].empty()) {
                if (!column.nullable())
                    return fail(file, line_number, "empty value in column " + column_name + ", which needs one");
                continue;
            }
            if (column.is_integer()) {
                // The least value of each width is the null marker and so no value.
                const bool narrow = column.integer_width() == 2;
                if (!parse_integer(cells[c], narrow ? -32767 : -2147483647LL, narrow ? 32767 : 2147483647LL,
                                   cell.value))
                    return fail(file, line_number,
                                "'" + std::string(cells[c]) + "' is no " + (narrow ? "16" : "32") +
                                    "-bit integer for column " + column_name);
                cell.kind = CellKind::Integer;
            } else if (column.is_stream()) {
                const std::string path = std::string(header[0]) + "/" + std::string(cells[c]);
                auto it = streams_.find(path);
                if (it == streams_.end()) return fail(file, line_number, "no file " + path + " for column " + column_name);
                cell.kind = CellKind::Stream;
                cell.value = static_cast<int32_t>(db.streams.size());
                db.streams.push_back(
                    std::make_shared<MemoryStream>(std::vector<uint8_t>(it->second.begin(), it->second.end())));
            } else {
                if (!decode_utf8(cells[c], text))
                    return fail(file, line_number, "invalid UTF-8 in column " + column_name);
                cell.kind = CellKind::String;
                cell.value = db.intern(unescape(text));
            }
        }
        std::vector<std::pair<CellKind, int32_t>> key;
        for (size_t c = 0; c < keys; ++c) key.emplace_back(table.at(row, c).kind, table.at(row, c).value);
        if (!seen_keys.insert(std::move(key)).second) return fail(file, line_number, "duplicate key");
    }

    // Name the stream cells as a database file names them, "<Table>.<key>...",
    // so that _Streams lists them.
    for (size_t r = 0; r < table.rows(); ++r) {
        for (size_t c = keys; c < cols; ++c) {
            const Cell& cell = table.at(r, c);
            if (cell.kind != CellKind::Stream) continue;
            std::wstring stream_name = table.name;
            for (size_t k = 0; k < keys; ++k) {
                const Cell& key = table.at(r, k);
                stream_name += L'.';
                stream_name += key.kind == CellKind::Integer ? std::to_wstring(key.value) : db.string(key.value);
            }
            db.named_streams.emplace_back(std::move(stream_name), db.streams[cell.value]);
        }
    }
    db.add_table(std::move(table));
    return true;
}

}  // namespace

bool parse_idt_type(std::string_view text, uint16_t& type) {
    if (text.size() < 2 || text.size() > 4) return false;
    int32_t size = 0;
    for (size_t i = 1; i < text.size(); ++i)
        if (text[i] < '0' || text[i] > '9') return false;
    if (!parse_integer(text.substr(1), 0, 255, size)) return false;
    const char letter = text[0];
    const bool nullable = letter >= 'A' && letter <= 'Z';
    uint16_t word = coltype::Valid;
    switch (nullable ? static_cast<char>(letter - 'A' + 'a') : letter) {
    case 's': word |= coltype::StringOrObject | coltype::ShortOrString | size; break;
    case 'l': word |= coltype::StringOrObject | coltype::ShortOrString | coltype::Localizable | size; break;
    case 'i':
        if (size == 2) word |= coltype::ShortOrString | 2;
        else if (size == 4) word |= 4;
        else return false;
        break;
    case 'v':
        if (size != 0) return false;
        word |= coltype::StringOrObject;
        break;
    default: return false;
    }
    if (nullable) word |= coltype::Nullable;
    type = word;
    return true;
}

std::unique_ptr<Database> read_idt_tables(std::span<const IdtText> tables, std::span<const IdtStreamFile> streams,
                                          std::string& error) {
    error.clear();
    auto db = std::make_unique<Database>();
    Reader reader(streams, error);
    for (const auto& file : tables)
        if (!reader.read(file, *db)) return nullptr;
    return db;
}

}  // namespace qv::msidb
