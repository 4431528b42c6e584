// The installer's SQL subset over a msidb::Database: SELECT [DISTINCT]
// columns|* FROM tables [WHERE ...] [ORDER BY ...]. Parsing and name binding
// happen in prepare (what MsiDatabaseOpenView does); execute binds '?'
// parameters; fetch yields rows in order.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "../msidb/field.h"
#include "../msidb/model.h"

namespace qv::msisql {

// A failure, as the installer reports it: the API result and the internal
// error number with its parameters from field 2 on (field 1 is the number).
// Example: result 1615, number 2228, params {db_name, "Foo", query}.
struct Error {
    unsigned result = 0;
    unsigned number = 0;
    std::vector<std::wstring> params;
};

class Query {
public:
    virtual ~Query() = default;

    // Parses `sql` and binds its names against `db`. `db_name` fills the
    // "Database: [2]" parameter of error records. Returns null with `error`
    // set on failure. The database must outlive the query.
    static std::unique_ptr<Query> prepare(msidb::Database& db, std::wstring_view sql,
                                          std::wstring_view db_name, Error& error);

    // Names and MsiViewGetColumnInfo definitions ("s72", "I2", ...) of the
    // result columns, in order.
    virtual std::vector<std::wstring> column_names() const = 0;
    virtual std::vector<std::wstring> column_definitions() const = 0;

    // Runs the query with values for its '?' markers, in order. Resets any
    // earlier execution. Returns false with `error` set on failure.
    virtual bool execute(const std::vector<msidb::Field>& params, Error& error) = 0;
    // Next row into row[first...] (row[0..first) are left as they are), or
    // false at the end (or when not executed). String fields borrow their
    // text from the database, which must outlive them.
    virtual bool fetch(std::vector<msidb::Field>& row, size_t first = 0) = 0;
    virtual bool executed() const = 0;
    // Ends the current execution.
    virtual void close() = 0;
};

}  // namespace qv::msisql
