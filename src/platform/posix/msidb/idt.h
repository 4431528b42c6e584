// Tables in the IDT text form (the form that database export tools write and
// import tools read) turned into an in-memory database. Used for the reference
// data built into qvice and for reference data that a user edits as text.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model.h"

namespace qv::msidb {

// One IDT file: line 1 column names, line 2 column types (s72, S255, l0, i2,
// I4, v0, ...), line 3 the table name followed by its key columns, then one
// row per line. Cells are separated by tabs; lines end in LF or CR LF. The
// text is UTF-8. Inside a cell the control characters 16, 17 and 25 stand
// for tab, carriage return and line feed.
struct IdtText {
    std::string file;       // name used in error messages, e.g. "Binary.idt"
    std::string_view text;  // must outlive the call only
};

// The content of a stream cell. A stream cell holds a file name; its bytes
// are those of the file "<Table>/<name>" among these.
struct IdtStreamFile {
    std::string path;  // "Binary/_QVFilters.xml"
    std::span<const uint8_t> bytes;
};

// Builds a database with one table per file, in the order given. A file
// whose third line names _ForceCodepage sets the code page instead. Never
// throws on bad input: returns null and sets `error` to
// "<file>:<line>: <reason>".
std::unique_ptr<Database> read_idt_tables(std::span<const IdtText> tables, std::span<const IdtStreamFile> streams,
                                          std::string& error);

// Parses one column type of the IDT notation into the _Columns type word,
// without the key bit. Returns false for anything else.
bool parse_idt_type(std::string_view text, uint16_t& type);

}  // namespace qv::msidb
