// The session through the installer API, as the check framework uses it:
// a finding line delivered through MsiProcessMessage, properties with the
// buffer protocol, the cost-action guard, paths and MsiFormatRecordW.
#include <gtest/gtest.h>

#include <vector>

#include "platform/posix/api/handles.h"
#include "platform/posix/runner.h"
#include "platform/posix/winapi/msi.h"
#include "session/fixture.h"

namespace qv::posix::session {
namespace {

struct Delivered {
    int type;
    std::wstring text;
};

class SessionApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto db = test::probe_database();
        test::add_table(*db, L"Error", {L"Error", L"Message"},
                        {{1302, L"Disk [2] is full{ on [3]}."}, {1303, {}}});
        auto object = std::make_shared<winapi::DatabaseObject>();
        object->db = db;
        object->name = L"/home/u/pkg/probe.msi";
        database = winapi::register_handle(object);
        install = OpenSession(database, "/home/u/pkg/probe.msi", [this](INSTALLMESSAGE type, const std::wstring& text) {
            delivered.push_back({static_cast<int>(type), text});
            return reply;
        });
        ASSERT_NE(install, 0u);
    }
    void TearDown() override {
        MsiCloseHandle(install);
        MsiCloseHandle(database);
    }
    std::wstring get(const wchar_t* name) {
        wchar_t buffer[300];
        DWORD size = 300;
        EXPECT_EQ(MsiGetPropertyW(install, name, buffer, &size), ERROR_SUCCESS);
        return std::wstring(buffer, size);
    }
    std::wstring format(MSIHANDLE session, MSIHANDLE record) {
        wchar_t buffer[600];
        DWORD size = 600;
        EXPECT_EQ(MsiFormatRecordW(session, record, buffer, &size), ERROR_SUCCESS);
        return std::wstring(buffer, size);
    }

    MSIHANDLE database = 0;
    MSIHANDLE install = 0;
    int reply = 1;
    std::vector<Delivered> delivered;
};

TEST_F(SessionApiTest, FindingLineIsFormattedOnDelivery) {
    MSIHANDLE record = MsiCreateRecord(1);
    ASSERT_EQ(MsiRecordSetStringW(record, 0,
                                  L"QVICE02\t1\t[ProductName] wrote [\\[]x[\\]] for "
                                  L"{8F3C2A10-4B5D-4E6F-9A7B-1C2D3E4F5A6B}\t\tFile"),
              ERROR_SUCCESS);
    reply = 2;
    EXPECT_EQ(MsiProcessMessage(install, INSTALLMESSAGE_USER, record), 2);
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0].type, INSTALLMESSAGE_USER);
    EXPECT_EQ(delivered[0].text,
              L"QVICE02\t1\tQV Probe wrote [x] for {8F3C2A10-4B5D-4E6F-9A7B-1C2D3E4F5A6B}\t\tFile");
    MsiCloseHandle(record);
}

TEST_F(SessionApiTest, NullTemplateUsesTheErrorTableForErrorsOnly) {
    MSIHANDLE record = MsiCreateRecord(3);
    MsiRecordSetInteger(record, 1, 1302);
    MsiRecordSetStringW(record, 2, L"D:");
    EXPECT_EQ(MsiProcessMessage(install, static_cast<INSTALLMESSAGE>(INSTALLMESSAGE_ERROR | 0x30), record), 1);
    EXPECT_EQ(MsiProcessMessage(install, INSTALLMESSAGE_INFO, record), 1);
    MsiRecordSetInteger(record, 1, 1303);  // a row without text
    EXPECT_EQ(MsiProcessMessage(install, INSTALLMESSAGE_WARNING, record), 1);
    ASSERT_EQ(delivered.size(), 3u);
    EXPECT_EQ(delivered[0].text, L"Disk D: is full.");
    EXPECT_EQ(delivered[1].text, L"1: 1302 2: D: 3:  ");
    EXPECT_EQ(delivered[2].text, L"1: 1303 2: D: 3:  ");
    EXPECT_EQ(MsiProcessMessage(install, INSTALLMESSAGE_USER, 0), -1);
    EXPECT_EQ(MsiProcessMessage(record, INSTALLMESSAGE_USER, record), -1);
    MsiCloseHandle(record);
}

TEST_F(SessionApiTest, PropertiesAndTheBufferProtocol) {
    EXPECT_EQ(get(L"ProductName"), L"QV Probe");
    EXPECT_EQ(get(L"NoSuchProperty"), L"");
    wchar_t small[4];
    DWORD size = 4;
    EXPECT_EQ(MsiGetPropertyW(install, L"ProductName", small, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 8u);
    size = 0;
    EXPECT_EQ(MsiGetPropertyW(install, L"ProductName", nullptr, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(MsiSetPropertyW(install, L"Mine", L"x"), ERROR_SUCCESS);
    EXPECT_EQ(get(L"Mine"), L"x");
    EXPECT_EQ(MsiSetPropertyW(install, L"Mine", nullptr), ERROR_SUCCESS);
    EXPECT_EQ(get(L"Mine"), L"");
    EXPECT_EQ(MsiSetPropertyW(install, nullptr, L"x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MsiGetPropertyW(database, L"ProductName", small, &size), ERROR_INVALID_HANDLE);
}

// The guard of the cost actions: a condition on a session property, the
// action, then the mark.
TEST_F(SessionApiTest, CostActionGuardAndPaths) {
    EXPECT_EQ(MsiEvaluateConditionW(install, L"_QVCostInitialize=\"1\""), MSICONDITION_FALSE);
    wchar_t buffer[300];
    DWORD size = 300;
    EXPECT_EQ(MsiGetTargetPathW(install, L"INSTALLDIR", buffer, &size), ERROR_DIRECTORY);
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"})
        EXPECT_EQ(MsiDoActionW(install, action), ERROR_SUCCESS) << action;
    EXPECT_EQ(MsiSetPropertyW(install, L"_QVCostInitialize", L"1"), ERROR_SUCCESS);
    EXPECT_EQ(MsiEvaluateConditionW(install, L"_QVCostInitialize=\"1\""), MSICONDITION_TRUE);
    size = 300;
    EXPECT_EQ(MsiGetTargetPathW(install, L"INSTALLDIR", buffer, &size), ERROR_SUCCESS);
    EXPECT_EQ(std::wstring(buffer, size), L"C:\\Program Files (x86)\\QV Probe\\");
    size = 300;
    EXPECT_EQ(MsiGetTargetPathW(install, L"Nowhere", buffer, &size), ERROR_DIRECTORY);
    size = 300;
    EXPECT_EQ(MsiGetSourcePathW(install, L"INSTALLDIR", buffer, &size), ERROR_SUCCESS);
    // The probe package is compressed (Word Count 2): every source is the root.
    EXPECT_EQ(std::wstring(buffer, size), L"Z:\\home\\u\\pkg\\");
    EXPECT_EQ(MsiDoActionW(install, L"ResolveSource"), ERROR_SUCCESS);
    EXPECT_EQ(get(L"SourceDir"), L"Z:\\home\\u\\pkg\\");
    EXPECT_EQ(get(L"SOURCEDIR"), L"Z:\\home\\u\\pkg\\");
    EXPECT_EQ(MsiEvaluateConditionW(install, L"("), MSICONDITION_ERROR);
    EXPECT_EQ(MsiEvaluateConditionW(install, nullptr), MSICONDITION_NONE);
    EXPECT_EQ(MsiEvaluateConditionW(database, L"1"), MSICONDITION_ERROR);
}

// FormatTargetPath's road: a template in field 1, field 0 null, and the
// first three characters and the last one taken away.
TEST_F(SessionApiTest, FormatRecordWithAndWithoutSession) {
    for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) MsiDoActionW(install, action);
    MSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 1, L"[#MainFile]");
    const std::wstring line = format(install, record);
    EXPECT_EQ(line, L"1: C:\\Program Files (x86)\\QV Probe\\readme.txt ");
    EXPECT_EQ(line.substr(3, line.size() - 4), L"C:\\Program Files (x86)\\QV Probe\\readme.txt");
    MsiRecordSetStringW(record, 0, L"[1] [ProductName]");
    MsiRecordSetStringW(record, 1, L"one");
    EXPECT_EQ(format(0, record), L"one [ProductName]");
    EXPECT_EQ(format(install, record), L"one QV Probe");
    wchar_t buffer[8];
    DWORD size = 8;
    EXPECT_EQ(MsiFormatRecordW(database, record, buffer, &size), ERROR_INVALID_HANDLE);
    EXPECT_EQ(MsiFormatRecordW(install, 0, buffer, &size), ERROR_INVALID_HANDLE);
    MsiCloseHandle(record);
}

TEST_F(SessionApiTest, ActiveDatabaseIsANewHandleEachCall) {
    MSIHANDLE a = MsiGetActiveDatabase(install);
    MSIHANDLE b = MsiGetActiveDatabase(install);
    ASSERT_NE(a, 0u);
    ASSERT_NE(b, 0u);
    EXPECT_NE(a, b);
    EXPECT_EQ(MsiDatabaseIsTablePersistentW(a, L"Property"), MSICONDITION_TRUE);
    EXPECT_EQ(MsiCloseHandle(a), ERROR_SUCCESS);
    EXPECT_EQ(MsiDatabaseIsTablePersistentW(b, L"File"), MSICONDITION_TRUE);
    EXPECT_EQ(MsiCloseHandle(b), ERROR_SUCCESS);
    EXPECT_EQ(MsiGetActiveDatabase(database), 0u);
    EXPECT_EQ(OpenSession(install, "/x.msi", nullptr), 0u);
}

}  // namespace
}  // namespace qv::posix::session
