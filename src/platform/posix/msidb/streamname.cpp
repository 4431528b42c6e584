#include "streamname.h"

namespace qv::msidb {
namespace {

constexpr char16_t TableMarker = 0x4840;
constexpr char16_t PairBase = 0x3800;
constexpr char16_t SingleBase = 0x4800;
constexpr char Alphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";

}  // namespace

StreamName decode_stream_name(std::u16string_view stored) {
    StreamName out;
    size_t i = 0;
    if (!stored.empty() && stored[0] == TableMarker) {
        out.table = true;
        i = 1;
    }
    out.name.reserve(stored.size() * 2);
    for (; i < stored.size(); ++i) {
        const char16_t u = stored[i];
        if (u >= PairBase && u < SingleBase) {
            const unsigned v = u - PairBase;
            out.name.push_back(static_cast<wchar_t>(Alphabet[v & 0x3F]));
            out.name.push_back(static_cast<wchar_t>(Alphabet[(v >> 6) & 0x3F]));
        } else if (u >= SingleBase && u < TableMarker) {
            out.name.push_back(static_cast<wchar_t>(Alphabet[u - SingleBase]));
        } else if (u >= 0xD800 && u < 0xDC00 && i + 1 < stored.size() && stored[i + 1] >= 0xDC00 &&
                   stored[i + 1] < 0xE000) {
            out.name.push_back(
                static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (stored[i + 1] - 0xDC00)));
            ++i;
        } else {
            out.name.push_back(static_cast<wchar_t>(u));
        }
    }
    return out;
}

}  // namespace qv::msidb
