// Modules, string resources, time and process identity.

#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cwchar>
#include <map>
#include <mutex>
#include <vector>

#include "platform/posix/kernel/internal.h"
#include "platform/posix/kernel/paths.h"

namespace {

// The process module, at the load address of a Windows executable.
HMODULE process_module() { return reinterpret_cast<HMODULE>(static_cast<uintptr_t>(0x400000)); }

std::mutex g_tables_mutex;
std::map<HMODULE, std::map<UINT, const wchar_t*>> g_tables;

}  // namespace

HMODULE GetModuleHandleW(LPCWSTR lpModuleName) {
    if (!lpModuleName) return process_module();
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
    if (hModule && hModule != process_module()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    std::vector<char> target(4096);
    ssize_t length = readlink("/proc/self/exe", target.data(), target.size() - 1);
    if (length < 0) {
        SetLastError(qv::posix::win32_from_errno(errno));
        return 0;
    }
    std::wstring path = qv::posix::windows_path_from_posix(std::string(target.data(), static_cast<size_t>(length)));
    if (!lpFilename || nSize == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    // Too small a buffer receives the path cut to fit, terminated.
    if (path.size() >= nSize) {
        std::wmemcpy(lpFilename, path.c_str(), nSize - 1);
        lpFilename[nSize - 1] = L'\0';
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return nSize;
    }
    std::wmemcpy(lpFilename, path.c_str(), path.size() + 1);
    return static_cast<DWORD>(path.size());
}

void QvRegisterStringTable(HMODULE module, const QvStringResource* entries, size_t count) {
    if (!module) module = process_module();
    std::lock_guard lock(g_tables_mutex);
    auto& table = g_tables[module];
    for (size_t i = 0; i < count; ++i) table[entries[i].id] = entries[i].text;
}

int LoadStringW(HINSTANCE hInstance, UINT uID, LPWSTR lpBuffer, int cchBufferMax) {
    if (!hInstance) hInstance = process_module();
    const wchar_t* text = nullptr;
    {
        std::lock_guard lock(g_tables_mutex);
        auto table = g_tables.find(hInstance);
        if (table == g_tables.end()) {
            SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
            return 0;
        }
        auto entry = table->second.find(uID);
        if (entry == table->second.end() || !entry->second || !*entry->second) {
            SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
            return 0;
        }
        text = entry->second;
    }
    if (!lpBuffer || cchBufferMax < 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    int length = static_cast<int>(std::wcslen(text));
    if (cchBufferMax == 0) {
        *reinterpret_cast<const wchar_t**>(lpBuffer) = text;
        return length;
    }
    int copied = length < cchBufferMax - 1 ? length : cchBufferMax - 1;
    std::wmemcpy(lpBuffer, text, static_cast<size_t>(copied));
    lpBuffer[copied] = L'\0';
    return copied;
}

DWORD GetTickCount() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    uint64_t ms = static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
    return static_cast<DWORD>(ms & 0xFFFFFFFF);
}

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

void Sleep(DWORD dwMilliseconds) {
    struct timespec wait = {static_cast<time_t>(dwMilliseconds / 1000), static_cast<long>(dwMilliseconds % 1000) * 1000000L};
    while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
    }
}
