#include "framework/check_base.h"

#include "framework/library.h"

namespace {

constexpr int kFailure = 0;
constexpr int kInformation = 3;
constexpr UINT kUnhandledException = 121;
constexpr UINT kUnexpectedException = 124;
constexpr DWORD kPropertyCapacity = 0x104;

}  // namespace

const wchar_t* const CQVIceBase::kCostInitializeMark = L"_QVCostInitialize";
const wchar_t* const CQVIceBase::kFileCostMark = L"_QVFileCost";
const wchar_t* const CQVIceBase::kCostFinalizeMark = L"_QVCostFinalize";
const wchar_t* const CQVIceBase::kResolveSourceMark = L"_QVResolveSource";

// ---- catalogue ----------------------------------------------------------------

bool LoadCatalogueString(_stringx<>& target, HMODULE module, UINT id)
{
    int capacity = 512;
    int length = 0;
    for (;;) {
        {
            auto buffer = target.GetBuffer(static_cast<size_t>(capacity));
            length = LoadStringW(module, id, buffer.wide(), capacity);
        }
        if (capacity - length >= 2)
            break;
        capacity += 256;
    }
    return length != 0;
}

void FillPlaceholders(_stringx<>& text, const _stringx<>* const* args, UINT count)
{
    // Index of the argument a placeholder character names, or -1.
    auto indexOf = [](wchar_t c) -> int {
        if (c >= L'1' && c <= L'9')
            return c - L'1';
        if (c >= L'A' && c <= L'Z')
            return c - 56;
        if (c == L'0')
            return -2;  // a placeholder that no argument fills
        return -1;
    };
    auto pass = [&](wchar_t* out) -> size_t {
        size_t n = 0;
        const wchar_t* p = text.c_str();
        const size_t size = text.size();
        for (size_t i = 0; i < size;) {
            const wchar_t c = p[i];
            const int index = (c == L'%' && i + 1 < size) ? indexOf(p[i + 1]) : -1;
            if (index == -1) {
                if (out)
                    out[n] = c;
                ++n;
                ++i;
                continue;
            }
            i += 2;
            if (index >= 0 && static_cast<UINT>(index) < count) {
                const _stringx<>* arg = args ? args[index] : nullptr;
                if (arg) {
                    if (out)
                        std::char_traits<wchar_t>::copy(out + n, arg->data(), arg->size());
                    n += arg->size();
                }
            } else {
                if (out)
                    out[n] = L'?';
                ++n;
            }
        }
        return n;
    };
    const size_t length = pass(nullptr);
    _stringx<> result;
    result.resize(length);
    pass(result.data());
    text = std::move(result);
}

// ---- construction -------------------------------------------------------------

CQVIceBase::CQVIceBase(MSIHANDLE hInstall) : m_database(0), m_install(hInstall), m_debugging(false)
{
    const MSIHANDLE database = MsiGetActiveDatabase(m_install);
    if (m_database)
        MsiCloseHandle(m_database);
    m_database = database;
    m_debugging = PropertyRowExists(m_database, L"_QV_DEBUGGING_ACTION");
}

CQVIceBase::~CQVIceBase()
{
    qv::inventory::ForgetOwner(this);
    m_location.clear();
    if (m_database)
        MsiCloseHandle(m_database);
    m_database = 0;
}

// ---- inventories ----------------------------------------------------------------

void CQVIceBase::LoadComponents() { qv::inventory::LoadComponents(*this, m_components); }
void CQVIceBase::LoadShortcuts() { qv::inventory::LoadShortcuts(*this, m_shortcuts); }
void CQVIceBase::LoadFeatures() { qv::inventory::LoadFeatures(*this, m_features); }
void CQVIceBase::LoadFiles() { qv::inventory::LoadFiles(*this, m_components); }
PackageFileList& CQVIceBase::GetPackageFiles() { return qv::inventory::GetPackageFiles(*this); }

// ---- run ------------------------------------------------------------------------

UINT CQVIceBase::Execute()
{
    try {
        const HRESULT entered = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        _stringx<> banner;
        FormatString(banner, L"%s - %s", GetName(), GetDescription());
        ReportText(banner, kInformation);
        Validate();
        DebugLine(L"Finished ICE %s", GetName());
        if (entered >= 0)
            CoUninitialize();
    } catch (const com_exception& failure) {
        _stringx<> number;
        FormatString(number, L"%d", failure.Error());
        ReportMessage(kUnexpectedException, GetName(), number, failure.Description(), kFailure);
    } catch (...) {
        ReportMessage(kUnhandledException, kFailure);
    }
    return 0;
}

// ---- findings ---------------------------------------------------------------------

void CQVIceBase::ReportText(const _stringx<>& text, int type)
{
    _stringx<> line;
    FormatString(line, L"%s\t%d\t%s", GetName(), type, text);
    if (!m_location.empty() || !m_helpLocation.empty()) {
        line += L'\t';
        line += m_helpLocation;
    }
    if (!m_location.empty()) {
        for (const auto& part : m_location) {
            line += L'\t';
            line += part;
        }
        m_location.clear();
    }
    const MSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 0, line.c_str());
    MsiProcessMessage(m_install, INSTALLMESSAGE_USER, record);
    MsiCloseHandle(record);
}

_stringx<> CQVIceBase::LoadMessage(UINT id) const
{
    _stringx<> text;
    if (!LoadCatalogueString(text, QvLibraryModule(), id))
        text.clear();
    return text;
}

void CQVIceBase::ReportWithArguments(UINT id, const _stringx<>* const* args, UINT count, int type)
{
    _stringx<> text;
    if (LoadCatalogueString(text, QvLibraryModule(), id))
        FillPlaceholders(text, args, count);
    else
        text.clear();
    ReportText(text, type);
}

void CQVIceBase::ReportMessage(UINT id, int type) { ReportWithArguments(id, nullptr, 0, type); }

void CQVIceBase::ReportMessage(UINT id, const _stringx<>& arg1, int type)
{
    const _stringx<>* args[] = {&arg1};
    ReportWithArguments(id, args, 1, type);
}

void CQVIceBase::ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2, int type)
{
    const _stringx<>* args[] = {&arg1, &arg2};
    ReportWithArguments(id, args, 2, type);
}

void CQVIceBase::ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2, const _stringx<>& arg3,
                               int type)
{
    const _stringx<>* args[] = {&arg1, &arg2, &arg3};
    ReportWithArguments(id, args, 3, type);
}

void CQVIceBase::DebugLine(const _stringx<>& text)
{
    if (m_debugging)
        ReportText(text, kInformation);
}

// ---- session services ----------------------------------------------------------

void CQVIceBase::RunCostAction(const wchar_t* mark, const wchar_t* action, bool costInitializeFirst)
{
    _stringx<> condition(mark);
    condition += L"=\"1\"";
    if (MsiEvaluateConditionW(m_install, condition.c_str()) != MSICONDITION_FALSE)
        return;
    if (costInitializeFirst)
        RunCostInitialize();
    MsiDoActionW(m_install, action);
    MsiSetPropertyW(m_install, mark, L"1");
}

void CQVIceBase::RunCostInitialize() { RunCostAction(kCostInitializeMark, L"CostInitialize", false); }
void CQVIceBase::RunFileCost() { RunCostAction(kFileCostMark, L"FileCost", false); }
void CQVIceBase::RunCostFinalize() { RunCostAction(kCostFinalizeMark, L"CostFinalize", false); }
void CQVIceBase::RunResolveSource() { RunCostAction(kResolveSourceMark, L"ResolveSource", true); }

_stringx<> CQVIceBase::FormatTargetPath(const _stringx<>& text)
{
    RunCostInitialize();
    RunFileCost();
    RunCostFinalize();
    FormattedRecord formatted(m_install, text.c_str());
    if (!formatted.Text())
        return _stringx<>();
    _stringx<> result(formatted.Text());
    // "1: " in front and one blank behind come from the record's layout.
    if (result.size() < 4)
        return _stringx<>();
    return result.substr(3, result.size() - 4);
}

_stringx<> CQVIceBase::GetSessionProperty(const _stringx<>& name)
{
    _stringx<> value;
    {
        auto buffer = value.GetBuffer(kPropertyCapacity);
        DWORD size = kPropertyCapacity;
        MsiGetPropertyW(m_install, name.c_str(), buffer.wide(), &size);
    }
    if (value.empty()) {
        RunResolveSource();
        auto buffer = value.GetBuffer(kPropertyCapacity);
        DWORD size = kPropertyCapacity;
        MsiGetPropertyW(m_install, name.c_str(), buffer.wide(), &size);
    }
    return value;
}

_stringx<> CQVIceBase::GetPropertyTableValue(const _stringx<>& name)
{
    qv::msi_handle view;
    qv::msi_handle record;
    if (TryFetchFirst(view.ref(), m_database, record.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'", L"Property",
                      L"Property", name) != ERROR_SUCCESS)
        return _stringx<>();
    RecordString value(record, 2);
    return _stringx<>(value.Text());
}
