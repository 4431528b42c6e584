#include "inspect/temporary.h"

#include "database/com_exception.h"
#include "inspect/file.h"

namespace qv {

_stringx<> GetTempFolder()
{
    wchar_t buffer[MAX_PATH + 1];
    const DWORD length = GetTempPathW(MAX_PATH, buffer);
    if (length == 0 || length > MAX_PATH)
        throw win32_exception(GetLastError());
    _stringx<> folder(buffer, length);
    if (folder.empty() || folder.back() != L'\\')
        folder += L'\\';
    return folder;
}

_stringx<> MakeUniqueTempPath()
{
    const _stringx<> folder = GetTempFolder();
    wchar_t name[MAX_PATH + 1];
    if (GetTempFileNameW(folder.c_str(), L"", 0, name) == 0)
        throw win32_exception(GetLastError());
    DeleteFileW(name);
    return _stringx<>(name);
}

namespace {

[[noreturn]] void ThrowLastError()
{
    const DWORD error = GetLastError();
    HRESULT code = static_cast<HRESULT>(error);
    if (static_cast<LONG>(error) > 0)
        code = static_cast<HRESULT>((error & 0xFFFF) | 0x80070000u);
    throw com_exception(code);
}

void CreateFolderChain(const _stringx<>& path)
{
    // Every folder above the file, from the top down; existing ones fail
    // harmlessly.
    for (size_t pos = path.find(L'\\', 3); pos != _stringx<>::npos; pos = path.find(L'\\', pos + 1))
        CreateDirectoryW(path.substr(0, pos).c_str(), nullptr);
}

}  // namespace

void WriteStreamToFile(MSIHANDLE record, UINT field, const _stringx<>& path)
{
    CreateFolderChain(path);
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        ThrowLastError();
    struct Closer {
        HANDLE handle;
        ~Closer() { CloseHandle(handle); }
    } closer{file};
    char piece[260];
    for (;;) {
        DWORD size = sizeof piece;
        if (MsiRecordReadStream(record, field, piece, &size) != ERROR_SUCCESS || size == 0)
            break;
        DWORD written = 0;
        if (!WriteFile(file, piece, size, &written, nullptr))
            ThrowLastError();
        if (written != size) {
            SetLastError(ERROR_WRITE_FAULT);
            ThrowLastError();
        }
    }
}

}  // namespace qv

TemporaryPath::~TemporaryPath()
{
    if (m_path.empty())
        return;
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(m_path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    const DWORD attributes = GetFileAttributesW(m_path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY))
        SetFileAttributesW(m_path.c_str(), attributes & ~FILE_ATTRIBUTE_READONLY);
    DeleteFileW(m_path.c_str());
    FindClose(search);
}
