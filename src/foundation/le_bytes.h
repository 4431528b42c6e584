// Bounds-checked little-endian reads over a byte buffer, for the readers of
// untrusted files: a read that does not lie wholly inside gives nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace qv {

struct LeBytes {
    const uint8_t* data;
    size_t size;

    bool Has(uint64_t offset, uint64_t count) const { return offset <= size && count <= size - offset; }
    std::optional<uint32_t> U16(uint64_t offset) const
    {
        if (!Has(offset, 2))
            return std::nullopt;
        return static_cast<uint32_t>(data[offset] | (data[offset + 1] << 8));
    }
    std::optional<uint32_t> U32(uint64_t offset) const
    {
        if (!Has(offset, 4))
            return std::nullopt;
        const uint8_t* p = data + offset;
        return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
               (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    }
};

}  // namespace qv
