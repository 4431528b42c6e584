#include "stringpool.h"

#include <cerrno>
#include <iconv.h>

namespace qv::msidb {
namespace {

iconv_t open_converter(int codepage) {
    std::string name;
    if (codepage == 0 || codepage == 1252)
        name = "CP1252";
    else if (codepage == 65001)
        name = "UTF-8";
    else
        name = "CP" + std::to_string(codepage);
    iconv_t cd = iconv_open("WCHAR_T", name.c_str());
    if (cd == reinterpret_cast<iconv_t>(-1)) cd = iconv_open("WCHAR_T", "CP1252");
    return cd;
}

// The five bytes that code page 1252 leaves undefined; Windows passes them
// through as the same code points.
bool undefined_in_1252(uint8_t b) { return b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D; }

}  // namespace

TextDecoder::TextDecoder(int codepage) {
    iconv_t cd = open_converter(codepage);
    if (cd == reinterpret_cast<iconv_t>(-1)) return;
    cd_ = cd;
    cp1252_ = codepage == 0 || codepage == 1252;
    // Probe once whether printable ASCII passes unchanged, so that the common
    // ASCII-only string can skip the converter.
    char probe[95];
    for (int i = 0; i < 95; ++i) probe[i] = static_cast<char>(0x20 + i);
    wchar_t out[95];
    char* in = probe;
    size_t inleft = sizeof probe;
    char* outp = reinterpret_cast<char*>(out);
    size_t outleft = sizeof out;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &in, &inleft, &outp, &outleft) != static_cast<size_t>(-1) && inleft == 0 &&
        outleft == 0) {
        ascii_same_ = true;
        for (int i = 0; i < 95; ++i)
            if (out[i] != static_cast<wchar_t>(0x20 + i)) ascii_same_ = false;
    }
}

TextDecoder::~TextDecoder() {
    if (cd_) iconv_close(static_cast<iconv_t>(cd_));
}

std::wstring TextDecoder::decode(const uint8_t* bytes, size_t size) {
    std::wstring out;
    if (size == 0) return out;
    if (ascii_same_) {
        bool ascii = true;
        for (size_t i = 0; i < size && ascii; ++i) ascii = bytes[i] < 0x80;
        if (ascii) return std::wstring(bytes, bytes + size);
    }
    if (!cd_) {
        // No converter at all: keep ASCII, replace the rest.
        out.reserve(size);
        for (size_t i = 0; i < size; ++i) out.push_back(bytes[i] < 0x80 ? bytes[i] : 0xFFFD);
        return out;
    }
    iconv_t cd = static_cast<iconv_t>(cd_);
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    // Every supported code page yields at most one character per byte; a
    // few more slots leave room for the replacement and flush steps.
    out.resize(size + 8);
    char* in = reinterpret_cast<char*>(const_cast<uint8_t*>(bytes));
    size_t inleft = size;
    size_t written = 0;
    // Stateful converters (1255 composes marks) may hold back a character
    // until told that the input ends or breaks.
    auto flush = [&] {
        if (written + 4 > out.size()) out.resize(written + 8);
        char* outp = reinterpret_cast<char*>(out.data() + written);
        size_t outleft = (out.size() - written) * sizeof(wchar_t);
        iconv(cd, nullptr, nullptr, &outp, &outleft);
        written = out.size() - outleft / sizeof(wchar_t);
    };
    while (inleft > 0) {
        char* outp = reinterpret_cast<char*>(out.data() + written);
        size_t outleft = (out.size() - written) * sizeof(wchar_t);
        const size_t rc = iconv(cd, &in, &inleft, &outp, &outleft);
        written = out.size() - outleft / sizeof(wchar_t);
        if (rc != static_cast<size_t>(-1)) break;
        if (errno == E2BIG) {
            out.resize(out.size() * 2);
            continue;
        }
        // Invalid or incomplete sequence: replace one byte and go on.
        flush();
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        if (written >= out.size()) out.resize(out.size() * 2);
        const uint8_t b = static_cast<uint8_t>(*in);
        out[written++] = cp1252_ && undefined_in_1252(b) ? static_cast<wchar_t>(b) : L'\xFFFD';
        ++in;
        --inleft;
    }
    flush();
    out.resize(written);
    return out;
}

bool load_string_pool(const std::vector<uint8_t>& pool, const std::vector<uint8_t>& data, Database& db,
                      std::string& error) {
    if (pool.size() < 4) {
        error = "damaged string pool";
        return false;
    }
    auto le16 = [&](size_t at) { return static_cast<uint32_t>(pool[at] | (pool[at + 1] << 8)); };
    const uint32_t header = le16(0) | (le16(2) << 16);
    db.codepage = static_cast<int>(header & 0x7FFFFFFF);
    db.long_string_refs = (header & 0x80000000u) != 0;

    TextDecoder decoder(db.codepage);
    const size_t slots = (pool.size() - 4) / 4;
    db.strings.assign(1, std::wstring());
    size_t offset = 0;
    for (size_t slot = 0; slot < slots; ++slot) {
        const size_t at = 4 + slot * 4;
        uint64_t length = le16(at);
        const uint32_t refs = le16(at + 2);
        if (length == 0 && refs != 0) {
            // A string of 64 KB or more: the high half of its length here,
            // the low half in the next slot.
            if (slot + 1 >= slots) {
                error = "damaged string pool";
                return false;
            }
            ++slot;
            length = (static_cast<uint64_t>(refs) << 16) | le16(4 + slot * 4);
        }
        if (length > data.size() - offset) {
            error = "damaged string pool";
            return false;
        }
        db.strings.push_back(decoder.decode(data.data() + offset, static_cast<size_t>(length)));
        offset += static_cast<size_t>(length);
    }
    return true;
}

}  // namespace qv::msidb
