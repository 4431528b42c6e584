// Fixture packages for the table checks: the tables they read, in the
// package schema, and a way to run one export and collect its lines.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "framework/fixture.h"

namespace groupa {

using Lines = std::vector<std::wstring>;
using Export = UINT (*)(MSIHANDLE);

inline const char* kDirectoryTable =
    "CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), `DefaultDir` CHAR(255) "
    "NOT NULL LOCALIZABLE PRIMARY KEY `Directory`)";
inline const char* kControlTable =
    "CREATE TABLE `Control` (`Dialog_` CHAR(72) NOT NULL, `Control` CHAR(50) NOT NULL, `Type` CHAR(20) NOT NULL, "
    "`X` SHORT NOT NULL, `Y` SHORT NOT NULL, `Width` SHORT NOT NULL, `Height` SHORT NOT NULL, `Attributes` LONG, "
    "`Property` CHAR(72), `Text` LONGCHAR LOCALIZABLE, `Control_Next` CHAR(50), `Help` CHAR(255) LOCALIZABLE "
    "PRIMARY KEY `Dialog_`, `Control`)";
inline const char* kControlEventTable =
    "CREATE TABLE `ControlEvent` (`Dialog_` CHAR(72) NOT NULL, `Control_` CHAR(50) NOT NULL, `Event` CHAR(50) NOT "
    "NULL, `Argument` CHAR(255) NOT NULL, `Condition` CHAR(255), `Ordering` SHORT PRIMARY KEY `Dialog_`, "
    "`Control_`, `Event`, `Argument`)";
inline const char* kCustomActionTable =
    "CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, `Source` CHAR(72), `Target` "
    "CHAR(255), `ExtendedType` LONG PRIMARY KEY `Action`)";
inline std::string SequenceTable(const std::string& name)
{
    return "CREATE TABLE `" + name +
           "` (`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), `Sequence` SHORT PRIMARY KEY `Action`)";
}
inline const char* kComponentTable =
    "CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), `Directory_` CHAR(72) NOT "
    "NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), `KeyPath` CHAR(72) PRIMARY KEY `Component`)";
inline const char* kFileTable =
    "CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT NULL "
    "LOCALIZABLE, `FileSize` LONG NOT NULL, `Version` CHAR(72), `Language` CHAR(20), `Attributes` SHORT, "
    "`Sequence` SHORT NOT NULL PRIMARY KEY `File`)";
inline const char* kRegistryTable =
    "CREATE TABLE `Registry` (`Registry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL "
    "LOCALIZABLE, `Name` CHAR(255) LOCALIZABLE, `Value` LONGCHAR LOCALIZABLE, `Component_` CHAR(72) NOT NULL "
    "PRIMARY KEY `Registry`)";
inline const char* kEnvironmentTable =
    "CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL LOCALIZABLE, `Value` "
    "CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Environment`)";

// Wraps each value in quotes unless it is a number; a value "NULL" leaves
// its column out, which stores a null; a leading ' forces a text ("'1").
inline std::string Insert(const std::string& table, const std::vector<std::string>& columns,
                          const std::vector<std::string>& values)
{
    std::string names, cells;
    for (size_t i = 0; i < columns.size() && i < values.size(); ++i) {
        const std::string& v = values[i];
        if (v == "NULL")
            continue;
        const bool bare = !v.empty() && v.find_first_not_of("-0123456789") == std::string::npos;
        const std::string text = !v.empty() && v[0] == '\'' ? v.substr(1) : v;
        names += (names.empty() ? "`" : ", `") + columns[i] + "`";
        cells += (cells.empty() ? "" : ", ") + (bare ? v : "'" + text + "'");
    }
    return "INSERT INTO `" + table + "` (" + names + ") VALUES (" + cells + ")";
}

inline std::string DirRow(const std::string& key, const std::string& parent, const std::string& defaultDir)
{
    return Insert("Directory", {"Directory", "Directory_Parent", "DefaultDir"}, {key, parent, defaultDir});
}
inline std::string CustomActionRow(const std::string& action, int type, const std::string& source = "x")
{
    return Insert("CustomAction", {"Action", "Type", "Source"}, {action, std::to_string(type), source});
}
inline std::string SequenceRow(const std::string& table, const std::string& action, int sequence)
{
    return Insert(table, {"Action", "Sequence"}, {action, std::to_string(sequence)});
}
inline std::string ComponentRow(const std::string& key, const std::string& directory, const std::string& condition)
{
    return Insert("Component", {"Component", "ComponentId", "Directory_", "Attributes", "Condition"},
                  {key, "{11111111-1111-1111-1111-111111111111}", directory, "0", condition});
}
inline std::string FileRow(const std::string& key, const std::string& component)
{
    return Insert("File", {"File", "Component_", "FileName", "FileSize", "Sequence"},
                  {key, component, key + ".txt", "10", "1"});
}

// Sets the Word Count (property 15) of the summary stream written by
// msibuild, in place: the stream is small and stands in one piece.
inline void SetWordCount(const std::string& msi, int32_t value)
{
    std::ifstream in(msi, std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    static const unsigned char kFmtid[16] = {0xe0, 0x85, 0x9f, 0xf2, 0xf9, 0x4f, 0x68, 0x10,
                                             0xab, 0x91, 0x08, 0x00, 0x2b, 0x27, 0xb3, 0xd9};
    auto u32 = [&](size_t at) {
        if (at + 4 > bytes.size())
            throw std::runtime_error("summary stream out of range");
        uint32_t v;
        std::memcpy(&v, &bytes[at], 4);
        return v;
    };
    for (size_t i = 28; i + 20 <= bytes.size(); ++i) {
        if (std::memcmp(&bytes[i], kFmtid, 16) != 0)
            continue;
        const size_t section = i - 28 + u32(i + 16);
        const uint32_t count = u32(section + 4);
        for (uint32_t k = 0; k < count && k < 64; ++k) {
            if (u32(section + 8 + 8 * k) != 15)
                continue;
            const size_t at = section + u32(section + 12 + 8 * k);
            if (u32(at) != 3)
                throw std::runtime_error("Word Count is not an integer");
            std::memcpy(&bytes[at + 4], &value, 4);
            std::ofstream out(msi, std::ios::binary | std::ios::trunc);
            out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            return;
        }
    }
    throw std::runtime_error("no Word Count in " + msi);
}

// Runs one export over the package: its delivered lines, banner first.
inline Lines RunCheck(Export check, const std::string& msi)
{
    qvtest::Session session(msi);
    EXPECT_EQ(check(session.handle()), 0u);
    return session.lines;
}

// Builds the package in a temporary folder of its own, with the given Word
// Count unless it is negative, and runs one export over it.
inline Lines RunOn(Export check, const std::vector<std::string>& queries, int32_t wordCount = -1)
{
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(dir, "package", queries);
    if (wordCount >= 0)
        SetWordCount(msi, wordCount);
    return RunCheck(check, msi);
}

// The banner followed by the given lines.
inline Lines With(const std::wstring& banner, const Lines& findings)
{
    Lines all{banner};
    all.insert(all.end(), findings.begin(), findings.end());
    return all;
}

}  // namespace groupa
