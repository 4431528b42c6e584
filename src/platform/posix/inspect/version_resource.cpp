// The resource walker over image bytes and MsiGetFileVersionW on POSIX.

#include "platform/posix/inspect/version_resource.h"

#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/platform.h"
#include "platform/posix/inspect/mapped_bytes.h"
#include "platform/posix/kernel/paths.h"

namespace qv::posix {

namespace {

constexpr uint16_t kVersionType = 16;
constexpr uint16_t kVersionName = 1;
constexpr uint32_t kFixedSignature = 0xFEEF04BD;
constexpr size_t kFixedInfoSize = 52;
constexpr uint32_t kHighBit = 0x80000000u;

// Bounds-checked little-endian reads over a byte view.
class Reader {
public:
    explicit Reader(ByteView bytes) : m_bytes(bytes) {}
    size_t size() const { return m_bytes.size; }
    bool Has(uint64_t offset, uint64_t count) const { return offset <= m_bytes.size && count <= m_bytes.size - offset; }
    std::optional<uint16_t> U16(uint64_t offset) const
    {
        if (!Has(offset, 2))
            return std::nullopt;
        const uint8_t* p = m_bytes.data + offset;
        return static_cast<uint16_t>(p[0] | (p[1] << 8));
    }
    std::optional<uint32_t> U32(uint64_t offset) const
    {
        if (!Has(offset, 4))
            return std::nullopt;
        const uint8_t* p = m_bytes.data + offset;
        return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
               (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    }

private:
    ByteView m_bytes;
};

struct SectionHeader {
    uint32_t virtualAddress, virtualSize, rawSize, rawPointer;
};

// The headers of a PE image as far as the resource walk needs them.
struct PeLayout {
    uint32_t sizeOfHeaders = 0;
    uint32_t resourceRva = 0;
    uint32_t resourceSize = 0;
    std::vector<SectionHeader> sections;
};

ResourceResult ReadLayout(const Reader& r, PeLayout& out)
{
    if (r.U16(0) != 0x5A4D)
        return ResourceResult::NotPe;
    const auto lfanew = r.U32(0x3C);
    if (!lfanew || r.U32(*lfanew) != 0x00004550u)
        return ResourceResult::NotPe;
    const uint64_t nt = *lfanew;
    const auto sections = r.U16(nt + 6);
    const auto optionalSize = r.U16(nt + 20);
    const auto magic = r.U16(nt + 24);
    if (!sections || !optionalSize || !magic)
        return ResourceResult::NotPe;
    const uint64_t optional = nt + 24;
    uint64_t countAt, directories;
    if (*magic == 0x10B) {
        countAt = 92;
        directories = 96;
    } else if (*magic == 0x20B) {
        countAt = 108;
        directories = 112;
    } else {
        return ResourceResult::NotPe;
    }
    const auto headers = r.U32(optional + 60);
    const auto count = r.U32(optional + countAt);
    if (!headers || !count)
        return ResourceResult::NotPe;
    out.sizeOfHeaders = *headers;
    // The resource entry (index 2) must lie inside the optional header and
    // within the count of entries it declares.
    const uint64_t entry = directories + 2 * 8;
    if (*count < 3 || entry + 8 > *optionalSize)
        return ResourceResult::NoResources;
    out.resourceRva = r.U32(optional + entry).value_or(0);
    out.resourceSize = r.U32(optional + entry + 4).value_or(0);
    const uint64_t table = optional + *optionalSize;
    for (uint32_t i = 0; i < *sections; ++i) {
        const uint64_t at = table + 40ull * i;
        if (!r.Has(at, 40))
            return ResourceResult::Malformed;
        out.sections.push_back({*r.U32(at + 12), *r.U32(at + 8), *r.U32(at + 16), *r.U32(at + 20)});
    }
    return ResourceResult::Found;
}

// File offset of [rva, rva + length) when the whole range lies in the file
// within one section (or in the headers).
std::optional<uint64_t> MapRange(const Reader& r, const PeLayout& layout, uint32_t rva, uint64_t length)
{
    const uint64_t end = static_cast<uint64_t>(rva) + length;
    if (end <= layout.sizeOfHeaders)
        return r.Has(rva, length) ? std::optional<uint64_t>(rva) : std::nullopt;
    for (const SectionHeader& s : layout.sections) {
        const uint64_t span = s.virtualSize > s.rawSize ? s.virtualSize : s.rawSize;
        if (rva < s.virtualAddress || rva >= s.virtualAddress + span)
            continue;
        const uint64_t into = rva - s.virtualAddress;
        if (into + length > s.rawSize)
            return std::nullopt;  // beyond the raw data: not in the file
        const uint64_t offset = s.rawPointer + into;
        return r.Has(offset, length) ? std::optional<uint64_t>(offset) : std::nullopt;
    }
    return std::nullopt;
}

struct DirectoryEntry {
    uint32_t nameWord;
    uint32_t target;
};

// The entries of the directory table at base + offset.
bool ReadDirectory(const Reader& r, uint64_t base, uint32_t offset, std::vector<DirectoryEntry>& out)
{
    const uint64_t at = base + offset;
    const auto named = r.U16(at + 12);
    const auto ids = r.U16(at + 14);
    if (!named || !ids)
        return false;
    const uint64_t count = static_cast<uint64_t>(*named) + *ids;
    if (!r.Has(at + 16, count * 8))
        return false;
    out.clear();
    for (uint64_t i = 0; i < count; ++i)
        out.push_back({*r.U32(at + 16 + 8 * i), *r.U32(at + 20 + 8 * i)});
    return true;
}

bool ReadName(const Reader& r, uint64_t base, uint32_t nameWord, std::u16string& out)
{
    const uint64_t at = base + (nameWord & ~kHighBit);
    const auto length = r.U16(at);
    if (!length || !r.Has(at + 2, 2ull * *length))
        return false;
    out.clear();
    for (uint32_t i = 0; i < *length; ++i)
        out.push_back(static_cast<char16_t>(*r.U16(at + 2 + 2ull * i)));
    return true;
}

// The leaf that a data entry offset describes.
ResourceResult ReadLeaf(const Reader& r, const PeLayout& layout, uint64_t base, uint32_t target, ResourceEntry& out)
{
    if (target & kHighBit)
        return ResourceResult::Malformed;  // a fourth level
    const auto dataRva = r.U32(base + target);
    const auto size = r.U32(base + target + 4);
    const auto codePage = r.U32(base + target + 8);
    if (!dataRva || !size || !codePage)
        return ResourceResult::Malformed;
    const auto offset = MapRange(r, layout, *dataRva, *size);
    if (!offset)
        return ResourceResult::Malformed;
    out.offset = *offset;
    out.size = *size;
    out.codePage = *codePage;
    return ResourceResult::Found;
}

// The resource tree's base (file offset) and the type's name directory.
ResourceResult OpenType(const Reader& r, PeLayout& layout, uint16_t type, uint64_t& base,
                        std::vector<DirectoryEntry>& names)
{
    const ResourceResult headers = ReadLayout(r, layout);
    if (headers != ResourceResult::Found)
        return headers;
    if (layout.resourceRva == 0 || layout.resourceSize == 0)
        return ResourceResult::NoResources;
    const auto root = MapRange(r, layout, layout.resourceRva, 16);
    if (!root)
        return ResourceResult::NoResources;
    base = *root;
    std::vector<DirectoryEntry> types;
    if (!ReadDirectory(r, base, 0, types))
        return ResourceResult::Malformed;
    for (const DirectoryEntry& e : types) {
        if ((e.nameWord & kHighBit) || e.nameWord != type)
            continue;
        if (!(e.target & kHighBit) || !ReadDirectory(r, base, e.target & ~kHighBit, names))
            return ResourceResult::Malformed;
        return ResourceResult::Found;
    }
    return ResourceResult::NotFound;
}

}  // namespace

const char* DescribeResourceResult(ResourceResult result) noexcept
{
    switch (result) {
    case ResourceResult::Found: return "found";
    case ResourceResult::NotPe: return "not a PE image";
    case ResourceResult::NoResources: return "no resource directory";
    case ResourceResult::NotFound: return "no such resource";
    case ResourceResult::Malformed: return "resource tree outside the image";
    }
    return "unknown";
}

ResourceResult FindResource(ByteView image, uint16_t type, uint16_t name, uint16_t language, ResourceEntry& out)
{
    const Reader r(image);
    PeLayout layout;
    uint64_t base = 0;
    std::vector<DirectoryEntry> names;
    const ResourceResult opened = OpenType(r, layout, type, base, names);
    if (opened != ResourceResult::Found)
        return opened;
    for (const DirectoryEntry& n : names) {
        if ((n.nameWord & kHighBit) || n.nameWord != name)
            continue;
        std::vector<DirectoryEntry> languages;
        if (!(n.target & kHighBit) || !ReadDirectory(r, base, n.target & ~kHighBit, languages))
            return ResourceResult::Malformed;
        const DirectoryEntry* chosen = nullptr;
        for (uint32_t wanted : {uint32_t{language}, uint32_t{0}, uint32_t{kDefaultLanguage}}) {
            for (const DirectoryEntry& l : languages)
                if (!chosen && l.nameWord == wanted)
                    chosen = &l;
        }
        if (!chosen && !languages.empty())
            chosen = &languages.front();
        if (!chosen)
            return ResourceResult::NotFound;
        out = ResourceEntry{};
        out.nameId = name;
        out.language = static_cast<uint16_t>(chosen->nameWord);
        return ReadLeaf(r, layout, base, chosen->target, out);
    }
    return ResourceResult::NotFound;
}

ResourceResult ListResources(ByteView image, uint16_t type, std::vector<ResourceEntry>& out)
{
    out.clear();
    const Reader r(image);
    PeLayout layout;
    uint64_t base = 0;
    std::vector<DirectoryEntry> names;
    const ResourceResult opened = OpenType(r, layout, type, base, names);
    if (opened != ResourceResult::Found)
        return opened;
    for (const DirectoryEntry& n : names) {
        ResourceEntry entry;
        if (n.nameWord & kHighBit) {
            if (!ReadName(r, base, n.nameWord, entry.nameText))
                return ResourceResult::Malformed;
        } else {
            entry.nameId = static_cast<uint16_t>(n.nameWord);
        }
        std::vector<DirectoryEntry> languages;
        if (!(n.target & kHighBit) || !ReadDirectory(r, base, n.target & ~kHighBit, languages))
            return ResourceResult::Malformed;
        for (const DirectoryEntry& l : languages) {
            entry.language = static_cast<uint16_t>(l.nameWord);
            const ResourceResult leaf = ReadLeaf(r, layout, base, l.target, entry);
            if (leaf != ResourceResult::Found)
                return leaf;
            out.push_back(entry);
        }
    }
    return out.empty() ? ResourceResult::NotFound : ResourceResult::Found;
}

namespace {

constexpr uint64_t Align4(uint64_t at) { return (at + 3) & ~uint64_t{3}; }

// A node of the version tree: header, key, and where value and children lie.
struct VersionNode {
    uint64_t start = 0;
    uint64_t end = 0;  // start + wLength
    uint16_t valueLength = 0;
    std::u16string key;
    uint64_t value = 0;     // aligned offset after the key
    uint64_t children = 0;  // aligned offset after the value
};

// Reads the node at start, which must end by limit. valueBytes tells how
// many bytes one unit of wValueLength is (text values count characters).
bool ReadNode(const Reader& r, uint64_t start, uint64_t limit, VersionNode& node)
{
    const auto length = r.U16(start);
    const auto valueLength = r.U16(start + 2);
    const auto type = r.U16(start + 4);
    if (!length || !valueLength || !type || *length < 6 || start + *length > limit)
        return false;
    node.start = start;
    node.end = start + *length;
    node.valueLength = *valueLength;
    node.key.clear();
    uint64_t at = start + 6;
    for (;; at += 2) {
        if (at + 2 > node.end)
            return false;
        const uint16_t c = *r.U16(at);
        if (c == 0)
            break;
        node.key.push_back(static_cast<char16_t>(c));
    }
    node.value = Align4(at + 2);
    const uint64_t valueBytes = *type == 1 ? 2ull * *valueLength : *valueLength;
    node.children = Align4(node.value + valueBytes);
    return true;
}

}  // namespace

VersionResult ReadFileVersion(ByteView image, FileVersionInfo& out)
{
    out = FileVersionInfo{};
    ResourceEntry entry;
    const ResourceResult found = FindResource(image, kVersionType, kVersionName, 0, entry);
    if (found == ResourceResult::Malformed)
        return VersionResult::Malformed;
    if (found != ResourceResult::Found)
        return VersionResult::NoVersion;
    // Offsets inside the resource are relative to its start, so alignment
    // follows the resource data.
    const Reader r(ByteView{image.data + entry.offset, entry.size});
    VersionNode root;
    if (!ReadNode(r, 0, r.size(), root) || root.key != u"VS_VERSION_INFO")
        return VersionResult::Malformed;
    if (root.valueLength < kFixedInfoSize || !r.Has(root.value, kFixedInfoSize) || root.value + kFixedInfoSize > root.end)
        return VersionResult::NoVersion;
    if (r.U32(root.value) != kFixedSignature)
        return VersionResult::NoVersion;
    out.fileVersionMS = *r.U32(root.value + 8);
    out.fileVersionLS = *r.U32(root.value + 12);

    // VarFileInfo\Translation, when present, gives the languages.
    for (uint64_t at = root.children; at + 6 <= root.end;) {
        VersionNode child;
        if (!ReadNode(r, at, root.end, child))
            break;  // the fixed part stands; damaged children carry no languages
        if (child.key == u"VarFileInfo") {
            for (uint64_t v = child.children; v + 6 <= child.end;) {
                VersionNode var;
                if (!ReadNode(r, v, child.end, var))
                    break;
                if (var.key == u"Translation") {
                    for (uint64_t d = 0; d + 4 <= var.valueLength && var.value + d + 4 <= var.end; d += 4)
                        out.languages.push_back(*r.U16(var.value + d));
                }
                v = Align4(var.end);
            }
        }
        at = Align4(child.end);
    }
    return VersionResult::Found;
}

std::wstring FormatFileVersion(const FileVersionInfo& info)
{
    return std::to_wstring(info.fileVersionMS >> 16) + L"." + std::to_wstring(info.fileVersionMS & 0xFFFF) + L"." +
           std::to_wstring(info.fileVersionLS >> 16) + L"." + std::to_wstring(info.fileVersionLS & 0xFFFF);
}

std::wstring FormatFileLanguages(const FileVersionInfo& info)
{
    std::wstring text;
    for (uint16_t language : info.languages) {
        if (!text.empty())
            text += L',';
        text += std::to_wstring(language);
    }
    return text;
}

}  // namespace qv::posix

namespace {

// The installer's error for a file that could not be mapped.
UINT MappingError(qv::posix::MappedFileBytes::Status status)
{
    using Status = qv::posix::MappedFileBytes::Status;
    switch (status) {
    case Status::Mapped: return ERROR_SUCCESS;
    case Status::NotFound: return ERROR_FILE_NOT_FOUND;
    case Status::Empty:
    case Status::Unmappable: return ERROR_FILE_INVALID;
    default: return ERROR_ACCESS_DENIED;  // denied, a folder, or no status
    }
}

// The installer's buffer rule: with a buffer, copy a terminated text and
// give its length, or the length needed and ERROR_MORE_DATA when it does
// not fit; without a buffer, give the length.
UINT CopyText(const std::wstring& text, LPWSTR buffer, LPDWORD count)
{
    if (!count)
        return ERROR_SUCCESS;
    const DWORD capacity = *count;
    *count = static_cast<DWORD>(text.size());
    if (!buffer)
        return ERROR_SUCCESS;
    if (capacity <= text.size()) {
        if (capacity > 0) {
            std::wmemcpy(buffer, text.data(), capacity - 1);
            buffer[capacity - 1] = L'\0';
        }
        return ERROR_MORE_DATA;
    }
    std::wmemcpy(buffer, text.data(), text.size());
    buffer[text.size()] = L'\0';
    return ERROR_SUCCESS;
}

}  // namespace

UINT MsiGetFileVersionW(LPCWSTR szFilePath, LPWSTR lpVersionBuf, LPDWORD pcchVersionBuf, LPWSTR lpLangBuf,
                        LPDWORD pcchLangBuf)
{
    if (!szFilePath || !*szFilePath || (lpVersionBuf && !pcchVersionBuf) || (lpLangBuf && !pcchLangBuf))
        return ERROR_INVALID_PARAMETER;
    const qv::posix::MappedFileBytes file(qv::posix::posix_path_from_windows(szFilePath));
    if (const UINT error = MappingError(file.status()))
        return error;
    qv::posix::FileVersionInfo info;
    if (qv::posix::ReadFileVersion({file.data(), file.size()}, info) != qv::posix::VersionResult::Found)
        return ERROR_FILE_INVALID;
    const UINT version = CopyText(qv::posix::FormatFileVersion(info), lpVersionBuf, pcchVersionBuf);
    const UINT language = CopyText(qv::posix::FormatFileLanguages(info), lpLangBuf, pcchLangBuf);
    return version != ERROR_SUCCESS ? version : language;
}
