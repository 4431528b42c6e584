#include "platform/posix/inspect/mszip_folder.h"

#include <algorithm>
#include <cstring>

#include "foundation/le_bytes.h"

namespace qv::mscab::mszip {
namespace {

// The cabinet library's own bounds of one block: more compressed bytes
// than this, or more than 32 KB of output, and it refuses the block.
constexpr uint32_t kLargestInput = kBlockSize + 6144;
constexpr uint32_t kFlagPrevious = 0x0001;
constexpr uint32_t kFlagNext = 0x0002;
constexpr uint32_t kFlagReserve = 0x0004;
constexpr uint32_t kHeaderSize = 36;
constexpr uint32_t kFolderSize = 8;
constexpr uint32_t kBlockHeaderSize = 8;
constexpr uint32_t kFileSize = 16;
constexpr size_t kLongestName = 256;          // with its terminator
constexpr uint32_t kFolderContinued = 0xFFFD;  // and above: continued from or into another cabinet

// The checksum's reading of four bytes, which lie inside by construction.
uint32_t Word(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

}  // namespace

uint32_t Checksum(const uint8_t* data, size_t count, uint32_t seed)
{
    uint32_t sum = seed;
    size_t i = 0;
    for (; i + 4 <= count; i += 4)
        sum ^= Word(data + i);
    uint32_t tail = 0;
    switch (count - i) {
    case 3:
        tail = (static_cast<uint32_t>(data[i]) << 16) | (static_cast<uint32_t>(data[i + 1]) << 8) | data[i + 2];
        break;
    case 2: tail = (static_cast<uint32_t>(data[i]) << 8) | data[i + 1]; break;
    case 1: tail = data[i]; break;
    default: break;
    }
    return sum ^ tail;
}

bool ReadLayout(const uint8_t* bytes, size_t size, Layout& layout)
{
    layout = Layout();
    const LeBytes cab{bytes, size};
    if (!cab.Has(0, kHeaderSize) || std::memcmp(bytes, "MSCF", 4) != 0)
        return false;
    const uint32_t folders = *cab.U16(0x1A);
    const uint32_t files = *cab.U16(0x1C);
    const uint32_t flags = *cab.U16(0x1E);
    if (flags & (kFlagPrevious | kFlagNext))
        return false;
    uint64_t offset = kHeaderSize;
    uint32_t folderReserve = 0;
    if (flags & kFlagReserve) {
        if (!cab.Has(offset, 4))
            return false;
        const uint32_t headerReserve = *cab.U16(offset);
        folderReserve = bytes[offset + 2];
        layout.dataReserve = bytes[offset + 3];
        offset += 4 + uint64_t{headerReserve};
    }
    layout.folders.reserve(folders);
    for (uint32_t i = 0; i < folders; ++i, offset += kFolderSize + folderReserve) {
        if (!cab.Has(offset, kFolderSize))
            return false;
        layout.folders.push_back(Folder{*cab.U32(offset), *cab.U16(offset + 4), *cab.U16(offset + 6)});
    }
    // A file continued from or into another cabinet makes the library treat
    // the folder as part of a set: such cabinets are left to it.
    offset = *cab.U32(0x10);
    for (uint32_t i = 0; i < files; ++i) {
        if (!cab.Has(offset, kFileSize) || *cab.U16(offset + 8) >= kFolderContinued)
            return false;
        const uint8_t* name = bytes + offset + kFileSize;
        const void* end = std::memchr(name, 0, std::min<size_t>(size - (offset + kFileSize), kLongestName));
        if (!end)
            return false;
        offset = static_cast<uint64_t>(static_cast<const uint8_t*>(end) - bytes) + 1;
    }
    return true;
}

FolderDecoder::~FolderDecoder()
{
    if (m_streamReady)
        inflateEnd(&m_stream);
}

bool FolderDecoder::Start(const uint8_t* bytes, size_t size, const Layout& layout, size_t folder)
{
    m_bytes = bytes;
    m_blocks.clear();
    m_next = 0;
    m_failed = true;
    m_folderLength = 0;
    m_position = 0;
    m_previousLength = 0;
    if (folder >= layout.folders.size())
        return false;
    const Folder& f = layout.folders[folder];
    if ((f.compression & 0x000F) != 1 || f.blocks == 0)
        return false;
    const LeBytes cab{bytes, size};
    uint64_t offset = f.firstBlock;
    for (uint32_t i = 0; i < f.blocks; ++i) {
        if (!cab.Has(offset, kBlockHeaderSize + uint64_t{layout.dataReserve}))
            return false;
        const uint8_t* header = bytes + offset;
        const uint32_t sum = *cab.U32(offset);
        const uint32_t compressed = *cab.U16(offset + 4);
        const uint32_t length = *cab.U16(offset + 6);
        const uint64_t data = offset + kBlockHeaderSize + layout.dataReserve;
        const bool last = i + 1 == f.blocks;
        if (compressed < 3 || compressed > kLargestInput || !cab.Has(data, compressed) || length == 0 ||
            length > kBlockSize || (!last && length != kBlockSize))
            return false;
        if (bytes[data] != 'C' || bytes[data + 1] != 'K')
            return false;
        if (sum != 0 && Checksum(header + 4, 4, Checksum(bytes + data, compressed, 0)) != sum)
            return false;
        m_blocks.push_back(Block{static_cast<size_t>(data + 2), compressed - 2, length});
        m_folderLength += length;
        offset = data + compressed;
    }
    if (!m_streamReady) {
        if (inflateInit2(&m_stream, -MAX_WBITS) != Z_OK)
            return false;
        m_streamReady = true;
    }
    for (auto& buffer : m_output)
        buffer.resize(kBlockSize);
    m_failed = false;
    return true;
}

bool FolderDecoder::Next(const uint8_t*& output, size_t& length)
{
    if (m_failed || m_next >= m_blocks.size())
        return false;
    const Block& block = m_blocks[m_next];
    // Each block is a deflate stream of its own that may refer back into
    // the 32 KB the block before it gave.
    m_failed = true;
    if (inflateReset(&m_stream) != Z_OK)
        return false;
    if (m_previousLength &&
        inflateSetDictionary(&m_stream, m_output[m_current].data(), static_cast<uInt>(m_previousLength)) != Z_OK)
        return false;
    std::vector<uint8_t>& out = m_output[m_current ^ 1];
    m_stream.next_in = const_cast<Bytef*>(m_bytes + block.data);
    m_stream.avail_in = block.compressed;
    m_stream.next_out = out.data();
    m_stream.avail_out = static_cast<uInt>(out.size());
    const int result = inflate(&m_stream, Z_FINISH);
    const size_t produced = out.size() - m_stream.avail_out;
    if (result != Z_STREAM_END || m_stream.avail_in != 0 || produced != block.length)
        return false;
    m_failed = false;
    m_current ^= 1;
    m_previousLength = produced;
    ++m_next;
    m_position += produced;
    output = out.data();
    length = produced;
    return true;
}

}  // namespace qv::mscab::mszip
