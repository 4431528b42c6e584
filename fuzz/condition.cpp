// Conditions over arbitrary text, against a session with a few properties.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/posix/session/session.h"

namespace {

using qv::posix::session::Session;

Session& condition_session() {
    static Session* s = [] {
        auto* created = new Session(std::make_shared<qv::msidb::Database>(), L"Z:\\fuzz\\c.msi");
        created->set_property(L"A", L"abc");
        created->set_property(L"N", L"42");
        return created;
    }();
    return *s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Bytes as Latin-1 characters keep the operators easy to reach.
    std::wstring text(data, data + size);
    const MSICONDITION r = condition_session().evaluate(text);
    if (r != MSICONDITION_FALSE && r != MSICONDITION_TRUE && r != MSICONDITION_NONE && r != MSICONDITION_ERROR)
        __builtin_trap();
    return 0;
}
