// Record functions of the installer API over RecordObject.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "../winapi/msi.h"
#include "handles.h"

using qv::msidb::CellKind;
using qv::msidb::Field;
using qv::winapi::lookup;
using qv::winapi::RecordObject;

namespace {

constexpr UINT kMaxFields = 65535;

// The text of a field: a view of its string, or an integer written into
// `digits`; empty for null.
std::wstring_view field_text(const Field& f, wchar_t (&digits)[16]) {
    switch (f.kind) {
    case CellKind::Integer: {
        const int length = std::swprintf(digits, 16, L"%d", static_cast<int>(f.integer));
        return std::wstring_view(digits, length > 0 ? static_cast<size_t>(length) : 0);
    }
    case CellKind::String: return f.text();
    default: return std::wstring_view();
    }
}

// A string that is a whole decimal integer in range, as the installer accepts it.
bool parse_integer(const std::wstring& text, int& out) {
    if (text.empty() || text.size() > 12) return false;
    size_t i = 0;
    bool negative = false;
    if (text[0] == L'-' || text[0] == L'+') {
        negative = text[0] == L'-';
        i = 1;
    }
    if (i == text.size()) return false;
    long long value = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < L'0' || text[i] > L'9') return false;
        value = value * 10 + (text[i] - L'0');
    }
    if (negative) value = -value;
    if (value <= INT_MIN || value > INT_MAX) return false;
    out = static_cast<int>(value);
    return true;
}

}  // namespace

MSIHANDLE MsiCreateRecord(UINT cParams) {
    if (cParams > kMaxFields) return 0;
    return qv::winapi::make_record(std::vector<Field>(cParams + 1));
}

UINT MsiRecordGetFieldCount(MSIHANDLE hRecord) {
    auto r = lookup<RecordObject>(hRecord);
    return r ? r->count() : static_cast<UINT>(-1);
}

BOOL MsiRecordIsNull(MSIHANDLE hRecord, UINT iField) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return FALSE;
    const Field* f = r->field(iField);
    return !f || f->is_null();
}

UINT MsiRecordDataSize(MSIHANDLE hRecord, UINT iField) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return 0;
    const Field* f = r->field(iField);
    if (!f) return 0;
    switch (f->kind) {
    case CellKind::Integer: return sizeof(int);
    case CellKind::String: return static_cast<UINT>(f->text().size());
    case CellKind::Stream: return static_cast<UINT>(f->stream ? f->stream->size() : 0);
    case CellKind::Null: break;
    }
    return 0;
}

int MsiRecordGetInteger(MSIHANDLE hRecord, UINT iField) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return MSI_NULL_INTEGER;
    const Field* f = r->field(iField);
    if (!f) return MSI_NULL_INTEGER;
    if (f->kind == CellKind::Integer) return f->integer;
    int value = 0;
    if (f->kind == CellKind::String && parse_integer(f->text(), value)) return value;
    return MSI_NULL_INTEGER;
}

UINT MsiRecordGetStringW(MSIHANDLE hRecord, UINT iField, LPWSTR szValueBuf, LPDWORD pcchValueBuf) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return ERROR_INVALID_HANDLE;
    if (!pcchValueBuf) return ERROR_INVALID_PARAMETER;
    const Field* f = r->field(iField);
    if (f && f->kind == CellKind::Stream) return ERROR_INVALID_DATATYPE;
    wchar_t digits[16];
    return qv::winapi::copy_out(f ? field_text(*f, digits) : std::wstring_view(), szValueBuf, pcchValueBuf);
}

UINT MsiRecordReadStream(MSIHANDLE hRecord, UINT iField, char* szDataBuf, LPDWORD pcbDataBuf) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return ERROR_INVALID_HANDLE;
    if (!pcbDataBuf || iField == 0 || iField > r->count()) return ERROR_INVALID_PARAMETER;
    Field& f = r->fields[iField];
    if (f.kind != CellKind::Stream || !f.stream) return ERROR_INVALID_DATATYPE;
    const uint64_t size = f.stream->size();
    const uint64_t remaining = f.stream_pos < size ? size - f.stream_pos : 0;
    if (!szDataBuf) {
        *pcbDataBuf = static_cast<DWORD>(remaining > UINT32_MAX ? UINT32_MAX : remaining);
        return ERROR_SUCCESS;
    }
    const size_t want = static_cast<size_t>(std::min<uint64_t>(*pcbDataBuf, remaining));
    const size_t got = want ? f.stream->read(f.stream_pos, szDataBuf, want) : 0;
    f.stream_pos += got;
    *pcbDataBuf = static_cast<DWORD>(got);
    return ERROR_SUCCESS;
}

UINT MsiRecordSetStringW(MSIHANDLE hRecord, UINT iField, LPCWSTR szValue) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return ERROR_INVALID_HANDLE;
    if (iField > r->count()) return ERROR_INVALID_PARAMETER;
    r->fields[iField] = Field::from_text(szValue ? std::wstring(szValue) : std::wstring());
    return ERROR_SUCCESS;
}

UINT MsiRecordSetInteger(MSIHANDLE hRecord, UINT iField, int iValue) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return ERROR_INVALID_HANDLE;
    if (iField > r->count()) return ERROR_INVALID_PARAMETER;
    r->fields[iField] = iValue == MSI_NULL_INTEGER ? Field() : Field::from_int(iValue);
    return ERROR_SUCCESS;
}

UINT MsiRecordClearData(MSIHANDLE hRecord) {
    auto r = lookup<RecordObject>(hRecord);
    if (!r) return ERROR_INVALID_HANDLE;
    for (auto& f : r->fields) f = Field();
    return ERROR_SUCCESS;
}

UINT MsiCloseHandle(MSIHANDLE hAny) {
    if (hAny == 0) return ERROR_SUCCESS;
    return qv::winapi::release_handle(hAny) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

MSIHANDLE MsiGetLastErrorRecord() { return qv::winapi::take_last_error_record(); }
