// Compound file reader and the whole open path over arbitrary bytes.
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/posix/msidb/cfb.h"
#include "platform/posix/msidb/model.h"

using namespace qv::msidb;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto bytes = std::make_shared<const std::vector<uint8_t>>(data, data + size);
    std::string reason;
    cfb::Buffer buffer{bytes, bytes->data(), bytes->size()};
    if (auto file = cfb::CompoundFile::open(buffer, reason)) {
        uint8_t chunk[700];
        for (const auto& child : file->children()) {
            if (!child.stream) continue;
            const uint64_t n = child.stream->size();
            // Reads at odd offsets cross sector and mini sector borders.
            for (uint64_t at = 0; at < n && at < (1u << 20); at += 613) child.stream->read(at, chunk, sizeof chunk);
        }
    }
    OpenError error;
    if (auto db = open_database_bytes(bytes, error)) {
        size_t sum = 0;
        for (const auto& t : db->tables)
            for (const auto& c : t.cells)
                if (c.kind == CellKind::String) sum += db->string(c.value).size();
        for (const auto& s : db->streams) sum += s->size();
        (void)sum;
    }
    return 0;
}
