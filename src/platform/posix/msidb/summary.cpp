#include "summary.h"

#include <cstring>
#include <string>

#include "stringpool.h"

namespace qv::msidb {
namespace {

const uint8_t SummaryFormatId[16] = {0xE0, 0x85, 0x9F, 0xF2, 0xF9, 0x4F, 0x68, 0x10,
                                     0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9};

struct Reader {
    const std::vector<uint8_t>& b;
    bool has(uint64_t at, uint64_t n) const { return at <= b.size() && n <= b.size() - at; }
    uint16_t u16(uint64_t at) const { return static_cast<uint16_t>(b[at] | (b[at + 1] << 8)); }
    uint32_t u32(uint64_t at) const { return u16(at) | (static_cast<uint32_t>(u16(at + 2)) << 16); }
};

constexpr uint32_t CodepagePid = 1;

}  // namespace

std::map<uint32_t, SummaryProperty> parse_summary(const std::vector<uint8_t>& bytes, int database_codepage) {
    std::map<uint32_t, SummaryProperty> none;
    const Reader r{bytes};
    if (!r.has(0, 48) || r.u16(0) != 0xFFFE || r.u32(24) < 1 ||
        std::memcmp(bytes.data() + 28, SummaryFormatId, 16) != 0)
        return none;
    const uint64_t set = r.u32(44);
    if (!r.has(set, 8)) return none;
    const uint64_t set_size = r.u32(set);
    const uint64_t count = r.u32(set + 4);
    if (!r.has(set, set_size) || set_size < 8 || count > (set_size - 8) / 8) return none;
    const uint64_t set_end = set + set_size;

    std::map<uint32_t, SummaryProperty> props;
    std::map<uint32_t, std::string> raw_text;
    for (uint64_t i = 0; i < count; ++i) {
        const uint32_t pid = r.u32(set + 8 + i * 8);
        const uint64_t at = set + r.u32(set + 12 + i * 8);
        // Property 0 is the dictionary, which has no type word.
        if (pid == 0) continue;
        if (at + 4 > set_end) return none;
        SummaryProperty p;
        p.id = pid;
        p.type = r.u16(at);
        const uint64_t data = at + 4;
        switch (p.type) {
        case vt::Empty: break;
        case vt::I2:
            if (data + 2 > set_end) return none;
            p.integer = static_cast<int16_t>(r.u16(data));
            break;
        case vt::I4:
            if (data + 4 > set_end) return none;
            p.integer = static_cast<int32_t>(r.u32(data));
            break;
        case vt::Filetime:
            if (data + 8 > set_end) return none;
            p.filetime = r.u32(data) | (static_cast<uint64_t>(r.u32(data + 4)) << 32);
            break;
        case vt::Lpstr: {
            if (data + 4 > set_end) return none;
            const uint64_t n = r.u32(data);
            if (n > set_end - (data + 4)) return none;
            const char* text = reinterpret_cast<const char*>(bytes.data() + data + 4);
            // The count includes the terminating null; stop at the first one.
            raw_text.emplace(pid, std::string(text, strnlen(text, static_cast<size_t>(n))));
            break;
        }
        default: continue;
        }
        props.emplace(pid, p);
    }

    int codepage = database_codepage;
    if (auto it = props.find(CodepagePid); it != props.end() && it->second.type == vt::I2)
        codepage = static_cast<uint16_t>(it->second.integer);
    if (!raw_text.empty()) {
        TextDecoder decoder(codepage);
        for (auto& [pid, text] : raw_text) {
            auto it = props.find(pid);
            if (it != props.end() && it->second.type == vt::Lpstr) it->second.text = decoder.decode(text);
        }
    }
    return props;
}

}  // namespace qv::msidb
