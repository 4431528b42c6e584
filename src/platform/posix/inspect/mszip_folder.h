// A second reader of MSZIP folders, for the entry cache: it inflates the
// blocks of one folder with zlib, which is about twice as fast as the
// cabinet library, and takes only folders the cabinet library would read
// without complaint. Every block must lie inside the cabinet, carry the
// "CK" mark, give a full 32 KB (the folder's last block at most that), end
// its deflate stream exactly at its last byte and match its checksum when it
// has one. Whatever else it meets, it declines, and the caller goes back to
// the cabinet library, which then says what is wrong as it always has.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qv::mscab::mszip {

constexpr size_t kBlockSize = 32768;

// Where the blocks of each folder of one cabinet lie.
struct Folder {
    uint32_t firstBlock = 0;  // offset of the first CFDATA header
    uint32_t blocks = 0;
    uint32_t compression = 0;
};

struct Layout {
    uint32_t dataReserve = 0;  // bytes after each CFDATA header
    std::vector<Folder> folders;
};

// Reads the cabinet header and the folder table. False for a bad
// signature, for a cabinet of a set (it has a previous or next cabinet, or a
// file continued from or into one) and for tables that lie outside the
// bytes.
bool ReadLayout(const uint8_t* bytes, size_t size, Layout& layout);

// The cabinet checksum of `count` bytes, seeded.
uint32_t Checksum(const uint8_t* data, size_t count, uint32_t seed);

// Decodes one MSZIP folder block by block. The bytes must stay in place
// while it reads them.
class FolderDecoder {
public:
    FolderDecoder() = default;
    ~FolderDecoder();
    FolderDecoder(const FolderDecoder&) = delete;
    FolderDecoder& operator=(const FolderDecoder&) = delete;

    // Checks every block header of the folder (bounds, mark, sizes,
    // checksums) and stands before its first block; false when the folder is
    // not one this reader takes.
    bool Start(const uint8_t* bytes, size_t size, const Layout& layout, size_t folder);

    // The next block's output, valid until the next call; false at the end
    // of the folder or when a block does not inflate as it must, after which
    // it stays false.
    bool Next(const uint8_t*& output, size_t& length);

    // Uncompressed bytes of the folder, as its block headers give them.
    uint64_t FolderLength() const noexcept { return m_folderLength; }
    // Uncompressed bytes handed out so far.
    uint64_t Position() const noexcept { return m_position; }

private:
    struct Block {
        size_t data;  // offset of the compressed bytes, after "CK"
        uint32_t compressed;
        uint32_t length;
    };

    const uint8_t* m_bytes = nullptr;
    std::vector<Block> m_blocks;
    size_t m_next = 0;
    bool m_failed = true;
    uint64_t m_folderLength = 0;
    uint64_t m_position = 0;
    z_stream m_stream{};
    bool m_streamReady = false;
    // Two block buffers, each in turn the output and the dictionary of the
    // block after it.
    std::vector<uint8_t> m_output[2];
    size_t m_current = 0;
    size_t m_previousLength = 0;
};

}  // namespace qv::mscab::mszip
