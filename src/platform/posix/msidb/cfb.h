// Read-only compound file (structured storage) over a byte buffer.
//
// The buffer is never copied: streams read their bytes from it on demand by
// following a sector list resolved and checked when the file is opened.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model.h"

namespace qv::msidb::cfb {

// A read-only view of the whole file; `owner` keeps the bytes alive (a
// mapping or a vector).
struct Buffer {
    std::shared_ptr<const void> owner;
    const uint8_t* data = nullptr;
    size_t size = 0;
};

enum class EntryType : uint8_t { Storage = 1, Stream = 2 };

// One child of the root storage.
struct Entry {
    std::u16string name;  // raw UTF-16 name as stored
    EntryType type = EntryType::Stream;
    uint32_t id = 0;      // position in the directory
    // Stream contents; null for storages.
    std::shared_ptr<const StreamSource> stream;
};

class CompoundFile {
public:
    // Opens the buffer. On failure returns null and sets `error` to a short
    // reason ("not a compound file", "truncated file", "cyclic sector chain", ...).
    static std::unique_ptr<CompoundFile> open(Buffer buffer, std::string& error);

    // Children of the root storage in directory order.
    const std::vector<Entry>& children() const { return children_; }
    const std::array<uint8_t, 16>& root_clsid() const { return root_clsid_; }
    int major_version() const { return major_; }

private:
    std::vector<Entry> children_;
    std::array<uint8_t, 16> root_clsid_{};
    int major_ = 3;
};

// Reads a whole stream into memory (for the small table streams).
std::vector<uint8_t> read_all(const StreamSource& stream);

}  // namespace qv::msidb::cfb
