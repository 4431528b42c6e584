// The summary information property set ("\x05SummaryInformation").
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "model.h"

namespace qv::msidb {

// Property types kept from the stream.
namespace vt {
constexpr uint16_t Empty = 0;
constexpr uint16_t I2 = 2;
constexpr uint16_t I4 = 3;
constexpr uint16_t Lpstr = 30;
constexpr uint16_t Filetime = 64;
}  // namespace vt

// Decodes the first property set of the stream. Text is converted from the
// code page in property 1 when present, else from `database_codepage`.
// Properties of other types are skipped. A stream that is damaged anywhere
// (any offset or length outside the stream) yields no properties at all.
std::map<uint32_t, SummaryProperty> parse_summary(const std::vector<uint8_t>& bytes, int database_codepage);

}  // namespace qv::msidb
