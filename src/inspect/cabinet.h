// CabinetEngine: extraction of one named entry from a cabinet, with the
// interface and semantics of the cabinet library's decompression interface
// (FDI): a context made by Create, a Copy that offers each entry of the
// cabinet to a notification callback, names matched as lstrcmpiA matches
// them, and the entry's date, time and attributes set on the file written.
//
// The back end is per system (platform/<system>/inspect): it makes the
// context and walks the cabinet, calling Notify for notification 2 (copy
// this entry?) and 3 (entry written, close it). This file holds what both
// back ends share: the error code forms, the file callbacks over qv::file
// and the notification callback.
#pragma once

#include <cstdint>
#include <string>

#include "inspect/file.h"
#include "platform/platform.h"

namespace qv::mscab {

// A qv::file as the cabinet library's file callbacks hold it.
template <class F, int N>
class file_adapter : public F {
public:
    uint32_t announcedSize = 0;  // size of the entry for an output file
    uint32_t reserved = 0;
    uint32_t userValue = 0;
};

using cabinet_file = file_adapter<qv::file, 0>;

// Notification codes and fields, as the decompression interface gives them.
enum : int {
    kNotifyCabinetInfo = 0,
    kNotifyPartialFile = 1,
    kNotifyCopyFile = 2,
    kNotifyCloseFileInfo = 3,
    kNotifyNextCabinet = 4,
};

struct Notification {
    long cb = 0;
    char* psz1 = nullptr;
    char* psz2 = nullptr;
    char* psz3 = nullptr;
    void* pv = nullptr;
    intptr_t hf = 0;
    uint16_t date = 0;
    uint16_t time = 0;
    uint16_t attribs = 0;
    uint16_t setID = 0;
    uint16_t iCabinet = 0;
    uint16_t iFolder = 0;
    int fdie = 0;
};

// Error operations of the error record.
enum : int {
    kErrorNone = 0,
    kErrorCabinetNotFound = 1,
    kErrorNotACabinet = 2,
    kErrorUnknownVersion = 3,
    kErrorCorruptCabinet = 4,
    kErrorAllocFail = 5,
    kErrorBadCompressionType = 6,
    kErrorDecompressorFail = 7,
    kErrorTargetFile = 8,
    kErrorReserveMismatch = 9,
    kErrorWrongCabinet = 10,
    kErrorUserAbort = 11,
};

// Attribute bit that asks for the entry to be run after extraction; it is
// not passed on with notification 3.
constexpr uint16_t kAttributeExecute = 0x40;

constexpr int kOpenCreate = 0x100;  // _O_CREAT in the open callback's flags

}  // namespace qv::mscab

class CabinetEngine {
public:
    struct ErrorRecord {
        int erfOper;
        int erfType;
        int fError;
    };

    CabinetEngine();
    ~CabinetEngine();
    CabinetEngine(const CabinetEngine&) = delete;
    CabinetEngine& operator=(const CabinetEngine&) = delete;

    // 0, 126 when the cabinet library is missing, or (erfOper + 0xACE0) |
    // 0x80040000 when the library failed.
    DWORD Create(const char* name, const char* folder);
    DWORD Copy(const char* wantedFile, const char* targetPath, uint32_t userValue);

    // The file callbacks, C runtime shaped; handles are cabinet_file
    // pointers. They throw qv::file_exception* as qv::file does.
    static intptr_t FileOpen(const char* path, int flags, int mode);
    static unsigned FileRead(intptr_t handle, void* buffer, unsigned count);
    static unsigned FileWrite(intptr_t handle, const void* buffer, unsigned count);
    static int FileClose(intptr_t handle);
    static long FileSeek(intptr_t handle, long offset, int origin);
    // The notification callback; pv is the engine.
    static intptr_t Notify(int code, qv::mscab::Notification* notification);

    const ErrorRecord& Error() const noexcept { return erf; }
    const char* CabinetName() const noexcept { return cabinetName; }
    const char* CabinetFolder() const noexcept { return cabinetFolder; }
    // The name the current Copy looks for; the copy notification skips
    // every entry of another name (lstrcmpiA).
    const char* WantedFile() const noexcept { return wantedFile; }

    // Bytes the back end has read from cabinet files over the life of this
    // engine. Entries asked for in their cabinet order read each cabinet
    // about once; a restart from the start of a folder reads it again.
    uint64_t CabinetBytesRead() const noexcept;

private:
    DWORD Result() const noexcept;

    ErrorRecord erf;
    bool library;
    void* context;
    uint32_t userValue;
    char cabinetName[260];
    char cabinetFolder[260];
    char wantedFile[260];
    char targetPath[260];
};

namespace qv::mscab {

// Text in the thread's code page, as the engine takes names and paths.
std::string Narrow(const _stringx<>& text);

}  // namespace qv::mscab

// The back end, one per system.
namespace qv::mscab::backend {

// Whether the cabinet library is present.
bool Load() noexcept;
// Makes a context; null with erf filled on failure.
void* Create(CabinetEngine::ErrorRecord& erf) noexcept;
// Walks the cabinet folder + name, calling CabinetEngine::Notify with pv =
// user. False with erf filled on failure. A qv::file_exception* thrown by a
// callback passes through after the back end has cleaned up.
bool Copy(void* context, const char* name, const char* folder, void* user, CabinetEngine::ErrorRecord& erf);
void Destroy(void* context) noexcept;
uint64_t CabinetBytesRead(void* context) noexcept;

}  // namespace qv::mscab::backend
