// A small read-only reader for executable images, in three layers:
//
//   MappedFile  maps a whole file read-only and reads it in place;
//   ExeFile     classifies it by its DOS and new-header signatures;
//   PeImage     gives a PE image's data directories through a section walk.
//
// The reader decides by fixed tests and never asks the loader. The view is
// the only copy of the bytes. Every read goes through MappedFile's checked
// accessors: a read that would leave the mapped view throws
// qv::view_access_error instead of touching memory, so a malformed offset
// ends the running check through its catch-all (message 121), never the
// process. Failures that are not bad offsets are values (status, exeStatus,
// class 0, null pointers), as callers expect.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "foundation/stringx.h"
#include "platform/platform.h"

namespace qv {

// A read outside the mapped view of a MappedFile.
class view_access_error : public std::out_of_range {
public:
    view_access_error() : std::out_of_range("read outside the mapped view") {}
};

}  // namespace qv

enum ExeClass : int {
    ExeClassInvalid = 0,
    ExeClassDos = 1,
    ExeClassNe = 2,
    ExeClassVxd = 3,
    ExeClassLx = 4,
    ExeClassPe = 5,
    ExeClassPe64 = 6,
    ExeClassPeIa64 = 7,
    ExeClassPeArm = 8,
    // Classes of GetManagedClass only.
    ExeClassManagedIlOnly = 9,
    ExeClassManagedPe = 10,
    ExeClassManagedPe64 = 11,
    ExeClassManagedPeIa64 = 12,
    ExeClassManagedPeArm = 13,
};

class MappedFile {
public:
    enum Status : int { Mapped = 0, OpenFailed = 1, MappingFailed = 2, ViewFailed = 3 };

    explicit MappedFile(const wchar_t* path);
    virtual ~MappedFile();

    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    // Unmaps the view, closes the mapping and the file; status becomes 1.
    void Close();

    int GetStatus() const noexcept { return m_status; }
    DWORD GetSize() const noexcept { return m_size; }
    const BYTE* GetView() const noexcept { return m_view; }

    // The address count bytes at offset from the start of the view. The
    // address is computed without being read, and may lie outside the view.
    const BYTE* At(uint64_t offset) const noexcept;

    // True when [at, at + count) lies inside the view.
    bool Contains(const BYTE* at, uint64_t count) const noexcept;

    // Checked little-endian reads; each throws qv::view_access_error when
    // the bytes do not all lie inside the view (a null pointer never does).
    BYTE ReadByte(const BYTE* at) const;
    WORD ReadWord(const BYTE* at) const;
    DWORD ReadDword(const BYTE* at) const;
    ULONGLONG ReadQword(const BYTE* at) const;
    // A NUL-terminated narrow text; throws when the view ends before the NUL.
    std::string ReadNarrow(const BYTE* at) const;

    // base + count as an address, without the rules of pointer arithmetic
    // (base may be null, the result may lie outside the view).
    static const BYTE* Advance(const BYTE* base, uint64_t count) noexcept
    {
        return reinterpret_cast<const BYTE*>(reinterpret_cast<uintptr_t>(base) + static_cast<uintptr_t>(count));
    }

protected:
    void Require(const BYTE* at, uint64_t count) const;

    HANDLE m_file;
    HANDLE m_mapping;
    const BYTE* m_view;
    DWORD m_size;  // low part of the file size
    int m_status;
};

class ExeFile : public MappedFile {
public:
    enum ExeStatus : int { Classified = 0, NotMapped = 1, NotExecutable = 2 };

    explicit ExeFile(const wchar_t* path);

    int GetExeStatus() const noexcept { return m_exeStatus; }
    LONG GetNewHeaderOffset() const noexcept { return m_newHeaderOffset; }
    ExeClass GetExeClass() const noexcept { return m_exeClass; }

    // "Invalid", "DOS", "NE", "VXD", "LX", "PE", "PE64", "PEIA64", "PEARM".
    _stringx<> GetClassName() const;
    static const wchar_t* ClassName(int exeClass) noexcept;

protected:
    int m_exeStatus;
    LONG m_newHeaderOffset;
    ExeClass m_exeClass;
};

class PeImage : public ExeFile {
public:
    explicit PeImage(const wchar_t* path);

    // Start of the "PE\0\0" header in the view; null unless the image is of
    // class 5 or 6.
    const BYTE* GetNtHeaders() const noexcept { return m_ntHeaders; }

    // Directory entries, read at 120 bytes from the headers for class 5 and
    // 136 for any other class. Index 16 or more gives -1.
    DWORD GetDirectoryRva(DWORD index) const;
    DWORD GetDirectorySize(DWORD index) const;
    // The directory's data; null when its address is 0 or no section holds
    // it; (const BYTE*)-1 for an index of 16 or more.
    const BYTE* GetDirectory(DWORD index) const;

    // File offset of rva by the first section that holds it (length the
    // smaller of VirtualSize and SizeOfRawData); -1 when none does.
    int64_t RvaToFileOffset(DWORD rva) const;
    // View address of that offset, or null. The offset is not tested
    // against the size: a read through the result is checked instead.
    const BYTE* RvaToPointer(DWORD rva) const;

    const BYTE* GetClrHeader() const;
    bool IsManaged() const { return GetClrHeader() != nullptr; }
    _stringx<> GetClrMetadataVersion() const;
    bool HasNativeEntryPoint() const;
    int GetManagedClass() const;
    bool ExportsDllRegisterServer() const;

    void HideClrHeader(bool hidden) noexcept { m_clrHeaderHidden = hidden ? 1 : 0; }

    // Fields of the headers the inspection operations read.
    WORD GetMachine() const { return ReadWord(Advance(m_ntHeaders, 4)); }
    WORD GetDllCharacteristics() const { return ReadWord(Advance(m_ntHeaders, 94)); }

    // The value of GetDirectory for an index of 16 or more.
    static const BYTE* BadDirectory() noexcept { return reinterpret_cast<const BYTE*>(~uintptr_t{0}); }

protected:
    const BYTE* m_ntHeaders;
    BYTE m_clrHeaderHidden;
    _stringx<> m_name;
};
