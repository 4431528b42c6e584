#include "inspect/pe_image.h"

#include <cstring>

// ---- MappedFile -------------------------------------------------------------

MappedFile::MappedFile(const wchar_t* path)
    : m_file(INVALID_HANDLE_VALUE), m_mapping(nullptr), m_view(nullptr), m_size(0), m_status(OpenFailed)
{
    m_file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_file == INVALID_HANDLE_VALUE)
        return;
    m_size = GetFileSize(m_file, nullptr);
    m_mapping = CreateFileMappingW(m_file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    if (!m_mapping) {
        CloseHandle(m_file);
        m_file = INVALID_HANDLE_VALUE;
        m_size = 0;
        m_status = MappingFailed;
        return;
    }
    m_view = static_cast<const BYTE*>(MapViewOfFile(m_mapping, FILE_MAP_READ, 0, 0, 0));
    if (!m_view) {
        CloseHandle(m_mapping);
        CloseHandle(m_file);
        m_mapping = nullptr;
        m_file = INVALID_HANDLE_VALUE;
        m_size = 0;
        m_status = ViewFailed;
        return;
    }
    m_status = Mapped;
}

MappedFile::~MappedFile() { Close(); }

void MappedFile::Close()
{
    if (m_view)
        UnmapViewOfFile(m_view);
    if (m_mapping)
        CloseHandle(m_mapping);
    if (m_file != INVALID_HANDLE_VALUE)
        CloseHandle(m_file);
    m_view = nullptr;
    m_mapping = nullptr;
    m_file = INVALID_HANDLE_VALUE;
    m_size = 0;
    m_status = OpenFailed;
}

const BYTE* MappedFile::At(uint64_t offset) const noexcept { return Advance(m_view, offset); }

bool MappedFile::Contains(const BYTE* at, uint64_t count) const noexcept
{
    if (!m_view || !at)
        return false;
    const uintptr_t begin = reinterpret_cast<uintptr_t>(m_view);
    const uintptr_t address = reinterpret_cast<uintptr_t>(at);
    if (address < begin)
        return false;
    const uint64_t offset = address - begin;
    return offset <= m_size && count <= m_size - offset;
}

void MappedFile::Require(const BYTE* at, uint64_t count) const
{
    if (!Contains(at, count))
        throw qv::view_access_error();
}

BYTE MappedFile::ReadByte(const BYTE* at) const
{
    Require(at, 1);
    return *at;
}

WORD MappedFile::ReadWord(const BYTE* at) const
{
    Require(at, 2);
    return static_cast<WORD>(at[0] | (at[1] << 8));
}

DWORD MappedFile::ReadDword(const BYTE* at) const
{
    Require(at, 4);
    return static_cast<DWORD>(at[0]) | (static_cast<DWORD>(at[1]) << 8) | (static_cast<DWORD>(at[2]) << 16) |
           (static_cast<DWORD>(at[3]) << 24);
}

ULONGLONG MappedFile::ReadQword(const BYTE* at) const
{
    return static_cast<ULONGLONG>(ReadDword(at)) | (static_cast<ULONGLONG>(ReadDword(at + 4)) << 32);
}

std::string MappedFile::ReadNarrow(const BYTE* at) const
{
    Require(at, 1);
    const uint64_t left = m_size - static_cast<uint64_t>(at - m_view);
    const void* end = std::memchr(at, 0, left);
    if (!end)
        throw qv::view_access_error();
    return std::string(reinterpret_cast<const char*>(at), static_cast<const BYTE*>(end) - at);
}

// ---- ExeFile ----------------------------------------------------------------

ExeFile::ExeFile(const wchar_t* path)
    : MappedFile(path), m_exeStatus(NotMapped), m_newHeaderOffset(-1), m_exeClass(ExeClassInvalid)
{
    if (m_status != Mapped)
        return;
    m_exeStatus = NotExecutable;
    if (m_size < 0x40)
        return;
    if (ReadWord(At(0)) != 0x5A4D)  // "MZ"
        return;
    m_exeStatus = Classified;
    if (ReadWord(At(0x18)) < 0x40) {  // e_lfarlc: no new header
        m_exeClass = ExeClassDos;
        return;
    }
    const LONG offset = static_cast<LONG>(ReadDword(At(0x3C)));
    // An offset equal to the size passes this test; the reads below are
    // checked and end the check when they leave the view.
    if (offset < 0 || static_cast<uint64_t>(offset) > m_size)
        return;
    m_newHeaderOffset = offset;
    const BYTE* header = At(static_cast<uint64_t>(offset));
    switch (ReadWord(header)) {
    case 0x454C: m_exeClass = ExeClassVxd; return;  // "LE"
    case 0x454E: m_exeClass = ExeClassNe; return;   // "NE"
    case 0x4558: m_exeClass = ExeClassLx; return;   // "XE" in file order
    default: break;
    }
    if (ReadDword(header) != 0x00004550)  // "PE\0\0"
        return;
    const WORD machine = ReadWord(header + 4);
    const WORD magic = ReadWord(header + 0x18);
    if (machine == 0x8664 && magic == 0x20B)
        m_exeClass = ExeClassPe64;
    else if (machine == 0x200 && magic == 0x20B)
        m_exeClass = ExeClassPeIa64;
    else if (machine == 0x1C4)
        m_exeClass = ExeClassPeArm;
    else
        m_exeClass = ExeClassPe;
}

const wchar_t* ExeFile::ClassName(int exeClass) noexcept
{
    switch (exeClass) {
    case ExeClassDos: return L"DOS";
    case ExeClassNe: return L"NE";
    case ExeClassVxd: return L"VXD";
    case ExeClassLx: return L"LX";
    case ExeClassPe: return L"PE";
    case ExeClassPe64: return L"PE64";
    case ExeClassPeIa64: return L"PEIA64";
    case ExeClassPeArm: return L"PEARM";
    default: return L"Invalid";
    }
}

_stringx<> ExeFile::GetClassName() const { return _stringx<>(ClassName(m_exeClass)); }

// ---- PeImage ----------------------------------------------------------------

namespace {

constexpr DWORD kDirectoryCount = 16;
constexpr DWORD kClrDirectory = 14;
constexpr DWORD kExportDirectory = 0;
constexpr DWORD kClrFlagIlOnly = 0x1;
constexpr DWORD kClrFlagNativeEntryPoint = 0x10;

}  // namespace

PeImage::PeImage(const wchar_t* path) : ExeFile(path), m_ntHeaders(nullptr), m_clrHeaderHidden(0)
{
    if (m_exeStatus != Classified)
        return;
    if (m_exeClass != ExeClassPe && m_exeClass != ExeClassPe64) {
        m_exeStatus = NotExecutable;
        return;
    }
    m_ntHeaders = At(static_cast<uint64_t>(m_newHeaderOffset));
}

DWORD PeImage::GetDirectoryRva(DWORD index) const
{
    if (index >= kDirectoryCount)
        return static_cast<DWORD>(-1);
    const uint64_t table = m_exeClass == ExeClassPe ? 120 : 136;
    return ReadDword(Advance(m_ntHeaders, table + 8ull * index));
}

DWORD PeImage::GetDirectorySize(DWORD index) const
{
    if (index >= kDirectoryCount)
        return static_cast<DWORD>(-1);
    const uint64_t table = m_exeClass == ExeClassPe ? 120 : 136;
    return ReadDword(Advance(m_ntHeaders, table + 8ull * index + 4));
}

const BYTE* PeImage::GetDirectory(DWORD index) const
{
    if (index >= kDirectoryCount)
        return BadDirectory();
    const DWORD rva = GetDirectoryRva(index);
    if (rva == 0)
        return nullptr;
    return RvaToPointer(rva);
}

int64_t PeImage::RvaToFileOffset(DWORD rva) const
{
    const WORD count = ReadWord(Advance(m_ntHeaders, 6));
    const WORD optionalSize = ReadWord(Advance(m_ntHeaders, 20));
    const BYTE* section = Advance(m_ntHeaders, 24ull + optionalSize);
    for (WORD i = 0; i < count; ++i, section = Advance(section, 40)) {
        const DWORD start = ReadDword(section + 12);
        const DWORD virtualSize = ReadDword(section + 8);
        const DWORD rawSize = ReadDword(section + 16);
        const DWORD length = virtualSize < rawSize ? virtualSize : rawSize;
        if (start <= rva && static_cast<uint64_t>(rva) < static_cast<uint64_t>(start) + length)
            return static_cast<DWORD>(ReadDword(section + 20) - start + rva);
    }
    return -1;
}

const BYTE* PeImage::RvaToPointer(DWORD rva) const
{
    const int64_t offset = RvaToFileOffset(rva);
    if (offset < 0)
        return nullptr;
    return At(static_cast<uint64_t>(offset));
}

const BYTE* PeImage::GetClrHeader() const
{
    if (m_clrHeaderHidden)
        return nullptr;
    return GetDirectory(kClrDirectory);
}

_stringx<> PeImage::GetClrMetadataVersion() const
{
    const BYTE* header = GetClrHeader();
    if (!header)
        return _stringx<>();
    const DWORD rva = ReadDword(header + 8);
    const DWORD size = ReadDword(header + 12);
    if (rva == 0 || size == 0)
        return _stringx<>();
    const BYTE* root = RvaToPointer(rva);
    if (!root)
        return _stringx<>();
    const DWORD length = ReadDword(root + 12);
    const BYTE* text = root + 16;
    Require(text, length);
    _stringx<> version;
    for (DWORD i = 0; i < length && text[i] != 0; ++i)
        version.append(1, static_cast<wchar_t>(text[i]));
    return version;
}

bool PeImage::HasNativeEntryPoint() const
{
    const BYTE* header = GetClrHeader();
    return header && (ReadDword(header + 16) & kClrFlagNativeEntryPoint) != 0;
}

int PeImage::GetManagedClass() const
{
    const BYTE* header = GetClrHeader();
    if (!header)
        return m_exeClass;
    if (ReadDword(header + 16) & kClrFlagIlOnly)
        return ExeClassManagedIlOnly;
    switch (m_exeClass) {
    case ExeClassPe: return ExeClassManagedPe;
    case ExeClassPe64: return ExeClassManagedPe64;
    case ExeClassPeIa64: return ExeClassManagedPeIa64;
    case ExeClassPeArm: return ExeClassManagedPeArm;
    default: return m_exeClass;
    }
}

bool PeImage::ExportsDllRegisterServer() const
{
    const BYTE* exports = GetDirectory(kExportDirectory);
    if (!exports)
        return false;
    const DWORD count = ReadDword(exports + 24);
    const BYTE* names = RvaToPointer(ReadDword(exports + 32));
    if (!names)
        return false;
    for (DWORD i = 0; i < count; ++i) {
        const BYTE* name = RvaToPointer(ReadDword(Advance(names, 4ull * i)));
        if (!name)
            continue;  // a name no section holds is not this one
        const std::string text = ReadNarrow(name);
        std::wstring wide;
        for (char c : text)
            wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
        if (lstrcmpW(wide.c_str(), L"DllRegisterServer") == 0)
            return true;
    }
    return false;
}
