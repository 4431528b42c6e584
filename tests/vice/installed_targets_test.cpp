// InstalledTargets: the target paths of all package files, filled by the
// first check that asks and kept until the library state is reset.
#include "checks/vice/package_wide.h"
#include "vice_fixture.h"

namespace {

using namespace vicetest;

std::string Package(const qvtest::TempDir& dir, const std::string& name, const std::vector<std::string>& files)
{
    std::vector<std::string> queries = {groupa::kDirectoryTable,
                                        groupa::DirRow("TARGETDIR", "", "SourceDir"),
                                        groupa::DirRow("INSTALLDIR", "TARGETDIR", "App"),
                                        groupa::kComponentTable,
                                        groupa::ComponentRow("Main", "INSTALLDIR", ""),
                                        groupa::kFileTable};
    int sequence = 0;
    for (const std::string& file : files)
        queries.push_back(Insert("File", {"File", "Component_", "FileName", "FileSize", "Sequence"},
                                 {file, "Main", file, "1", std::to_string(++sequence)}));
    return qvtest::BuildPackage(dir, name, queries);
}

std::vector<std::wstring> Targets(const std::string& msi)
{
    qvtest::Session session(msi);
    CQVVice11 check(session.handle());
    std::vector<std::wstring> paths;
    for (const auto& path : check.InstalledTargets())
        paths.push_back(path.str());
    return paths;
}

TEST(InstalledTargets, FilledOncePerLoad)
{
    qvtest::TempDir dir;
    const std::string first = Package(dir, "first", {"b.exe", "A.dll"});
    const std::string second = Package(dir, "second", {"c.exe"});
    QvResetLibraryState();
    const std::vector<std::wstring> firstTargets = Targets(first);
    // Ordered without regard to case.
    EXPECT_EQ(firstTargets, (std::vector<std::wstring>{L"C:\\App\\A.dll", L"C:\\App\\b.exe"}));
    // A second check in the same load sees the first package's files.
    EXPECT_EQ(Targets(second), firstTargets);
    QvResetLibraryState();
    EXPECT_EQ(Targets(second), std::vector<std::wstring>{L"C:\\App\\c.exe"});
    QvResetLibraryState();
}

}  // namespace
