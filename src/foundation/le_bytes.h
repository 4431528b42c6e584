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

namespace qv {

// Where the parts of a PE image's headers lie, each read bounds-checked.
struct PeHeaderLayout {
    uint64_t optional = 0;        // offset of the optional header
    uint32_t optionalSize = 0;
    uint32_t sectionCount = 0;
    uint64_t sectionTable = 0;    // offset of the first section header
    uint64_t directories = 0;     // offset of the first data directory entry
    std::optional<uint32_t> directoryCount;  // as the optional header states it, if it lies in the file
};

// The layout of a PE32 or PE32+ image; nothing, with the reason, when the
// DOS or PE header, the optional header's magic or its counts are missing.
inline std::optional<PeHeaderLayout> ReadPeHeaderLayout(const LeBytes& image, const char*& reason)
{
    auto fail = [&](const char* why) -> std::optional<PeHeaderLayout> {
        reason = why;
        return std::nullopt;
    };
    if (image.U16(0) != 0x5A4Du)
        return fail("no DOS header");
    const auto lfanew = image.U32(0x3C);
    if (!lfanew || image.U32(*lfanew) != 0x00004550u)
        return fail("no PE header");
    const uint64_t pe = *lfanew;
    const auto sections = image.U16(pe + 6);
    const auto optionalSize = image.U16(pe + 20);
    const auto magic = image.U16(pe + 24);
    if (!sections || !optionalSize || !magic)
        return fail("truncated PE header");
    PeHeaderLayout layout;
    layout.optional = pe + 24;
    layout.optionalSize = *optionalSize;
    layout.sectionCount = *sections;
    layout.sectionTable = layout.optional + *optionalSize;
    uint64_t countOffset;
    if (*magic == 0x10B) {
        countOffset = layout.optional + 92;
        layout.directories = layout.optional + 96;
    } else if (*magic == 0x20B) {
        countOffset = layout.optional + 108;
        layout.directories = layout.optional + 112;
    } else {
        return fail("unknown optional header");
    }
    layout.directoryCount = image.U32(countOffset);
    return layout;
}

}  // namespace qv
