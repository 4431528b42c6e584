// The MSZIP folder reader over arbitrary bytes, checked against the cabinet
// library: every entry that the reader's output covers must come out of the
// library too, with the same bytes. The reader may decline more than the
// library does, never less.
#include <mspack.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/posix/inspect/mszip_folder.h"
#include "platform/posix/kernel/paths.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    namespace mszip = qv::mscab::mszip;
    mszip::Layout layout;
    if (!mszip::ReadLayout(data, size, layout))
        return 0;
    std::vector<std::vector<uint8_t>> outputs(layout.folders.size());
    bool any = false;
    for (size_t k = 0; k < layout.folders.size(); ++k) {
        mszip::FolderDecoder decoder;
        if (!decoder.Start(data, size, layout, k))
            continue;
        const uint8_t* block = nullptr;
        size_t length = 0;
        while (decoder.Next(block, length))
            outputs[k].insert(outputs[k].end(), block, block + length);
        any = any || !outputs[k].empty();
    }
    if (!any)
        return 0;

    static const std::string folder = qv::posix::temp_folder() + "/";
    static const std::string cabinetPath = folder + "fuzz-mszip.cab";
    static const std::string entryPath = folder + "fuzz-mszip.out";
    if (FILE* out = std::fopen(cabinetPath.c_str(), "wb")) {
        std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
    mscab_decompressor* library = mspack_create_cab_decompressor(nullptr);
    if (!library)
        return 0;
    if (mscabd_cabinet* cabinet = library->open(library, cabinetPath.c_str())) {
        std::vector<mscabd_folder*> folders;
        for (mscabd_folder* f = cabinet->folders; f; f = f->next)
            folders.push_back(f);
        for (mscabd_file* file = cabinet->files; file && folders.size() == outputs.size(); file = file->next) {
            size_t k = 0;
            while (k < folders.size() && folders[k] != file->folder)
                ++k;
            const uint64_t end = static_cast<uint64_t>(file->offset) + file->length;
            if (k == folders.size() || file->length == 0 || end > outputs[k].size())
                continue;
            if (library->extract(library, file, entryPath.c_str()) != MSPACK_ERR_OK)
                std::abort();  // the reader took what the library refuses
            std::ifstream in(entryPath, std::ios::binary);
            const std::vector<uint8_t> extracted{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
            const auto first = outputs[k].begin() + static_cast<std::ptrdiff_t>(file->offset);
            if (extracted.size() != file->length || !std::equal(extracted.begin(), extracted.end(), first))
                std::abort();  // the two readers disagree on an entry's bytes
        }
        library->close(library, cabinet);
    }
    mspack_destroy_cab_decompressor(library);
    std::remove(entryPath.c_str());
    return 0;
}
