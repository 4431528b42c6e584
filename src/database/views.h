// Views, records and installer errors: the small set of free functions
// through which all reading of the package goes. A failed installer call
// becomes a com_exception whose description names the call (see
// CheckInstallerResult); TryFetchFirst alone returns the code instead.
//
// Query functions take a printf-style format (%s is a wide text) and typed
// arguments. The query is formatted into a buffer of 2048 characters and cut
// there; values go into the text as they are, with no quoting.
#pragma once

#include <utility>

#include "database/com_exception.h"
#include "foundation/format.h"
#include "foundation/stringx.h"
#include "platform/platform.h"

namespace qv {

// Owns one MSIHANDLE and closes it on the way out.
class msi_handle {
public:
    msi_handle() noexcept = default;
    explicit msi_handle(MSIHANDLE handle) noexcept : m_handle(handle) {}
    msi_handle(const msi_handle&) = delete;
    msi_handle& operator=(const msi_handle&) = delete;
    msi_handle(msi_handle&& other) noexcept : m_handle(std::exchange(other.m_handle, 0)) {}
    msi_handle& operator=(msi_handle&& other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.m_handle, 0));
        return *this;
    }
    ~msi_handle() { reset(); }

    void reset(MSIHANDLE handle = 0) noexcept
    {
        if (m_handle)
            MsiCloseHandle(m_handle);
        m_handle = handle;
    }
    MSIHANDLE get() const noexcept { return m_handle; }
    MSIHANDLE& ref() noexcept { return m_handle; }  // for functions that replace the handle
    operator MSIHANDLE() const noexcept { return m_handle; }  // NOLINT

private:
    MSIHANDLE m_handle = 0;
};

constexpr size_t kQueryCapacity = 2048;

template <class... A>
void FormatQuery(wchar_t (&query)[kQueryCapacity], const wchar_t* format, const A&... args)
{
    if constexpr (sizeof...(A) == 0) {
        FormatInto(query, kQueryCapacity, format, nullptr, 0);
    } else {
        const FormatArg list[] = {MakeFormatArg(args)...};
        FormatInto(query, kQueryCapacity, format, list, sizeof...(A));
    }
}

}  // namespace qv

// Reads one string field. Normally no allocation: the text lands in an
// inline buffer of 2048 characters; a longer field takes a heap buffer sized
// from MsiRecordDataSize. After a failed read Text() is null.
class RecordString {
public:
    static constexpr DWORD kInlineCapacity = 2048;

    RecordString() noexcept { m_inline[0] = L'\0'; }
    RecordString(MSIHANDLE record, UINT field) noexcept
    {
        m_inline[0] = L'\0';
        Read(record, field);
    }
    RecordString(const RecordString&) = delete;
    RecordString& operator=(const RecordString&) = delete;
    ~RecordString() { Release(); }

    UINT Read(MSIHANDLE record, UINT field) noexcept;

    const wchar_t* Text() const noexcept
    {
        if (m_result != ERROR_SUCCESS)
            return nullptr;
        return m_heap ? m_heap : m_inline;
    }
    UINT Result() const noexcept { return m_result; }
    bool OnHeap() const noexcept { return m_heap != nullptr; }

private:
    void Release() noexcept;

    wchar_t m_inline[kInlineCapacity];
    wchar_t* m_heap = nullptr;
    UINT m_result = ERROR_SUCCESS;
};

// The installer's formatting of a text: the text goes in field 1 of a fresh
// record (field 0 stays null) and the record is formatted against the
// session (or 0). Same buffer rules as RecordString.
class FormattedRecord {
public:
    static constexpr DWORD kInlineCapacity = 2048;

    FormattedRecord(MSIHANDLE session, const wchar_t* text) noexcept;
    FormattedRecord(const FormattedRecord&) = delete;
    FormattedRecord& operator=(const FormattedRecord&) = delete;
    ~FormattedRecord();

    const wchar_t* Text() const noexcept
    {
        if (m_result != ERROR_SUCCESS)
            return nullptr;
        return m_heap ? m_heap : m_inline;
    }
    UINT Result() const noexcept { return m_result; }

private:
    wchar_t m_inline[kInlineCapacity];
    wchar_t* m_heap = nullptr;
    UINT m_result = ERROR_SUCCESS;
};

// The error path of every installer call: returns when result is 0, else
// composes "<installer error text><name>(<arg1>, <arg2>)", puts it in the
// thread's error object and throws com_exception.
void CheckInstallerResult(UINT result, const wchar_t* name, const _stringx<>& arg1 = _stringx<>(),
                          const _stringx<>& arg2 = _stringx<>(), int flag = 0);

// Text of one field; a failed read throws with the name "MsiRecordGetString".
_stringx<> RecordFieldString(MSIHANDLE record, UINT field);

// Open and execute a ready query text; throws. Earlier handle in view is closed.
void OpenViewText(MSIHANDLE& view, MSIHANDLE database, const wchar_t* query);
// Open, execute, fetch one row; never throws; the first non-zero result, else 0.
UINT TryFetchFirstText(MSIHANDLE& view, MSIHANDLE database, MSIHANDLE& record, const wchar_t* query) noexcept;
// As TryFetchFirstText but throws on any failure other than ERROR_NO_MORE_ITEMS.
UINT FetchFirstText(MSIHANDLE& view, MSIHANDLE database, MSIHANDLE& record, const wchar_t* query);

template <class... A>
void OpenView(MSIHANDLE& view, MSIHANDLE database, const wchar_t* format, const A&... args)
{
    wchar_t query[qv::kQueryCapacity];
    qv::FormatQuery(query, format, args...);
    OpenViewText(view, database, query);
}

template <class... A>
UINT TryFetchFirst(MSIHANDLE& view, MSIHANDLE database, MSIHANDLE& record, const wchar_t* format,
                   const A&... args) noexcept
{
    wchar_t query[qv::kQueryCapacity];
    qv::FormatQuery(query, format, args...);
    return TryFetchFirstText(view, database, record, query);
}

template <class... A>
UINT FetchFirst(MSIHANDLE& view, MSIHANDLE database, MSIHANDLE& record, const wchar_t* format, const A&... args)
{
    wchar_t query[qv::kQueryCapacity];
    qv::FormatQuery(query, format, args...);
    return FetchFirstText(view, database, record, query);
}

// Result 0 (temporary) or 1 (persistent) of MsiDatabaseIsTablePersistentW.
bool TablePresent(MSIHANDLE database, const wchar_t* table) noexcept;
inline bool TablePresent(MSIHANDLE database, const _stringx<>& table) noexcept
{
    return TablePresent(database, table.c_str());
}

// True when the table is absent or yields no row; a failed query throws.
bool TableEmptyOrAbsent(MSIHANDLE database, const wchar_t* table);

// True when the Property table is present and holds a row of that name.
bool PropertyRowExists(MSIHANDLE database, const wchar_t* name) noexcept;

// The one fetch loop: every row of an executed view goes to row(record);
// the record is closed before the next fetch, and the view and record are
// closed on the way out. A fetch failure other than ERROR_NO_MORE_ITEMS
// throws with "MsiViewFetch".
template <class F>
void FetchRows(qv::msi_handle& view, F&& row)
{
    qv::msi_handle record;
    struct CloseView {
        qv::msi_handle& view;
        ~CloseView() { view.reset(); }
    } closeView{view};
    for (;;) {
        record.reset();
        const UINT result = MsiViewFetch(view, &record.ref());
        if (result == ERROR_SUCCESS) {
            row(record.get());
            continue;
        }
        if (result == ERROR_NO_MORE_ITEMS)
            return;
        CheckInstallerResult(result, L"MsiViewFetch");
    }
}

// Opens the query and runs the fetch loop over it.
template <class F, class... A>
void ForEachRow(MSIHANDLE database, F&& row, const wchar_t* format, const A&... args)
{
    qv::msi_handle view;
    OpenView(view.ref(), database, format, args...);
    FetchRows(view, std::forward<F>(row));
}
