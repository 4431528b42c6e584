// Decoding of _Tables, _Columns and the user tables from their streams.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "model.h"

namespace qv::msidb {

using TableStreams = std::unordered_map<std::wstring, std::shared_ptr<const StreamSource>>;

// Builds db.tables (in _Tables order) from the table streams, with the string
// pool already in db.strings. Stream cells are resolved against
// db.named_streams and entered into db.streams.
// Fails with "damaged table stream _Tables" / "damaged table stream _Columns"
// when a row of the catalogue lacks a required value or repeats a column number.
bool load_tables(Database& db, const TableStreams& streams, std::string& error);

}  // namespace qv::msidb
