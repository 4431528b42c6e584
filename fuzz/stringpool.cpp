// String pool slots and code page conversion over arbitrary bytes.
#include <cstdint>
#include <string>
#include <vector>

#include "platform/posix/msidb/stringpool.h"

using namespace qv::msidb;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    // First two bytes: length of the _StringPool part; the rest is _StringData.
    const size_t split = std::min<size_t>(size - 2, data[0] | (data[1] << 8));
    std::vector<uint8_t> pool(data + 2, data + 2 + split);
    std::vector<uint8_t> text(data + 2 + split, data + size);
    Database db;
    std::string error;
    load_string_pool(pool, text, db, error);
    static const int codepages[] = {0, 1252, 932, 936, 949, 950, 1250, 1251, 1255, 1256, 65001, 437};
    TextDecoder decoder(codepages[data[0] % (sizeof codepages / sizeof codepages[0])]);
    decoder.decode(text.data(), text.size());
    return 0;
}
