// Apartments, task memory, ProgIDs and the thread's error object.

#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/winapi/com.h"

namespace {

struct Apartment {
    int entries = 0;
    DWORD model = 0;
};
thread_local Apartment t_apartment;

std::atomic<size_t> g_live_error_objects{0};

// One object serves both interfaces, as the system's error object does.
class ErrorObject final : public IErrorInfo, public ICreateErrorInfo {
public:
    ErrorObject() { ++g_live_error_objects; }
    ErrorObject(const ErrorObject&) = delete;
    ErrorObject& operator=(const ErrorObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IErrorInfo) {
            *ppvObject = static_cast<IErrorInfo*>(this);
        } else if (riid == IID_ICreateErrorInfo) {
            *ppvObject = static_cast<ICreateErrorInfo*>(this);
        } else {
            *ppvObject = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) override {
        if (!pGUID) return E_INVALIDARG;
        *pGUID = guid_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* out) override { return give(source_, out); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* out) override { return give(description_, out); }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* out) override { return give(help_file_, out); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* pdwHelpContext) override {
        if (!pdwHelpContext) return E_INVALIDARG;
        *pdwHelpContext = help_context_;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) override {
        guid_ = rguid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR text) override { return take(source_, text); }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR text) override { return take(description_, text); }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR text) override { return take(help_file_, text); }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD dwHelpContext) override {
        help_context_ = dwHelpContext;
        return S_OK;
    }

private:
    ~ErrorObject() { --g_live_error_objects; }

    static HRESULT give(const std::pair<bool, std::wstring>& text, BSTR* out) {
        if (!out) return E_INVALIDARG;
        // A text never set reads as a null BSTR.
        *out = text.first ? SysAllocStringLen(text.second.data(), static_cast<UINT>(text.second.size())) : nullptr;
        if (text.first && !*out) return E_OUTOFMEMORY;
        return S_OK;
    }
    static HRESULT take(std::pair<bool, std::wstring>& slot, LPOLESTR text) {
        slot.first = text != nullptr;
        slot.second = text ? text : L"";
        return S_OK;
    }

    std::atomic<ULONG> references_{1};
    GUID guid_ = GUID_NULL;
    std::pair<bool, std::wstring> source_, description_, help_file_;
    DWORD help_context_ = 0;
};

// The thread's slot; its reference is released when the thread ends.
struct ErrorSlot {
    IErrorInfo* info = nullptr;
    ~ErrorSlot() {
        if (info) info->Release();
    }
};
thread_local ErrorSlot t_error;

std::mutex g_progids_mutex;
std::vector<std::pair<std::wstring, CLSID>> g_progids;

bool same_ignoring_case(const std::wstring& a, const wchar_t* b) {
    size_t i = 0;
    for (; i < a.size() && b[i]; ++i)
        if (qv::posix::upper_char(a[i]) != qv::posix::upper_char(b[i])) return false;
    return i == a.size() && b[i] == 0;
}

}  // namespace

HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) {
    if (pvReserved) return E_INVALIDARG;
    DWORD model = dwCoInit & COINIT_APARTMENTTHREADED;
    if (t_apartment.entries > 0) {
        if (t_apartment.model != model) return RPC_E_CHANGED_MODE;
        ++t_apartment.entries;
        return S_FALSE;
    }
    t_apartment.entries = 1;
    t_apartment.model = model;
    return S_OK;
}

HRESULT CoInitialize(LPVOID pvReserved) { return CoInitializeEx(pvReserved, COINIT_APARTMENTTHREADED); }

void CoUninitialize() {
    if (t_apartment.entries > 0) --t_apartment.entries;
}

LPVOID CoTaskMemAlloc(SIZE_T cb) { return std::malloc(cb ? cb : 1); }

LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb) { return std::realloc(pv, cb ? cb : 1); }

void CoTaskMemFree(LPVOID pv) { std::free(pv); }

HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo) {
    if (!pperrinfo) return E_INVALIDARG;
    *pperrinfo = new ErrorObject();
    return S_OK;
}

HRESULT SetErrorInfo(ULONG dwReserved, IErrorInfo* perrinfo) {
    if (dwReserved != 0) return E_INVALIDARG;
    if (perrinfo) perrinfo->AddRef();
    IErrorInfo* previous = t_error.info;
    t_error.info = perrinfo;
    if (previous) previous->Release();
    return S_OK;
}

HRESULT GetErrorInfo(ULONG dwReserved, IErrorInfo** pperrinfo) {
    if (dwReserved != 0 || !pperrinfo) return E_INVALIDARG;
    *pperrinfo = t_error.info;
    t_error.info = nullptr;
    return *pperrinfo ? S_OK : S_FALSE;
}

size_t QvLiveErrorInfoCount() { return g_live_error_objects.load(); }

HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, LPCLSID lpclsid) {
    if (!lpszProgID || !lpclsid) return E_INVALIDARG;
    std::lock_guard lock(g_progids_mutex);
    for (const auto& [name, clsid] : g_progids) {
        if (same_ignoring_case(name, lpszProgID)) {
            *lpclsid = clsid;
            return S_OK;
        }
    }
    *lpclsid = GUID_NULL;
    return CO_E_CLASSSTRING;
}

void QvRegisterProgID(LPCOLESTR lpszProgID, REFCLSID clsid) {
    if (!lpszProgID) return;
    std::lock_guard lock(g_progids_mutex);
    for (auto& [name, known] : g_progids) {
        if (same_ignoring_case(name, lpszProgID)) {
            known = clsid;
            return;
        }
    }
    g_progids.emplace_back(lpszProgID, clsid);
}
