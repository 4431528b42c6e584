// Our own reader of the resources of a PE image, for what the system reads
// for us on Windows: the version resource (type 16) behind
// MsiGetFileVersionW, and manifests (type 24).
//
// Every function works over bytes held by the caller, checks each offset
// against them and never throws: a damaged image gives a result that says
// why, never a read outside the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qv::posix {

struct ByteView {
    const uint8_t* data = nullptr;
    size_t size = 0;
};

enum class ResourceResult {
    Found,
    NotPe,        // no DOS header, no "PE\0\0", or an unknown optional header
    NoResources,  // no resource directory, or one that no section holds
    NotFound,     // no entry of that type, name or language
    Malformed,    // an offset or a length outside the image
};

const char* DescribeResourceResult(ResourceResult result) noexcept;

// One leaf of the resource tree.
struct ResourceEntry {
    uint16_t nameId = 0;    // integer name, when nameText is empty
    std::u16string nameText;  // string name, when the entry is named
    uint16_t language = 0;
    uint32_t codePage = 0;
    size_t offset = 0;  // file offset of the data
    size_t size = 0;
};

// Language used when a lookup asks for no particular one: the reference
// machine's user language.
constexpr uint16_t kDefaultLanguage = 1033;

// The resource of integer type and name. Language choice: the one asked
// for, then neutral (0), then kDefaultLanguage, then the first the
// directory lists.
ResourceResult FindResource(ByteView image, uint16_t type, uint16_t name, uint16_t language, ResourceEntry& out);

// Every leaf of an integer type, in directory order (names, then languages).
ResourceResult ListResources(ByteView image, uint16_t type, std::vector<ResourceEntry>& out);

// The fixed file version and the translation languages of the version
// resource (type 16, name 1).
struct FileVersionInfo {
    uint32_t fileVersionMS = 0;
    uint32_t fileVersionLS = 0;
    std::vector<uint16_t> languages;  // low words of VarFileInfo\Translation
};

enum class VersionResult { Found, NoVersion, Malformed };

// NoVersion: no version resource, or one without VS_FIXEDFILEINFO.
// Malformed: a version resource whose nodes do not fit.
VersionResult ReadFileVersion(ByteView image, FileVersionInfo& out);

// "major.minor.build.revision", each part decimal.
std::wstring FormatFileVersion(const FileVersionInfo& info);
// The languages, decimal, joined by commas; empty when there is none.
std::wstring FormatFileLanguages(const FileVersionInfo& info);

}  // namespace qv::posix
