// The resource walker and the manifest lookup over arbitrary bytes: every
// entry found must lie inside the input, the manifest written to a file
// must be exactly the bytes the walker found, and the XML layer must take
// whatever the manifest holds. A crash or a sanitizer report is a fault.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "inspect/manifest_resource.h"
#include "inspect/xml_document.h"
#include "platform/posix/inspect/manifest_resource.h"
#include "platform/posix/kernel/paths.h"

namespace {

std::string TempName(const char* stem)
{
    return std::string("/tmp/qv_fuzz_") + stem + "_" + std::to_string(getpid());
}

void Inside(const qv::posix::ResourceEntry& entry, size_t size)
{
    if (entry.offset > size || entry.size > size - entry.offset)
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const qv::posix::ByteView bytes{data, size};
    for (uint16_t type : {uint16_t{3}, uint16_t{6}, uint16_t{16}, uint16_t{24}}) {
        std::vector<qv::posix::ResourceEntry> entries;
        qv::posix::ListResources(bytes, type, entries);
        for (const auto& entry : entries)
            Inside(entry, size);
    }
    qv::posix::ResourceEntry manifest;
    const bool found = qv::posix::FindManifest(bytes, manifest) == qv::posix::ResourceResult::Found;
    if (found)
        Inside(manifest, size);

    const std::string input = TempName("rw_in");
    const std::string output = TempName("rw_out");
    FILE* out = std::fopen(input.c_str(), "wb");
    if (!out)
        return 0;
    if (size)
        std::fwrite(data, 1, size, out);
    std::fclose(out);
    std::remove(output.c_str());
    const std::wstring inPath = qv::posix::windows_path_from_posix(input);
    const std::wstring outPath = qv::posix::windows_path_from_posix(output);
    const bool written = qv::ExtractManifestResource(inPath.c_str(), outPath.c_str());
    if (written != found)
        __builtin_trap();
    if (written) {
        std::vector<uint8_t> copy(manifest.size + 1);
        FILE* in = std::fopen(output.c_str(), "rb");
        const size_t got = in ? std::fread(copy.data(), 1, copy.size(), in) : 0;
        if (in)
            std::fclose(in);
        if (got != manifest.size || std::memcmp(copy.data(), data + manifest.offset, got) != 0)
            __builtin_trap();
        qv::XmlDocument document;
        int version = 0;
        bool loaded = false;
        if (document.Create(version) == S_OK && document.Load(outPath.c_str(), loaded) == S_OK) {
            document.SetProperty(L"SelectionLanguage", L"XPath");
            qv::XmlNode node;
            if (document.SelectSingleNode(L"//*[local-name() = 'requestedExecutionLevel']", node) == S_OK) {
                _stringx<> level;
                node.GetAttribute(L"level", level);
            }
        }
        std::remove(output.c_str());
    }
    return 0;
}
