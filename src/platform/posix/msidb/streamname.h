// Names of the streams of an installer database. The installer packs two
// characters of a restricted alphabet into one UTF-16 unit so that names up
// to 62 characters fit the compound file's 31-unit limit; table streams carry
// a leading marker unit.
#pragma once

#include <string>
#include <string_view>

namespace qv::msidb {

struct StreamName {
    std::wstring name;
    bool table = false;  // the stream holds a table (or the string pool)
};

// Decodes a stored name. Units outside the packed ranges stand for themselves
// (e.g. U+0005 of "\x05SummaryInformation"); surrogate pairs are joined.
StreamName decode_stream_name(std::u16string_view stored);

}  // namespace qv::msidb
