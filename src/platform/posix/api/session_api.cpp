// The session services of the installer API over qv::posix::session.
#include <memory>
#include <string>

#include "../session/session_handle.h"
#include "../winapi/msi.h"
#include "handles.h"

using qv::posix::session::RecordText;
using qv::posix::session::Session;
using qv::posix::session::SessionObject;
using qv::winapi::copy_out;
using qv::winapi::lookup;
using qv::winapi::RecordObject;

namespace {

constexpr int kIdOk = 1;

std::shared_ptr<SessionObject> session_of(MSIHANDLE install) { return lookup<SessionObject>(install); }

RecordText record_text(const RecordObject& record) {
    RecordText text;
    text.reserve(record.fields.size());
    for (const auto& field : record.fields) {
        switch (field.kind) {
        case qv::msidb::CellKind::String: text.emplace_back(field.text()); break;
        case qv::msidb::CellKind::Integer: text.emplace_back(std::to_wstring(field.integer)); break;
        default: text.emplace_back(std::nullopt); break;
        }
    }
    if (text.empty()) text.emplace_back(std::nullopt);
    return text;
}

// For a null template of an error, warning or user message, field 1 names a
// row of the Error table whose text becomes the template.
void apply_error_template(const Session& session, int type, RecordText& record) {
    if (record[0] || record.size() < 2 || !record[1]) return;
    const int kind = type & static_cast<int>(0xFF000000);
    if (kind != INSTALLMESSAGE_ERROR && kind != INSTALLMESSAGE_WARNING && kind != INSTALLMESSAGE_USER) return;
    const auto& db = session.database();
    if (!db) return;
    const qv::msidb::Table* table = db->find_table(L"Error");
    if (!table) return;
    const int key = table->column_index(L"Error");
    const int message = table->column_index(L"Message");
    if (key < 0 || message < 0) return;
    for (size_t r = 0; r < table->rows(); ++r) {
        const auto& k = table->at(r, static_cast<size_t>(key));
        if (k.kind != qv::msidb::CellKind::Integer || std::to_wstring(k.value) != *record[1]) continue;
        const auto& m = table->at(r, static_cast<size_t>(message));
        if (m.kind == qv::msidb::CellKind::String && !db->string(m.value).empty())
            record[0] = db->string(m.value);
        return;
    }
}

}  // namespace

MSIHANDLE MsiGetActiveDatabase(MSIHANDLE hInstall) {
    auto s = session_of(hInstall);
    if (!s || !s->session->database()) return 0;
    auto db = std::make_shared<qv::winapi::DatabaseObject>();
    db->db = s->session->database();
    db->name = s->database_name;
    return qv::winapi::register_handle(db);
}

UINT MsiGetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPWSTR szValueBuf, LPDWORD pcchValueBuf) {
    auto s = session_of(hInstall);
    if (!s) return ERROR_INVALID_HANDLE;
    if (!szName) return ERROR_INVALID_PARAMETER;
    return copy_out(s->session->property(szName), szValueBuf, pcchValueBuf);
}

UINT MsiSetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPCWSTR szValue) {
    auto s = session_of(hInstall);
    if (!s) return ERROR_INVALID_HANDLE;
    if (!szName) return ERROR_INVALID_PARAMETER;
    if (!*szName) return ERROR_FUNCTION_FAILED;
    s->session->set_property(szName, szValue ? szValue : L"");
    return ERROR_SUCCESS;
}

MSICONDITION MsiEvaluateConditionW(MSIHANDLE hInstall, LPCWSTR szCondition) {
    auto s = session_of(hInstall);
    if (!s) return MSICONDITION_ERROR;
    if (!szCondition) return MSICONDITION_NONE;
    return s->session->evaluate(szCondition);
}

UINT MsiDoActionW(MSIHANDLE hInstall, LPCWSTR szAction) {
    auto s = session_of(hInstall);
    if (!s) return ERROR_INVALID_HANDLE;
    if (!szAction) return ERROR_INVALID_PARAMETER;
    return s->session->do_action(szAction);
}

int MsiProcessMessage(MSIHANDLE hInstall, INSTALLMESSAGE eMessageType, MSIHANDLE hRecord) {
    auto s = session_of(hInstall);
    auto record = lookup<RecordObject>(hRecord);
    if (!s || !record) return -1;
    RecordText text = record_text(*record);
    apply_error_template(*s->session, static_cast<int>(eMessageType), text);
    const std::wstring line = s->session->format(text);
    if (!s->sink) return kIdOk;
    return s->sink(eMessageType, line);
}

UINT MsiGetTargetPathW(MSIHANDLE hInstall, LPCWSTR szFolder, LPWSTR szPathBuf, LPDWORD pcchPathBuf) {
    auto s = session_of(hInstall);
    if (!s) return ERROR_INVALID_HANDLE;
    if (!szFolder) return ERROR_INVALID_PARAMETER;
    auto path = s->session->target_path(szFolder);
    if (!path) return ERROR_DIRECTORY;
    return copy_out(*path, szPathBuf, pcchPathBuf);
}

UINT MsiGetSourcePathW(MSIHANDLE hInstall, LPCWSTR szFolder, LPWSTR szPathBuf, LPDWORD pcchPathBuf) {
    auto s = session_of(hInstall);
    if (!s) return ERROR_INVALID_HANDLE;
    if (!szFolder) return ERROR_INVALID_PARAMETER;
    auto path = s->session->source_path(szFolder);
    if (!path) return ERROR_DIRECTORY;
    return copy_out(*path, szPathBuf, pcchPathBuf);
}

UINT MsiFormatRecordW(MSIHANDLE hInstall, MSIHANDLE hRecord, LPWSTR szResultBuf, LPDWORD pcchResultBuf) {
    std::shared_ptr<SessionObject> s;
    if (hInstall != 0) {
        s = session_of(hInstall);
        if (!s) return ERROR_INVALID_HANDLE;
    }
    auto record = lookup<RecordObject>(hRecord);
    if (!record) return ERROR_INVALID_HANDLE;
    const RecordText text = record_text(*record);
    const std::wstring result =
        s ? s->session->format(text) : qv::posix::session::format_record(text, nullptr);
    return copy_out(result, szResultBuf, pcchResultBuf);
}
