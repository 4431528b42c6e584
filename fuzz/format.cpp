// Formatted text over arbitrary templates and fields, with and without a
// session (a session over a small package, costed once).
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/posix/session/formatter.h"
#include "platform/posix/session/session.h"

namespace {

using qv::posix::session::RecordText;
using qv::posix::session::Session;

Session& costed_session() {
    static Session* session = [] {
        auto db = std::make_shared<qv::msidb::Database>();
        auto* s = new Session(db, L"Z:\\fuzz\\f.msi");
        s->set_property(L"P", L"[P]{x}");
        s->set_property(L"Q", L"P");
        s->do_action(L"CostInitialize");
        s->do_action(L"FileCost");
        s->do_action(L"CostFinalize");
        s->do_action(L"ResolveSource");
        return s;
    }();
    return *session;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Two bytes per character; a 0x01 character splits the input into fields,
    // a leading odd byte chooses a null template.
    RecordText record;
    std::wstring current;
    const bool null_template = size % 2 == 1;
    for (size_t i = null_template ? 1 : 0; i + 1 < size; i += 2) {
        const wchar_t c = static_cast<wchar_t>(data[i] | (data[i + 1] << 8));
        if (c == 1) {
            record.emplace_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    record.emplace_back(current);
    if (null_template) record[0].reset();
    (void)qv::posix::session::format_record(record, nullptr);
    (void)costed_session().format(record);
    return 0;
}
