// Database and view functions of the installer API over the engine's model
// and SQL layer.
#include <cerrno>
#include <cstring>

#include "../kernel/paths.h"
#include "../msisql/query.h"
#include "../winapi/msi.h"
#include "database_posix.h"
#include "handles.h"
#include "wide.h"

using qv::msidb::Field;
using qv::winapi::DatabaseObject;
using qv::winapi::lookup;
using qv::winapi::RecordObject;

namespace {

class ViewObject : public qv::winapi::HandleObject {
public:
    std::shared_ptr<qv::msidb::Database> db;  // keeps the tables alive
    std::unique_ptr<qv::msisql::Query> query;
};

UINT fail(const qv::msisql::Error& error) {
    qv::winapi::set_last_error_record(error.number, error.params);
    return error.result;
}

MSIHANDLE open_model(const std::string& posix_path, const std::wstring& name, std::string& reason) {
    qv::msidb::OpenError error;
    std::unique_ptr<qv::msidb::Database> db = qv::posix::ReadDatabaseFile(posix_path, error);
    if (!db) {
        reason = error.reason;
        return 0;
    }
    auto object = std::make_shared<DatabaseObject>();
    object->db = std::move(db);
    object->name = name;
    return qv::winapi::register_handle(object);
}

}  // namespace

namespace qv::posix {

std::unique_ptr<qv::msidb::Database> ReadDatabaseFile(const std::string& posix_path, qv::msidb::OpenError& error) {
    auto bytes = memory_file_bytes(posix_path);
    if (!bytes) return qv::msidb::open_database(posix_path, error);
    auto db = qv::msidb::open_database_bytes(std::move(bytes), error);
    if (db) db->file_path = posix_path;
    return db;
}

MSIHANDLE OpenDatabase(const std::string& posix_path, std::string& reason) {
    return open_model(posix_path, qv::winapi::widen(posix_path), reason);
}

bool SetPropertyRow(MSIHANDLE database, const std::wstring& property, const std::wstring& value) {
    auto object = lookup<DatabaseObject>(database);
    if (!object || property.empty()) return false;
    qv::msidb::Database& db = *object->db;
    qv::msidb::Table* table = db.find_table(L"Property");
    if (!table) {
        qv::msidb::Table t;
        t.name = L"Property";
        t.columns = {{L"Property", 0x2D48}, {L"Value", 0x0F00}};
        table = &db.add_table(std::move(t));
    }
    const int key = table->column_index(L"Property");
    const int val = table->column_index(L"Value");
    if (key < 0 || val < 0) return false;
    const qv::msidb::Cell key_cell{qv::msidb::CellKind::String, db.intern(property)};
    const qv::msidb::Cell value_cell =
        value.empty() ? qv::msidb::Cell{} : qv::msidb::Cell{qv::msidb::CellKind::String, db.intern(value)};
    for (size_t r = 0; r < table->rows(); ++r) {
        const auto& cell = table->at(r, key);
        if (cell.kind == qv::msidb::CellKind::String && db.string(cell.value) == property) {
            table->at(r, val) = value_cell;
            ++table->generation;
            return true;
        }
    }
    std::vector<qv::msidb::Cell> row(table->columns.size());
    row[key] = key_cell;
    row[val] = value_cell;
    table->cells.insert(table->cells.end(), row.begin(), row.end());
    return true;
}

int DatabaseCodepage(MSIHANDLE database) {
    auto object = lookup<DatabaseObject>(database);
    return object ? object->db->codepage : -1;
}

}  // namespace qv::posix

UINT MsiOpenDatabaseW(LPCWSTR szDatabasePath, LPCWSTR szPersist, MSIHANDLE* phDatabase) {
    if (!szDatabasePath || !phDatabase) return ERROR_INVALID_PARAMETER;
    // Only read-only opening exists: the engine never writes a package.
    if (szPersist != MSIDBOPEN_READONLY) return ERROR_INVALID_PARAMETER;
    std::string reason;
    const std::wstring name(szDatabasePath);
    MSIHANDLE h = open_model(qv::winapi::posix_path_of(name), name, reason);
    if (!h) {
        qv::winapi::set_last_error_record(2203, {name, qv::winapi::widen(reason)});
        return ERROR_OPEN_FAILED;
    }
    qv::winapi::clear_last_error_record();
    *phDatabase = h;
    return ERROR_SUCCESS;
}

UINT MsiDatabaseOpenViewW(MSIHANDLE hDatabase, LPCWSTR szQuery, MSIHANDLE* phView) {
    auto database = lookup<DatabaseObject>(hDatabase);
    if (!database) return ERROR_INVALID_HANDLE;
    if (!phView) return ERROR_INVALID_PARAMETER;
    qv::msisql::Error error;
    auto query = qv::msisql::Query::prepare(*database->db, szQuery ? std::wstring_view(szQuery) : std::wstring_view(),
                                            L"", error);
    if (!query) return fail(error);
    auto view = std::make_shared<ViewObject>();
    view->db = database->db;
    view->query = std::move(query);
    qv::winapi::clear_last_error_record();
    *phView = qv::winapi::register_handle(view);
    return ERROR_SUCCESS;
}

UINT MsiViewExecute(MSIHANDLE hView, MSIHANDLE hRecord) {
    auto view = lookup<ViewObject>(hView);
    if (!view) return ERROR_INVALID_HANDLE;
    std::vector<Field> params;
    if (hRecord) {
        auto record = lookup<RecordObject>(hRecord);
        if (!record) return ERROR_INVALID_HANDLE;
        params.assign(record->fields.begin() + 1, record->fields.end());
    }
    qv::msisql::Error error;
    if (!view->query->execute(params, error)) return fail(error);
    qv::winapi::clear_last_error_record();
    return ERROR_SUCCESS;
}

UINT MsiViewFetch(MSIHANDLE hView, MSIHANDLE* phRecord) {
    auto view = lookup<ViewObject>(hView);
    if (!view) return ERROR_INVALID_HANDLE;
    if (!phRecord) return ERROR_INVALID_PARAMETER;
    *phRecord = 0;
    if (!view->query->executed()) return ERROR_FUNCTION_FAILED;
    // The fields come with the text room of a record that went. Field 0,
    // the template, stays null.
    std::vector<Field> fields = qv::winapi::spare_fields();
    if (fields.empty()) fields.resize(1);
    if (!view->query->fetch(fields, 1)) {
        qv::winapi::keep_fields(std::move(fields));
        return ERROR_NO_MORE_ITEMS;
    }
    // The row's texts stay in the database; the record keeps it alive.
    *phRecord = qv::winapi::make_record(std::move(fields), view->db);
    return ERROR_SUCCESS;
}

UINT MsiViewClose(MSIHANDLE hView) {
    auto view = lookup<ViewObject>(hView);
    if (!view) return ERROR_INVALID_HANDLE;
    view->query->close();
    return ERROR_SUCCESS;
}

UINT MsiViewGetColumnInfo(MSIHANDLE hView, MSICOLINFO eColumnInfo, MSIHANDLE* phRecord) {
    auto view = lookup<ViewObject>(hView);
    if (!view) return ERROR_INVALID_HANDLE;
    if (!phRecord || (eColumnInfo != MSICOLINFO_NAMES && eColumnInfo != MSICOLINFO_TYPES))
        return ERROR_INVALID_PARAMETER;
    const std::vector<std::wstring> texts =
        eColumnInfo == MSICOLINFO_NAMES ? view->query->column_names() : view->query->column_definitions();
    std::vector<Field> fields(1);
    for (const auto& t : texts) fields.push_back(Field::from_text(t));
    *phRecord = qv::winapi::make_record(std::move(fields));
    return ERROR_SUCCESS;
}

MSICONDITION MsiDatabaseIsTablePersistentW(MSIHANDLE hDatabase, LPCWSTR szTableName) {
    auto database = lookup<DatabaseObject>(hDatabase);
    if (!database || !szTableName || !*szTableName) return MSICONDITION_ERROR;
    const std::wstring_view name(szTableName);
    if (const auto* table = database->db->find_table(name))
        return table->temporary ? MSICONDITION_FALSE : MSICONDITION_TRUE;
    if (name == L"_Tables" || name == L"_Columns") return MSICONDITION_TRUE;
    if (name == L"_Streams" || name == L"_Storages") return MSICONDITION_FALSE;
    return MSICONDITION_NONE;
}

UINT MsiDatabaseGetPrimaryKeysW(MSIHANDLE hDatabase, LPCWSTR szTableName, MSIHANDLE* phRecord) {
    auto database = lookup<DatabaseObject>(hDatabase);
    if (!database) return ERROR_INVALID_HANDLE;
    if (!szTableName || !phRecord) return ERROR_INVALID_PARAMETER;
    const auto* table = database->db->find_table(szTableName);
    if (!table) {
        qv::winapi::set_last_error_record(2205, {L"", szTableName});
        return ERROR_INVALID_TABLE;
    }
    std::vector<Field> fields;
    fields.push_back(Field::from_text(table->name));
    for (const auto& c : table->columns)
        if (c.key()) fields.push_back(Field::from_text(c.name));
    *phRecord = qv::winapi::make_record(std::move(fields));
    return ERROR_SUCCESS;
}

UINT MsiCloseAllHandles() { return static_cast<UINT>(qv::winapi::release_all_handles()); }
