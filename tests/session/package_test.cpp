// A session over a real package file built with msibuild: the database
// engine, OpenSession and the session API together.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/posix/api/database_posix.h"
#include "platform/posix/runner.h"
#include "platform/posix/winapi/msi.h"

namespace {

std::string temp_dir() {
    std::string templ = std::string(QV_TEST_BINARY_DIR) + "/session_pkg_XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    const char* dir = mkdtemp(buf.data());
    return dir ? dir : "";
}

void write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

std::wstring call(UINT (*fn)(MSIHANDLE, LPCWSTR, LPWSTR, LPDWORD), MSIHANDLE h, const wchar_t* name) {
    wchar_t buffer[400];
    DWORD size = 400;
    if (fn(h, name, buffer, &size) != ERROR_SUCCESS) return L"<error>";
    return std::wstring(buffer, size);
}

TEST(SessionOverPackage, PathsAndMessagesOfABuiltPackage) {
    const std::string dir = temp_dir();
    ASSERT_FALSE(dir.empty());
    write(dir + "/Property.idt",
          "Property\tValue\ns72\tl0\nProperty\tProperty\nProductName\tQV Probe\nALLUSERS\t1\n");
    write(dir + "/Directory.idt",
          "Directory\tDirectory_Parent\tDefaultDir\ns72\tS72\tl255\nDirectory\tDirectory\n"
          "TARGETDIR\t\tSourceDir\nProgramFilesFolder\tTARGETDIR\tPFiles\n"
          "INSTALLDIR\tProgramFilesFolder\tQVPROBE|QV Probe\nDocs\tINSTALLDIR\tDOCS|Help Docs\n");
    write(dir + "/Component.idt",
          "Component\tComponentId\tDirectory_\tAttributes\tCondition\tKeyPath\n"
          "s72\tS38\ts72\ti2\tS255\tS72\nComponent\tComponent\n"
          "Main\t{11111111-2222-3333-4444-555555555555}\tDocs\t0\t\tReadme\n");
    write(dir + "/File.idt",
          "File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\n"
          "s72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\nFile\tFile\n"
          "Readme\tMain\tREADME~1.TXT|Read Me.txt\t10\t\t\t8192\t1\n");
    const int rc = std::system(("cd '" + dir + "' && msibuild probe.msi -i Property.idt -i Directory.idt"
                                " -i Component.idt -i File.idt > build.log 2>&1")
                                   .c_str());
    ASSERT_EQ(rc, 0);

    std::string reason;
    MSIHANDLE db = qv::posix::OpenDatabase(dir + "/probe.msi", reason);
    ASSERT_NE(db, 0u) << reason;
    std::vector<std::wstring> lines;
    MSIHANDLE install = qv::posix::OpenSession(db, dir + "/probe.msi", [&](INSTALLMESSAGE, const std::wstring& t) {
        lines.push_back(t);
        return 1;
    });
    ASSERT_NE(install, 0u);

    std::wstring folder = L"Z:";
    for (char c : dir) folder += c == '/' ? L'\\' : static_cast<wchar_t>(c);
    folder += L'\\';

    for (const wchar_t* action : {L"CostInitialize", L"ResolveSource"})
        EXPECT_EQ(MsiDoActionW(install, action), ERROR_SUCCESS);
    EXPECT_EQ(call(MsiGetPropertyW, install, L"SourceDir"), folder);
    EXPECT_EQ(call(MsiGetPropertyW, install, L"Docs"), folder + L"PFiles\\QV Probe\\Help Docs\\");
    for (const wchar_t* action : {L"FileCost", L"CostFinalize"})
        EXPECT_EQ(MsiDoActionW(install, action), ERROR_SUCCESS);
    EXPECT_EQ(call(MsiGetPropertyW, install, L"Docs"), L"C:\\Program Files (x86)\\QV Probe\\Help Docs\\");
    EXPECT_EQ(call(MsiGetSourcePathW, install, L"Docs"), folder + L"PFiles\\QV Probe\\Help Docs\\");
    EXPECT_EQ(call(MsiGetPropertyW, install, L"DesktopFolder"), L"C:\\Users\\Public\\Desktop\\");

    MSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 0, L"QVBP01\t3\t[ProductName]: [#Readme] [\\[]1[\\]]");
    EXPECT_EQ(MsiProcessMessage(install, INSTALLMESSAGE_USER, record), 1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], L"QVBP01\t3\tQV Probe: C:\\Program Files (x86)\\QV Probe\\Help Docs\\Read Me.txt [1]");
    MsiCloseHandle(record);
    MsiCloseHandle(install);
    MsiCloseHandle(db);
    std::system(("rm -rf '" + dir + "'").c_str());
}

}  // namespace
