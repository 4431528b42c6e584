// The PE reader, the import and security operations and the resource
// walker over arbitrary bytes. The reader may end an operation with
// qv::view_access_error (a read outside the view); anything else - another
// exception, a crash, a sanitizer report - is a fault.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "inspect/imports.h"
#include "inspect/pe_image.h"
#include "platform/posix/inspect/version_resource.h"
#include "platform/posix/kernel/paths.h"

namespace {

// Lists every import, so that the reporting path runs too.
class EveryImportHost : public qv::InspectionHost {
public:
    void DebugLine(const _stringx<>&) override {}
    void ReportMessage(UINT, const _stringx<>&, const _stringx<>&, const _stringx<>&, int) override {}
    bool IsApiKindByOrdinal(int, const _stringx<>&, WORD) override { return true; }
    bool IsApiKindByName(int, const _stringx<>&, const _stringx<>&) override { return true; }
};

const std::string& InputPath()
{
    static const std::string path = "/tmp/qv_fuzz_pe_" + std::to_string(getpid()) + ".bin";
    return path;
}

template <class F>
void Guarded(F&& body)
{
    try {
        body();
    } catch (const qv::view_access_error&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qv::posix::ByteView bytes{data, size};
    qv::posix::FileVersionInfo info;
    qv::posix::ReadFileVersion(bytes, info);
    std::vector<qv::posix::ResourceEntry> entries;
    qv::posix::ListResources(bytes, 24, entries);
    for (const auto& entry : entries)
        if (entry.offset > size || entry.size > size - entry.offset)
            __builtin_trap();

    FILE* out = std::fopen(InputPath().c_str(), "wb");
    if (!out)
        return 0;
    if (size)
        std::fwrite(data, 1, size, out);
    std::fclose(out);
    const std::wstring path = qv::posix::windows_path_from_posix(InputPath());

    EveryImportHost host;
    const qv::InspectedFile file{L"K", L"f.exe", L"C", path.c_str()};
    Guarded([&] { qv::Is16Bit(host, file); });
    Guarded([&] { qv::Is32Bit(host, file); });
    Guarded([&] { qv::IsDotNetAssembly(host, file); });
    Guarded([&] { qv::CheckImportedApis(host, file, 2, 137, 1); });
    Guarded([&] { qv::CheckVb6Dependency(host, file, 209, 1); });
    Guarded([&] { qv::CheckAppSecurity(host, file, 214, 1); });
    Guarded([&] {
        const PeImage image(path.c_str());
        if (!image.GetNtHeaders())
            return;
        for (DWORD i = 0; i <= 16; ++i)
            Guarded([&] { image.GetDirectory(i); });
        Guarded([&] { image.GetClrMetadataVersion(); });
        Guarded([&] { image.GetManagedClass(); });
        Guarded([&] { image.ExportsDllRegisterServer(); });
    });
    return 0;
}
