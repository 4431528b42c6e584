// ClrMetadata on Windows: the runtime's own interfaces, reached through
// mscoree.dll bound at run time (never imported), so that a machine without
// .NET still loads the library.
//
// The COM interfaces are declared here, with only the methods in use named;
// the other slots keep the vtable layout.

#include "inspect/metadata.h"

#include <windows.h>

#include <cwchar>

namespace {

const CLSID kClsidClrMetaHost = {0x9280188D, 0x0E8E, 0x4867, {0xB3, 0x0C, 0x7F, 0xA8, 0x38, 0x84, 0xE8, 0xDE}};
const IID kIidClrMetaHost = {0xD332DB9E, 0xB9B3, 0x4125, {0x82, 0x07, 0xA1, 0x48, 0x84, 0xF5, 0x32, 0x16}};
const IID kIidClrRuntimeInfo = {0xBD39D1D2, 0xBA2F, 0x486A, {0x89, 0xB0, 0xB4, 0xB0, 0xCB, 0x46, 0x68, 0x91}};
const CLSID kClsidMetaDataDispenser = {0xE5CB7A31, 0x7512, 0x11D2, {0x89, 0xCE, 0x00, 0x80, 0xC7, 0x92, 0xE5, 0xD8}};
const IID kIidMetaDataDispenserEx = {0x31BCFCE2, 0xDAFB, 0x11D2, {0x9F, 0x81, 0x00, 0xC0, 0x4F, 0x79, 0xA0, 0xA3}};
const IID kIidMetaDataImport = {0x7DAC8207, 0xD3AE, 0x4C75, {0x9B, 0x67, 0x92, 0x80, 0x1A, 0x49, 0x7D, 0x44}};

constexpr ULONG kAssemblyToken = 0x20000001;
constexpr DWORD kVersionBuffer = 100;
constexpr DWORD kLegacyVersionBuffer = 32;
constexpr ULONG kTypeNameBuffer = 1024;

typedef ULONG MdToken;
typedef void* MdEnum;

struct ClrMetaHost : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetRuntime(LPCWSTR version, REFIID riid, void** runtime) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVersionFromFile(LPCWSTR path, LPWSTR buffer, DWORD* count) = 0;
    // EnumerateInstalledRuntimes, EnumerateLoadedRuntimes,
    // RequestRuntimeLoadedNotification, QueryLegacyV2RuntimeBinding, ExitProcess.
    virtual HRESULT STDMETHODCALLTYPE Unused1() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused2() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused3() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused4() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;
};

struct ClrRuntimeInfo : IUnknown {
    // GetVersionString, GetRuntimeDirectory, IsLoaded, LoadErrorString,
    // LoadLibrary, GetProcAddress.
    virtual HRESULT STDMETHODCALLTYPE Unused1() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused2() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused3() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused4() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterface(REFCLSID clsid, REFIID riid, void** object) = 0;
};

struct MetaDataDispenser : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DefineScope(REFCLSID clsid, DWORD flags, REFIID riid, IUnknown** scope) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenScope(LPCWSTR path, DWORD flags, REFIID riid, IUnknown** scope) = 0;
};

struct MetaDataImport : IUnknown {
    virtual void STDMETHODCALLTYPE CloseEnum(MdEnum handle) = 0;  // slot 1
    virtual HRESULT STDMETHODCALLTYPE Unused2() = 0;              // CountEnum
    virtual HRESULT STDMETHODCALLTYPE Unused3() = 0;              // ResetEnum
    virtual HRESULT STDMETHODCALLTYPE Unused4() = 0;              // EnumTypeDefs
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;              // EnumInterfaceImpls
    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;              // EnumTypeRefs
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;              // FindTypeDefByName
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;              // GetScopeProps
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;              // GetModuleFromScope
    virtual HRESULT STDMETHODCALLTYPE Unused10() = 0;             // GetTypeDefProps
    virtual HRESULT STDMETHODCALLTYPE Unused11() = 0;             // GetInterfaceImplProps
    virtual HRESULT STDMETHODCALLTYPE GetTypeRefProps(MdToken typeRef, MdToken* scope, LPWSTR name, ULONG capacity,
                                                      ULONG* length) = 0;  // slot 12
    virtual HRESULT STDMETHODCALLTYPE Unused13() = 0;  // ResolveTypeRef
    virtual HRESULT STDMETHODCALLTYPE Unused14() = 0;  // EnumMembers
    virtual HRESULT STDMETHODCALLTYPE Unused15() = 0;  // EnumMembersWithName
    virtual HRESULT STDMETHODCALLTYPE Unused16() = 0;  // EnumMethods
    virtual HRESULT STDMETHODCALLTYPE Unused17() = 0;  // EnumMethodsWithName
    virtual HRESULT STDMETHODCALLTYPE Unused18() = 0;  // EnumFields
    virtual HRESULT STDMETHODCALLTYPE Unused19() = 0;  // EnumFieldsWithName
    virtual HRESULT STDMETHODCALLTYPE Unused20() = 0;  // EnumParams
    virtual HRESULT STDMETHODCALLTYPE Unused21() = 0;  // EnumMemberRefs
    virtual HRESULT STDMETHODCALLTYPE Unused22() = 0;  // EnumMethodImpls
    virtual HRESULT STDMETHODCALLTYPE Unused23() = 0;  // EnumPermissionSets
    virtual HRESULT STDMETHODCALLTYPE Unused24() = 0;  // FindMember
    virtual HRESULT STDMETHODCALLTYPE Unused25() = 0;  // FindMethod
    virtual HRESULT STDMETHODCALLTYPE Unused26() = 0;  // FindField
    virtual HRESULT STDMETHODCALLTYPE Unused27() = 0;  // FindMemberRef
    virtual HRESULT STDMETHODCALLTYPE Unused28() = 0;  // GetMethodProps
    virtual HRESULT STDMETHODCALLTYPE GetMemberRefProps(MdToken memberRef, MdToken* parent, LPWSTR name,
                                                        ULONG capacity, ULONG* length, const BYTE** signature,
                                                        ULONG* signatureSize) = 0;  // slot 29
    virtual HRESULT STDMETHODCALLTYPE Unused30() = 0;  // EnumProperties
    virtual HRESULT STDMETHODCALLTYPE Unused31() = 0;  // EnumEvents
    virtual HRESULT STDMETHODCALLTYPE Unused32() = 0;  // GetEventProps
    virtual HRESULT STDMETHODCALLTYPE Unused33() = 0;  // EnumMethodSemantics
    virtual HRESULT STDMETHODCALLTYPE Unused34() = 0;  // GetMethodSemantics
    virtual HRESULT STDMETHODCALLTYPE Unused35() = 0;  // GetClassLayout
    virtual HRESULT STDMETHODCALLTYPE Unused36() = 0;  // GetFieldMarshal
    virtual HRESULT STDMETHODCALLTYPE Unused37() = 0;  // GetRVA
    virtual HRESULT STDMETHODCALLTYPE Unused38() = 0;  // GetPermissionSetProps
    virtual HRESULT STDMETHODCALLTYPE Unused39() = 0;  // GetSigFromToken
    virtual HRESULT STDMETHODCALLTYPE Unused40() = 0;  // GetModuleRefProps
    virtual HRESULT STDMETHODCALLTYPE Unused41() = 0;  // EnumModuleRefs
    virtual HRESULT STDMETHODCALLTYPE Unused42() = 0;  // GetTypeSpecFromToken
    virtual HRESULT STDMETHODCALLTYPE GetNameFromToken(MdToken token, const char** name) = 0;  // slot 43
    virtual HRESULT STDMETHODCALLTYPE Unused44() = 0;  // EnumUnresolvedMethods
    virtual HRESULT STDMETHODCALLTYPE Unused45() = 0;  // GetUserString
    virtual HRESULT STDMETHODCALLTYPE Unused46() = 0;  // GetPinvokeMap
    virtual HRESULT STDMETHODCALLTYPE Unused47() = 0;  // EnumSignatures
    virtual HRESULT STDMETHODCALLTYPE Unused48() = 0;  // EnumTypeSpecs
    virtual HRESULT STDMETHODCALLTYPE Unused49() = 0;  // EnumUserStrings
    virtual HRESULT STDMETHODCALLTYPE Unused50() = 0;  // GetParamForMethodIndex
    virtual HRESULT STDMETHODCALLTYPE EnumCustomAttributes(MdEnum* handle, MdToken scope, MdToken type,
                                                           MdToken* attributes, ULONG capacity,
                                                           ULONG* count) = 0;  // slot 51
    virtual HRESULT STDMETHODCALLTYPE GetCustomAttributeProps(MdToken attribute, MdToken* owner, MdToken* ctor,
                                                              const void** blob, ULONG* blobSize) = 0;  // slot 52
};

typedef HRESULT(STDAPICALLTYPE* ClrCreateInstanceFn)(REFCLSID clsid, REFIID riid, void** object);
typedef HRESULT(STDAPICALLTYPE* GetFileVersionFn)(LPCWSTR path, LPWSTR buffer, DWORD capacity, DWORD* length);

// Releases a COM pointer on every way out.
template <typename T>
class ComRef {
public:
    ComRef() = default;
    ~ComRef()
    {
        if (m_p)
            m_p->Release();
    }
    ComRef(const ComRef&) = delete;
    ComRef& operator=(const ComRef&) = delete;
    T** out() { return &m_p; }
    void** outVoid() { return reinterpret_cast<void**>(&m_p); }
    T* operator->() const { return m_p; }
    T* get() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

private:
    T* m_p = nullptr;
};

class Library {
public:
    Library() : m_module(LoadLibraryW(L"mscoree.dll")) {}
    ~Library()
    {
        if (m_module)
            FreeLibrary(m_module);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    template <typename F>
    F Proc(const char* name) const
    {
        return m_module ? reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(m_module, name))) : nullptr;
    }
    explicit operator bool() const { return m_module != nullptr; }

private:
    HMODULE m_module;
};

// A metadata dispenser: through the runtime that the file names, else the
// registered class.
bool OpenDispenser(const Library& library, const wchar_t* path, ComRef<MetaDataDispenser>& dispenser)
{
    if (auto create = library.Proc<ClrCreateInstanceFn>("CLRCreateInstance")) {
        ComRef<ClrMetaHost> host;
        wchar_t version[kVersionBuffer] = {};
        DWORD count = kVersionBuffer;
        ComRef<ClrRuntimeInfo> runtime;
        if (SUCCEEDED(create(kClsidClrMetaHost, kIidClrMetaHost, host.outVoid())) && host &&
            SUCCEEDED(host->GetVersionFromFile(path, version, &count)) &&
            SUCCEEDED(host->GetRuntime(version, kIidClrRuntimeInfo, runtime.outVoid())) && runtime &&
            SUCCEEDED(runtime->GetInterface(kClsidMetaDataDispenser, kIidMetaDataDispenserEx, dispenser.outVoid())) &&
            dispenser)
            return true;
    }
    return SUCCEEDED(CoCreateInstance(kClsidMetaDataDispenser, nullptr, CLSCTX_INPROC_SERVER, kIidMetaDataDispenserEx,
                                      dispenser.outVoid())) &&
           dispenser;
}

}  // namespace

namespace qv {

_stringx<> ClrMetadata::GetVersionFromFile() const
{
    const Library library;
    if (!library)
        return _stringx<>();
    if (auto create = library.Proc<ClrCreateInstanceFn>("CLRCreateInstance")) {
        ComRef<ClrMetaHost> host;
        wchar_t version[kVersionBuffer] = {};
        DWORD count = kVersionBuffer;
        if (SUCCEEDED(create(kClsidClrMetaHost, kIidClrMetaHost, host.outVoid())) && host &&
            SUCCEEDED(host->GetVersionFromFile(m_path.c_str(), version, &count)))
            return _stringx<>(version);
    }
    if (auto legacy = library.Proc<GetFileVersionFn>("GetFileVersion")) {
        wchar_t version[kLegacyVersionBuffer] = {};
        DWORD length = 0;
        if (SUCCEEDED(legacy(m_path.c_str(), version, kLegacyVersionBuffer, &length)))
            return _stringx<>(version);
    }
    return _stringx<>();
}

bool ClrMetadata::FindAssemblyAttribute(const _stringx<>& typeName, std::vector<uint8_t>& signature,
                                        std::vector<uint8_t>& value) const
{
    const Library library;
    ComRef<MetaDataDispenser> dispenser;
    if (!OpenDispenser(library, m_path.c_str(), dispenser))
        return false;
    ComRef<IUnknown> scope;
    if (FAILED(dispenser->OpenScope(m_path.c_str(), 0, kIidMetaDataImport, scope.out())) || !scope)
        return false;
    MetaDataImport* import = reinterpret_cast<MetaDataImport*>(scope.get());

    static MdToken tokens[kMaxAttributes];
    MdEnum handle = nullptr;
    ULONG count = 0;
    const HRESULT enumerated = import->EnumCustomAttributes(&handle, kAssemblyToken, 0, tokens, kMaxAttributes, &count);
    import->CloseEnum(handle);
    if (FAILED(enumerated))
        return false;
    for (ULONG i = 0; i < count && i < kMaxAttributes; ++i) {
        MdToken owner = 0, ctor = 0, parent = 0, scopeToken = 0;
        const void* blob = nullptr;
        ULONG blobSize = 0;
        const char* ctorName = nullptr;
        const BYTE* ctorSignature = nullptr;
        ULONG signatureSize = 0;
        wchar_t name[kTypeNameBuffer] = {};
        ULONG nameLength = 0;
        if (FAILED(import->GetCustomAttributeProps(tokens[i], &owner, &ctor, &blob, &blobSize)) ||
            FAILED(import->GetNameFromToken(ctor, &ctorName)) ||
            FAILED(import->GetMemberRefProps(ctor, &parent, nullptr, 0, nullptr, &ctorSignature, &signatureSize)) ||
            FAILED(import->GetTypeRefProps(parent, &scopeToken, name, kTypeNameBuffer, &nameLength)))
            continue;
        if (_wcsicmp(name, typeName.c_str()) != 0 || !ctorSignature)
            continue;
        signature.assign(ctorSignature, ctorSignature + signatureSize);
        const BYTE* bytes = static_cast<const BYTE*>(blob);
        value.assign(bytes, bytes + (bytes ? blobSize : 0));
        return true;
    }
    return false;
}

}  // namespace qv
