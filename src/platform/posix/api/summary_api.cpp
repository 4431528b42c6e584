// Summary information functions over the properties the reader decoded.
#include <map>

#include "../winapi/msi.h"
#include "database_posix.h"
#include "handles.h"
#include "wide.h"

using qv::winapi::DatabaseObject;
using qv::winapi::lookup;

namespace {

class SummaryObject : public qv::winapi::HandleObject {
public:
    std::map<uint32_t, qv::msidb::SummaryProperty> properties;
};

constexpr UINT kLastPropertyId = 19;

}  // namespace

UINT MsiGetSummaryInformationW(MSIHANDLE hDatabase, LPCWSTR szDatabasePath, UINT uiUpdateCount,
                               MSIHANDLE* phSummaryInfo) {
    if (!phSummaryInfo) return ERROR_INVALID_PARAMETER;
    // Reading only: an update count asks for write access, which is not offered.
    if (uiUpdateCount != 0) return ERROR_INVALID_PARAMETER;
    auto summary = std::make_shared<SummaryObject>();
    if (hDatabase) {
        auto database = lookup<DatabaseObject>(hDatabase);
        if (!database) return ERROR_INVALID_HANDLE;
        summary->properties = database->db->summary;
    } else {
        if (!szDatabasePath) return ERROR_INVALID_PARAMETER;
        qv::msidb::OpenError error;
        auto db = qv::posix::ReadDatabaseFile(qv::winapi::posix_path_of(szDatabasePath), error);
        if (!db) {
            qv::winapi::set_last_error_record(2203, {szDatabasePath, qv::winapi::widen(error.reason)});
            return ERROR_INSTALL_PACKAGE_INVALID;
        }
        summary->properties = db->summary;
    }
    *phSummaryInfo = qv::winapi::register_handle(summary);
    return ERROR_SUCCESS;
}

UINT MsiSummaryInfoGetPropertyCount(MSIHANDLE hSummaryInfo, PUINT puiPropertyCount) {
    auto summary = lookup<SummaryObject>(hSummaryInfo);
    if (!summary) return ERROR_INVALID_HANDLE;
    if (!puiPropertyCount) return ERROR_INVALID_PARAMETER;
    *puiPropertyCount = static_cast<UINT>(summary->properties.size());
    return ERROR_SUCCESS;
}

UINT MsiSummaryInfoGetPropertyW(MSIHANDLE hSummaryInfo, UINT uiProperty, PUINT puiDataType, LPINT piValue,
                                FILETIME* pftValue, LPWSTR szValueBuf, LPDWORD pcchValueBuf) {
    auto summary = lookup<SummaryObject>(hSummaryInfo);
    if (!summary) return ERROR_INVALID_HANDLE;
    if (uiProperty > kLastPropertyId) return ERROR_UNKNOWN_PROPERTY;
    auto it = summary->properties.find(uiProperty);
    if (it == summary->properties.end()) {
        if (puiDataType) *puiDataType = VT_EMPTY;
        return ERROR_SUCCESS;
    }
    const qv::msidb::SummaryProperty& p = it->second;
    if (puiDataType) *puiDataType = p.type;
    switch (p.type) {
    case VT_I2:
    case VT_I4:
        if (piValue) *piValue = p.integer;
        return ERROR_SUCCESS;
    case VT_FILETIME:
        if (pftValue) {
            pftValue->dwLowDateTime = static_cast<DWORD>(p.filetime);
            pftValue->dwHighDateTime = static_cast<DWORD>(p.filetime >> 32);
        }
        return ERROR_SUCCESS;
    case VT_LPSTR:
        // A text asked for without a size is a caller error; without a buffer
        // the size alone is answered, as with every string output.
        if (!pcchValueBuf) return szValueBuf ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
        return qv::winapi::copy_out(p.text, szValueBuf, pcchValueBuf);
    default:
        return ERROR_SUCCESS;
    }
}
