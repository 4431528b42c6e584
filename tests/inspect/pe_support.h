// Test material for the PE reader, the import walk and the version reader:
// images written byte by byte, and real images built once per test program
// with the mingw-w64 cross compilers (a missing compiler fails the tests).
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/fixture.h"
#include "inspect/imports.h"
#include "platform/posix/kernel/paths.h"

namespace petest {

using Bytes = std::vector<uint8_t>;

inline void Put16(Bytes& b, size_t at, uint32_t v)
{
    if (b.size() < at + 2)
        b.resize(at + 2);
    b[at] = v & 0xFF;
    b[at + 1] = (v >> 8) & 0xFF;
}
inline void Put32(Bytes& b, size_t at, uint32_t v)
{
    Put16(b, at, v & 0xFFFF);
    Put16(b, at + 2, v >> 16);
}
inline void PutText(Bytes& b, size_t at, const std::string& s)
{
    if (b.size() < at + s.size() + 1)
        b.resize(at + s.size() + 1);
    std::memcpy(b.data() + at, s.c_str(), s.size() + 1);
}
inline uint32_t Get32(const Bytes& b, size_t at)
{
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

// A DOS header with e_lfarlc 0x40 and e_lfanew at 0x3C.
inline Bytes DosHeader(uint32_t newHeader, size_t size = 0x40)
{
    Bytes b(size, 0);
    Put16(b, 0, 0x5A4D);
    Put16(b, 0x18, 0x40);
    Put32(b, 0x3C, newHeader);
    return b;
}

struct Section {
    uint32_t virtualAddress, virtualSize, rawSize, rawPointer;
};

// A PE image: headers at 0x80, one or more sections, 16 directories of
// the layout that magic selects (PE32 0x10B, PE32+ 0x20B).
struct PeBuilder {
    uint16_t machine = 0x14C;
    uint16_t magic = 0x10B;
    uint16_t dllCharacteristics = 0;
    std::vector<Section> sections;
    std::map<int, std::pair<uint32_t, uint32_t>> directories;
    size_t size = 0x400;

    static constexpr size_t kNt = 0x80;
    size_t OptionalSize() const { return magic == 0x20B ? 240 : 224; }
    size_t DirectoryAt(int index) const { return kNt + 24 + (magic == 0x20B ? 112 : 96) + 8 * index; }

    Bytes Build() const
    {
        Bytes b = DosHeader(kNt, size);
        Put32(b, kNt, 0x4550);
        Put16(b, kNt + 4, machine);
        Put16(b, kNt + 6, static_cast<uint32_t>(sections.size()));
        Put16(b, kNt + 20, static_cast<uint32_t>(OptionalSize()));
        Put16(b, kNt + 24, magic);
        Put16(b, kNt + 94, dllCharacteristics);
        Put32(b, kNt + 24 + (magic == 0x20B ? 108 : 92), 16);
        for (const auto& [index, entry] : directories) {
            Put32(b, DirectoryAt(index), entry.first);
            Put32(b, DirectoryAt(index) + 4, entry.second);
        }
        size_t at = kNt + 24 + OptionalSize();
        for (const Section& s : sections) {
            PutText(b, at, ".s");
            Put32(b, at + 8, s.virtualSize);
            Put32(b, at + 12, s.virtualAddress);
            Put32(b, at + 16, s.rawSize);
            Put32(b, at + 20, s.rawPointer);
            at += 40;
        }
        if (b.size() < size)
            b.resize(size);
        return b;
    }
};

// Files written into one temporary folder; paths handed out in Windows form.
class Files {
public:
    std::string Write(const std::string& name, const Bytes& bytes)
    {
        const std::string path = m_dir.path() + "/" + name;
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }
    static std::wstring Windows(const std::string& posixPath) { return qv::posix::windows_path_from_posix(posixPath); }
    std::wstring WriteW(const std::string& name, const Bytes& bytes) { return Windows(Write(name, bytes)); }
    const std::string& dir() const { return m_dir.path(); }

private:
    qvtest::TempDir m_dir;
};

inline Bytes ReadAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void Run(const std::string& command)
{
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

// The two real images, built at first use:
//   app32.exe (i686): imports ordlib.dll ordinal 7, msvbvm60.dll!rtcMsgBox,
//     KERNEL32.dll!GetVersion; no DYNAMICBASE, no NXCOMPAT, NO_SEH set;
//     version 1.2.3.4, translation 0x0409/1200; manifest resource 1 in
//     language 0x0407 (kManifest).
//   app64.exe (x86-64): the same imports with the linker's default bits
//     (HIGH_ENTROPY_VA, DYNAMICBASE, NXCOMPAT); version 10.0.19041.1,
//     translations 0x0407 and 0x0409.
class MingwImages {
public:
    static constexpr const char* kManifest = "<assembly manifestVersion=\"1.0\"/>";
    static MingwImages& Get()
    {
        static MingwImages images;
        return images;
    }
    const std::string& app32() const { return m_app32; }
    const std::string& app64() const { return m_app64; }
    const std::string& dir() const { return m_files.dir(); }

private:
    MingwImages()
    {
        const std::string d = m_files.dir();
        std::ofstream(d + "/a.c") << "#include <windows.h>\n"
                                     "__declspec(dllimport) int __stdcall rtcMsgBox(void);\n"
                                     "__declspec(dllimport) int __stdcall OrdFunc(void);\n"
                                     "int main(void) { return (int)GetVersion() + rtcMsgBox() + OrdFunc(); }\n";
        std::ofstream(d + "/vb32.def") << "LIBRARY msvbvm60.dll\nEXPORTS\nrtcMsgBox@0\n";
        std::ofstream(d + "/ord32.def") << "LIBRARY ordlib.dll\nEXPORTS\nOrdFunc@0 @7 NONAME\n";
        std::ofstream(d + "/vb64.def") << "LIBRARY msvbvm60.dll\nEXPORTS\nrtcMsgBox\n";
        std::ofstream(d + "/ord64.def") << "LIBRARY ordlib.dll\nEXPORTS\nOrdFunc @7 NONAME\n";
        std::ofstream(d + "/app.manifest") << kManifest;
        std::ofstream(d + "/v32.rc") << VersionScript("1,2,3,4", "040904b0", "0x409, 1200")
                                     << "LANGUAGE 0x07, 0x01\n1 24 \"app.manifest\"\n";
        std::ofstream(d + "/v64.rc") << VersionScript("10,0,19041,1", "040704b0", "0x407, 1200, 0x409, 1200");
        const std::string q = qvtest::ShellQuote(d);
        Run("cd " + q + " && i686-w64-mingw32-dlltool -k -d vb32.def -l libvb32.a");
        Run("cd " + q + " && i686-w64-mingw32-dlltool -k -d ord32.def -l libord32.a");
        Run("cd " + q + " && x86_64-w64-mingw32-dlltool -d vb64.def -l libvb64.a");
        Run("cd " + q + " && x86_64-w64-mingw32-dlltool -d ord64.def -l libord64.a");
        Run("cd " + q + " && i686-w64-mingw32-windres v32.rc -O coff -o v32.o");
        Run("cd " + q + " && x86_64-w64-mingw32-windres v64.rc -O coff -o v64.o");
        Run("cd " + q + " && i686-w64-mingw32-gcc -O1 -s a.c v32.o -o app32.exe -L. -lvb32 -lord32 "
                        "-Wl,--disable-dynamicbase,--disable-nxcompat,--no-seh");
        Run("cd " + q + " && x86_64-w64-mingw32-gcc -O1 -s a.c v64.o -o app64.exe -L. -lvb64 -lord64");
        m_app32 = d + "/app32.exe";
        m_app64 = d + "/app64.exe";
    }
    static std::string VersionScript(const std::string& version, const std::string& block,
                                     const std::string& translation)
    {
        return "1 VERSIONINFO\nFILEVERSION " + version + "\nPRODUCTVERSION 9,9,9,9\nFILETYPE 1\nBEGIN\n"
               "BLOCK \"StringFileInfo\"\nBEGIN\nBLOCK \"" + block + "\"\nBEGIN\n"
               "VALUE \"FileDescription\", \"qvice test image\"\nEND\nEND\n"
               "BLOCK \"VarFileInfo\"\nBEGIN\nVALUE \"Translation\", " + translation + "\nEND\nEND\n";
    }

    Files m_files;
    std::string m_app32;
    std::string m_app64;
};

// A host that lists a few APIs and records what it is told, one text per
// line: "debug: <text>" or "report <id> <type>: <a1> | <a2> | <a3>".
class RecordingHost : public qv::InspectionHost {
public:
    std::map<std::wstring, std::map<WORD, int>> byOrdinal;  // module names in lower case
    std::map<std::wstring, std::map<std::wstring, int>> byName;
    std::vector<std::wstring> lines;

    void DebugLine(const _stringx<>& text) override { lines.push_back(L"debug: " + std::wstring(text.c_str())); }
    void ReportMessage(UINT id, const _stringx<>& a1, const _stringx<>& a2, const _stringx<>& a3, int type) override
    {
        lines.push_back(L"report " + std::to_wstring(id) + L" " + std::to_wstring(type) + L": " + a1.c_str() +
                        L" | " + a2.c_str() + L" | " + a3.c_str());
    }
    bool IsApiKindByOrdinal(int kind, const _stringx<>& module, WORD ordinal) override
    {
        auto m = byOrdinal.find(Lower(module.c_str()));
        if (m == byOrdinal.end())
            return kind == 0;
        auto f = m->second.find(ordinal);
        return (f == m->second.end() ? 0 : f->second) == kind;
    }
    bool IsApiKindByName(int kind, const _stringx<>& module, const _stringx<>& name) override
    {
        auto m = byName.find(Lower(module.c_str()));
        if (m == byName.end())
            return kind == 0;
        auto f = m->second.find(name.c_str());
        return (f == m->second.end() ? 0 : f->second) == kind;
    }
    static std::wstring Lower(std::wstring s)
    {
        for (auto& c : s)
            if (c >= L'A' && c <= L'Z')
                c = static_cast<wchar_t>(c + 32);
        return s;
    }
};

}  // namespace petest
