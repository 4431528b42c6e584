// ECMA-335 metadata reader. See ecma335.h.

#include "platform/posix/inspect/ecma335.h"
#include "foundation/le_bytes.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace qv::posix {

namespace {

constexpr uint32_t kMetadataSignature = 0x424A5342;  // "BSJB"
constexpr unsigned kClrDirectory = 14;
constexpr unsigned kTypeRef = 0x01;
constexpr unsigned kMemberRef = 0x0A;
constexpr unsigned kCustomAttribute = 0x0C;
constexpr unsigned kAssemblyTag = 14;  // of HasCustomAttribute
constexpr unsigned kMemberRefTag = 3;  // of CustomAttributeType
constexpr unsigned kTypeRefTag = 1;    // of MemberRefParent

// Column codes of the table schemas: a table number for a simple index,
// kCoded + n for coded index n, and the fixed and heap kinds.
constexpr uint8_t kCoded = 0x40;
constexpr uint8_t kFixed2 = 0x80;
constexpr uint8_t kFixed4 = 0x81;
constexpr uint8_t kString = 0x82;
constexpr uint8_t kGuid = 0x83;
constexpr uint8_t kBlob = 0x84;
constexpr uint8_t kEnd = 0xFF;

enum Coded : uint8_t {
    TypeDefOrRef,
    HasConstant,
    HasCustomAttribute,
    HasFieldMarshal,
    HasDeclSecurity,
    MemberRefParent,
    HasSemantics,
    MethodDefOrRef,
    MemberForwarded,
    Implementation,
    CustomAttributeType,
    ResolutionScope,
    TypeOrMethodDef,
    kCodedCount
};

constexpr uint8_t kNone = 0xFF;  // an unused tag of a coded index

struct CodedIndex {
    unsigned bits;
    std::vector<uint8_t> tables;
};

const CodedIndex& CodedInfo(unsigned id)
{
    static const CodedIndex info[kCodedCount] = {
        {2, {0x02, 0x01, 0x1B}},
        {2, {0x04, 0x08, 0x17}},
        {5, {0x06, 0x04, 0x01, 0x02, 0x08, 0x09, 0x0A, 0x00, 0x0E, 0x17, 0x14,
             0x11, 0x1A, 0x1B, 0x20, 0x23, 0x26, 0x27, 0x28, 0x2A, 0x2C, 0x2B}},
        {1, {0x04, 0x08}},
        {2, {0x02, 0x06, 0x20}},
        {3, {0x02, 0x01, 0x1A, 0x06, 0x1B}},
        {1, {0x14, 0x17}},
        {1, {0x06, 0x0A}},
        {1, {0x04, 0x06}},
        {2, {0x26, 0x23, 0x27}},
        {3, {kNone, kNone, 0x06, 0x0A, kNone}},
        {2, {0x00, 0x1A, 0x23, 0x01}},
        {1, {0x02, 0x06}},
    };
    return info[id];
}

// The columns of each table, in order, ended by kEnd.
const uint8_t* Schema(unsigned table)
{
    static const uint8_t schemas[Ecma335Reader::kTables][10] = {
        /* 0x00 Module */ {kFixed2, kString, kGuid, kGuid, kGuid, kEnd},
        /* 0x01 TypeRef */ {kCoded + ResolutionScope, kString, kString, kEnd},
        /* 0x02 TypeDef */ {kFixed4, kString, kString, kCoded + TypeDefOrRef, 0x04, 0x06, kEnd},
        /* 0x03 FieldPtr */ {0x04, kEnd},
        /* 0x04 Field */ {kFixed2, kString, kBlob, kEnd},
        /* 0x05 MethodPtr */ {0x06, kEnd},
        /* 0x06 MethodDef */ {kFixed4, kFixed2, kFixed2, kString, kBlob, 0x08, kEnd},
        /* 0x07 ParamPtr */ {0x08, kEnd},
        /* 0x08 Param */ {kFixed2, kFixed2, kString, kEnd},
        /* 0x09 InterfaceImpl */ {0x02, kCoded + TypeDefOrRef, kEnd},
        /* 0x0A MemberRef */ {kCoded + MemberRefParent, kString, kBlob, kEnd},
        /* 0x0B Constant */ {kFixed2, kCoded + HasConstant, kBlob, kEnd},
        /* 0x0C CustomAttribute */ {kCoded + HasCustomAttribute, kCoded + CustomAttributeType, kBlob, kEnd},
        /* 0x0D FieldMarshal */ {kCoded + HasFieldMarshal, kBlob, kEnd},
        /* 0x0E DeclSecurity */ {kFixed2, kCoded + HasDeclSecurity, kBlob, kEnd},
        /* 0x0F ClassLayout */ {kFixed2, kFixed4, 0x02, kEnd},
        /* 0x10 FieldLayout */ {kFixed4, 0x04, kEnd},
        /* 0x11 StandAloneSig */ {kBlob, kEnd},
        /* 0x12 EventMap */ {0x02, 0x14, kEnd},
        /* 0x13 EventPtr */ {0x14, kEnd},
        /* 0x14 Event */ {kFixed2, kString, kCoded + TypeDefOrRef, kEnd},
        /* 0x15 PropertyMap */ {0x02, 0x17, kEnd},
        /* 0x16 PropertyPtr */ {0x17, kEnd},
        /* 0x17 Property */ {kFixed2, kString, kBlob, kEnd},
        /* 0x18 MethodSemantics */ {kFixed2, 0x06, kCoded + HasSemantics, kEnd},
        /* 0x19 MethodImpl */ {0x02, kCoded + MethodDefOrRef, kCoded + MethodDefOrRef, kEnd},
        /* 0x1A ModuleRef */ {kString, kEnd},
        /* 0x1B TypeSpec */ {kBlob, kEnd},
        /* 0x1C ImplMap */ {kFixed2, kCoded + MemberForwarded, kString, 0x1A, kEnd},
        /* 0x1D FieldRVA */ {kFixed4, 0x04, kEnd},
        /* 0x1E EncLog */ {kFixed4, kFixed4, kEnd},
        /* 0x1F EncMap */ {kFixed4, kEnd},
        /* 0x20 Assembly */ {kFixed4, kFixed2, kFixed2, kFixed2, kFixed2, kFixed4, kBlob, kString, kString, kEnd},
        /* 0x21 AssemblyProcessor */ {kFixed4, kEnd},
        /* 0x22 AssemblyOS */ {kFixed4, kFixed4, kFixed4, kEnd},
        /* 0x23 AssemblyRef */ {kFixed2, kFixed2, kFixed2, kFixed2, kFixed4, kBlob, kString, kString, kBlob, kEnd},
        /* 0x24 AssemblyRefProcessor */ {kFixed4, 0x23, kEnd},
        /* 0x25 AssemblyRefOS */ {kFixed4, kFixed4, kFixed4, 0x23, kEnd},
        /* 0x26 File */ {kFixed4, kString, kBlob, kEnd},
        /* 0x27 ExportedType */ {kFixed4, kFixed4, kString, kString, kCoded + Implementation, kEnd},
        /* 0x28 ManifestResource */ {kFixed4, kFixed4, kString, kCoded + Implementation, kEnd},
        /* 0x29 NestedClass */ {0x02, 0x02, kEnd},
        /* 0x2A GenericParam */ {kFixed2, kFixed2, kCoded + TypeOrMethodDef, kString, kEnd},
        /* 0x2B MethodSpec */ {kCoded + MethodDefOrRef, kBlob, kEnd},
        /* 0x2C GenericParamConstraint */ {0x2A, kCoded + TypeDefOrRef, kEnd},
    };
    return schemas[table];
}

using Bytes = qv::LeBytes;

// File offset of an rva: the section that holds it in its raw data.
std::optional<uint64_t> RvaToOffset(const Bytes& image, uint64_t sectionTable, unsigned sections, uint32_t rva)
{
    for (unsigned i = 0; i < sections; ++i) {
        const uint64_t header = sectionTable + 40ull * i;
        const auto virtualSize = image.U32(header + 8);
        const auto virtualAddress = image.U32(header + 12);
        const auto rawSize = image.U32(header + 16);
        const auto rawPointer = image.U32(header + 20);
        if (!virtualSize || !virtualAddress || !rawSize || !rawPointer)
            return std::nullopt;
        const uint64_t extent = *virtualSize ? *virtualSize : *rawSize;
        if (rva >= *virtualAddress && rva - *virtualAddress < extent && rva - *virtualAddress < *rawSize)
            return static_cast<uint64_t>(*rawPointer) + (rva - *virtualAddress);
    }
    return std::nullopt;
}

}  // namespace

bool ReadCompressed(const uint8_t* data, size_t size, uint32_t& value, size_t& length)
{
    if (size < 1)
        return false;
    const uint8_t first = data[0];
    if ((first & 0x80) == 0) {
        value = first;
        length = 1;
    } else if ((first & 0xC0) == 0x80) {
        if (size < 2)
            return false;
        value = (static_cast<uint32_t>(first & 0x3F) << 8) | data[1];
        length = 2;
    } else if ((first & 0xE0) == 0xC0) {
        if (size < 4)
            return false;
        value = (static_cast<uint32_t>(first & 0x1F) << 24) | (static_cast<uint32_t>(data[1]) << 16) |
                (static_cast<uint32_t>(data[2]) << 8) | data[3];
        length = 4;
    } else {
        return false;
    }
    return true;
}

bool Ecma335Reader::Open(const uint8_t* data, size_t size, std::string& reason)
{
    *this = Ecma335Reader();
    auto fail = [&](const char* why) {
        reason = why;
        return false;
    };
    const Bytes image{data, size};
    const char* why = nullptr;
    const auto headers = ReadPeHeaderLayout(image, why);
    if (!headers)
        return fail(why);
    const auto& directoryCount = headers->directoryCount;
    const uint64_t directories = headers->directories;
    const auto clrRva = image.U32(directories + 8 * kClrDirectory);
    if (!directoryCount || *directoryCount <= kClrDirectory || !clrRva || *clrRva == 0)
        return fail("no CLI header");
    const uint64_t sectionTable = headers->sectionTable;
    const unsigned sections = headers->sectionCount;
    const auto clr = RvaToOffset(image, sectionTable, sections, *clrRva);
    if (!clr)
        return fail("CLI header in no section");
    const auto metadataRva = image.U32(*clr + 8);
    const auto metadataSize = image.U32(*clr + 12);
    if (!metadataRva || !metadataSize)
        return fail("truncated CLI header");
    const auto rootOffset = RvaToOffset(image, sectionTable, sections, *metadataRva);
    if (!rootOffset || !image.Has(*rootOffset, *metadataSize))
        return fail("metadata outside the file");
    const Bytes root{data + *rootOffset, *metadataSize};

    // Metadata root: signature, version text, stream headers.
    if (root.U32(0) != kMetadataSignature)
        return fail("no metadata signature");
    const auto versionLength = root.U32(12);
    if (!versionLength || !root.Has(16, *versionLength))
        return fail("version text outside the metadata");
    const uint8_t* version = root.data + 16;
    const void* zero = std::memchr(version, 0, *versionLength);
    m_version.assign(reinterpret_cast<const char*>(version),
                     zero ? static_cast<const uint8_t*>(zero) - version : *versionLength);
    const uint64_t streamsAt = 16ull + *versionLength;
    const auto streamCount = root.U16(streamsAt + 2);
    if (!streamCount)
        return fail("no stream headers");
    uint64_t header = streamsAt + 4;
    Span tablesStream;
    for (uint32_t i = 0; i < *streamCount; ++i) {
        const auto offset = root.U32(header);
        const auto length = root.U32(header + 4);
        if (!offset || !length || !root.Has(*offset, *length))
            return fail("stream outside the metadata");
        const uint64_t nameAt = header + 8;
        const size_t room = root.Has(nameAt, 0) ? root.size - nameAt : 0;
        const void* end = std::memchr(root.data + nameAt, 0, std::min<size_t>(room, 32));
        if (!end)
            return fail("stream name not terminated");
        const std::string name(reinterpret_cast<const char*>(root.data + nameAt),
                               static_cast<const uint8_t*>(end) - (root.data + nameAt));
        const Span span{root.data + *offset, *length};
        if (name == "#~" || name == "#-")
            tablesStream = span;
        else if (name == "#Strings")
            m_strings = span;
        else if (name == "#Blob")
            m_blobs = span;
        header = nameAt + ((name.size() + 1 + 3) & ~size_t{3});
    }
    if (!tablesStream.data)
        return fail("no tables stream");

    // The tables stream: heap widths, present tables and their row counts.
    const Bytes tables{tablesStream.data, tablesStream.size};
    const auto heapSizes = tables.U16(6);
    const auto validLow = tables.U32(8);
    const auto validHigh = tables.U32(12);
    if (!heapSizes || !validLow || !validHigh)
        return fail("truncated tables stream");
    m_heapSizes = static_cast<uint8_t>(*heapSizes & 0xFF);
    const uint64_t valid = (static_cast<uint64_t>(*validHigh) << 32) | *validLow;
    if (valid >> kTables)
        return fail("unknown metadata table");
    uint64_t at = 24;
    for (unsigned t = 0; t < kTables; ++t) {
        if (!(valid & (uint64_t{1} << t)))
            continue;
        const auto rows = tables.U32(at);
        if (!rows)
            return fail("truncated row counts");
        m_rows[t] = *rows;
        at += 4;
    }
    if (m_heapSizes & 0x40)
        at += 4;
    for (unsigned t = 0; t < kTables; ++t) {
        size_t rowSize = 0;
        for (unsigned c = 0; Schema(t)[c] != kEnd; ++c)
            rowSize += ColumnWidth(t, c);
        m_rowSize[t] = rowSize;
        m_tableOffset[t] = static_cast<size_t>(at);
        const uint64_t bytes = static_cast<uint64_t>(m_rows[t]) * rowSize;
        if (!tables.Has(at, bytes))
            return fail("table outside the tables stream");
        at += bytes;
    }
    m_tables = tablesStream;
    return true;
}

unsigned Ecma335Reader::ColumnWidth(unsigned table, unsigned col) const
{
    const uint8_t code = Schema(table)[col];
    switch (code) {
    case kFixed2:
        return 2;
    case kFixed4:
        return 4;
    case kString:
        return (m_heapSizes & 0x01) ? 4 : 2;
    case kGuid:
        return (m_heapSizes & 0x02) ? 4 : 2;
    case kBlob:
        return (m_heapSizes & 0x04) ? 4 : 2;
    default:
        break;
    }
    if (code < kCoded)
        return m_rows[code] < 0x10000 ? 2 : 4;
    const CodedIndex& coded = CodedInfo(code - kCoded);
    uint32_t most = 0;
    for (uint8_t t : coded.tables)
        if (t != kNone)
            most = std::max(most, m_rows[t]);
    return most < (uint32_t{1} << (16 - coded.bits)) ? 2 : 4;
}

bool Ecma335Reader::Cell(unsigned table, uint32_t row, unsigned col, uint32_t& out) const
{
    if (table >= kTables || row == 0 || row > m_rows[table])
        return false;
    uint64_t offset = m_tableOffset[table] + static_cast<uint64_t>(row - 1) * m_rowSize[table];
    for (unsigned c = 0; c < col; ++c) {
        if (Schema(table)[c] == kEnd)
            return false;
        offset += ColumnWidth(table, c);
    }
    const Bytes tables{m_tables.data, m_tables.size};
    const auto value = ColumnWidth(table, col) == 2 ? tables.U16(offset) : tables.U32(offset);
    if (!value)
        return false;
    out = *value;
    return true;
}

bool Ecma335Reader::ReadString(uint32_t index, std::string& out) const
{
    if (index >= m_strings.size)
        return false;
    const void* end = std::memchr(m_strings.data + index, 0, m_strings.size - index);
    if (!end)
        return false;
    out.assign(reinterpret_cast<const char*>(m_strings.data + index),
               static_cast<const uint8_t*>(end) - (m_strings.data + index));
    return true;
}

bool Ecma335Reader::ReadBlob(uint32_t index, std::vector<uint8_t>& out) const
{
    if (index >= m_blobs.size)
        return false;
    uint32_t length = 0;
    size_t prefix = 0;
    if (!ReadCompressed(m_blobs.data + index, m_blobs.size - index, length, prefix))
        return false;
    if (length > m_blobs.size - index - prefix)
        return false;
    const uint8_t* start = m_blobs.data + index + prefix;
    out.assign(start, start + length);
    return true;
}

std::vector<Ecma335Reader::Attribute> Ecma335Reader::AssemblyAttributes(size_t limit) const
{
    std::vector<Attribute> found;
    size_t seen = 0;
    for (uint32_t row = 1; row <= m_rows[kCustomAttribute] && seen < limit; ++row) {
        uint32_t parent = 0, type = 0, value = 0;
        if (!Cell(kCustomAttribute, row, 0, parent) || (parent & 0x1F) != kAssemblyTag || (parent >> 5) != 1)
            continue;
        ++seen;
        if (!Cell(kCustomAttribute, row, 1, type) || !Cell(kCustomAttribute, row, 2, value))
            continue;
        if ((type & 0x7) != kMemberRefTag)
            continue;
        uint32_t parentClass = 0, signature = 0;
        const uint32_t memberRef = type >> 3;
        if (!Cell(kMemberRef, memberRef, 0, parentClass) || !Cell(kMemberRef, memberRef, 2, signature))
            continue;
        if ((parentClass & 0x7) != kTypeRefTag)
            continue;
        const uint32_t typeRef = parentClass >> 3;
        uint32_t nameIndex = 0, namespaceIndex = 0;
        if (!Cell(kTypeRef, typeRef, 1, nameIndex) || !Cell(kTypeRef, typeRef, 2, namespaceIndex))
            continue;
        Attribute attribute;
        std::string name, space;
        if (!ReadString(nameIndex, name) || !ReadString(namespaceIndex, space) ||
            !ReadBlob(signature, attribute.ctorSignature) || !ReadBlob(value, attribute.value))
            continue;
        attribute.typeName = space.empty() ? name : space + "." + name;
        found.push_back(std::move(attribute));
    }
    return found;
}

}  // namespace qv::posix
