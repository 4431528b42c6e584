// The ECMA-335 reader and the attribute text parsing over arbitrary bytes:
// any exception, crash or sanitizer report is a fault.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "inspect/metadata.h"
#include "platform/posix/inspect/ecma335.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qv::posix::Ecma335Reader reader;
    std::string reason;
    if (reader.Open(data, size, reason)) {
        for (const auto& attribute : reader.AssemblyAttributes(qv::ClrMetadata::kMaxAttributes))
            qv::AttributeStringArgument(attribute.ctorSignature, attribute.value);
    } else if (reason.empty()) {
        __builtin_trap();  // a failure always says why
    }
    // The input itself as a signature and a value blob, split at its first byte.
    if (size > 0) {
        const size_t split = data[0] % size;
        const std::vector<uint8_t> signature(data, data + split);
        const std::vector<uint8_t> value(data + split, data + size);
        qv::AttributeStringArgument(signature, value);
    }
    return 0;
}
