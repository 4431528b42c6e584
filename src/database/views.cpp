#include "database/views.h"

#include <new>

namespace {

constexpr DWORD kSystemMessageFlags = 0x1300;
constexpr HRESULT kFlaggedFailure = static_cast<HRESULT>(0x800403E8);
constexpr DWORD kErrorTextCapacity = 1024;

// Releases an interface pointer on the way out.
template <class I>
struct ComRelease {
    I* p = nullptr;
    ~ComRelease()
    {
        if (p)
            p->Release();
    }
};

}  // namespace

UINT RecordString::Read(MSIHANDLE record, UINT field) noexcept
{
    Release();
    DWORD size = kInlineCapacity;
    m_result = MsiRecordGetStringW(record, field, m_inline, &size);
    if (m_result != ERROR_MORE_DATA)
        return m_result;
    size = MsiRecordDataSize(record, field) * 2 + 1;
    m_heap = new (std::nothrow) wchar_t[size];
    if (!m_heap) {
        m_result = ERROR_NOT_ENOUGH_MEMORY;
        return m_result;
    }
    m_result = MsiRecordGetStringW(record, field, m_heap, &size);
    if (m_result != ERROR_SUCCESS)
        Release();
    return m_result;
}

void RecordString::Release() noexcept
{
    delete[] m_heap;
    m_heap = nullptr;
}

FormattedRecord::FormattedRecord(MSIHANDLE session, const wchar_t* text) noexcept
{
    m_inline[0] = L'\0';
    qv::msi_handle record(MsiCreateRecord(1));
    MsiRecordSetStringW(record, 1, text);
    DWORD size = kInlineCapacity;
    m_result = MsiFormatRecordW(session, record, m_inline, &size);
    if (m_result == ERROR_MORE_DATA) {
        size = size * 2 + 1;
        m_heap = new (std::nothrow) wchar_t[size];
        if (!m_heap) {
            m_result = ERROR_NOT_ENOUGH_MEMORY;
            return;
        }
        m_result = MsiFormatRecordW(session, record, m_heap, &size);
        if (m_result != ERROR_SUCCESS) {
            delete[] m_heap;
            m_heap = nullptr;
        }
    }
}

FormattedRecord::~FormattedRecord() { delete[] m_heap; }

void CheckInstallerResult(UINT result, const wchar_t* name, const _stringx<>& arg1, const _stringx<>& arg2,
                          int flag)
{
    if (result == ERROR_SUCCESS)
        return;
    HRESULT hr = static_cast<HRESULT>(result);
    if (hr > 0)
        hr = static_cast<HRESULT>((result & 0xFFFF) | 0x80070000);
    if (hr >= 0)
        hr = E_UNEXPECTED;

    _stringx<> base;
    qv::msi_handle error(MsiGetLastErrorRecord());
    if (!error) {
        LPWSTR message = nullptr;
        const DWORD length = FormatMessageW(kSystemMessageFlags, nullptr, static_cast<DWORD>(hr), 0,
                                            reinterpret_cast<LPWSTR>(&message), 0, nullptr);
        if (length && message)
            base.assign(message, length);
        if (message)
            LocalFree(message);
    } else {
        if (MsiRecordIsNull(error, 0)) {
            CheckInstallerResult(
                MsiRecordSetStringW(error, 0, L"Windows Installer Error [1]: [2]{, [3]}{, [4]}{, [5]}\n"),
                L"MsiRecordSetString");
        }
        wchar_t text[kErrorTextCapacity];
        text[0] = L'\0';
        DWORD size = kErrorTextCapacity;
        MsiFormatRecordW(0, error, text, &size);
        text[kErrorTextCapacity - 1] = L'\0';
        base = text;
    }
    error.reset();

    const wchar_t* safeName = name ? name : L"";
    _stringx<> composed;
    if (arg1.empty())
        qv::FormatString(composed, L"%s%s()", base, safeName);
    else if (arg2.empty())
        qv::FormatString(composed, L"%s%s(%s)", base, safeName, arg1);
    else
        qv::FormatString(composed, L"%s%s(%s, %s)", base, safeName, arg1, arg2);

    ComRelease<ICreateErrorInfo> create;
    HRESULT step = CreateErrorInfo(&create.p);
    if (FAILED(step))
        throw com_exception(step);
    step = create.p->SetDescription(composed.data());
    if (FAILED(step))
        throw com_exception(step);
    ComRelease<IErrorInfo> info;
    step = create.p->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info.p));
    if (FAILED(step))
        throw com_exception(step);
    step = SetErrorInfo(0, info.p);
    if (FAILED(step))
        throw com_exception(step);

    if (flag == 1)
        throw com_exception(kFlaggedFailure);
    if (hr < 0)
        throw com_exception(hr);
}

_stringx<> RecordFieldString(MSIHANDLE record, UINT field)
{
    RecordString text(record, field);
    CheckInstallerResult(text.Result(), L"MsiRecordGetString");
    return _stringx<>(text.Text());
}

void OpenViewText(MSIHANDLE& view, MSIHANDLE database, const wchar_t* query)
{
    if (view) {
        MsiCloseHandle(view);
        view = 0;
    }
    CheckInstallerResult(MsiDatabaseOpenViewW(database, query, &view), L"MsiOpenDatabaseView");
    CheckInstallerResult(MsiViewExecute(view, 0), L"MsiViewExecute");
}

UINT TryFetchFirstText(MSIHANDLE& view, MSIHANDLE database, MSIHANDLE& record, const wchar_t* query) noexcept
{
    if (view) {
        MsiCloseHandle(view);
        view = 0;
    }
    if (record) {
        MsiCloseHandle(record);
        record = 0;
    }
    UINT result = MsiDatabaseOpenViewW(database, query, &view);
    if (result != ERROR_SUCCESS)
        return result;
    result = MsiViewExecute(view, 0);
    if (result != ERROR_SUCCESS)
        return result;
    return MsiViewFetch(view, &record);
}

UINT FetchFirstText(MSIHANDLE& view, MSIHANDLE database, MSIHANDLE& record, const wchar_t* query)
{
    if (record) {
        MsiCloseHandle(record);
        record = 0;
    }
    OpenViewText(view, database, query);
    const UINT result = MsiViewFetch(view, &record);
    if (result != ERROR_SUCCESS && result != ERROR_NO_MORE_ITEMS)
        CheckInstallerResult(result, L"MsiViewFetch");
    return result;
}

bool TablePresent(MSIHANDLE database, const wchar_t* table) noexcept
{
    const MSICONDITION state = MsiDatabaseIsTablePersistentW(database, table);
    return state == MSICONDITION_FALSE || state == MSICONDITION_TRUE;
}

bool TableEmptyOrAbsent(MSIHANDLE database, const wchar_t* table)
{
    if (!TablePresent(database, table))
        return true;
    qv::msi_handle view;
    qv::msi_handle record;
    return FetchFirst(view.ref(), database, record.ref(), L"SELECT * FROM `%s`", table) != ERROR_SUCCESS;
}

bool PropertyRowExists(MSIHANDLE database, const wchar_t* name) noexcept
{
    if (!TablePresent(database, L"Property"))
        return false;
    qv::msi_handle view;
    qv::msi_handle record;
    return TryFetchFirst(view.ref(), database, record.ref(), L"SELECT * FROM `%s` WHERE `%s` = '%s'", L"Property",
                         L"Property", name) == ERROR_SUCCESS;
}
