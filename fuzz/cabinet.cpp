// Cabinet extraction over arbitrary bytes: the input is a name (first byte
// its length, up to 64) and cabinet bytes. The cabinet goes to a temporary
// file, and the engine copies the named entry and a second name out of it,
// through the same open context, as the inspector does.
#include <cstdint>
#include <cstdio>
#include <string>

#include "inspect/cabinet.h"
#include "platform/platform.h"
#include "platform/posix/kernel/paths.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string folder = qv::posix::temp_folder() + "/";
    static const std::string cabinet = folder + "fuzz-input.cab";
    static const std::string target = folder + "fuzz-output.bin";
    static const std::wstring wideFolder = qv::posix::windows_path_from_posix(qv::posix::temp_folder()) + L"\\";
    static const std::string narrowFolder(wideFolder.begin(), wideFolder.end());
    static const std::wstring wideTarget = qv::posix::windows_path_from_posix(target);
    static const std::string narrowTarget(wideTarget.begin(), wideTarget.end());

    size_t nameLength = size ? data[0] % 65 : 0;
    if (nameLength + 1 > size)
        nameLength = size ? size - 1 : 0;
    const std::string name(reinterpret_cast<const char*>(data) + (size ? 1 : 0), nameLength);
    const size_t skip = size ? 1 + nameLength : 0;

    if (FILE* out = std::fopen(cabinet.c_str(), "wb")) {
        if (size > skip)
            std::fwrite(data + skip, 1, size - skip, out);
        std::fclose(out);
    }
    CabinetEngine engine;
    if (engine.Create("fuzz-input.cab", narrowFolder.c_str()) == 0) {
        for (const std::string& wanted : {name, std::string("a")}) {
            try {
                engine.Copy(wanted.c_str(), narrowTarget.c_str(), 0);
            } catch (qv::file_exception* e) {
                delete e;
            }
        }
    }
    std::remove(target.c_str());
    return 0;
}
