// The string pool (_StringPool + _StringData) and conversion of the
// database's ANSI/DBCS text to wide text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model.h"

namespace qv::msidb {

// Converts text in one Windows code page to wide text. Bytes that are not
// valid in the code page become U+FFFD; conversion never fails.
// Code page 0 is taken as 1252, the reference machine's ANSI page; 65001 is
// UTF-8; any other number n is the converter "CP<n>", falling back to 1252
// when the system does not know it.
class TextDecoder {
public:
    explicit TextDecoder(int codepage);
    ~TextDecoder();
    TextDecoder(const TextDecoder&) = delete;
    TextDecoder& operator=(const TextDecoder&) = delete;

    std::wstring decode(const uint8_t* bytes, size_t size);
    std::wstring decode(const std::string& bytes) {
        return decode(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }

private:
    void* cd_ = nullptr;    // iconv_t
    bool ascii_same_ = false;  // bytes below 0x80 map to themselves
    bool cp1252_ = false;
};

// Fills db.strings, db.codepage and db.long_string_refs from the two pool
// streams. Fails with "damaged string pool" when the slots describe more
// bytes than _StringData holds or the stream is too short for its header.
bool load_string_pool(const std::vector<uint8_t>& pool, const std::vector<uint8_t>& data, Database& db,
                      std::string& error);

}  // namespace qv::msidb
