// qv::file: one file object for a local path or a URL. A path that begins
// with "http://" or "https://" (any case) goes to qv::http_file, any other
// through the file system. Copies share the open handle; the real close runs
// when the last copy closes.
//
// Failures of Read, Write, Seek, SetTime and Close are thrown by pointer:
// qv::file_exception* for a local file, qv::internet_file_exception* for a
// remote one. The catcher deletes the exception.
#pragma once

#include <cstdint>

#include "foundation/stringx.h"
#include "platform/platform.h"

namespace qv {

class win32_exception {
public:
    explicit win32_exception(DWORD error) : m_error(error) {}
    virtual ~win32_exception() = default;
    DWORD Error() const noexcept { return m_error; }
    // The system text of the error, or "Error <n>" when there is none.
    virtual _stringx<> Text() const;

private:
    DWORD m_error;
};

class file_exception : public virtual win32_exception {
public:
    file_exception(DWORD error, const _stringx<>& path) : win32_exception(error), m_path(path) {}
    const _stringx<>& Path() const noexcept { return m_path; }
    _stringx<> Text() const override;

private:
    _stringx<> m_path;
};

class internet_exception : public virtual win32_exception {
public:
    explicit internet_exception(DWORD error) : win32_exception(error) {}
};

class internet_file_exception : public internet_exception, public file_exception {
public:
    internet_file_exception(DWORD error, const _stringx<>& path)
        : win32_exception(error), internet_exception(error), file_exception(error, path)
    {
    }
    _stringx<> Text() const override { return file_exception::Text(); }
};

// The network branch. Its back end is per system: on POSIX Open fails and the
// other operations are never reached.
class http_file {
public:
    http_file();
    virtual ~http_file();
    http_file(const http_file&) = delete;
    http_file& operator=(const http_file&) = delete;

    // 0, or the error code of the failed open.
    DWORD Open(const _stringx<>& url, uint32_t notifyWindow);
    // Count read, or -1 with the last error set.
    long Read(void* buffer, DWORD count);
    long Seek(long offset, int origin);
    long GetSize();
    void Close();

private:
    struct State;
    State* m_state = nullptr;
};

class file {
public:
    file() = default;
    file(const file& other);
    file& operator=(const file& other);
    virtual ~file();

    // 0, or the last error of the failed open.
    DWORD Open(const _stringx<>& path, DWORD access, DWORD shareMode, DWORD attributes, DWORD disposition,
               DWORD flags1 = 0, DWORD flags2 = 0);
    // Count read; a count of (DWORD)-1 reads nothing.
    DWORD Read(void* buffer, DWORD count);
    DWORD Write(const void* buffer, DWORD count);
    // Origin 0 start, 1 current, 2 end; returns the new position.
    long Seek(long offset, int origin);
    DWORD GetSize();
    void SetTime(const FILETIME* creation, const FILETIME* access, const FILETIME* write);
    void Close();

    bool IsOpen() const noexcept { return m_remote || m_handle != INVALID_HANDLE_VALUE; }
    // The system's handle of a local file; INVALID_HANDLE_VALUE otherwise.
    HANDLE Handle() const noexcept { return m_remote ? INVALID_HANDLE_VALUE : m_handle; }
    const _stringx<>& Path() const noexcept { return m_path; }
    UINT EncodingPage() const noexcept { return m_encodingPage; }
    bool HasByteOrderMark() const noexcept { return m_hasByteOrderMark; }

private:
    void Release() noexcept;
    [[noreturn]] void Fail(DWORD error) const;
    void TestByteOrderMark();

    http_file* m_remote = nullptr;
    HANDLE m_handle = INVALID_HANDLE_VALUE;
    _stringx<> m_path;
    LONG* m_shareCount = nullptr;
    uint32_t m_notifyWindow = 0;
    UINT m_encodingPage = 0;
    bool m_hasByteOrderMark = false;
};

// True when the path starts with "http://" or "https://", ignoring case.
bool IsRemotePath(const _stringx<>& path) noexcept;

}  // namespace qv
