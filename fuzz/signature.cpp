// Authenticode verification over arbitrary bytes: a verdict for every input,
// never a crash, an exception or a read outside the input.
#include <cstddef>
#include <cstdint>

#include "platform/posix/inspect/authenticode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (bool fatal : {true, false}) {
        const qv::posix::AuthenticodeResult result = qv::posix::VerifyAuthenticode(data, size, fatal);
        if (result.status < 0 && result.reason.empty())
            __builtin_trap();  // a refusal always says why
    }
    qv::posix::AuthenticodeImageHash(data, size, "SHA256");
    return 0;
}
