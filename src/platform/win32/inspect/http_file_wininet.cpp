// The network branch of qv::file on Windows, over WinINet. The checks never
// reach it (the path test before a cabinet copy fails for a URL), so this is
// the plain form: one session per file with the agent "toys::file", requests
// made synchronously, a read retried while WinINet asks for a retry, and a
// seek that reopens the URL with a Range header from the new position.
#include "inspect/file.h"

#include <wininet.h>

#include <string>

namespace qv {

namespace {

constexpr DWORD kOpenFlags = 0x80400100;  // reload, keep connection, no cache
constexpr DWORD kTimeout = 30000;
constexpr int kRetries = 5;
constexpr DWORD kForceRetry = 12032;  // ERROR_INTERNET_FORCE_RETRY

}  // namespace

struct http_file::State {
    HINTERNET session = nullptr;
    HINTERNET request = nullptr;
    std::wstring url;
    long position = 0;

    void CloseRequest()
    {
        if (request)
            InternetCloseHandle(request);
        request = nullptr;
    }

    // Opens the URL at `position`; 0 or the last error.
    DWORD Connect()
    {
        CloseRequest();
        std::wstring headers;
        if (position != 0)
            headers = L"Range: bytes=" + std::to_wstring(position) + L"-\r\n";
        request = InternetOpenUrlW(session, url.c_str(), headers.empty() ? nullptr : headers.c_str(),
                                   headers.empty() ? 0 : static_cast<DWORD>(-1), kOpenFlags, 0);
        return request ? 0 : GetLastError();
    }
};

http_file::http_file() = default;

http_file::~http_file()
{
    Close();
}

DWORD http_file::Open(const _stringx<>& url, uint32_t notifyWindow)
{
    Close();
    m_state = new State();
    m_state->session = InternetOpenW(L"toys::file", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
    if (!m_state->session) {
        const DWORD error = GetLastError();
        Close();
        SetLastError(error);
        return error;
    }
    DWORD timeout = kTimeout;
    InternetSetOptionW(m_state->session, INTERNET_OPTION_CONNECT_TIMEOUT, &timeout, sizeof timeout);
    InternetSetOptionW(m_state->session, INTERNET_OPTION_RECEIVE_TIMEOUT, &timeout, sizeof timeout);

    // Canonical form of the URL, growing the buffer as WinINet asks.
    DWORD size = static_cast<DWORD>(url.length()) * 3 + 16;
    std::wstring canonical(size, L'\0');
    BOOL ok = InternetCanonicalizeUrlW(url.c_str(), canonical.data(), &size, 0x12000000);
    if (!ok && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        canonical.assign(size + 1, L'\0');
        ok = InternetCanonicalizeUrlW(url.c_str(), canonical.data(), &size, 0x12000000);
    }
    m_state->url = ok ? canonical.substr(0, size) : std::wstring(url.c_str());

    const DWORD error = m_state->Connect();
    if (error != 0) {
        Close();
        SetLastError(error);
    }
    return error;
}

long http_file::Read(void* buffer, DWORD count)
{
    if (!m_state || !m_state->request) {
        SetLastError(ERROR_INVALID_HANDLE);
        return -1;
    }
    DWORD total = 0;
    for (int attempt = 0; attempt <= kRetries; ++attempt) {
        DWORD error = 0;
        while (total < count) {
            DWORD got = 0;
            if (!InternetReadFile(m_state->request, static_cast<char*>(buffer) + total, count - total, &got)) {
                error = GetLastError();
                break;
            }
            if (got == 0)
                break;
            total += got;
            m_state->position += static_cast<long>(got);
        }
        if (error == 0)
            return static_cast<long>(total);
        if (error != kForceRetry || m_state->Connect() != 0) {
            SetLastError(error);
            return -1;
        }
    }
    SetLastError(kForceRetry);
    return -1;
}

long http_file::Seek(long offset, int origin)
{
    if (!m_state) {
        SetLastError(ERROR_INVALID_HANDLE);
        return -1;
    }
    long target = offset;
    if (origin == FILE_CURRENT)
        target += m_state->position;
    else if (origin == FILE_END) {
        const long size = GetSize();
        if (size < 0)
            return -1;
        target += size;
    }
    if (target < 0) {
        SetLastError(ERROR_NEGATIVE_SEEK);
        return -1;
    }
    if (target == m_state->position && m_state->request)
        return target;
    m_state->position = target;
    const DWORD error = m_state->Connect();
    if (error != 0) {
        SetLastError(error);
        return -1;
    }
    return target;
}

long http_file::GetSize()
{
    if (!m_state || !m_state->request) {
        SetLastError(ERROR_INVALID_HANDLE);
        return -1;
    }
    DWORD length = 0;
    DWORD size = sizeof length;
    if (!HttpQueryInfoW(m_state->request, HTTP_QUERY_CONTENT_LENGTH | HTTP_QUERY_FLAG_NUMBER, &length, &size,
                        nullptr))
        return -1;
    // After a ranged request the length is that of the rest.
    return static_cast<long>(length) + m_state->position;
}

void http_file::Close()
{
    if (!m_state)
        return;
    m_state->CloseRequest();
    if (m_state->session)
        InternetCloseHandle(m_state->session);
    delete m_state;
    m_state = nullptr;
}

}  // namespace qv
