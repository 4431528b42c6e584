// Basic Windows types, result codes and constants for the POSIX build.
// Sizes follow the 32-bit Windows ABI where the library's logic depends on
// them (DWORD, UINT, LONG, HRESULT, MSIHANDLE are 32 bits). Wide text is
// wchar_t; on POSIX a wchar_t holds one code point.
#pragma once

#include <cstddef>
#include <cstdint>

typedef uint32_t DWORD;
typedef uint32_t UINT;
typedef int32_t INT;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int32_t BOOL;
typedef uint16_t WORD;
typedef uint8_t BYTE;
typedef int32_t HRESULT;
typedef wchar_t WCHAR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef DWORD* LPDWORD;
typedef UINT* PUINT;
typedef INT* LPINT;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef void* HANDLE;
typedef void* HMODULE;
typedef void* HINSTANCE;
typedef uint64_t ULONGLONG;
typedef int64_t LONGLONG;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef uint32_t MSIHANDLE;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define WINAPI
#define STDMETHODCALLTYPE

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
typedef FILETIME* LPFILETIME;

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
typedef GUID IID;
typedef GUID CLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;

// Win32 result codes in use.
constexpr UINT ERROR_SUCCESS = 0;
constexpr UINT NO_ERROR = 0;
constexpr UINT ERROR_INVALID_FUNCTION = 1;
constexpr UINT ERROR_FILE_NOT_FOUND = 2;
constexpr UINT ERROR_PATH_NOT_FOUND = 3;
constexpr UINT ERROR_ACCESS_DENIED = 5;
constexpr UINT ERROR_INVALID_HANDLE = 6;
constexpr UINT ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr UINT ERROR_BAD_FORMAT = 11;
constexpr UINT ERROR_INVALID_DATA = 13;
constexpr UINT ERROR_OUTOFMEMORY = 14;
constexpr UINT ERROR_NO_MORE_FILES = 18;
constexpr UINT ERROR_WRITE_FAULT = 29;
constexpr UINT ERROR_READ_FAULT = 30;
constexpr UINT ERROR_GEN_FAILURE = 31;
constexpr UINT ERROR_HANDLE_EOF = 38;
constexpr UINT ERROR_NOT_SUPPORTED = 50;
constexpr UINT ERROR_FILE_EXISTS = 80;
constexpr UINT ERROR_INVALID_PARAMETER = 87;
constexpr UINT ERROR_OPEN_FAILED = 110;
constexpr UINT ERROR_CALL_NOT_IMPLEMENTED = 120;
constexpr UINT ERROR_INSUFFICIENT_BUFFER = 122;
constexpr UINT ERROR_INVALID_NAME = 123;
constexpr UINT ERROR_ALREADY_EXISTS = 183;
constexpr UINT ERROR_MORE_DATA = 234;
constexpr UINT ERROR_NO_MORE_ITEMS = 259;
constexpr UINT ERROR_DIRECTORY = 267;
constexpr UINT ERROR_FILE_INVALID = 1006;
constexpr UINT ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
constexpr UINT ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
constexpr UINT ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
constexpr UINT ERROR_INSTALL_FAILURE = 1603;
constexpr UINT ERROR_UNKNOWN_PROPERTY = 1608;
constexpr UINT ERROR_INVALID_HANDLE_STATE = 1609;
constexpr UINT ERROR_BAD_CONFIGURATION = 1610;
constexpr UINT ERROR_BAD_QUERY_SYNTAX = 1615;
constexpr UINT ERROR_INVALID_FIELD = 1616;
constexpr UINT ERROR_INSTALL_PACKAGE_OPEN_FAILED = 1619;
constexpr UINT ERROR_INSTALL_PACKAGE_INVALID = 1620;
constexpr UINT ERROR_FUNCTION_NOT_CALLED = 1626;
constexpr UINT ERROR_FUNCTION_FAILED = 1627;
constexpr UINT ERROR_INVALID_TABLE = 1628;
constexpr UINT ERROR_DATATYPE_MISMATCH = 1629;
constexpr UINT ERROR_UNSUPPORTED_TYPE = 1630;
constexpr UINT ERROR_CREATE_FAILED = 1631;
constexpr UINT ERROR_INVALID_DATATYPE = 1804;

// HRESULT values in use.
constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);
constexpr HRESULT CO_E_CLASSSTRING = static_cast<HRESULT>(0x800401F3);

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#define HRESULT_FROM_WIN32(x) \
    (static_cast<HRESULT>(x) <= 0 ? static_cast<HRESULT>(x) : static_cast<HRESULT>(((x) & 0x0000FFFF) | 0x80070000))

#define MAX_PATH 260
