#include "reference.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <vector>

#include "commands.h"
#include "dump.h"
#include "embedded.h"
#include "platform/posix/api/handles.h"
#include "platform/posix/msidb/idt.h"
#include "text.h"

namespace qvice {
namespace {

using qv::msidb::IdtStreamFile;
using qv::msidb::IdtText;

bool EndsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

MSIHANDLE Register(std::unique_ptr<qv::msidb::Database> db, const std::wstring& name) {
    auto object = std::make_shared<qv::winapi::DatabaseObject>();
    object->db = std::move(db);
    object->name = name;
    return qv::winapi::register_handle(object);
}

// A file's bytes; false with a reason when it cannot be read whole.
bool ReadFile(const std::string& path, std::vector<uint8_t>& bytes, std::string& reason) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        reason = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    bytes.clear();
    uint8_t buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) bytes.insert(bytes.end(), buffer, buffer + n);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) reason = "cannot read " + path;
    return !failed;
}

// Regular files of a folder, sorted by name; false when it cannot be listed.
bool ListFiles(const std::string& folder, std::vector<std::string>& names) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return false;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        struct stat st {};
        if (::stat((folder + "/" + name).c_str(), &st) == 0 && S_ISREG(st.st_mode)) names.push_back(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return true;
}

bool IsDirectory(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

// Writes every table of `database` into `folder` as <Table>.idt, and the
// bytes of each stream cell as <Table>/<Table>.<key>..., the name that the
// IDT file gives in the cell.
int ExportTables(MSIHANDLE database, const std::string& folder) {
    if (!IsDirectory(folder) && ::mkdir(folder.c_str(), 0777) != 0)
        return UsageError("cannot create " + folder + ": " + std::strerror(errno));
    auto object = qv::winapi::lookup<qv::winapi::DatabaseObject>(database);
    if (!object) return UsageError("no reference data to export");
    const qv::msidb::Database& db = *object->db;
    for (const auto& table : TableNames(database)) {
        const std::string path = folder + "/" + Utf8(table) + ".idt";
        std::FILE* out = std::fopen(path.c_str(), "wb");
        if (!out) return UsageError("cannot create " + path + ": " + std::strerror(errno));
        std::string error;
        const bool dumped = DumpTable(database, table, out, error);
        if (std::fclose(out) != 0 || !dumped)
            return UsageError("cannot write " + path + (error.empty() ? "" : ": " + error));

        const qv::msidb::Table* model = db.find_table(table);
        if (!model) continue;
        const size_t keys = model->key_count();
        for (size_t r = 0; r < model->rows(); ++r) {
            for (size_t c = 0; c < model->columns.size(); ++c) {
                const qv::msidb::Cell& cell = model->at(r, c);
                if (cell.kind != qv::msidb::CellKind::Stream) continue;
                std::wstring name = table;
                for (size_t k = 0; k < keys; ++k) {
                    const qv::msidb::Cell& key = model->at(r, k);
                    name += L'.';
                    name += key.kind == qv::msidb::CellKind::Integer ? std::to_wstring(key.value) : db.string(key.value);
                }
                const std::string sub = folder + "/" + Utf8(table);
                if (!IsDirectory(sub) && ::mkdir(sub.c_str(), 0777) != 0)
                    return UsageError("cannot create " + sub + ": " + std::strerror(errno));
                const auto& source = db.streams[cell.value];
                std::vector<uint8_t> bytes(source->size());
                bytes.resize(source->read(0, bytes.data(), bytes.size()));
                if (!WriteBytes(sub + "/" + Utf8(name), bytes)) return UsageError("cannot write " + sub + "/" + Utf8(name));
            }
        }
    }
    return 0;
}

// One line per table: name, columns as name(type) side by side, row count.
int ListTables(MSIHANDLE database) {
    auto object = qv::winapi::lookup<qv::winapi::DatabaseObject>(database);
    if (!object) return UsageError("no reference data");
    for (const auto& table : object->db->tables) {
        std::wstring columns;
        for (const auto& column : table.columns) columns += column.name + L"(" + column.definition() + L")";
        std::printf("%s\t%s\t%zu\n", Utf8(table.name).c_str(), Utf8(columns).c_str(), table.rows());
    }
    return 0;
}

}  // namespace

MSIHANDLE OpenBuiltinReference(std::string& reason) {
    reason.clear();
    std::vector<IdtText> tables;
    std::vector<IdtStreamFile> streams;
    for (size_t i = 0; i < kEmbeddedReferenceCount; ++i) {
        const EmbeddedFile& file = kEmbeddedReference[i];
        const std::string_view path(file.path);
        if (path.find('/') != std::string_view::npos)
            streams.push_back({std::string(path), {file.data, file.size}});
        else if (EndsWith(path, ".idt"))
            tables.push_back({std::string(path), {reinterpret_cast<const char*>(file.data), file.size}});
    }
    if (tables.empty()) return 0;
    auto db = qv::msidb::read_idt_tables(tables, streams, reason);
    if (!db) return 0;
    return Register(std::move(db), L"QvIce.cub");
}

MSIHANDLE OpenReferenceFolder(const std::string& folder, std::string& reason) {
    reason.clear();
    std::vector<std::string> names;
    if (!ListFiles(folder, names)) {
        reason = "cannot read the folder " + folder;
        return 0;
    }
    // The texts and bytes must live until the tables are read.
    std::vector<std::vector<uint8_t>> contents;
    std::vector<std::string> table_files, stream_paths;
    for (const auto& name : names) {
        if (!EndsWith(name, ".idt")) continue;
        contents.emplace_back();
        if (!ReadFile(folder + "/" + name, contents.back(), reason)) return 0;
        table_files.push_back(name);
        // A table's stream files stand in the subfolder of the table's name.
        const std::string sub = name.substr(0, name.size() - 4);
        std::vector<std::string> files;
        if (IsDirectory(folder + "/" + sub) && ListFiles(folder + "/" + sub, files)) {
            for (const auto& file : files) {
                contents.emplace_back();
                if (!ReadFile(folder + "/" + sub + "/" + file, contents.back(), reason)) return 0;
                stream_paths.push_back(sub + "/" + file);
            }
        }
    }
    std::vector<IdtText> tables;
    std::vector<IdtStreamFile> streams;
    size_t next = 0, next_table = 0, next_stream = 0;
    for (const auto& name : names) {
        if (!EndsWith(name, ".idt")) continue;
        const auto& text = contents[next++];
        tables.push_back({table_files[next_table++], {reinterpret_cast<const char*>(text.data()), text.size()}});
        const std::string prefix = name.substr(0, name.size() - 4) + "/";
        while (next_stream < stream_paths.size() && stream_paths[next_stream].rfind(prefix, 0) == 0) {
            const auto& bytes = contents[next++];
            streams.push_back({stream_paths[next_stream++], {bytes.data(), bytes.size()}});
        }
    }
    if (tables.empty()) {
        reason = "no .idt file in " + folder;
        return 0;
    }
    auto db = qv::msidb::read_idt_tables(tables, streams, reason);
    if (!db) return 0;
    return Register(std::move(db), Wide(folder));
}

int ReferenceCommand(const std::vector<std::string>& args) {
    if (args.size() < 1 || args.size() > 2 || (args[0] != "--list" && args[0] != "--export"))
        return UsageError("reference takes --list [FOLDER] or --export FOLDER");
    if (args[0] == "--export" && args.size() != 2) return UsageError("reference --export needs a folder");
    std::string reason;
    const bool from_folder = args[0] == "--list" && args.size() == 2;
    MSIHANDLE database = from_folder ? OpenReferenceFolder(args[1], reason) : OpenBuiltinReference(reason);
    if (!database) {
        if (reason.empty()) reason = "this build carries no reference data";
        return UsageError((from_folder ? args[1] : std::string("built-in reference data")) + ": " + reason);
    }
    const int status = args[0] == "--list" ? ListTables(database) : ExportTables(database, args[1]);
    MsiCloseHandle(database);
    return status;
}

}  // namespace qvice
