// Packages with files, components, media and cabinets for the inspector and
// inventory tests, and a probe check whose Validate is the test's own code.
#pragma once

#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "cabinet_support.h"
#include "framework/check_base.h"
#include "framework/fixture.h"
#include "framework/library.h"
#include "inspect/content_inspector.h"

namespace qvtest {

class InspectProbe : public CQVIceBase {
public:
    InspectProbe(MSIHANDLE install, std::function<void(InspectProbe&)> body)
        : CQVIceBase(install), m_body(std::move(body))
    {
    }
    _stringx<> GetName() const override { return L"QVPROBE"; }
    _stringx<> GetDescription() const override { return L"probe"; }
    void Validate() override { m_body(*this); }

    ComponentMap& Components() { return m_components; }
    ShortcutMap& Shortcuts() { return m_shortcuts; }
    FeatureMap& Features() { return m_features; }

private:
    std::function<void(InspectProbe&)> m_body;
};

// Runs body as a check over the package, after a library reset, and gives
// the delivered lines without the banner. Temporary names (<hex>.TMP) and
// the temporary and package folders are replaced by fixed marks.
inline std::vector<std::wstring> RunInspect(const std::string& msi, std::function<void(InspectProbe&)> body)
{
    QvResetLibraryState();
    Session session(msi);
    {
        InspectProbe probe(session.handle(), std::move(body));
        EXPECT_EQ(probe.Execute(), 0u);
    }
    QvResetLibraryState();
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    const std::wstring tempFolder(temp);
    const std::wstring msiWide = qv::posix::windows_path_from_posix(msi);
    const std::wstring packageFolder = msiWide.substr(0, msiWide.rfind(L'\\') + 1);
    std::vector<std::wstring> lines;
    const std::wregex unique(L"<tmp>[0-9A-Fa-f]+\\.TMP");
    for (size_t i = 1; i < session.lines.size(); ++i) {
        std::wstring line = session.lines[i];
        for (auto [from, to] : {std::pair{tempFolder, std::wstring(L"<tmp>")}, {packageFolder, L"<pkg>"}}) {
            for (size_t at = line.find(from); at != std::wstring::npos; at = line.find(from, at))
                line.replace(at, from.size(), to);
        }
        lines.push_back(std::regex_replace(line, unique, L"<tmp>#.TMP"));
    }
    return lines;
}

inline const char* kDirectoryTable =
    "CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), `DefaultDir` CHAR(255) "
    "NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)";
inline const char* kComponentTable =
    "CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), `Directory_` CHAR(72) NOT "
    "NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), `KeyPath` CHAR(72) PRIMARY KEY `Component`)";
inline const char* kFileTable =
    "CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT NULL "
    "LOCALIZABLE, `FileSize` LONG NOT NULL, `Version` CHAR(72), `Language` CHAR(20), `Attributes` SHORT, "
    "`Sequence` SHORT NOT NULL PRIMARY KEY `File`)";
inline const char* kMediaTable =
    "CREATE TABLE `Media` (`DiskId` SHORT NOT NULL, `LastSequence` SHORT NOT NULL, `DiskPrompt` CHAR(64) "
    "LOCALIZABLE, `Cabinet` CHAR(255), `VolumeLabel` CHAR(32), `Source` CHAR(72) PRIMARY KEY `DiskId`)";

inline std::string DirectoryRow(const std::string& key, const std::string& parent, const std::string& defaultDir)
{
    return "INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('" + key + "', '" +
           parent + "', '" + defaultDir + "')";
}
inline std::string ComponentRow(const std::string& key, const std::string& directory, const std::string& keyPath = "")
{
    return "INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`, `KeyPath`) VALUES ('" +
           key + "', '{11111111-1111-1111-1111-111111111111}', '" + directory + "', 0, '" + keyPath + "')";
}
inline std::string FileRow(const std::string& key, const std::string& component, const std::string& name,
                           int attributes, int sequence)
{
    return "INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, `Sequence`) VALUES ('" +
           key + "', '" + component + "', '" + name + "', 1, " + std::to_string(attributes) + ", " +
           std::to_string(sequence) + ")";
}
inline std::string MediaRow(int disk, int lastSequence, const std::string& cabinet)
{
    return "INSERT INTO `Media` (`DiskId`, `LastSequence`, `Cabinet`) VALUES (" + std::to_string(disk) + ", " +
           std::to_string(lastSequence) + ", '" + cabinet + "')";
}

// Adds a stream to the package.
inline void AddStream(const std::string& msi, const std::string& name, const std::string& file)
{
    const std::string command = "msibuild " + ShellQuote(msi) + " -a " + ShellQuote(name) + " " + ShellQuote(file) +
                                " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("msibuild -a failed");
}

// The base of a product package: Property with ProductCode (and the
// debugging row when asked), one directory INSTALLDIR = SourceDir\App, the
// tables of components, files and media.
inline std::vector<std::string> ProductTables(bool debugging = true)
{
    std::vector<std::string> q = {kPropertyTable,
                                  PropertyRow("ProductCode", "{22222222-2222-2222-2222-222222222222}"),
                                  kDirectoryTable,
                                  DirectoryRow("TARGETDIR", "", "SourceDir"),
                                  DirectoryRow("INSTALLDIR", "TARGETDIR", "App"),
                                  kComponentTable,
                                  kFileTable,
                                  kMediaTable};
    if (debugging)
        q.push_back(PropertyRow("_QV_DEBUGGING_ACTION", "1"));
    return q;
}

}  // namespace qvtest
