// Checks of the package as a whole, each with at most one finding: no
// shortcut, 4 GB of files or more, a 64-bit Template.
#include "checks/vice/package_wide.h"

#include <cstdint>
#include <vector>

#include "database/views.h"

// ---- QVVICE11: no shortcut ------------------------------------------------------------

CQVVice11::CQVVice11(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice11::~CQVVice11() = default;
_stringx<> CQVVice11::GetName() const { return Name; }
_stringx<> CQVVice11::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice11::Validate()
{
    // Any row will do: a virtual application needs an entry point.
    if (!TableEmptyOrAbsent(m_database, L"Shortcut"))
        return;
    m_location.clear();
    m_location.push_back(L"Shortcut");
    ReportMessage(229, Severity);
}

QV_CHECK_EXPORT(QVVICE11, CQVVice11)

// ---- QVVICE16: 4 GB of files ----------------------------------------------------------

CQVVice16::CQVVice16(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice16::~CQVVice16() = default;
_stringx<> CQVVice16::GetName() const { return Name; }
_stringx<> CQVVice16::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice16::Validate()
{
    if (TableEmptyOrAbsent(m_database, L"File"))
        return;
    constexpr int64_t kLimit = 0x100000000LL;
    qv::msi_handle view;
    OpenView(view.ref(), m_database, L"SELECT * FROM `%s`", L"File");
    // 64 bits wide, since 32 would wrap exactly at the limit; each size is
    // still a signed 32-bit column (a null one subtracts 2^31).
    int64_t total = 0;
    qv::msi_handle record;
    for (;;) {
        record.reset();
        const UINT result = MsiViewFetch(view, &record.ref());
        if (result != ERROR_SUCCESS) {
            if (result != ERROR_NO_MORE_ITEMS)
                CheckInstallerResult(result, L"MsiViewFetch");
            return;
        }
        total += static_cast<int64_t>(MsiRecordGetInteger(record, 4));
        if (total >= kLimit) {
            // Exactly 4 GB is already too much; later rows are not read.
            m_location.clear();
            m_location.push_back(L"File");
            ReportMessage(234, Severity);
            return;
        }
    }
}

QV_CHECK_EXPORT(QVVICE16, CQVVice16)

// ---- QVVICE19: 64-bit package ---------------------------------------------------------

CQVVice19::CQVVice19(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice19::~CQVVice19() = default;
_stringx<> CQVVice19::GetName() const { return Name; }
_stringx<> CQVVice19::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice19::Validate()
{
    // A failed open leaves a null handle, and the first read reports it.
    qv::msi_handle summary;
    MsiGetSummaryInformationW(m_database, nullptr, 0, &summary.ref());
    UINT dataType = 0;
    INT intValue = 0;
    FILETIME time{};
    wchar_t empty[1] = {L'\0'};
    DWORD size = 0;
    UINT result = MsiSummaryInfoGetPropertyW(summary, 7, &dataType, &intValue, &time, empty, &size);
    if (result != ERROR_MORE_DATA) {
        DebugLine(L"Error 0x%08x attempting to get template summary property", result);
        return;
    }
    ++size;
    std::vector<wchar_t> buffer(size);
    result = MsiSummaryInfoGetPropertyW(summary, 7, &dataType, &intValue, &time, buffer.data(), &size);
    if (result != ERROR_SUCCESS) {
        DebugLine(L"Error 0x%08x attempting to get template summary property (2)", result);
        return;
    }
    const _stringx<qv::char_traitsi> templateText(buffer.data());
    // Only "x64" counts, in any case; the type is always 1 and there is no
    // location, whatever _QvViceSeverity says.
    if (templateText.find(L"x64") != _stringx<qv::char_traitsi>::npos)
        ReportMessage(260, 1);
}

QV_CHECK_EXPORT(QVVICE19, CQVVice19)
