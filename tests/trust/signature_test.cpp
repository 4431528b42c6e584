// The POSIX signature function over images signed with osslsigncode by a test
// CA, with and without that CA trusted, and QVICE02 over a package of them.
#include <filesystem>

#include "checks/ice/executable_content.h"
#include "checks/uwp_fixture.h"
#include "platform/posix/inspect/authenticode.h"
#include "platform/posix/kernel/paths.h"
#include "trust_support.h"

namespace {

using trusttest::Signed;

HRESULT Verdict(const std::string& path, DWORD flags = MSI_INVALID_HASH_IS_FATAL)
{
    const std::wstring wide = qv::posix::windows_path_from_posix(path);
    PCCERT_CONTEXT certificate = reinterpret_cast<PCCERT_CONTEXT>(&flags);
    const HRESULT result = MsiGetFileSignatureInformationW(wide.c_str(), flags, &certificate, nullptr, nullptr);
    EXPECT_EQ(certificate, nullptr);
    return result;
}

class Trust : public ::testing::Test {
protected:
    void SetUp() override { qv::ResetTrustedRoots(); }
    void TearDown() override
    {
        qv::ResetTrustedRoots();
        qv::SetShippedRootsFolder("");
    }
};

TEST_F(Trust, VerdictsWithAndWithoutTheTestRoot)
{
    const Signed& s = Signed::Get();
    // Without the test root the chain ends at an unknown issuer.
    EXPECT_EQ(Verdict(s.Path("signed.exe")), CERT_E_UNTRUSTEDROOT);
    EXPECT_EQ(Verdict(s.Path("app.exe")), TRUST_E_NOSIGNATURE);

    std::string reason;
    ASSERT_TRUE(qv::AddTrustedRoots(s.ca(), reason)) << reason;
    EXPECT_EQ(Verdict(s.Path("signed.exe")), S_OK);
    EXPECT_EQ(Verdict(s.Path("sha1.exe")), S_OK);
    EXPECT_EQ(Verdict(s.Path("app.exe")), TRUST_E_NOSIGNATURE);
    EXPECT_EQ(Verdict(s.Path("tampered.exe")), TRUST_E_BAD_DIGEST);
    // A changed byte only fails the call when the hash is fatal.
    EXPECT_EQ(Verdict(s.Path("tampered.exe"), 0), S_OK);
    EXPECT_EQ(Verdict(s.Path("mail.exe")), CERT_E_WRONG_USAGE);
    EXPECT_EQ(Verdict(s.Path("a.c")), TRUST_E_NOSIGNATURE);
    EXPECT_EQ(Verdict(s.Path("missing.exe")), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Verdict(std::filesystem::path(s.Path("a.c")).parent_path().string()),
              HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Verdict(s.Path("signed.exe"), 2), E_INVALIDARG);

    qv::ResetTrustedRoots();
    EXPECT_EQ(Verdict(s.Path("signed.exe")), CERT_E_UNTRUSTEDROOT);
}

TEST_F(Trust, AddedRootsNeedAReadablePemFileShippedOnesAFolder)
{
    const Signed& s = Signed::Get();
    // The folder's *.pem and *.crt files; other names and missing folders add nothing.
    const std::string folder = std::filesystem::path(s.ca()).parent_path().string();
    EXPECT_EQ(qv::SetShippedRootsFolder(folder), 3u);  // ca.pem, code.pem, mail.pem
    EXPECT_EQ(Verdict(s.Path("signed.exe")), S_OK);
    EXPECT_EQ(qv::SetShippedRootsFolder(folder + "/none"), 0u);
    EXPECT_EQ(Verdict(s.Path("signed.exe")), CERT_E_UNTRUSTEDROOT);

    std::string reason;
    EXPECT_FALSE(qv::AddTrustedRoots(s.Path("none.pem"), reason));
    EXPECT_EQ(reason, "cannot read " + s.Path("none.pem"));
    EXPECT_FALSE(qv::AddTrustedRoots(s.Path("a.c"), reason));
    EXPECT_EQ(reason, "no PEM certificate in " + s.Path("a.c"));
    EXPECT_EQ(Verdict(s.Path("signed.exe")), CERT_E_UNTRUSTEDROOT);
}

TEST_F(Trust, SignedHashIsTheRecomputedImageHash)
{
    const Signed& s = Signed::Get();
    std::string reason;
    ASSERT_TRUE(qv::AddTrustedRoots(s.ca(), reason));
    const std::wstring wide = qv::posix::windows_path_from_posix(s.Path("signed.exe"));
    PCCERT_CONTEXT certificate = nullptr;
    DWORD size = 0;
    ASSERT_EQ(MsiGetFileSignatureInformationW(wide.c_str(), 1, &certificate, nullptr, &size), S_OK);
    ASSERT_EQ(size, 32u);
    BYTE hash[32];
    DWORD small = 31;
    EXPECT_EQ(MsiGetFileSignatureInformationW(wide.c_str(), 1, &certificate, hash, &small),
              HRESULT_FROM_WIN32(ERROR_MORE_DATA));
    EXPECT_EQ(small, 32u);
    ASSERT_EQ(MsiGetFileSignatureInformationW(wide.c_str(), 1, &certificate, hash, &size), S_OK);
    const trusttest::Bytes image = trusttest::ReadFile(s.Path("signed.exe"));
    EXPECT_EQ(trusttest::Bytes(hash, hash + 32), qv::posix::AuthenticodeImageHash(image.data(), image.size(), "SHA256"));
    // The unsigned image hashes the same: signing touches only what the hash leaves out.
    const trusttest::Bytes plain = trusttest::ReadFile(s.Path("app.exe"));
    EXPECT_EQ(qv::posix::AuthenticodeImageHash(plain.data(), plain.size(), "SHA256"),
              qv::posix::AuthenticodeImageHash(image.data(), image.size(), "SHA256"));
}

// QVICE02 over files beside the package: extensions from _QVSignedExtension
// with and without their dot, in any case.
TEST_F(Trust, QVICE02ReportsEveryUnsignedFileOfASignedExtension)
{
    const Signed& s = Signed::Get();
    std::string reason;
    ASSERT_TRUE(qv::AddTrustedRoots(s.ca(), reason));
    const auto read = [&](const char* name) { return trusttest::ReadFile(s.Path(name)); };
    const std::vector<std::string> extensions = {
        "CREATE TABLE `_QVSignedExtension` (`Extension` CHAR(32) NOT NULL PRIMARY KEY `Extension`)",
        uwptest::Insert("_QVSignedExtension", {"Extension"}, {"exe"}),
        uwptest::Insert("_QVSignedExtension", {"Extension"}, {".DLL"})};
    const std::vector<uwptest::FileSpec> files = {{"Good", "GOOD.EXE|Good Tool.exe", read("signed.exe")},
                                                  {"Bad", "bad.exe", read("tampered.exe")},
                                                  {"Plain", "plain.Dll", read("app.exe")},
                                                  {"Text", "note.txt", read("app.exe")},
                                                  {"Gone", "gone.exe", std::nullopt},
                                                  {"Mail", "mail.exe", read("mail.exe")}};
    auto unsigned_ = [](const std::wstring& name, const std::wstring& extension, const std::wstring& key) {
        return uwptest::At(L"QVICE02", 1,
                           L"File " + name + L" in Component Main is not digitally signed. All " + extension +
                               L" files distributed to Windows Vista and later must be signed.",
                           key);
    };
    const std::wstring banner =
        L"QVICE02\t3\tQVICE02 - Validate that all executable files included with the installation are digitally "
        L"signed";
    EXPECT_EQ(uwptest::RunUwp(QVICE02, files, extensions),
              uwptest::With(banner, {unsigned_(L"bad.exe", L".exe", L"Bad"), unsigned_(L"plain.Dll", L".Dll", L"Plain"),
                                     uwptest::At(L"QVICE02", 1,
                                                 L"File gone.exe in Component Main could not be found. All tests "
                                                 L"against this file's contents may be invalid.",
                                                 L"Gone"),
                                     unsigned_(L"gone.exe", L".exe", L"Gone"), unsigned_(L"mail.exe", L".exe", L"Mail")}));
    // IsSigned's debug lines frame the check of each file it reaches.
    const uwptest::Lines debug =
        uwptest::RunUwp(QVICE02, {files[0], files[4]},
                        {extensions[0], extensions[1], qvtest::kPropertyTable,
                         qvtest::PropertyRow("_QV_DEBUGGING_ACTION", "1")});
    uwptest::Lines cert;
    std::copy_if(debug.begin(), debug.end(), std::back_inserter(cert),
                 [](const std::wstring& l) { return l.find(L"digital cert") != l.npos; });
    EXPECT_EQ(cert, (uwptest::Lines{L"QVICE02\t3\tChecking digital cert for file Good",
                                    L"QVICE02\t3\tDone checking digital cert"}));
    // Without the table no file is looked at.
    EXPECT_EQ(uwptest::RunUwp(QVICE02, files), uwptest::With(banner, {}));
    // Without the test root nothing of it is signed.
    qv::ResetTrustedRoots();
    EXPECT_EQ(uwptest::RunUwp(QVICE02, {files[0]}, extensions),
              uwptest::With(banner, {unsigned_(L"Good Tool.exe", L".exe", L"Good")}));
}

}  // namespace
