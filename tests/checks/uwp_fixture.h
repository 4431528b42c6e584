// Packages for the app package checks: executables in component Main of
// INSTALLDIR (SourceDir\App), uncompressed beside the package, plus any
// extra tables, and one export run over them.
#pragma once

#include <filesystem>
#include <optional>

#include "framework/library.h"
#include "groupA_fixture.h"
#include "inspect/pe_support.h"

namespace uwptest {

using groupa::Insert;
using groupa::Lines;
using groupa::With;
using petest::Bytes;

struct FileSpec {
    std::string key;
    std::string name;            // FileName column
    std::optional<Bytes> bytes;  // none: the file is not beside the package
};

inline const char* kSeverityTable =
    "CREATE TABLE `_QvViceSeverity` (`Vice` CHAR(72) NOT NULL, `Level` SHORT PRIMARY KEY `Vice`)";
inline std::string SeverityRow(const std::string& check, const std::string& level)
{
    return Insert("_QvViceSeverity", {"Vice", "Level"}, {check, level});
}
inline const char* kApiTable =
    "CREATE TABLE `_QVDeprecatedApi` (`Module` CHAR(72) NOT NULL, `Function` CHAR(72) NOT NULL, `Kind` SHORT "
    "PRIMARY KEY `Module`, `Function`)";
inline std::string ApiRow(const std::string& module, const std::string& function, int kind)
{
    return Insert("_QVDeprecatedApi", {"Module", "Function", "Kind"}, {module, function, std::to_string(kind)});
}

inline Bytes Dos()
{
    Bytes b = petest::DosHeader(0, 0x40);
    petest::Put16(b, 0x18, 0x1C);  // relocations before 0x40: a plain DOS program
    return b;
}
inline Bytes WithSignature(uint32_t word)
{
    Bytes b = petest::DosHeader(0x80, 0x100);
    petest::Put32(b, 0x80, word);
    return b;
}
inline Bytes Pe(uint16_t machine, uint16_t magic = 0x10B)
{
    petest::PeBuilder pe;
    pe.machine = machine;
    pe.magic = magic;
    pe.sections = {{0x1000, 0x100, 0x100, 0x200}};
    return pe.Build();
}
inline Bytes Mingw(const std::string& path) { return petest::ReadAll(path); }

// Builds the package with the given summary Template and runs one export;
// every file is in component Main of INSTALLDIR (SourceDir\App), marked
// uncompressed, and written to App/ beside the package unless it has no bytes.
inline Lines RunBeside(groupa::Export check, const std::string& templateText, const std::vector<FileSpec>& files,
                       const std::vector<std::string>& extra = {})
{
    qvtest::TempDir dir;
    std::vector<std::string> queries = {groupa::kDirectoryTable, groupa::DirRow("TARGETDIR", "", "SourceDir"),
                                        groupa::DirRow("INSTALLDIR", "TARGETDIR", "App"), groupa::kComponentTable,
                                        groupa::kFileTable,
                                        Insert("Component", {"Component", "ComponentId", "Directory_", "Attributes"},
                                               {"Main", "{11111111-1111-1111-1111-111111111111}", "INSTALLDIR", "0"})};
    std::filesystem::create_directories(dir.path() + "/App");
    int sequence = 0;
    for (const FileSpec& file : files) {
        queries.push_back(Insert("File", {"File", "Component_", "FileName", "FileSize", "Attributes", "Sequence"},
                                 {file.key, "Main", file.name, "1", "8192", std::to_string(++sequence)}));
        if (file.bytes) {
            const std::string name = file.name.substr(file.name.find('|') + 1);
            std::ofstream out(dir.path() + "/App/" + name, std::ios::binary);
            out.write(reinterpret_cast<const char*>(file.bytes->data()), static_cast<std::streamsize>(file.bytes->size()));
        }
    }
    queries.insert(queries.end(), extra.begin(), extra.end());
    const std::string msi = qvtest::BuildPackage(dir, "package", queries, templateText);
    QvResetLibraryState();
    Lines lines = groupa::RunCheck(check, msi);
    QvResetLibraryState();
    return lines;
}

inline Lines RunUwp(groupa::Export check, const std::vector<FileSpec>& files, const std::vector<std::string>& extra = {})
{
    return RunBeside(check, ";1033", files, extra);
}

// One finding line: check, type, text and, when key is given, the File location.
inline std::wstring At(const std::wstring& check, int type, const std::wstring& text, const std::wstring& key)
{
    return check + L"\t" + std::to_wstring(type) + L"\t" + text + (key.empty() ? L"" : L"\t\tFile\tFile\t" + key);
}

}  // namespace uwptest
