// PackageFile operations that read what a managed file says about the runtime
// it needs: its CLR version, an assembly attribute's text, and the
// supportedRuntime entries of a configuration file.

#include <algorithm>

#include "framework/check_base.h"
#include "inspect/content_inspector.h"
#include "inspect/metadata.h"
#include "inspect/pe_image.h"
#include "inspect/xml_document.h"

namespace {

constexpr uint32_t kElementVoid = 1;
constexpr uint32_t kElementString = 14;
constexpr size_t kTextBuffer = 260;

// A compressed integer of a signature, read without a bound on the
// signature's length beyond the bytes that exist: its size in bytes, or -1
// (value 0) when the first byte is no valid form or the bytes run out.
int UncheckedCompressed(const std::vector<uint8_t>& bytes, size_t at, uint32_t& value)
{
    value = 0;
    if (at >= bytes.size())
        return -1;
    const uint8_t first = bytes[at];
    if ((first & 0x80) == 0) {
        value = first;
        return 1;
    }
    if ((first & 0xC0) == 0x80 && bytes.size() - at >= 2) {
        value = (static_cast<uint32_t>(first & 0x3F) << 8) | bytes[at + 1];
        return 2;
    }
    if ((first & 0xE0) == 0xC0 && bytes.size() - at >= 4) {
        value = (static_cast<uint32_t>(first & 0x1F) << 24) | (static_cast<uint32_t>(bytes[at + 1]) << 16) |
                (static_cast<uint32_t>(bytes[at + 2]) << 8) | bytes[at + 3];
        return 4;
    }
    return -1;
}

// The checked reader of the value blob: -1 when fewer bytes remain than the
// form needs (cursor unchanged) or the first byte is no valid form (cursor
// one byte on).
int64_t CheckedCompressed(const std::vector<uint8_t>& blob, int64_t& cursor)
{
    const int64_t remaining = static_cast<int64_t>(blob.size()) - cursor;
    if (remaining < 1)
        return -1;
    const uint8_t first = blob[static_cast<size_t>(cursor)];
    if ((first & 0x80) == 0) {
        cursor += 1;
        return first;
    }
    if ((first & 0xC0) == 0x80) {
        if (remaining < 2)
            return -1;
        const int64_t value = (static_cast<int64_t>(first & 0x3F) << 8) | blob[static_cast<size_t>(cursor) + 1];
        cursor += 2;
        return value;
    }
    if ((first & 0xE0) == 0xC0) {
        if (remaining < 4)
            return -1;
        const size_t at = static_cast<size_t>(cursor);
        const int64_t value = (static_cast<int64_t>(first & 0x1F) << 24) | (static_cast<int64_t>(blob[at + 1]) << 16) |
                              (static_cast<int64_t>(blob[at + 2]) << 8) | blob[at + 3];
        cursor += 4;
        return value;
    }
    cursor += 1;
    return -1;
}

// Resolves the file and tells whether it is a managed PE image.
bool IsManagedImage(const _stringx<>& path)
{
    const PeImage image(path.c_str());
    return image.GetNtHeaders() != nullptr && image.IsManaged();
}

}  // namespace

namespace qv {

_stringx<> AttributeStringArgument(const std::vector<uint8_t>& signature, const std::vector<uint8_t>& value)
{
    // Calling convention, parameter count, return type, first parameter.
    size_t at = 0;
    uint32_t item = 0;
    for (int i = 0; i < 2; ++i) {
        const int size = UncheckedCompressed(signature, at, item);
        if (size < 0)
            return _stringx<>();
        at += static_cast<size_t>(size);
    }
    int size = UncheckedCompressed(signature, at, item);
    if (size < 0 || item != kElementVoid)
        return _stringx<>();
    at += static_cast<size_t>(size);
    if (UncheckedCompressed(signature, at, item) < 0 || item != kElementString)
        return _stringx<>();

    int64_t cursor = 2;  // the prolog
    if (CheckedCompressed(value, cursor) == -1)
        return _stringx<>();
    const auto begin = value.begin() + std::min<int64_t>(cursor, static_cast<int64_t>(value.size()));
    const auto end = std::find(begin, value.end(), uint8_t{0});
    std::string narrow(begin, end);
    if (narrow.empty())
        return _stringx<>();
    std::wstring wide(narrow.size(), L'\0');
    const int count = MultiByteToWideChar(CP_ACP, 0, narrow.data(), static_cast<int>(narrow.size()), wide.data(),
                                          static_cast<int>(wide.size()));
    wide.resize(count > 0 ? static_cast<size_t>(count) : 0);
    if (wide.size() > kTextBuffer - 1)
        wide.resize(kTextBuffer - 1);
    return _stringx<>(wide.c_str());
}

}  // namespace qv

bool PackageFile::GetClrVersion(_stringx<>& version) const
{
    TemporaryPath temporary;
    const _stringx<> path = ResolveFilePath(temporary);
    if (path.empty() || !IsManagedImage(path))
        return false;
    version = qv::ClrMetadata(path).GetVersionFromFile();
    return true;
}

bool PackageFile::GetCustomAttribute(const wchar_t* attributeName, _stringx<>& text) const
{
    TemporaryPath temporary;
    const _stringx<> path = ResolveFilePath(temporary);
    if (path.empty() || !IsManagedImage(path))
        return false;
    if (CQVIceBase* owner = Inspector()->Owner())
        owner->DebugLine(L"Getting custom attribute %s for assembly %s", _stringx<>(attributeName), GetKey());
    text = _stringx<>();
    std::vector<uint8_t> signature, value;
    if (qv::ClrMetadata(path).FindAssemblyAttribute(_stringx<>(attributeName), signature, value))
        text = qv::AttributeStringArgument(signature, value);
    return true;
}

_stringx<> PackageFile::GetSupportedRuntimes() const
{
    TemporaryPath temporary;
    const _stringx<> path = ResolveFilePath(temporary);
    if (path.empty())
        return _stringx<>();
    qv::XmlDocument document;
    int version = 0;
    bool loaded = false;
    if (FAILED(document.Create(version)) || document.Load(path, loaded) != S_OK || !loaded)
        return _stringx<>();
    document.SetProperty(L"SelectionLanguage", L"XPath");
    std::vector<qv::XmlNode> nodes;
    if (FAILED(document.SelectNodes(L"//*[local-name() = 'supportedRuntime']", nodes)))
        return _stringx<>();
    _stringx<> result;
    for (const qv::XmlNode& node : nodes) {
        _stringx<> value;
        if (FAILED(node.GetAttribute(L"version", value)) || value.empty())
            continue;
        if (!result.empty() && result.back() != L',')
            result += L',';
        result += value;
    }
    return result;
}
