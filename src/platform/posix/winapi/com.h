// The COM and OLE automation subset the library uses, under their Windows
// names, implemented over POSIX (library qv_kernel): apartment entry, BSTR
// memory, task memory and the thread's error object.
#pragma once

#include <cstddef>

#include "kernel.h"
#include "types.h"

typedef WCHAR OLECHAR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;
typedef OLECHAR* BSTR;
typedef CLSID* LPCLSID;

constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);

inline bool operator==(const GUID& a, const GUID& b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i]) return false;
    return true;
}
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }
inline BOOL IsEqualGUID(REFGUID a, REFGUID b) { return a == b ? TRUE : FALSE; }
inline BOOL IsEqualIID(REFIID a, REFIID b) { return a == b ? TRUE : FALSE; }
inline BOOL IsEqualCLSID(REFCLSID a, REFCLSID b) { return a == b ? TRUE : FALSE; }

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IErrorInfo = {0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ICreateErrorInfo = {0x22F03340, 0x547D, 0x101B,
                                             {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

// BSTR: a length-prefixed, terminated wide text. The 32-bit byte length
// stands just before the first character, as on Windows; a character is a
// wchar_t here, so SysStringByteLen is SysStringLen * sizeof(wchar_t).
// A null BSTR is the empty text.
BSTR SysAllocString(const OLECHAR* psz);
BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
BSTR SysAllocStringByteLen(LPCSTR psz, UINT len);
INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz);
INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len);
void SysFreeString(BSTR bstrString);
UINT SysStringLen(BSTR pbstr);
UINT SysStringByteLen(BSTR bstr);
// Number of BSTRs allocated and not yet freed in this process.
size_t QvLiveBstrCount();

// Apartments, per thread. The first entry gives S_OK, later ones S_FALSE,
// a different model RPC_E_CHANGED_MODE; each success needs one CoUninitialize.
constexpr DWORD COINIT_MULTITHREADED = 0x0;
constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
constexpr DWORD COINIT_DISABLE_OLE1DDE = 0x4;
constexpr DWORD COINIT_SPEED_OVER_MEMORY = 0x8;
HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
HRESULT CoInitialize(LPVOID pvReserved);
void CoUninitialize();

LPVOID CoTaskMemAlloc(SIZE_T cb);
LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb);
void CoTaskMemFree(LPVOID pv);

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};

struct IErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* pBstrSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* pBstrDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* pBstrHelpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) = 0;

protected:
    ~IErrorInfo() = default;
};

struct ICreateErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR szSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR szDescription) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR szHelpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) = 0;

protected:
    ~ICreateErrorInfo() = default;
};

// The thread's error object. SetErrorInfo keeps a reference (null clears);
// GetErrorInfo hands that reference to the caller and clears the slot, and
// gives S_FALSE with a null pointer when there is none. dwReserved must be 0.
HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo);
HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo);
HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo);
// Number of error objects alive in this process.
size_t QvLiveErrorInfoCount();

// ProgID lookup, without regard to case, in the classes registered with
// QvRegisterProgID; there are none by default. An unknown ProgID gives
// CO_E_CLASSSTRING and a zeroed CLSID.
HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, LPCLSID lpclsid);
void QvRegisterProgID(LPCOLESTR lpszProgID, REFCLSID clsid);
