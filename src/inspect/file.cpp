#include "inspect/file.h"

#include "foundation/format.h"

namespace qv {

_stringx<> win32_exception::Text() const
{
    wchar_t buffer[512];
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, m_error, 0, buffer, 512,
                       nullptr);
    if (length == 0)
        return qv::Format(L"Error %u", static_cast<unsigned>(m_error));
    _stringx<> text(buffer, length);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r'))
        text.erase(text.size() - 1);
    return text;
}

_stringx<> file_exception::Text() const
{
    _stringx<> text = win32_exception::Text();
    text += L" (";
    text += m_path;
    text += L")";
    return text;
}

namespace {

bool StartsWithNoCase(const _stringx<>& text, const wchar_t* prefix) noexcept
{
    size_t i = 0;
    for (; prefix[i]; ++i) {
        if (i >= text.size())
            return false;
        wchar_t c = text[i];
        if (c >= L'A' && c <= L'Z')
            c = static_cast<wchar_t>(c - L'A' + L'a');
        if (c != prefix[i])
            return false;
    }
    return true;
}

}  // namespace

bool IsRemotePath(const _stringx<>& path) noexcept
{
    return StartsWithNoCase(path, L"http://") || StartsWithNoCase(path, L"https://");
}

file::file(const file& other)
    : m_remote(other.m_remote),
      m_handle(other.m_handle),
      m_path(other.m_path),
      m_shareCount(other.m_shareCount),
      m_notifyWindow(other.m_notifyWindow),
      m_encodingPage(other.m_encodingPage),
      m_hasByteOrderMark(other.m_hasByteOrderMark)
{
    if (m_shareCount)
        InterlockedIncrement(m_shareCount);
}

file& file::operator=(const file& other)
{
    if (this != &other) {
        Release();
        m_remote = other.m_remote;
        m_handle = other.m_handle;
        m_path = other.m_path;
        m_shareCount = other.m_shareCount;
        m_notifyWindow = other.m_notifyWindow;
        m_encodingPage = other.m_encodingPage;
        m_hasByteOrderMark = other.m_hasByteOrderMark;
        if (m_shareCount)
            InterlockedIncrement(m_shareCount);
    }
    return *this;
}

file::~file() { Release(); }

// Drops this copy; the last copy closes the handle. Never throws.
void file::Release() noexcept
{
    if (m_shareCount && InterlockedDecrement(m_shareCount) == 0) {
        if (m_handle != INVALID_HANDLE_VALUE)
            CloseHandle(m_handle);
        delete m_remote;
        delete m_shareCount;
    }
    m_shareCount = nullptr;
    m_remote = nullptr;
    m_handle = INVALID_HANDLE_VALUE;
}

void file::Fail(DWORD error) const
{
    if (m_remote)
        throw new internet_file_exception(error, m_path);
    throw new file_exception(error, m_path);
}

DWORD file::Open(const _stringx<>& path, DWORD access, DWORD shareMode, DWORD attributes, DWORD disposition,
                 DWORD flags1, DWORD flags2)
{
    Release();
    m_encodingPage = 0;
    m_hasByteOrderMark = false;
    m_shareCount = new LONG(1);
    m_path = path;
    if (IsRemotePath(path)) {
        m_remote = new http_file();
        const DWORD result = m_remote->Open(path, m_notifyWindow);
        if (result != 0) {
            Release();
            SetLastError(result);
        }
        return result;
    }
    m_handle = CreateFileW(path.c_str(), access, shareMode, nullptr, disposition, attributes, nullptr);
    if (m_handle == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        Release();
        SetLastError(error);
        return error;
    }
    TestByteOrderMark();
    return 0;
}

// Looks at the first two or three bytes of a readable file and returns to
// position 0; a file opened for writing only has no mark to read.
void file::TestByteOrderMark()
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(m_handle, &size) || size.QuadPart <= 1)
        return;
    unsigned char head[3] = {0, 0, 0};
    DWORD got = 0;
    const DWORD want = size.QuadPart > 2 ? 3 : 2;
    if (!ReadFile(m_handle, head, want, &got, nullptr))
        got = 0;
    if (got >= 2 && head[0] == 0xFF && head[1] == 0xFE) {
        m_encodingPage = 1200;
        m_hasByteOrderMark = true;
    } else if (got >= 2 && head[0] == 0xFE && head[1] == 0xFF) {
        m_encodingPage = 1201;
        m_hasByteOrderMark = true;
    } else if (got == 3 && head[0] == 0xEF && head[1] == 0xBB && head[2] == 0xBF) {
        m_encodingPage = 65001;
        m_hasByteOrderMark = true;
    }
    SetFilePointer(m_handle, 0, nullptr, FILE_BEGIN);
}

DWORD file::Read(void* buffer, DWORD count)
{
    if (count == static_cast<DWORD>(-1))
        count = 0;
    if (m_remote) {
        const long got = m_remote->Read(buffer, count);
        if (got < 0)
            Fail(GetLastError());
        return static_cast<DWORD>(got);
    }
    DWORD got = 0;
    if (!ReadFile(m_handle, buffer, count, &got, nullptr))
        Fail(GetLastError());
    return got;
}

DWORD file::Write(const void* buffer, DWORD count)
{
    if (m_remote)
        Fail(ERROR_NOT_SUPPORTED);
    DWORD written = 0;
    if (!WriteFile(m_handle, buffer, count, &written, nullptr))
        Fail(GetLastError());
    return written;
}

long file::Seek(long offset, int origin)
{
    if (m_remote) {
        const long position = m_remote->Seek(offset, origin);
        if (position < 0)
            Fail(GetLastError());
        return position;
    }
    SetLastError(0);
    const DWORD position = SetFilePointer(m_handle, static_cast<LONG>(offset), nullptr, static_cast<DWORD>(origin));
    if (position == INVALID_SET_FILE_POINTER) {
        const DWORD error = GetLastError();
        if (error != 0)
            Fail(error);
    }
    return static_cast<long>(position);
}

DWORD file::GetSize()
{
    if (m_remote) {
        const long size = m_remote->GetSize();
        if (size < 0)
            Fail(GetLastError());
        return static_cast<DWORD>(size);
    }
    return GetFileSize(m_handle, nullptr);
}

void file::SetTime(const FILETIME* creation, const FILETIME* access, const FILETIME* write)
{
    if (m_remote)
        Fail(ERROR_NOT_SUPPORTED);
    if (!SetFileTime(m_handle, creation, access, write))
        Fail(GetLastError());
}

void file::Close()
{
    if (!m_shareCount)
        return;
    if (InterlockedDecrement(m_shareCount) == 0) {
        bool failed = false;
        DWORD error = 0;
        if (m_handle != INVALID_HANDLE_VALUE && !CloseHandle(m_handle)) {
            failed = true;
            error = GetLastError();
        }
        if (m_remote)
            m_remote->Close();
        delete m_remote;
        delete m_shareCount;
        m_remote = nullptr;
        m_shareCount = nullptr;
        m_handle = INVALID_HANDLE_VALUE;
        if (failed)
            throw new file_exception(error, m_path);
        return;
    }
    m_shareCount = nullptr;
    m_remote = nullptr;
    m_handle = INVALID_HANDLE_VALUE;
}

}  // namespace qv
