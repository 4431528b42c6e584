#include "handles.h"

#include <cstring>
#include <mutex>
#include <unordered_map>

namespace qv::winapi {
namespace {

struct HandleTable {
    std::mutex lock;
    std::unordered_map<MSIHANDLE, std::shared_ptr<HandleObject>> objects;
    MSIHANDLE next = 1;
    std::vector<msidb::Field> last_error;  // empty: no record
};

HandleTable& table() {
    static HandleTable instance;
    return instance;
}

}  // namespace

MSIHANDLE register_handle(std::shared_ptr<HandleObject> object) {
    if (!object) return 0;
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    // Handles stay small: reuse the lowest free number after a wrap.
    MSIHANDLE h = t.next;
    while (h == 0 || t.objects.count(h)) ++h;
    t.next = h + 1;
    t.objects.emplace(h, std::move(object));
    return h;
}

std::shared_ptr<HandleObject> lookup_handle(MSIHANDLE handle) {
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    auto it = t.objects.find(handle);
    return it == t.objects.end() ? nullptr : it->second;
}

bool release_handle(MSIHANDLE handle) {
    std::shared_ptr<HandleObject> doomed;  // destroyed outside the lock
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    auto it = t.objects.find(handle);
    if (it == t.objects.end()) return false;
    doomed = std::move(it->second);
    t.objects.erase(it);
    if (handle < t.next) t.next = handle;
    return true;
}

size_t release_all_handles() {
    std::unordered_map<MSIHANDLE, std::shared_ptr<HandleObject>> doomed;
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    doomed.swap(t.objects);
    t.next = 1;
    return doomed.size();
}

size_t open_handle_count() {
    HandleTable& t = table();
    std::lock_guard<std::mutex> guard(t.lock);
    return t.objects.size();
}

MSIHANDLE make_record(std::vector<msidb::Field> fields) {
    auto record = std::make_shared<RecordObject>();
    record->fields = std::move(fields);
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
