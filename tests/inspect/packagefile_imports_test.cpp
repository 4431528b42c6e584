// CheckImportedApis, CheckVb6Dependency and CheckAppSecurity on files out of
// an embedded cabinet, with the API lists read from the package's
// _QVDeprecatedApi table.
#include "packagefile_support.h"

namespace {

using namespace pftest;

const char* kApiTable =
    "CREATE TABLE `_QVDeprecatedApi` (`Module` CHAR(72) NOT NULL, `Function` CHAR(72) NOT NULL, `Kind` SHORT "
    "PRIMARY KEY `Module`, `Function`)";

std::string ApiRow(const std::string& module, const std::string& function, int kind)
{
    return "INSERT INTO `_QVDeprecatedApi` (`Module`, `Function`, `Kind`) VALUES ('" + module + "', '" + function +
           "', " + std::to_string(kind) + ")";
}

TEST(PackageFileImports, ListedImportsOfTheRequestedKindByOrdinalAndByName)
{
    TempDir dir;
    // Module names ignore case, function names do not; kind must match.
    const std::string msi = ImagePackage(dir, {kApiTable, ApiRow("ORDLIB.DLL", "7", 2),
                                               ApiRow("msvbvm60.dll", "rtcMsgBox", 2),
                                               ApiRow("kernel32.dll", "GetVersion", 1),
                                               ApiRow("kernel32.dll", "getversion", 2)});
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
            if (file->GetKey() == L"App" || file->GetKey() == L"Wide" || file->GetKey() == L"Gone") {
                file->CheckImportedApis(2, 137, 1);
                file->CheckImportedApis(1, 138, 2);
            }
        }
    });
    const std::wstring obsolete = L"QVPROBE\t1\tFile App.exe in Component Main imports obsolete API ";
    EXPECT_EQ(lines, (Lines{
                         // In the image's import order.
                         obsolete + L"ordlib.dll!7",
                         obsolete + L"msvbvm60.dll!rtcMsgBox",
                         L"QVPROBE\t2\tFile App.exe in Component Main imports deprecated API KERNEL32.dll!GetVersion",
                         L"QVPROBE\t1\tFile wide.exe in Component Main imports obsolete API ordlib.dll!7",
                         L"QVPROBE\t1\tFile wide.exe in Component Main imports obsolete API msvbvm60.dll!rtcMsgBox",
                         L"QVPROBE\t2\tFile wide.exe in Component Main imports deprecated API "
                         L"KERNEL32.dll!GetVersion",
                         Lost(L"gone.dll", L"Gone"),
                         Lost(L"gone.dll", L"Gone"),
                     }));
}

TEST(PackageFileImports, Vb6RuntimeAndSecurityBits)
{
    TempDir dir;
    const std::string msi = ImagePackage(dir);
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        ContentInspector inspector(&probe);
        for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
            if (file->GetKey() == L"App" || file->GetKey() == L"Wide" || file->GetKey() == L"Net")
                file->CheckAppSecurity(214, 1);
            if (file->GetKey() != L"Text" && file->GetKey() != L"Dos")
                file->CheckVb6Dependency(209, 2);
        }
    });
    const std::wstring security = L"' in Component 'Main' does not have the Option Header bit ";
    const std::wstring vb6 = L"' in Component 'Main' depends on the VB6 runtime.";
    // The built managed image has no bits set and no imports; the
    // unreachable file is reported by the one operation that asks for it.
    EXPECT_EQ(lines, (Lines{
                         L"QVPROBE\t1\tFile 'App" + security + L"DYNAMICBASE set.",
                         L"QVPROBE\t1\tFile 'App" + security + L"NXCOMPAT set.",
                         L"QVPROBE\t1\tFile 'App" + security + L"safeSEH set.",
                         L"QVPROBE\t2\tFile 'App.exe" + vb6,
                         L"QVPROBE\t2\tFile 'wide.exe" + vb6,
                         L"QVPROBE\t1\tFile 'Net" + security + L"DYNAMICBASE set.",
                         L"QVPROBE\t1\tFile 'Net" + security + L"NXCOMPAT set.",
                         Lost(L"gone.dll", L"Gone"),
                     }));
}

}  // namespace
