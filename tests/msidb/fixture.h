// Helpers of the database reader tests: fixture packages built with msibuild
// in a temporary folder, cell rendering, and a small compound file writer for
// hand-made (and hand-damaged) inputs.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/posix/msidb/model.h"

namespace msidb_test {

using namespace qv::msidb;

// A new folder under the test binary folder, removed when the program ends.
inline std::string make_temp_dir(const std::string& tag) {
    static struct Made {
        std::vector<std::string> dirs;
        ~Made() {
            std::error_code ignored;
            for (const std::string& dir : dirs) std::filesystem::remove_all(dir, ignored);
        }
    } made;
    std::string templ = std::string(QV_TEST_BINARY_DIR) + "/msidb_" + tag + "_XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    const char* dir = mkdtemp(buf.data());
    if (!dir) return "";
    made.dirs.push_back(dir);
    return dir;
}

inline void write_file(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
}

inline std::vector<uint8_t> read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// Runs a shell command in `dir`; returns its exit status and output.
inline int run_in(const std::string& dir, const std::string& command, std::string* output = nullptr) {
    const std::string out_file = dir + "/.out";
    const std::string full = "cd '" + dir + "' && " + command + " > '" + out_file + "' 2>&1";
    const int rc = std::system(full.c_str());
    if (output) {
        auto bytes = read_file(out_file);
        output->assign(bytes.begin(), bytes.end());
    }
    return rc;
}

// An .idt file: header lines then rows, all tab separated (UTF-8 text).
inline std::string idt(const std::string& columns, const std::string& types, const std::string& keys,
                       const std::vector<std::string>& rows) {
    std::string text = columns + "\n" + types + "\n" + keys + "\n";
    for (const auto& r : rows) text += r + "\n";
    return text;
}

inline std::string codepage_idt(int codepage) { return "\n\n" + std::to_string(codepage) + "\t_ForceCodepage\n"; }

// Builds dir/name from the given idt files (file name -> content) with
// msibuild, plus extra msibuild arguments.
inline std::string build_package(const std::string& dir, const std::string& name,
                                 const std::vector<std::pair<std::string, std::string>>& idts,
                                 const std::string& extra = "") {
    std::string args;
    for (const auto& [file, content] : idts) {
        write_file(dir + "/" + file, content);
        args += " -i '" + file + "'";
    }
    std::string out;
    const int rc = run_in(dir, "msibuild '" + name + "'" + args + " " + extra, &out);
    EXPECT_EQ(rc, 0) << out;
    return dir + "/" + name;
}

inline std::unique_ptr<Database> open_ok(const std::string& path) {
    OpenError error;
    auto db = open_database(path, error);
    EXPECT_TRUE(db) << path << ": " << error.reason;
    return db;
}

// UTF-8 for readable failure messages and comparisons with tool output.
inline std::string narrow(const std::wstring& w) {
    static const uint8_t lead[] = {0, 0xC0, 0xE0, 0xF0};
    std::string out;
    for (wchar_t c : w) {
        const uint32_t u = static_cast<uint32_t>(c);
        const int tail = u < 0x80 ? 0 : u < 0x800 ? 1 : u < 0x10000 ? 2 : 3;
        out += static_cast<char>(lead[tail] | (u >> (6 * tail)));
        for (int k = tail - 1; k >= 0; --k) out += static_cast<char>(0x80 | ((u >> (6 * k)) & 0x3F));
    }
    return out;
}

// A cell as text: "~" for null, decimal integers, string text, and
// "<stream N>" with the stream's size for stream cells.
inline std::string cell_text(const Database& db, const Table& t, size_t row, size_t col) {
    const Cell& c = t.at(row, col);
    switch (c.kind) {
    case CellKind::Null: return "~";
    case CellKind::Integer: return std::to_string(c.value);
    case CellKind::String: return narrow(db.string(c.value));
    case CellKind::Stream: return "<stream " + std::to_string(db.streams.at(c.value)->size()) + ">";
    }
    return "?";
}

inline std::vector<std::string> rows_text(const Database& db, const Table& t) {
    std::vector<std::string> rows;
    for (size_t r = 0; r < t.rows(); ++r) {
        std::string line;
        for (size_t c = 0; c < t.columns.size(); ++c) line += (c ? "|" : "") + cell_text(db, t, r, c);
        rows.push_back(line);
    }
    return rows;
}

// Summary properties as "id/type=value": text, file time ticks or integer.
inline std::vector<std::string> summary_text(const std::map<uint32_t, SummaryProperty>& props) {
    std::vector<std::string> out;
    for (const auto& [id, p] : props)
        out.push_back(std::to_string(id) + "/" + std::to_string(p.type) + "=" +
                      (p.type == 30 ? narrow(p.text)
                                    : p.type == 64 ? std::to_string(p.filetime) : std::to_string(p.integer)));
    return out;
}

inline std::string stream_text(const StreamSource& s) {
    std::string out(static_cast<size_t>(s.size()), '\0');
    out.resize(s.read(0, out.data(), out.size()));
    return out;
}

// The installer's packed stream names, for hand-made files.
inline std::u16string encode_name(const std::string& name, bool table) {
    static const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";
    std::u16string out;
    if (table) out += char16_t(0x4840);
    for (size_t i = 0; i < name.size(); ++i) {
        const size_t a = alphabet.find(name[i]);
        if (a == std::string::npos) {
            out += char16_t(static_cast<unsigned char>(name[i]));
            continue;
        }
        const size_t b = i + 1 < name.size() ? alphabet.find(name[i + 1]) : std::string::npos;
        if (b != std::string::npos) {
            out += char16_t(0x3800 + a + (b << 6));
            ++i;
        } else {
            out += char16_t(0x4800 + a);
        }
    }
    return out;
}

// Writes a version 3 (512-byte sectors) or 4 (4096-byte sectors) compound
// file. Root children are chained through their right siblings; streams below
// 4096 bytes go to the mini stream. Records where things landed so tests can
// damage them.
class CfbWriter {
public:
    struct Child {
        std::u16string name;
        bool storage = false;
        std::string data;
    };
    std::vector<Child> children;
    int version = 3;

    // Filled by build().
    size_t sector_size = 512;
    uint32_t fat_start = 0, dir_start = 0;
    std::vector<uint32_t> first_sector;  // per child: first (mini) sector

    void add(const std::u16string& name, std::string data) { children.push_back({name, false, std::move(data)}); }
    void add_storage(const std::u16string& name) { children.push_back({name, true, {}}); }

    size_t sector_offset(uint32_t sector) const { return (sector + 1) * sector_size; }
    // Offset of directory entry `id` (0 = root); the directory fits its first sectors in order.
    size_t entry_offset(uint32_t id) const {
        const size_t per = sector_size / 128;
        return sector_offset(dir_start + static_cast<uint32_t>(id / per)) + (id % per) * 128;
    }
    size_t fat_entry_offset(uint32_t sector) const { return sector_offset(fat_start) + 4 * sector; }

    std::vector<uint8_t> build() {
        sector_size = version == 3 ? 512 : 4096;
        const size_t ss = sector_size;
        auto sectors_for = [&](size_t bytes) { return (bytes + ss - 1) / ss; };
        // Mini stream layout.
        std::string mini;
        std::vector<uint32_t> minifat;
        first_sector.assign(children.size(), 0xFFFFFFFE);
        for (size_t i = 0; i < children.size(); ++i) {
            const auto& c = children[i];
            if (c.storage || c.data.empty() || c.data.size() >= 4096) continue;
            const uint32_t first = static_cast<uint32_t>(mini.size() / 64);
            const size_t n = (c.data.size() + 63) / 64;
            for (size_t k = 0; k < n; ++k) minifat.push_back(k + 1 < n ? first + k + 1 : 0xFFFFFFFE);
            first_sector[i] = first;
            mini += c.data;
            mini.resize(mini.size() + (64 - mini.size() % 64) % 64, '\0');
        }
        const size_t dir_sectors = sectors_for((children.size() + 1) * 128);
        const size_t minifat_sectors = sectors_for(minifat.size() * 4);
        const size_t mini_sectors = sectors_for(mini.size());
        size_t big_sectors = 0;
        for (const auto& c : children)
            if (!c.storage && c.data.size() >= 4096) big_sectors += sectors_for(c.data.size());
        size_t fat_sectors = 1;
        while (fat_sectors * (ss / 4) < fat_sectors + dir_sectors + minifat_sectors + mini_sectors + big_sectors)
            ++fat_sectors;
        const size_t total = fat_sectors + dir_sectors + minifat_sectors + mini_sectors + big_sectors;
        std::vector<uint8_t> out((total + 1) * ss, 0);
        std::vector<uint32_t> fat(fat_sectors * (ss / 4), 0xFFFFFFFF);
        uint32_t next = 0;
        auto chain = [&](size_t count) {
            const uint32_t first = next;
            for (size_t k = 0; k < count; ++k) fat[next + k] = k + 1 < count ? next + k + 1 : 0xFFFFFFFE;
            next += static_cast<uint32_t>(count);
            return count ? first : 0xFFFFFFFE;
        };
        fat_start = next;
        for (size_t k = 0; k < fat_sectors; ++k) fat[next++] = 0xFFFFFFFD;
        dir_start = chain(dir_sectors);
        const uint32_t minifat_start = chain(minifat_sectors);
        const uint32_t mini_start = chain(mini_sectors);
        for (size_t i = 0; i < children.size(); ++i) {
            const auto& c = children[i];
            if (c.storage || c.data.size() < 4096) continue;
            first_sector[i] = chain(sectors_for(c.data.size()));
            std::memcpy(out.data() + sector_offset(first_sector[i]), c.data.data(), c.data.size());
        }
        // Header.
        const uint8_t sig[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
        std::memcpy(out.data(), sig, 8);
        put16(out, 0x18, 0x3E);
        put16(out, 0x1A, static_cast<uint16_t>(version));
        put16(out, 0x1C, 0xFFFE);
        put16(out, 0x1E, version == 3 ? 9 : 12);
        put16(out, 0x20, 6);
        put32(out, 0x28, version == 3 ? 0 : static_cast<uint32_t>(dir_sectors));
        put32(out, 0x2C, static_cast<uint32_t>(fat_sectors));
        put32(out, 0x30, dir_start);
        put32(out, 0x38, 4096);
        put32(out, 0x3C, minifat_sectors ? minifat_start : 0xFFFFFFFE);
        put32(out, 0x40, static_cast<uint32_t>(minifat_sectors));
        put32(out, 0x44, 0xFFFFFFFE);
        for (size_t k = 0; k < 109; ++k)
            put32(out, 0x4C + 4 * k, k < fat_sectors ? static_cast<uint32_t>(fat_start + k) : 0xFFFFFFFF);
        for (size_t k = 0; k < fat.size(); ++k) put32(out, sector_offset(fat_start) + 4 * k, fat[k]);
        for (size_t k = 0; k < minifat.size(); ++k) put32(out, sector_offset(minifat_start) + 4 * k, minifat[k]);
        if (!mini.empty()) std::memcpy(out.data() + sector_offset(mini_start), mini.data(), mini.size());
        // Directory: root, then the children as a right-leaning list.
        auto entry = [&](uint32_t id, const std::u16string& name, uint8_t type, uint32_t right, uint32_t child,
                         uint32_t start, uint64_t size) {
            const size_t at = entry_offset(id);
            for (size_t k = 0; k < name.size() && k < 31; ++k) put16(out, at + 2 * k, name[k]);
            put16(out, at + 64, static_cast<uint16_t>(2 * (std::min<size_t>(name.size(), 31) + 1)));
            out[at + 66] = type;
            out[at + 67] = 1;
            put32(out, at + 68, 0xFFFFFFFF);
            put32(out, at + 72, right);
            put32(out, at + 76, child);
            put32(out, at + 116, start);
            put32(out, at + 120, static_cast<uint32_t>(size));
        };
        const size_t per = ss / 128;
        for (size_t id = children.size() + 1; id < dir_sectors * per; ++id)
            for (size_t field : {68, 72, 76}) put32(out, entry_offset(static_cast<uint32_t>(id)) + field, 0xFFFFFFFF);
        entry(0, u"Root Entry", 5, 0xFFFFFFFF, children.empty() ? 0xFFFFFFFF : 1,
              mini_sectors ? mini_start : 0xFFFFFFFE, mini.size());
        for (size_t i = 0; i < children.size(); ++i) {
            const auto& c = children[i];
            entry(static_cast<uint32_t>(i + 1), c.name, c.storage ? 1 : 2,
                  i + 1 < children.size() ? static_cast<uint32_t>(i + 2) : 0xFFFFFFFF, 0xFFFFFFFF,
                  c.storage ? 0 : first_sector[i], c.storage ? 0 : c.data.size());
        }
        return out;
    }

    static void put16(std::vector<uint8_t>& b, size_t at, uint16_t v) {
        b[at] = v & 0xFF;
        b[at + 1] = v >> 8;
    }
    static void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
        for (int k = 0; k < 4; ++k) b[at + k] = (v >> (8 * k)) & 0xFF;
    }
};

// Little-endian bytes of 16/32-bit values, for hand-made table streams.
inline std::string le16s(std::initializer_list<uint32_t> values) {
    std::string s;
    for (uint32_t v : values) s += {static_cast<char>(v & 0xFF), static_cast<char>((v >> 8) & 0xFF)};
    return s;
}

// A string pool: header, then (len, refcount) per string, and the data.
inline void add_pool(CfbWriter& w, uint32_t header, const std::vector<std::string>& strings) {
    std::string pool;
    for (int k = 0; k < 4; ++k) pool += static_cast<char>((header >> (8 * k)) & 0xFF);
    std::string data;
    for (const auto& s : strings) {
        pool += le16s({static_cast<uint32_t>(s.size()), 1});
        data += s;
    }
    w.add(encode_name("_StringPool", true), pool);
    w.add(encode_name("_StringData", true), data);
}

inline std::unique_ptr<Database> open_bytes(const std::vector<uint8_t>& bytes, std::string& reason) {
    OpenError error;
    auto db = open_database_bytes(std::make_shared<const std::vector<uint8_t>>(bytes), error);
    reason = error.reason;
    return db;
}

}  // namespace msidb_test
