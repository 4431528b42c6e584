#include "platform/posix/inspect/mszip_folder.h"

#include <algorithm>
#include <cstring>

namespace qv::mscab::mszip {
namespace {

// The cabinet library's own bounds of one block: more compressed bytes
// than this, or more than 32 KB of output, and it refuses the block.
constexpr uint32_t kLargestInput = kBlockSize + 6144;
constexpr uint16_t kFlagPrevious = 0x0001;
constexpr uint16_t kFlagNext = 0x0002;
constexpr uint16_t kFlagReserve = 0x0004;
constexpr uint32_t kHeaderSize = 36;
constexpr uint32_t kFolderSize = 8;
constexpr uint32_t kBlockHeaderSize = 8;
constexpr uint32_t kFileSize = 16;
constexpr size_t kLongestName = 256;          // with its terminator
constexpr uint16_t kFolderContinued = 0xFFFD;  // and above: continued from or into another cabinet

uint16_t U16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t U32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

// True when [offset, offset + count) lies inside size; no overflow.
bool Inside(uint64_t offset, uint64_t count, size_t size) { return offset <= size && count <= size - offset; }

}  // namespace

uint32_t Checksum(const uint8_t* data, size_t count, uint32_t seed)
{
    uint32_t sum = seed;
    size_t i = 0;
    for (; i + 4 <= count; i += 4)
        sum ^= U32(data + i);
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
    if (!Inside(0, kHeaderSize, size) || std::memcmp(bytes, "MSCF", 4) != 0)
        return false;
    const uint16_t folders = U16(bytes + 0x1A);
    const uint16_t flags = U16(bytes + 0x1E);
    if (flags & (kFlagPrevious | kFlagNext))
        return false;
    uint64_t offset = kHeaderSize;
    uint32_t folderReserve = 0;
    if (flags & kFlagReserve) {
        if (!Inside(offset, 4, size))
            return false;
        const uint16_t headerReserve = U16(bytes + offset);
        folderReserve = bytes[offset + 2];
        layout.dataReserve = bytes[offset + 3];
        offset += 4 + uint64_t{headerReserve};
    }
    layout.folders.reserve(folders);
    for (uint32_t i = 0; i < folders; ++i) {
        if (!Inside(offset, kFolderSize, size))
            return false;
        Folder folder;
        folder.firstBlock = U32(bytes + offset);
        folder.blocks = U16(bytes + offset + 4);
        folder.compression = U16(bytes + offset + 6);
        layout.folders.push_back(folder);
        offset += kFolderSize + folderReserve;
    }
    // A file continued from or into another cabinet makes the library treat
    // the folder as part of a set: such cabinets are left to it.
    const uint16_t files = U16(bytes + 0x1C);
    offset = U32(bytes + 0x10);
    for (uint32_t i = 0; i < files; ++i) {
        if (!Inside(offset, kFileSize, size))
            return false;
        if (U16(bytes + offset + 8) >= kFolderContinued)
            return false;
        const uint8_t* name = bytes + offset + kFileSize;
        const void* end = std::memchr(name, 0, std::min<size_t>(size - (offset + kFileSize), kLongestName));
        if (!end)
            return false;
        offset = static_cast<const uint8_t*>(end) - bytes + 1;
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
    uint64_t offset = f.firstBlock;
    for (uint32_t i = 0; i < f.blocks; ++i) {
        if (!Inside(offset, kBlockHeaderSize + uint64_t{layout.dataReserve}, size))
            return false;
        const uint8_t* header = bytes + offset;
        const uint32_t sum = U32(header);
        const uint32_t compressed = U16(header + 4);
        const uint32_t length = U16(header + 6);
        const uint64_t data = offset + kBlockHeaderSize + layout.dataReserve;
        const bool last = i + 1 == f.blocks;
        if (compressed < 3 || compressed > kLargestInput || !Inside(data, compressed, size) || length == 0 ||
            length > kBlockSize || (!last && length != kBlockSize))
            return false;
        if (bytes[data] != 'C' || bytes[data + 1] != 'K')
            return false;
        if (sum != 0 && Checksum(header + 4, 4, Checksum(bytes + data, compressed, 0)) != sum)
            return false;
        m_blocks.push_back(Block{static_cast<uint32_t>(data + 2), compressed - 2, length});
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
