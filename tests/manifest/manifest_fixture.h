// Test material for the manifest reader and the checks that read XML:
// i686 images linked from one object with different manifest resources,
// cabinets with and without a manifest.xml, and packages whose Binary table
// carries a filter document.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "checks/uwp_fixture.h"

namespace mantest {

using groupa::Insert;
using groupa::Lines;
using petest::Bytes;

inline std::string Manifest(const std::string& level, const std::string& uiAccess)
{
    return "<?xml version='1.0' encoding='UTF-8' standalone='yes'?>\n"
           "<assembly xmlns='urn:schemas-microsoft-com:asm.v1' manifestVersion='1.0'>\n"
           " <trustInfo xmlns='urn:schemas-microsoft-com:asm.v3'><security><requestedPrivileges>\n"
           "  <requestedExecutionLevel level='" + level + "'" +
           (uiAccess.empty() ? "" : " uiAccess='" + uiAccess + "'") +
           "/>\n </requestedPrivileges></security></trustInfo>\n</assembly>\n";
}

// Images by name, built at first use:
//   none      no resources at all
//   admin     level requireAdministrator, uiAccess false
//   invoker   level asInvoker, uiAccess false
//   nouia     level asInvoker, no uiAccess
//   capital   level AsInvoker, uiAccess false
//   second    only a manifest number 2 (requireAdministrator)
//   langs     number 1 twice: 0x407 requireAdministrator, 0x409 asInvoker
//   broken    a manifest that is not well-formed
//   plain     a manifest with no trustInfo
//   with.cab / without.cab   a cabinet with / without a manifest.xml entry
class Images {
public:
    static Images& Get()
    {
        static Images images;
        return images;
    }
    Bytes operator[](const std::string& name) const { return petest::ReadAll(m_dir.path() + "/" + name); }

private:
    Images()
    {
        const std::string d = m_dir.path();
        const std::string q = qvtest::ShellQuote(d);
        std::ofstream(d + "/a.c") << "int main(void) { return 0; }\n";
        petest::Run("cd " + q + " && i686-w64-mingw32-gcc -O1 -c a.c -o a.o");
        const std::map<std::string, std::string> scripts = {
            {"none", ""},
            {"admin", "1 24 \"admin.xml\"\n"},
            {"invoker", "1 24 \"invoker.xml\"\n"},
            {"nouia", "1 24 \"nouia.xml\"\n"},
            {"capital", "1 24 \"capital.xml\"\n"},
            {"second", "2 24 \"admin.xml\"\n"},
            {"langs", "LANGUAGE 0x07, 0x01\n1 24 \"admin.xml\"\nLANGUAGE 0x09, 0x01\n1 24 \"invoker.xml\"\n"},
            {"broken", "1 24 \"broken.xml\"\n"},
            {"plain", "1 24 \"plain.xml\"\n"},
        };
        std::ofstream(d + "/admin.xml") << Manifest("requireAdministrator", "false");
        std::ofstream(d + "/invoker.xml") << Manifest("asInvoker", "false");
        std::ofstream(d + "/nouia.xml") << Manifest("asInvoker", "");
        std::ofstream(d + "/capital.xml") << Manifest("AsInvoker", "false");
        std::ofstream(d + "/broken.xml") << "<assembly><trustInfo></assembly>";
        std::ofstream(d + "/plain.xml") << "<assembly xmlns='urn:schemas-microsoft-com:asm.v1' manifestVersion='1.0'/>";
        for (const auto& [name, script] : scripts) {
            std::string objects = "a.o";
            if (!script.empty()) {
                std::ofstream(d + "/" + name + ".rc") << script;
                petest::Run("cd " + q + " && i686-w64-mingw32-windres " + name + ".rc -O coff -o " + name + ".res.o");
                objects += " " + name + ".res.o";
            }
            petest::Run("cd " + q + " && i686-w64-mingw32-gcc -s " + objects + " -o " + name + ".exe && mv " + name +
                        ".exe " + name);
        }
        std::filesystem::create_directories(d + "/cab");
        std::ofstream(d + "/cab/manifest.xml") << Manifest("asInvoker", "false");
        std::ofstream(d + "/cab/other.txt") << "other";
        petest::Run("cd " + q + "/cab && gcab -c ../with.cab manifest.xml other.txt && gcab -c ../without.cab other.txt");
    }

    qvtest::TempDir m_dir;
};

inline Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

inline const char* kManifestTable =
    "CREATE TABLE `_QVManifest` (`Extension` CHAR(16) NOT NULL, `XPath` CHAR(255) NOT NULL, `Attributes` SHORT, "
    "`Message` LONGCHAR PRIMARY KEY `Extension`, `XPath`)";
inline std::string ManifestRow(const std::string& extension, const std::string& xpath, int attributes,
                               const std::string& message)
{
    return Insert("_QVManifest", {"Extension", "XPath", "Attributes", "Message"},
                  {extension, "'" + xpath, std::to_string(attributes), message});
}

// A package for the protected resource checks: the given queries and, when
// filters is not empty, a Binary row (named row) holding it.
inline Lines RunWithFilters(groupa::Export check, const std::string& filters, const std::vector<std::string>& queries,
                            const std::string& row = "_QVFilters.xml")
{
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(dir, "package", queries);
    if (!filters.empty()) {
        std::filesystem::create_directories(dir.path() + "/Binary");
        std::ofstream(dir.path() + "/Binary/_QVFilters.xml") << filters;
        std::ofstream(dir.path() + "/Binary.idt") << "Name\tData\ns72\tv0\nBinary\tName\n" << row << "\t_QVFilters.xml\n";
        petest::Run("cd " + qvtest::ShellQuote(dir.path()) + " && msibuild package.msi -i Binary.idt");
    }
    QvResetLibraryState();
    Lines lines = groupa::RunCheck(check, msi);
    QvResetLibraryState();
    return lines;
}

}  // namespace mantest
