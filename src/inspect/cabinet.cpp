#include "inspect/cabinet.h"

#include <cstring>
#include <memory>

namespace {

using qv::mscab::cabinet_file;

cabinet_file* AsFile(intptr_t handle) noexcept { return reinterpret_cast<cabinet_file*>(handle); }

// Narrow text (thread code page) to a wide path.
_stringx<> WidePath(const char* path)
{
    const int length = MultiByteToWideChar(CP_THREAD_ACP, 0, path, -1, nullptr, 0);
    _stringx<> wide;
    if (length <= 1)
        return wide;
    wchar_t stack[512];
    wchar_t* buffer = length <= 512 ? stack : new wchar_t[length];
    MultiByteToWideChar(CP_THREAD_ACP, 0, path, -1, buffer, length);
    wide.assign(buffer, static_cast<size_t>(length - 1));
    if (buffer != stack)
        delete[] buffer;
    return wide;
}

}  // namespace

std::string qv::mscab::Narrow(const _stringx<>& text)
{
    if (text.empty())
        return std::string();
    const int size = WideCharToMultiByte(CP_THREAD_ACP, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0,
                                         nullptr, nullptr);
    std::string out(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    if (size > 0)
        WideCharToMultiByte(CP_THREAD_ACP, 0, text.c_str(), static_cast<int>(text.size()), out.data(), size, nullptr,
                            nullptr);
    return out;
}

CabinetEngine::CabinetEngine() : erf{0, 0, 0}, library(false), context(nullptr), userValue(0)
{
    cabinetName[0] = cabinetFolder[0] = wantedFile[0] = targetPath[0] = '\0';
    library = qv::mscab::backend::Load();
}

CabinetEngine::~CabinetEngine()
{
    if (context)
        qv::mscab::backend::Destroy(context);
}

DWORD CabinetEngine::Result() const noexcept
{
    if (erf.erfOper == 0)
        return 0;
    return (static_cast<DWORD>(erf.erfOper) + 0xACE0u) | 0x80040000u;
}

DWORD CabinetEngine::Create(const char* name, const char* folder)
{
    if (!library)
        return ERROR_MOD_NOT_FOUND;
    lstrcpyA(cabinetName, name);
    lstrcpyA(cabinetFolder, folder);
    erf = {0, 0, 0};
    if (context)
        qv::mscab::backend::Destroy(context);
    context = qv::mscab::backend::Create(erf);
    return Result();
}

DWORD CabinetEngine::Copy(const char* wanted, const char* target, uint32_t value)
{
    if (!library)
        return ERROR_MOD_NOT_FOUND;
    lstrcpyA(wantedFile, wanted);
    lstrcpyA(targetPath, target);
    userValue = value;
    if (!context) {
        // Create failed earlier: the decompression interface fails the copy
        // on a null context without touching the error record.
        return Result() ? Result() : (static_cast<DWORD>(qv::mscab::kErrorAllocFail) + 0xACE0u) | 0x80040000u;
    }
    erf = {0, 0, 0};
    qv::mscab::backend::Copy(context, cabinetName, cabinetFolder, this, erf);
    return Result();
}

uint64_t CabinetEngine::CabinetBytesRead() const noexcept
{
    return context ? qv::mscab::backend::CabinetBytesRead(context) : 0;
}

intptr_t CabinetEngine::FileOpen(const char* path, int flags, int mode)
{
    auto* adapter = new cabinet_file();
    DWORD result;
    if (flags & qv::mscab::kOpenCreate)
        result = adapter->Open(WidePath(path), GENERIC_WRITE, FILE_SHARE_READ, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS);
    else
        result = adapter->Open(WidePath(path), GENERIC_READ, FILE_SHARE_READ, FILE_ATTRIBUTE_NORMAL, OPEN_EXISTING);
    if (result != 0) {
        // The C runtime shape: -1 for a failed open.
        delete adapter;
        return -1;
    }
    return reinterpret_cast<intptr_t>(adapter);
}

unsigned CabinetEngine::FileRead(intptr_t handle, void* buffer, unsigned count)
{
    return AsFile(handle)->Read(buffer, count);
}

unsigned CabinetEngine::FileWrite(intptr_t handle, const void* buffer, unsigned count)
{
    return AsFile(handle)->Write(buffer, count);
}

int CabinetEngine::FileClose(intptr_t handle)
{
    if (handle != 0 && handle != -1)
        delete AsFile(handle);
    return 0;
}

long CabinetEngine::FileSeek(intptr_t handle, long offset, int origin)
{
    return AsFile(handle)->Seek(offset, origin);
}

intptr_t CabinetEngine::Notify(int code, qv::mscab::Notification* n)
{
    auto* engine = static_cast<CabinetEngine*>(n->pv);
    switch (code) {
    case qv::mscab::kNotifyCopyFile: {
        if (lstrcmpiA(n->psz1, engine->wantedFile) != 0)
            return 0;
        auto* adapter = new cabinet_file();
        const DWORD result = adapter->Open(WidePath(engine->targetPath), GENERIC_WRITE, FILE_SHARE_READ,
                                           FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS);
        if (result != 0) {
            delete adapter;
            return -1;
        }
        adapter->announcedSize = static_cast<uint32_t>(n->cb);
        adapter->userValue = engine->userValue;
        return reinterpret_cast<intptr_t>(adapter);
    }
    case qv::mscab::kNotifyCloseFileInfo: {
        // The adapter counts as closed whatever happens below.
        std::unique_ptr<cabinet_file> adapter(AsFile(n->hf));
        FILETIME local{};
        FILETIME utc{};
        DosDateTimeToFileTime(n->date, n->time, &local);
        LocalFileTimeToFileTime(&local, &utc);
        adapter->SetTime(nullptr, nullptr, &utc);
        const _stringx<> path = adapter->Path();
        adapter->Close();
        SetFileAttributesW(path.c_str(), n->attribs);
        return 1;
    }
    default:
        return 0;
    }
}
