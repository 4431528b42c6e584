// A reader of ECMA-335 metadata in a PE image: the CLI header, the metadata
// root, the #~ (or #-) tables stream with every table's row size, and the
// #Strings and #Blob heaps. It answers what the runtime's metadata
// interfaces answer for the .NET operations: the version text of the
// metadata root, and the assembly-level custom attributes with their type
// name, constructor signature and value blob.
//
// Every read is checked against the image; a malformed image is a failure
// with a reason, never an exception or a read outside the bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qv::posix {

class Ecma335Reader {
public:
    // Locates the metadata of a PE image (CLI header = data directory 14).
    // False, with the reason, when the image has none or it is malformed.
    bool Open(const uint8_t* data, size_t size, std::string& reason);

    // The version text of the metadata root, up to its first zero byte.
    const std::string& Version() const noexcept { return m_version; }

    struct Attribute {
        std::string typeName;               // "Namespace.Name" of the TypeRef
        std::vector<uint8_t> ctorSignature;  // MemberRef signature blob
        std::vector<uint8_t> value;          // CustomAttribute value blob
    };
    // The custom attributes of the Assembly row (token 0x20000001) in table
    // order, at most limit of them counted. An attribute whose constructor
    // is not a MemberRef of a TypeRef, or whose names or blobs cannot be
    // read, is passed over as the runtime's lookups fail on it.
    std::vector<Attribute> AssemblyAttributes(size_t limit) const;

    // Rows of a table (0 when absent or the index is out of range).
    uint32_t Rows(unsigned table) const noexcept { return table < kTables ? m_rows[table] : 0; }

    static constexpr unsigned kTables = 0x2D;

private:
    struct Span {
        const uint8_t* data = nullptr;
        size_t size = 0;
    };
    bool ReadString(uint32_t index, std::string& out) const;
    bool ReadBlob(uint32_t index, std::vector<uint8_t>& out) const;
    // A cell of a row: column col of row (1-based) of table.
    bool Cell(unsigned table, uint32_t row, unsigned col, uint32_t& out) const;
    unsigned ColumnWidth(unsigned table, unsigned col) const;

    std::string m_version;
    Span m_strings;
    Span m_blobs;
    Span m_tables;  // the #~ stream from the first row of the first table on
    uint8_t m_heapSizes = 0;
    std::array<uint32_t, kTables> m_rows{};
    std::array<size_t, kTables> m_tableOffset{};
    std::array<size_t, kTables> m_rowSize{};
};

// A CLI compressed unsigned integer at data[0..size): its value and the bytes
// it takes; false when it does not fit or its first byte is no valid form.
bool ReadCompressed(const uint8_t* data, size_t size, uint32_t& value, size_t& length);

}  // namespace qv::posix
