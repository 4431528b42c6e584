// Summary information property sets over arbitrary bytes.
#include <cstdint>
#include <vector>

#include "platform/posix/msidb/summary.h"

using namespace qv::msidb;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> bytes(data, data + size);
    parse_summary(bytes, size ? (data[0] & 1 ? 932 : 1252) : 0);
    return 0;
}
