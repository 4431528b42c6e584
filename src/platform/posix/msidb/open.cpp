// Opening a database: the compound file, the stream names, the string pool,
// the tables and the summary information, wired into one Database.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cfb.h"
#include "model.h"
#include "streamname.h"
#include "stringpool.h"
#include "summary.h"
#include "tables.h"

namespace qv::msidb {
namespace {

// Larger summary streams are not plausible; they are ignored unread.
constexpr uint64_t MaxSummarySize = 16u << 20;

std::unique_ptr<Database> open_buffer(cfb::Buffer buffer, OpenError& error) {
    std::string reason;
    auto file = cfb::CompoundFile::open(std::move(buffer), reason);
    if (!file) {
        error.reason = reason;
        return nullptr;
    }
    auto db = std::make_unique<Database>();
    TableStreams table_streams;
    for (const auto& child : file->children()) {
        StreamName sn = decode_stream_name(child.name);
        if (child.type == cfb::EntryType::Storage) {
            db->storages.push_back(std::move(sn.name));
        } else if (sn.table) {
            table_streams.emplace(std::move(sn.name), child.stream);
        } else {
            db->named_streams.emplace_back(std::move(sn.name), child.stream);
        }
    }

    auto pool = table_streams.find(L"_StringPool");
    auto data = table_streams.find(L"_StringData");
    if (pool == table_streams.end() || data == table_streams.end()) {
        // Acceptable only for a file with no table data at all.
        for (const auto& [name, stream] : table_streams)
            if (name != L"_StringPool" && name != L"_StringData" && stream->size() > 0) {
                error.reason = "missing string pool";
                return nullptr;
            }
    } else if (!load_string_pool(cfb::read_all(*pool->second), cfb::read_all(*data->second), *db, reason)) {
        error.reason = reason;
        return nullptr;
    }

    if (!load_tables(*db, table_streams, reason)) {
        error.reason = reason;
        return nullptr;
    }

    if (auto summary = db->find_stream(L"\x05SummaryInformation"); summary && summary->size() <= MaxSummarySize)
        db->summary = parse_summary(cfb::read_all(*summary), db->codepage);
    return db;
}

}  // namespace

std::unique_ptr<Database> open_database(const std::string& path, OpenError& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error.reason = "cannot open file: " + std::string(std::strerror(errno));
        return nullptr;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        error.reason = "not a regular file";
        return nullptr;
    }
    cfb::Buffer buffer;
    if (st.st_size > 0) {
        const size_t size = static_cast<size_t>(st.st_size);
        void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (map == MAP_FAILED) {
            ::close(fd);
            error.reason = "cannot read file: " + std::string(std::strerror(errno));
            return nullptr;
        }
        buffer.owner = std::shared_ptr<const void>(map, [size](const void* p) { ::munmap(const_cast<void*>(p), size); });
        buffer.data = static_cast<const uint8_t*>(map);
        buffer.size = size;
    }
    ::close(fd);
    auto db = open_buffer(std::move(buffer), error);
    if (db) db->file_path = path;
    return db;
}

std::unique_ptr<Database> open_database_bytes(std::shared_ptr<const std::vector<uint8_t>> bytes, OpenError& error) {
    cfb::Buffer buffer;
    if (bytes) {
        buffer.data = bytes->data();
        buffer.size = bytes->size();
        buffer.owner = std::move(bytes);
    }
    return open_buffer(std::move(buffer), error);
}

}  // namespace qv::msidb
