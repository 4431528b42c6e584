#include "cfb.h"

#include <algorithm>
#include <cstring>

namespace qv::msidb::cfb {
namespace {

constexpr uint32_t MaxRegSect = 0xFFFFFFFA;
constexpr uint32_t EndOfChain = 0xFFFFFFFE;
constexpr uint32_t FreeSect = 0xFFFFFFFF;
constexpr uint32_t NoStream = 0xFFFFFFFF;
constexpr size_t HeaderSize = 512;
constexpr size_t DirEntrySize = 128;
constexpr uint32_t MiniSectorShift = 6;
constexpr uint32_t MiniSectorSize = 1u << MiniSectorShift;
constexpr uint64_t MiniStreamCutoff = 4096;

const uint8_t Signature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t le32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}
uint64_t le64(const uint8_t* p) { return le32(p) | (static_cast<uint64_t>(le32(p + 4)) << 32); }

// The file image shared by every stream: the buffer, its sector geometry
// and the sector list of the mini stream.
struct Image {
    Buffer buffer;
    uint32_t shift = 9;
    size_t sector_size = 512;
    uint64_t sector_count = 0;
    std::vector<uint32_t> mini_stream;  // regular sectors holding the mini stream

    // Copies `n` bytes at `offset` inside `sector`; bytes past the end of
    // the file (a short last sector) read as zero.
    void copy(uint32_t sector, size_t offset, uint8_t* out, size_t n) const {
        const uint64_t pos = ((static_cast<uint64_t>(sector) + 1) << shift) + offset;
        size_t avail = 0;
        if (pos < buffer.size) avail = static_cast<size_t>(std::min<uint64_t>(n, buffer.size - pos));
        if (avail) std::memcpy(out, buffer.data + pos, avail);
        if (avail < n) std::memset(out + avail, 0, n - avail);
    }
};

class SectorStream final : public StreamSource {
public:
    SectorStream(std::shared_ptr<const Image> image, std::vector<uint32_t> sectors, bool mini, uint64_t size)
        : image_(std::move(image)), sectors_(std::move(sectors)), mini_(mini), size_(size) {}

    uint64_t size() const override { return size_; }

    size_t read(uint64_t offset, void* buffer, size_t count) const override {
        if (offset >= size_ || count == 0) return 0;
        const size_t total = static_cast<size_t>(std::min<uint64_t>(count, size_ - offset));
        auto* out = static_cast<uint8_t*>(buffer);
        const Image& img = *image_;
        size_t done = 0;
        while (done < total) {
            const uint64_t pos = offset + done;
            size_t chunk;
            if (!mini_) {
                const uint64_t index = pos >> img.shift;
                const size_t within = static_cast<size_t>(pos & (img.sector_size - 1));
                chunk = std::min(total - done, img.sector_size - within);
                if (index < sectors_.size())
                    img.copy(sectors_[index], within, out + done, chunk);
                else
                    std::memset(out + done, 0, chunk);
            } else {
                const uint64_t index = pos >> MiniSectorShift;
                const size_t within = static_cast<size_t>(pos & (MiniSectorSize - 1));
                chunk = std::min<size_t>(total - done, MiniSectorSize - within);
                const uint64_t mpos = index < sectors_.size()
                                          ? (static_cast<uint64_t>(sectors_[index]) << MiniSectorShift) + within
                                          : UINT64_MAX;
                const uint64_t rindex = mpos == UINT64_MAX ? UINT64_MAX : mpos >> img.shift;
                if (rindex < img.mini_stream.size())
                    img.copy(img.mini_stream[rindex], static_cast<size_t>(mpos & (img.sector_size - 1)), out + done,
                             chunk);
                else
                    std::memset(out + done, 0, chunk);
            }
            done += chunk;
        }
        return total;
    }

private:
    std::shared_ptr<const Image> image_;
    std::vector<uint32_t> sectors_;
    bool mini_;
    uint64_t size_;
};

// Follows chains through an allocation table. Every sector may belong to one
// chain only: `owner` records which chain took it, which detects loops and
// overlapping chains in time linear in the file size.
class ChainWalker {
public:
    ChainWalker(const std::vector<uint32_t>& table, uint64_t limit, bool regular)
        : table_(table), limit_(limit), regular_(regular), owner_(static_cast<size_t>(limit), 0) {}

    // Marks a sector as taken outside any table chain (FAT and DIFAT sectors).
    bool claim(uint32_t sector, std::string& error) {
        if (sector >= limit_) {
            error = regular_ ? "truncated file" : "damaged sector chain";
            return false;
        }
        if (owner_[sector]) {
            error = "overlapping sector chains";
            return false;
        }
        owner_[sector] = UINT32_MAX;
        return true;
    }

    bool walk(uint32_t start, std::vector<uint32_t>& out, std::string& error) {
        const uint32_t id = ++chains_;
        uint32_t cur = start;
        while (cur != EndOfChain) {
            if (cur > MaxRegSect) {
                error = "damaged sector chain";
                return false;
            }
            if (cur >= limit_) {
                error = regular_ ? "truncated file" : "damaged sector chain";
                return false;
            }
            if (owner_[cur]) {
                error = owner_[cur] == id ? "cyclic sector chain" : "overlapping sector chains";
                return false;
            }
            owner_[cur] = id;
            out.push_back(cur);
            if (cur >= table_.size()) {
                error = "damaged sector chain";
                return false;
            }
            cur = table_[cur];
        }
        return true;
    }

private:
    const std::vector<uint32_t>& table_;
    uint64_t limit_;
    bool regular_;
    std::vector<uint32_t> owner_;
    uint32_t chains_ = 0;
};

// Reads the 32-bit entries of the given sectors (FAT, mini FAT) into `out`.
void read_table(const Image& img, const std::vector<uint32_t>& sectors, std::vector<uint32_t>& out) {
    std::vector<uint8_t> block(img.sector_size);
    out.reserve(out.size() + sectors.size() * (img.sector_size / 4));
    for (uint32_t s : sectors) {
        img.copy(s, 0, block.data(), block.size());
        for (size_t i = 0; i + 4 <= block.size(); i += 4) out.push_back(le32(block.data() + i));
    }
}

}  // namespace

std::vector<uint8_t> read_all(const StreamSource& stream) {
    std::vector<uint8_t> bytes(static_cast<size_t>(stream.size()));
    bytes.resize(stream.read(0, bytes.data(), bytes.size()));
    return bytes;
}

std::unique_ptr<CompoundFile> CompoundFile::open(Buffer buffer, std::string& error) {
    const uint8_t* d = buffer.data;
    const size_t size = buffer.size;
    if (size < sizeof Signature) {
        error = size > 0 && std::memcmp(d, Signature, size) == 0 ? "truncated file" : "not a compound file";
        return nullptr;
    }
    if (std::memcmp(d, Signature, sizeof Signature) != 0) {
        error = "not a compound file";
        return nullptr;
    }
    if (size < HeaderSize) {
        error = "truncated file";
        return nullptr;
    }
    const uint16_t major = le16(d + 0x1A);
    const uint16_t shift = le16(d + 0x1E);
    if (major != 3 && major != 4) {
        error = "unsupported compound file version";
        return nullptr;
    }
    if (le16(d + 0x1C) != 0xFFFE || shift != (major == 3 ? 9 : 12) || le16(d + 0x20) != MiniSectorShift ||
        le32(d + 0x38) != MiniStreamCutoff) {
        error = "damaged compound file header";
        return nullptr;
    }

    auto img = std::make_shared<Image>();
    img->buffer = buffer;
    img->shift = shift;
    img->sector_size = size_t{1} << shift;
    if (size < img->sector_size) {
        error = "truncated file";
        return nullptr;
    }
    // Sector n starts at (n + 1) << shift; a short last sector still counts.
    img->sector_count = std::min<uint64_t>((size - img->sector_size + img->sector_size - 1) >> shift,
                                           uint64_t{MaxRegSect} + 1);

    // FAT sectors: 109 slots in the header, then the DIFAT chain.
    const uint32_t fat_count = le32(d + 0x2C);
    if (fat_count > img->sector_count) {
        error = "truncated file";
        return nullptr;
    }
    std::vector<uint32_t> fat_sectors;
    std::vector<uint32_t> difat_sectors;
    fat_sectors.reserve(fat_count);
    for (uint32_t i = 0; i < 109 && fat_sectors.size() < fat_count; ++i) {
        const uint32_t s = le32(d + 0x4C + 4 * i);
        if (s == FreeSect || s == EndOfChain) break;
        fat_sectors.push_back(s);
    }
    {
        uint32_t difat = le32(d + 0x44);
        const uint32_t difat_count = le32(d + 0x48);
        const size_t per_sector = img->sector_size / 4 - 1;
        std::vector<uint8_t> block(img->sector_size);
        std::vector<bool> seen(static_cast<size_t>(img->sector_count), false);
        for (uint32_t n = 0; n < difat_count && fat_sectors.size() < fat_count; ++n) {
            if (difat == EndOfChain || difat == FreeSect) break;
            if (difat >= img->sector_count) {
                error = "truncated file";
                return nullptr;
            }
            if (seen[difat]) {
                error = "cyclic sector chain";
                return nullptr;
            }
            seen[difat] = true;
            difat_sectors.push_back(difat);
            img->copy(difat, 0, block.data(), block.size());
            for (size_t i = 0; i < per_sector && fat_sectors.size() < fat_count; ++i) {
                const uint32_t s = le32(block.data() + 4 * i);
                if (s == FreeSect || s == EndOfChain) continue;
                fat_sectors.push_back(s);
            }
            difat = le32(block.data() + 4 * per_sector);
        }
    }
    if (fat_sectors.size() < fat_count) {
        error = "damaged sector allocation table";
        return nullptr;
    }
    for (uint32_t s : fat_sectors)
        if (s >= img->sector_count) {
            error = "truncated file";
            return nullptr;
        }

    std::vector<uint32_t> fat;
    read_table(*img, fat_sectors, fat);

    // No stream may run through the FAT or DIFAT sectors themselves.
    ChainWalker regular(fat, img->sector_count, true);
    for (uint32_t s : fat_sectors)
        if (!regular.claim(s, error)) return nullptr;
    for (uint32_t s : difat_sectors)
        if (!regular.claim(s, error)) return nullptr;

    // Directory.
    std::vector<uint32_t> dir_sectors;
    if (!regular.walk(le32(d + 0x30), dir_sectors, error)) return nullptr;
    std::vector<uint8_t> dir(dir_sectors.size() * img->sector_size);
    for (size_t i = 0; i < dir_sectors.size(); ++i)
        img->copy(dir_sectors[i], 0, dir.data() + i * img->sector_size, img->sector_size);
    const size_t entry_count = dir.size() / DirEntrySize;
    if (entry_count == 0 || dir[66] != 5) {
        error = "damaged directory";
        return nullptr;
    }
    auto entry = [&](uint32_t id) { return dir.data() + static_cast<size_t>(id) * DirEntrySize; };
    auto entry_size = [&](const uint8_t* e) {
        // Version 3 files may carry garbage in the high half of the size.
        return major == 3 ? static_cast<uint64_t>(le32(e + 120)) : le64(e + 120);
    };

    // Mini stream (the root entry's chain) and mini FAT.
    const uint8_t* root = entry(0);
    {
        std::vector<uint32_t> mini_sectors;
        const uint32_t start = le32(root + 116);
        const uint64_t declared = entry_size(root);
        if (declared > 0 && !regular.walk(start, mini_sectors, error)) return nullptr;
        img->mini_stream = std::move(mini_sectors);
    }
    const uint64_t mini_stream_size =
        std::min<uint64_t>(entry_size(root), static_cast<uint64_t>(img->mini_stream.size()) << shift);
    std::vector<uint32_t> minifat;
    {
        std::vector<uint32_t> minifat_sectors;
        const uint32_t start = le32(d + 0x3C);
        // Without a mini stream an empty mini FAT may be described loosely.
        const bool absent = start == EndOfChain || start == FreeSect ||
                            (le32(d + 0x40) == 0 && img->mini_stream.empty());
        if (!absent && !regular.walk(start, minifat_sectors, error)) return nullptr;
        read_table(*img, minifat_sectors, minifat);
    }
    ChainWalker mini(minifat, (mini_stream_size + MiniSectorSize - 1) >> MiniSectorShift, false);

    auto file = std::unique_ptr<CompoundFile>(new CompoundFile());
    file->major_ = major;
    std::copy(root + 80, root + 96, file->root_clsid_.begin());

    // Walk the root's child tree, refusing loops and shared nodes.
    std::vector<bool> seen(entry_count, false);
    seen[0] = true;
    std::vector<uint32_t> pending{le32(root + 76)};
    std::vector<uint32_t> children;
    while (!pending.empty()) {
        const uint32_t id = pending.back();
        pending.pop_back();
        if (id == NoStream) continue;
        if (id >= entry_count) {
            error = "damaged directory";
            return nullptr;
        }
        if (seen[id]) {
            error = "cyclic directory tree";
            return nullptr;
        }
        seen[id] = true;
        const uint8_t* e = entry(id);
        pending.push_back(le32(e + 68));
        pending.push_back(le32(e + 72));
        if (e[66] == 1 || e[66] == 2) children.push_back(id);
    }
    std::sort(children.begin(), children.end());

    for (uint32_t id : children) {
        const uint8_t* e = entry(id);
        Entry child;
        child.id = id;
        child.type = e[66] == 1 ? EntryType::Storage : EntryType::Stream;
        const size_t units = std::min<size_t>(le16(e + 64) / 2, 32);
        for (size_t i = 0; i < units; ++i) {
            const char16_t u = static_cast<char16_t>(le16(e + 2 * i));
            if (u == 0) break;
            child.name.push_back(u);
        }
        if (child.type == EntryType::Stream) {
            const uint64_t declared = entry_size(e);
            std::vector<uint32_t> sectors;
            uint64_t capacity = 0;
            const bool in_mini = declared < MiniStreamCutoff;
            if (declared > 0) {
                ChainWalker& walker = in_mini ? mini : regular;
                if (!walker.walk(le32(e + 116), sectors, error)) return nullptr;
                capacity = static_cast<uint64_t>(sectors.size()) << (in_mini ? MiniSectorShift : shift);
            }
            // A size beyond what the chain holds is cut to the chain.
            child.stream =
                std::make_shared<SectorStream>(img, std::move(sectors), in_mini, std::min(declared, capacity));
        }
        file->children_.push_back(std::move(child));
    }
    return file;
}

}  // namespace qv::msidb::cfb
