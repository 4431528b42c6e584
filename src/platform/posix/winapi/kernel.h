// The kernel and user services the library uses, under their Windows names
// and signatures, implemented over POSIX (library qv_kernel).
//
// Paths arrive in Windows form. Z:\ is the POSIX root; any other drive letter
// lives in a private per-process scratch folder. Path components are matched
// against existing entries without regard to case, as Windows does (see
// kernel/paths.h). Every function sets the thread's last error on failure with
// the Windows code for the cause.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "types.h"

typedef size_t SIZE_T;
typedef intptr_t LONG_PTR;
typedef BOOL* LPBOOL;
typedef void* HLOCAL;
typedef WORD* LPWORD;

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};
typedef LARGE_INTEGER* PLARGE_INTEGER;

// Accepted and ignored: POSIX files carry no Windows security descriptor.
struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
typedef SECURITY_ATTRIBUTES* LPSECURITY_ATTRIBUTES;

// Only synchronous I/O is supported: pass a null OVERLAPPED.
struct OVERLAPPED {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;
};
typedef OVERLAPPED* LPOVERLAPPED;

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];
    WCHAR cAlternateFileName[14];
};
typedef WIN32_FIND_DATAW* LPWIN32_FIND_DATAW;
typedef WIN32_FIND_DATAW* PWIN32_FIND_DATAW;

// Result codes used by the kernel functions beyond those in types.h.
constexpr UINT ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr UINT ERROR_NOT_SAME_DEVICE = 17;
constexpr UINT ERROR_SHARING_VIOLATION = 32;
constexpr UINT ERROR_BUFFER_OVERFLOW = 111;
constexpr UINT ERROR_DISK_FULL = 112;
constexpr UINT ERROR_MOD_NOT_FOUND = 126;
constexpr UINT ERROR_NEGATIVE_SEEK = 131;
constexpr UINT ERROR_DIR_NOT_EMPTY = 145;
constexpr UINT ERROR_BUSY = 170;
constexpr UINT ERROR_FILENAME_EXCED_RANGE = 206;
constexpr UINT ERROR_MR_MID_NOT_FOUND = 317;
constexpr UINT ERROR_INVALID_ADDRESS = 487;
constexpr UINT ERROR_INVALID_FLAGS = 1004;
constexpr UINT ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr UINT ERROR_USER_MAPPED_FILE = 1224;
constexpr UINT ERROR_MAPPED_ALIGNMENT = 1132;

// Access rights.
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD GENERIC_EXECUTE = 0x20000000;
constexpr DWORD GENERIC_ALL = 0x10000000;

// Share modes.
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD FILE_SHARE_WRITE = 0x2;
constexpr DWORD FILE_SHARE_DELETE = 0x4;

// Creation dispositions.
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD TRUNCATE_EXISTING = 5;

// File attributes. On POSIX the read-only bit is the owner's write
// permission; the other bits are kept by the process for the files it set
// them on. A regular file otherwise reads as ARCHIVE, a folder as DIRECTORY.
constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x4;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_ATTRIBUTE_TEMPORARY = 0x100;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

// Flags accepted by CreateFileW. FILE_FLAG_BACKUP_SEMANTICS allows opening a
// folder; FILE_FLAG_DELETE_ON_CLOSE deletes the file when the handle closes.
constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;
constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;
constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000;
constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

// Seek origins.
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;

// MoveFileExW flags.
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 0x1;
constexpr DWORD MOVEFILE_COPY_ALLOWED = 0x2;
constexpr DWORD MOVEFILE_WRITE_THROUGH = 0x8;

// File mapping.
constexpr DWORD PAGE_READONLY = 0x02;
constexpr DWORD PAGE_READWRITE = 0x04;
constexpr DWORD PAGE_WRITECOPY = 0x08;
constexpr DWORD FILE_MAP_COPY = 0x1;
constexpr DWORD FILE_MAP_WRITE = 0x2;
constexpr DWORD FILE_MAP_READ = 0x4;
constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;

// FormatMessageW. Only FORMAT_MESSAGE_FROM_SYSTEM is a supported source.
constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;
constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x00002000;
constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x000000FF;

// Local memory.
constexpr UINT LMEM_FIXED = 0x0000;
constexpr UINT LMEM_ZEROINIT = 0x0040;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

// Code pages. CP_ACP is 1252 and CP_OEMCP 437, as on the reference machine.
constexpr UINT CP_ACP = 0;
constexpr UINT CP_OEMCP = 1;
constexpr UINT CP_MACCP = 2;
constexpr UINT CP_THREAD_ACP = 3;
constexpr UINT CP_UTF7 = 65000;
constexpr UINT CP_UTF8 = 65001;
constexpr DWORD MB_PRECOMPOSED = 0x1;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

// Last error, per thread.
DWORD GetLastError();
void SetLastError(DWORD dwErrCode);

// Files.
HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, LPDWORD lpNumberOfBytesRead,
              LPOVERLAPPED lpOverlapped);
BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite, LPDWORD lpNumberOfBytesWritten,
               LPOVERLAPPED lpOverlapped);
DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, LONG* lpDistanceToMoveHigh, DWORD dwMoveMethod);
BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove, PLARGE_INTEGER lpNewFilePointer,
                      DWORD dwMoveMethod);
BOOL SetEndOfFile(HANDLE hFile);
BOOL FlushFileBuffers(HANDLE hFile);
DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh);
BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize);
// The creation time is not kept on POSIX: it reads as the last write time and
// setting it is accepted and has no effect.
BOOL SetFileTime(HANDLE hFile, const FILETIME* lpCreationTime, const FILETIME* lpLastAccessTime,
                 const FILETIME* lpLastWriteTime);
BOOL GetFileTime(HANDLE hFile, LPFILETIME lpCreationTime, LPFILETIME lpLastAccessTime,
                 LPFILETIME lpLastWriteTime);
BOOL CloseHandle(HANDLE hObject);

DWORD GetFileAttributesW(LPCWSTR lpFileName);
BOOL SetFileAttributesW(LPCWSTR lpFileName, DWORD dwFileAttributes);
BOOL DeleteFileW(LPCWSTR lpFileName);
BOOL MoveFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName);
BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags);
BOOL CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists);
BOOL CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes);
BOOL RemoveDirectoryW(LPCWSTR lpPathName);

// The temporary folder is a private folder of this process, in Windows form
// with a closing backslash. GetTempFileNameW makes "<prefix><hex>.TMP".
DWORD GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer);
UINT GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique, LPWSTR lpTempFileName);

// Search with the Windows wildcards * and ? in the last component.
HANDLE FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData);
BOOL FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData);
BOOL FindClose(HANDLE hFindFile);

// File mapping. Views are aligned on 64 KiB, as on Windows.
HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                          DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName);
LPVOID MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                     DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap);
BOOL UnmapViewOfFile(LPCVOID lpBaseAddress);

// File times. The reference machine's local time is UTC.
BOOL DosDateTimeToFileTime(WORD wFatDate, WORD wFatTime, LPFILETIME lpFileTime);
BOOL LocalFileTimeToFileTime(const FILETIME* lpLocalFileTime, LPFILETIME lpFileTime);
BOOL FileTimeToLocalFileTime(const FILETIME* lpFileTime, LPFILETIME lpLocalFileTime);
void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime);

// System message texts for the codes in use, each ending with "\r\n".
// Unknown codes give 0 and ERROR_MR_MID_NOT_FOUND.
DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPWSTR lpBuffer,
                     DWORD nSize, va_list* Arguments);
HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes);
HLOCAL LocalFree(HLOCAL hMem);

// Code pages: CP_ACP (1252), CP_OEMCP (437), CP_UTF8 and any code page that
// iconv knows as "CP<n>". No best-fit mapping: a character missing from the
// code page becomes the default character.
BOOL IsValidCodePage(UINT CodePage);
int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar);
int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);

// Simple Unicode case mapping. A pointer value below 0x10000 is a single
// character, converted and returned in the low word, as on Windows.
LPWSTR CharUpperW(LPWSTR lpsz);
LPWSTR CharLowerW(LPWSTR lpsz);
DWORD CharUpperBuffW(LPWSTR lpsz, DWORD cchLength);
DWORD CharLowerBuffW(LPWSTR lpsz, DWORD cchLength);

// Comparisons give -1, 0 or 1. lstrcmpW orders without regard to case first
// and puts lower case first among texts equal but for case. The narrow forms
// read their text in code page 1252. A null pointer counts as before any text.
int lstrcmpW(LPCWSTR lpString1, LPCWSTR lpString2);
int lstrcmpiW(LPCWSTR lpString1, LPCWSTR lpString2);
int lstrcmpA(LPCSTR lpString1, LPCSTR lpString2);
int lstrcmpiA(LPCSTR lpString1, LPCSTR lpString2);
int lstrlenW(LPCWSTR lpString);
int lstrlenA(LPCSTR lpString);
LPWSTR lstrcpyW(LPWSTR lpString1, LPCWSTR lpString2);
LPSTR lstrcpyA(LPSTR lpString1, LPCSTR lpString2);

// Modules. GetModuleHandleW(nullptr) is the process; other names are not
// found (ERROR_MOD_NOT_FOUND). GetModuleFileNameW gives the executable's
// path in Windows form.
HMODULE GetModuleHandleW(LPCWSTR lpModuleName);
DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);

// String resources. A module's string table is registered once at load;
// the entries and their texts must outlive every LoadStringW call.
// LoadStringW copies at most cchBufferMax - 1 characters and terminates,
// returning the count copied, or 0 when the id is absent. With cchBufferMax
// 0 it stores a read-only pointer to the text in *lpBuffer and returns the
// text's length. A null module means the process module.
struct QvStringResource {
    UINT id;
    const wchar_t* text;
};
void QvRegisterStringTable(HMODULE module, const QvStringResource* entries, size_t count);
int LoadStringW(HINSTANCE hInstance, UINT uID, LPWSTR lpBuffer, int cchBufferMax);

// Process and time.
DWORD GetTickCount();
DWORD GetCurrentProcessId();
void Sleep(DWORD dwMilliseconds);

inline LONG InterlockedIncrement(LONG volatile* Addend) {
    return __atomic_add_fetch(Addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedDecrement(LONG volatile* Addend) {
    return __atomic_sub_fetch(Addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchange(LONG volatile* Target, LONG Value) {
    return __atomic_exchange_n(Target, Value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedCompareExchange(LONG volatile* Destination, LONG Exchange, LONG Comparand) {
    __atomic_compare_exchange_n(Destination, &Comparand, Exchange, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    return Comparand;
}
