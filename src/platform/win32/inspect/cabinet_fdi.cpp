// The Windows back end of CabinetEngine: the system's cabinet.dll, bound at
// run time, through its File Decompression Interface (FDICreate, FDICopy,
// FDIDestroy). The engine's file callbacks and notification callback are
// handed to FDI through thin wrappers that keep C++ exceptions out of the
// library's C frames: the first exception is kept, the callback reports an
// error, and Copy throws the exception again once FDICopy has returned.
#include <cstdlib>

#include "inspect/cabinet.h"

namespace qv::mscab::backend {

namespace {

// The callback shapes of the decompression interface (all cdecl).
using AllocFn = void*(__cdecl*)(ULONG);
using FreeFn = void(__cdecl*)(void*);
using OpenFn = INT_PTR(__cdecl*)(char*, int, int);
using ReadFn = UINT(__cdecl*)(INT_PTR, void*, UINT);
using WriteFn = UINT(__cdecl*)(INT_PTR, void*, UINT);
using CloseFn = int(__cdecl*)(INT_PTR);
using SeekFn = long(__cdecl*)(INT_PTR, long, int);
using NotifyFn = INT_PTR(__cdecl*)(int, Notification*);

using FdiCreateFn = void*(__cdecl*)(AllocFn, FreeFn, OpenFn, ReadFn, WriteFn, CloseFn, SeekFn, int,
                                    CabinetEngine::ErrorRecord*);
using FdiCopyFn = BOOL(__cdecl*)(void*, char*, char*, int, NotifyFn, void*, void*);
using FdiDestroyFn = BOOL(__cdecl*)(void*);

constexpr int kCpuUnknown = -1;

struct Context {
    HMODULE library = nullptr;
    FdiCopyFn copy = nullptr;
    FdiDestroyFn destroy = nullptr;
    void* fdi = nullptr;
    // The record FDI writes its errors into; copied to the caller's.
    CabinetEngine::ErrorRecord erf{0, 0, 0};
    uint64_t bytesRead = 0;
    qv::win32_exception* pending = nullptr;  // thrown by a callback inside FDI
};

// FDI's file callbacks carry no user pointer: the context of the call in
// progress stands here. Custom actions run on one thread.
Context* g_active = nullptr;

template <class F, class R>
R Guard(F&& body, R failure) noexcept
{
    try {
        return body();
    } catch (qv::win32_exception* e) {
        if (g_active && !g_active->pending)
            g_active->pending = e;
        else
            delete e;
    } catch (...) {
    }
    return failure;
}

void* __cdecl Alloc(ULONG bytes) { return std::malloc(bytes); }
void __cdecl Free(void* p) { std::free(p); }

INT_PTR __cdecl Open(char* path, int flags, int mode)
{
    return Guard([&] { return CabinetEngine::FileOpen(path, flags, mode); }, INT_PTR(-1));
}

UINT __cdecl Read(INT_PTR handle, void* buffer, UINT count)
{
    if (!handle || handle == -1)
        return UINT(-1);
    const UINT got = Guard([&] { return CabinetEngine::FileRead(handle, buffer, count); }, UINT(-1));
    if (got != UINT(-1) && g_active)
        g_active->bytesRead += got;
    return got;
}

UINT __cdecl Write(INT_PTR handle, void* buffer, UINT count)
{
    if (!handle || handle == -1)
        return UINT(-1);
    return Guard([&] { return CabinetEngine::FileWrite(handle, buffer, count); }, UINT(-1));
}

int __cdecl Close(INT_PTR handle)
{
    if (!handle || handle == -1)
        return -1;
    return Guard([&] { return CabinetEngine::FileClose(handle); }, -1);
}

long __cdecl Seek(INT_PTR handle, long offset, int origin)
{
    if (!handle || handle == -1)
        return -1;
    return Guard([&] { return CabinetEngine::FileSeek(handle, offset, origin); }, -1L);
}

INT_PTR __cdecl Notify(int code, Notification* notification)
{
    return Guard([&] { return CabinetEngine::Notify(code, notification); }, INT_PTR(-1));
}

HMODULE LoadCabinetLibrary() noexcept { return LoadLibraryW(L"cabinet.dll"); }

template <class T>
T Procedure(HMODULE library, const char* name) noexcept
{
    return reinterpret_cast<T>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

void Fail(CabinetEngine::ErrorRecord& erf, int operation)
{
    erf.erfOper = operation;
    erf.erfType = 0;
    erf.fError = 1;
}

}  // namespace

bool Load() noexcept
{
    HMODULE library = LoadCabinetLibrary();
    if (!library)
        return false;
    const bool complete = GetProcAddress(library, "FDICreate") && GetProcAddress(library, "FDICopy") &&
                          GetProcAddress(library, "FDIDestroy");
    FreeLibrary(library);
    return complete;
}

void* Create(CabinetEngine::ErrorRecord& erf) noexcept
{
    auto* context = new (std::nothrow) Context();
    if (!context) {
        Fail(erf, kErrorAllocFail);
        return nullptr;
    }
    // The context holds its own reference to the library until Destroy.
    context->library = LoadCabinetLibrary();
    auto create = context->library ? Procedure<FdiCreateFn>(context->library, "FDICreate") : nullptr;
    context->copy = context->library ? Procedure<FdiCopyFn>(context->library, "FDICopy") : nullptr;
    context->destroy = context->library ? Procedure<FdiDestroyFn>(context->library, "FDIDestroy") : nullptr;
    if (!create || !context->copy || !context->destroy) {
        if (context->library)
            FreeLibrary(context->library);
        delete context;
        Fail(erf, kErrorAllocFail);
        return nullptr;
    }
    context->fdi = create(Alloc, Free, Open, Read, Write, Close, Seek, kCpuUnknown, &context->erf);
    if (!context->fdi) {
        erf = context->erf;
        if (erf.erfOper == 0)
            Fail(erf, kErrorAllocFail);
        FreeLibrary(context->library);
        delete context;
        return nullptr;
    }
    return context;
}

void Destroy(void* handle) noexcept
{
    auto* context = static_cast<Context*>(handle);
    if (!context)
        return;
    context->destroy(context->fdi);
    FreeLibrary(context->library);
    delete context->pending;
    delete context;
}

uint64_t CabinetBytesRead(void* handle) noexcept { return static_cast<Context*>(handle)->bytesRead; }

bool Copy(void* handle, const char* name, const char* folder, void* user, CabinetEngine::ErrorRecord& erf)
{
    auto* context = static_cast<Context*>(handle);
    context->erf = {0, 0, 0};
    Context* const outer = g_active;
    g_active = context;
    const BOOL copied =
        context->copy(context->fdi, const_cast<char*>(name), const_cast<char*>(folder), 0, Notify, nullptr, user);
    g_active = outer;
    if (qv::win32_exception* e = context->pending) {
        context->pending = nullptr;
        // Thrown again with the type it was thrown with: callers catch
        // qv::file_exception*.
        if (auto* fileError = dynamic_cast<qv::file_exception*>(e))
            throw fileError;
        throw e;
    }
    if (!copied) {
        erf = context->erf;
        if (erf.erfOper == 0)
            Fail(erf, kErrorUserAbort);
        return false;
    }
    return true;
}

}  // namespace qv::mscab::backend
