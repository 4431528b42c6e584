// Packages for the virtualization checks: tables built with msibuild, one
// export run over them with the library state reset around it.
#pragma once

#include "checks/uwp_fixture.h"
#include "framework/check_base.h"
#include "framework/library.h"

namespace vicetest {

using groupa::Insert;
using groupa::Lines;

inline const char* kTestsTable =
    "CREATE TABLE `_QvViceFileTestEntries` (`Vice` CHAR(72) NOT NULL, `Test` CHAR(255) NOT NULL, `Value` "
    "CHAR(255) PRIMARY KEY `Vice`, `Test`)";
inline std::string TestRow(const std::string& check, const std::string& test, const std::string& value = "v")
{
    return Insert("_QvViceFileTestEntries", {"Vice", "Test", "Value"}, {check, test, value});
}

inline Lines RunPackage(groupa::Export check, const std::vector<std::string>& queries,
                        const std::string& templateText = ";1033")
{
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(dir, "package", queries, templateText);
    QvResetLibraryState();
    Lines lines = groupa::RunCheck(check, msi);
    QvResetLibraryState();
    return lines;
}

// name TAB type TAB text, then the help column and the location if any.
inline std::wstring Line(const std::wstring& check, int type, const std::wstring& text,
                         const std::vector<std::wstring>& location = {})
{
    std::wstring line = check + L"\t" + std::to_wstring(type) + L"\t" + text;
    if (!location.empty())
        line += L"\t";
    for (const std::wstring& part : location)
        line += L"\t" + part;
    return line;
}

// Catalogue text of id with its arguments filled in; checks_vice.sh compares
// the words of the long messages in full.
inline std::wstring Msg(UINT id, const std::wstring& arg1 = L"", const std::wstring& arg2 = L"")
{
    _stringx<> text;
    LoadCatalogueString(text, QvLibraryModule(), id);
    const _stringx<> a1(arg1.c_str()), a2(arg2.c_str());
    const _stringx<>* const args[] = {&a1, &a2};
    FillPlaceholders(text, args, 2);
    return text.str();
}

inline std::wstring Banner(const std::wstring& check, const std::wstring& description)
{
    return Line(check, 3, check + L" - " + description);
}

}  // namespace vicetest
