// The handle table behind MSIHANDLE: small integers mapped to objects.
// A closed or unknown handle resolves to null, so every API entry can answer
// ERROR_INVALID_HANDLE instead of touching freed memory.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "../msidb/field.h"
#include "../msidb/model.h"
#include "../winapi/types.h"

namespace qv::winapi {

class HandleObject {
public:
    virtual ~HandleObject() = default;
};

// An open database: the engine's model plus the name used in error records.
class DatabaseObject : public HandleObject {
public:
    std::shared_ptr<msidb::Database> db;
    std::wstring name;  // the path as given to MsiOpenDatabaseW
};

// A record: field 0 is the template, fields 1..n the data.
class RecordObject final : public HandleObject {
public:
    std::vector<msidb::Field> fields;  // size n + 1
    // The database whose texts the fields of a fetched row borrow.
    std::shared_ptr<const msidb::Database> pool;

    UINT count() const { return fields.empty() ? 0 : static_cast<UINT>(fields.size() - 1); }
    // Null for a field beyond the count.
    const msidb::Field* field(UINT index) const { return index < fields.size() ? &fields[index] : nullptr; }
};

MSIHANDLE register_handle(std::shared_ptr<HandleObject> object);
std::shared_ptr<HandleObject> lookup_handle(MSIHANDLE handle);
template <class T>
std::shared_ptr<T> lookup(MSIHANDLE handle) {
    std::shared_ptr<HandleObject> found = lookup_handle(handle);
    // An object of exactly T, the common case, needs no walk of the classes.
    if (found && typeid(*found) == typeid(T)) return std::static_pointer_cast<T>(std::move(found));
    return std::dynamic_pointer_cast<T>(std::move(found));
}
bool release_handle(MSIHANDLE handle);
// Closes every open handle; returns how many were open.
size_t release_all_handles();
size_t open_handle_count();

// A new record handle holding `fields` (field 0 first); `pool` is the
// database whose texts they borrow, if any.
MSIHANDLE make_record(std::vector<msidb::Field> fields, std::shared_ptr<const msidb::Database> pool = {});

// The field vectors of records that went, kept for the next rows fetched: a
// walk over many rows then allocates no vector per row. A kept vector holds
// only empty fields.
std::vector<msidb::Field> spare_fields();
void keep_fields(std::vector<msidb::Field>&& fields);

// The process's last error record (MsiGetLastErrorRecord): field 1 is the
// installer error number, fields 2.. its parameters.
void set_last_error_record(unsigned number, const std::vector<std::wstring>& params);
void clear_last_error_record();
MSIHANDLE take_last_error_record();

// Copies `text` into a caller buffer with the installer's convention:
// ERROR_MORE_DATA and the needed length (without the terminator) when it
// does not fit, else the text, its terminator and its length.
UINT copy_out(std::wstring_view text, LPWSTR buffer, LPDWORD size);

}  // namespace qv::winapi
