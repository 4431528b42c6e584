#include "handles.h"

#include <cstring>
#include <mutex>

namespace qv::winapi {
namespace {

// Handles are small numbers, the lowest free one reused: the table is
// indexed by them.
struct HandleTable {
    std::mutex lock;
    std::vector<std::shared_ptr<HandleObject>> objects;  // [0] is never used
    size_t open = 0;
    MSIHANDLE next = 1;
    std::vector<msidb::Field> last_error;  // empty: no record
};

HandleTable& table() {
    static HandleTable instance;
    return instance;
}

constexpr size_t kSpareVectors = 8;
std::mutex g_spare_lock;
std::vector<std::vector<msidb::Field>> g_spare_fields;

}  // namespace

MSIHANDLE register_handle(std::shared_ptr<HandleObject> object) {
    if (!object) return 0;
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    // Handles stay small: reuse the lowest free number after a wrap.
    MSIHANDLE h = t.next;
    while (h == 0 || (h < t.objects.size() && t.objects[h])) ++h;
    t.next = h + 1;
    if (h >= t.objects.size()) t.objects.resize(static_cast<size_t>(h) + 1);
    t.objects[h] = std::move(object);
    ++t.open;
    return h;
}

std::shared_ptr<HandleObject> lookup_handle(MSIHANDLE handle) {
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    return handle < t.objects.size() ? t.objects[handle] : nullptr;
}

bool release_handle(MSIHANDLE handle) {
    std::shared_ptr<HandleObject> doomed;  // destroyed, or its fields kept, outside the lock
    {
        HandleTable& t = table();
        std::lock_guard<std::mutex> guard(t.lock);
        if (handle >= t.objects.size() || !t.objects[handle]) return false;
        doomed = std::move(t.objects[handle]);
        --t.open;
        if (handle < t.next) t.next = handle;
    }
    if (doomed.use_count() == 1)
        if (typeid(*doomed) == typeid(RecordObject)) keep_fields(std::move(static_cast<RecordObject&>(*doomed).fields));
    return true;
}

std::vector<msidb::Field> spare_fields() {
    std::lock_guard<std::mutex> guard(g_spare_lock);
    if (g_spare_fields.empty()) return {};
    std::vector<msidb::Field> fields = std::move(g_spare_fields.back());
    g_spare_fields.pop_back();
    return fields;
}

void keep_fields(std::vector<msidb::Field>&& fields) {
    // Fetched rows borrow their texts, so no text room is worth keeping.
    for (msidb::Field& f : fields) f = msidb::Field();
    std::lock_guard<std::mutex> guard(g_spare_lock);
    if (g_spare_fields.size() < kSpareVectors) g_spare_fields.push_back(std::move(fields));
}

size_t release_all_handles() {
    std::vector<std::shared_ptr<HandleObject>> doomed;
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    doomed.swap(t.objects);
    const size_t open = t.open;
    t.open = 0;
    t.next = 1;
    return open;
}

size_t open_handle_count() {
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    return t.open;
}

MSIHANDLE make_record(std::vector<msidb::Field> fields, std::shared_ptr<const msidb::Database> pool) {
    auto record = std::make_shared<RecordObject>();
    record->fields = std::move(fields);
    record->pool = std::move(pool);
    if (record->fields.empty()) record->fields.resize(1);
    return register_handle(record);
}

void set_last_error_record(unsigned number, const std::vector<std::wstring>& params) {
    std::vector<msidb::Field> fields;
    fields.emplace_back();
    fields.push_back(msidb::Field::from_int(static_cast<int32_t>(number)));
    for (const auto& p : params) fields.push_back(msidb::Field::from_text(p));
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    t.last_error = std::move(fields);
}

void clear_last_error_record() {
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    t.last_error.clear();
}

MSIHANDLE take_last_error_record() {
    std::vector<msidb::Field> fields;
    {
        HandleTable& t = table();
        std::lock_guard<std::mutex> guard(t.lock);
        fields.swap(t.last_error);
    }
    if (fields.empty()) return 0;
    return make_record(std::move(fields));
}

UINT copy_out(std::wstring_view text, LPWSTR buffer, LPDWORD size) {
    if (!size) return ERROR_INVALID_PARAMETER;
    const DWORD capacity = *size;
    const DWORD length = static_cast<DWORD>(text.size());
    *size = length;
    if (!buffer || capacity <= length) {
        // Like the installer, hand out a terminated prefix when there is room.
        if (buffer && capacity > 0) {
            std::wmemcpy(buffer, text.data(), capacity - 1);
            buffer[capacity - 1] = L'\0';
        }
        return ERROR_MORE_DATA;
    }
    std::wmemcpy(buffer, text.data(), length);
    buffer[length] = L'\0';
    return ERROR_SUCCESS;
}

}  // namespace qv::winapi
