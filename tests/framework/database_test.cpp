// The database helpers over fixture packages: table tests, first-row
// fetches, long fields, formatted records and the installer error path.
#include "database/views.h"
#include "platform/posix/api/database_posix.h"
#include "framework/fixture.h"

namespace {

using qvtest::BuildPackage;
using qvtest::Session;
using qvtest::TempDir;

std::string Repeat(char c, size_t n) { return std::string(n, c); }

class DatabaseHelpers : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_dir = new TempDir;
        s_msi = BuildPackage(
            *s_dir, "helpers",
            {qvtest::kPropertyTable, qvtest::PropertyRow("ProductName", "Quill"),
             qvtest::PropertyRow("Long2047", Repeat('a', 2047)), qvtest::PropertyRow("Long2048", Repeat('b', 2048)),
             qvtest::PropertyRow("Long5000", Repeat('c', 5000)),
             "CREATE TABLE `Nothing` (`Key` CHAR(72) NOT NULL PRIMARY KEY `Key`)"});
    }
    static void TearDownTestSuite()
    {
        delete s_dir;
        s_dir = nullptr;
    }

    static TempDir* s_dir;
    static std::string s_msi;
};

TempDir* DatabaseHelpers::s_dir = nullptr;
std::string DatabaseHelpers::s_msi;

TEST_F(DatabaseHelpers, TablePresenceAndEmptiness)
{
    Session session(s_msi);
    const MSIHANDLE db = session.database();
    for (auto [table, present] :
         {std::pair{L"Property", true}, {L"Nothing", true}, {L"Feature", false}, {L"property", false}})
        EXPECT_EQ(TablePresent(db, table), present) << table;
    for (auto [table, none] : {std::pair{L"Feature", true}, {L"Nothing", true}, {L"Property", false}})
        EXPECT_EQ(TableEmptyOrAbsent(db, table), none) << table;
    for (auto [name, exists] : {std::pair{L"ProductName", true}, {L"productname", false}, {L"Missing", false}})
        EXPECT_EQ(PropertyRowExists(db, name), exists) << name;
}

TEST_F(DatabaseHelpers, FirstRowFetches)
{
    Session session(s_msi);
    const MSIHANDLE db = session.database();
    MSIHANDLE view = 0, record = 0;
    EXPECT_EQ(FetchFirst(view, db, record, L"SELECT * FROM `%s`", L"Nothing"), ERROR_NO_MORE_ITEMS);
    EXPECT_NE(view, 0u);
    EXPECT_EQ(record, 0u);

    EXPECT_EQ(FetchFirst(view, db, record, L"SELECT * FROM `%s` WHERE `%s` = '%s'", L"Property", L"Property",
                         L"ProductName"),
              ERROR_SUCCESS);
    EXPECT_EQ(RecordFieldString(record, 2), L"Quill");

    EXPECT_EQ(TryFetchFirst(view, db, record, L"SELECT * FROM `%s`", L"Missing"), ERROR_BAD_QUERY_SYNTAX);
    EXPECT_EQ(TryFetchFirst(view, db, record, L"SELECT * FROM `%s`", L"Nothing"), ERROR_NO_MORE_ITEMS);
    EXPECT_THROW(FetchFirst(view, db, record, L"SELECT * FROM `%s`", L"Missing"), com_exception);
    MsiCloseHandle(view);
    MsiCloseHandle(record);
}

TEST_F(DatabaseHelpers, FetchLoopVisitsEveryRowAndClosesItsHandles)
{
    Session session(s_msi);
    std::vector<std::wstring> names;
    MSIHANDLE seen = 0;
    ForEachRow(
        session.database(),
        [&](MSIHANDLE record) {
            seen = record;
            names.push_back(RecordFieldString(record, 1).str());
        },
        L"SELECT `Property` FROM `Property` ORDER BY `Property`");
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Long2047", L"Long2048", L"Long5000", L"ProductName"}));
    EXPECT_EQ(MsiRecordGetFieldCount(seen), static_cast<UINT>(-1));  // closed on the way out
}

// A fetched row's texts stay with the record: after the package gains
// thousands of texts, and after its view and database close.
TEST_F(DatabaseHelpers, AFetchedRowKeepsItsTextsWhileThePackageGrowsAndCloses)
{
    const std::wstring wide(s_msi.begin(), s_msi.end());
    MSIHANDLE db = 0, view = 0, record = 0;
    ASSERT_EQ(MsiOpenDatabaseW(wide.c_str(), MSIDBOPEN_READONLY, &db), ERROR_SUCCESS);
    ASSERT_EQ(FetchFirst(view, db, record, L"SELECT `Property`, `Value` FROM `Property` WHERE `Property` = '%s'",
                         L"ProductName"),
              ERROR_SUCCESS);
    for (int i = 0; i < 3000; ++i)
        ASSERT_TRUE(qv::posix::SetPropertyRow(db, L"Grown" + std::to_wstring(i), std::to_wstring(i)));
    // The row is as it was when fetched, even where the table changed since.
    ASSERT_TRUE(qv::posix::SetPropertyRow(db, L"ProductName", L"Other"));
    EXPECT_EQ(RecordFieldString(record, 2), L"Quill");
    MsiCloseHandle(view);
    MsiCloseHandle(db);
    EXPECT_EQ(RecordFieldString(record, 1), L"ProductName");
    EXPECT_EQ(RecordFieldString(record, 2), L"Quill");
    EXPECT_EQ(MsiRecordDataSize(record, 1), 11u);
    EXPECT_EQ(MsiRecordIsNull(record, 2), FALSE);
    MsiCloseHandle(record);
}

TEST_F(DatabaseHelpers, LongFieldsInlineAndOnTheHeap)
{
    Session session(s_msi);
    struct Case {
        const wchar_t* name;
        size_t length;
        bool heap;
    };
    for (const Case c : {Case{L"Long2047", 2047, false}, Case{L"Long2048", 2048, true}, Case{L"Long5000", 5000, true},
                         Case{L"ProductName", 5, false}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.name)));
        MSIHANDLE view = 0, record = 0;
        ASSERT_EQ(TryFetchFirst(view, session.database(), record, L"SELECT * FROM `Property` WHERE `Property` = '%s'",
                                c.name),
                  ERROR_SUCCESS);
        RecordString text(record, 2);
        ASSERT_NE(text.Text(), nullptr);
        EXPECT_EQ(std::wcslen(text.Text()), c.length);
        EXPECT_EQ(text.OnHeap(), c.heap);
        EXPECT_EQ(RecordFieldString(record, 2).size(), c.length);
        MsiCloseHandle(record);
        MsiCloseHandle(view);
    }
    RecordString broken(0, 1);
    EXPECT_EQ(broken.Result(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(broken.Text(), nullptr);
}

TEST_F(DatabaseHelpers, QueriesAreCutAt2047Characters)
{
    wchar_t query[qv::kQueryCapacity];
    const std::wstring value(3000, L'v');
    qv::FormatQuery(query, L"SELECT * FROM `%s` WHERE `%s` = '%s'", L"Property", L"Property", value.c_str());
    const std::wstring text(query);
    EXPECT_EQ(text.size(), 2047u);
    EXPECT_EQ(text.substr(0, 46), L"SELECT * FROM `Property` WHERE `Property` = 'v");
}

TEST_F(DatabaseHelpers, FormattedRecordPutsTheTextInFieldOne)
{
    Session session(s_msi);
    const auto text = [](MSIHANDLE install, const wchar_t* templ) {
        FormattedRecord record(install, templ);
        return record.Text() ? std::wstring(record.Text()) : L"<null>";
    };
    EXPECT_EQ(text(session.handle(), L"[ProductName] x"), L"1: Quill x ");
    EXPECT_EQ(text(0, L"[ProductName]"), L"1: [ProductName] ");
    const std::wstring longText(3000, L'z');
    EXPECT_EQ(text(session.handle(), longText.c_str()), L"1: " + longText + L" ");
}

// ---- CheckInstallerResult ----------------------------------------------------------

struct Caught {
    HRESULT code = 0;
    std::wstring description;
    bool thrown = false;
};

Caught Check(UINT result, const wchar_t* name, const wchar_t* arg1 = L"", const wchar_t* arg2 = L"", int flag = 0)
{
    // No installer error record is pending.
    MsiCloseHandle(MsiGetLastErrorRecord());
    Caught caught;
    try {
        CheckInstallerResult(result, name, arg1, arg2, flag);
    } catch (const com_exception& e) {
        caught.thrown = true;
        caught.code = e.Error();
        caught.description = e.Description().str();
    }
    return caught;
}

TEST(CheckInstallerResult, ComposesSystemTextNameAndArguments)
{
    EXPECT_FALSE(Check(0, L"MsiViewFetch").thrown);

    Caught c = Check(1, L"MsiViewFetch");
    EXPECT_TRUE(c.thrown);
    EXPECT_EQ(static_cast<uint32_t>(c.code), 0x80070001u);
    EXPECT_EQ(c.description, L"Incorrect function.\r\nMsiViewFetch()");

    c = Check(ERROR_INVALID_HANDLE, L"MsiRecordGetString", L"File");
    EXPECT_EQ(static_cast<uint32_t>(c.code), 0x80070006u);
    EXPECT_EQ(c.description, L"The handle is invalid.\r\nMsiRecordGetString(File)");

    c = Check(ERROR_INVALID_HANDLE, L"Name", L"a", L"b");
    EXPECT_EQ(c.description, L"The handle is invalid.\r\nName(a, b)");

    // An empty first argument hides the second.
    c = Check(ERROR_INVALID_HANDLE, L"Name", L"", L"b");
    EXPECT_EQ(c.description, L"The handle is invalid.\r\nName()");

    // A negative result is an HRESULT already; the high word of a Win32 code is dropped.
    c = Check(static_cast<UINT>(E_FAIL), L"X");
    EXPECT_EQ(c.code, E_FAIL);
    c = Check(0x00120006u, L"X");
    EXPECT_EQ(static_cast<uint32_t>(c.code), 0x80070006u);

    // The flag throws its own code before the HRESULT's.
    c = Check(ERROR_INVALID_HANDLE, L"X", L"", L"", 1);
    EXPECT_EQ(static_cast<uint32_t>(c.code), 0x800403E8u);
    EXPECT_EQ(c.description, L"The handle is invalid.\r\nX()");
}

TEST(CheckInstallerResult, UsesTheInstallerErrorRecord)
{
    TempDir dir;
    Session session(BuildPackage(dir, "err", {qvtest::kPropertyTable}));
    MSIHANDLE view = 0;
    const UINT result = MsiDatabaseOpenViewW(session.database(), L"SELECT * FROM `Absent`", &view);
    ASSERT_NE(result, ERROR_SUCCESS);
    try {
        CheckInstallerResult(result, L"MsiOpenDatabaseView");
        FAIL() << "no exception";
    } catch (const com_exception& e) {
        EXPECT_EQ(e.Error(), HRESULT_FROM_WIN32(result));
        const std::wstring text = e.Description().str();
        EXPECT_EQ(text.rfind(L"Windows Installer Error ", 0), 0u) << text;
        EXPECT_NE(text.find(L"Absent"), std::wstring::npos) << text;
        EXPECT_EQ(text.substr(text.size() - 22), L"\nMsiOpenDatabaseView()") << text;
    }
}

}  // namespace

namespace {

TEST(ComException, ReadsTheThreadsErrorObjectOrTheSystemText)
{
    // No error object: the system's text for the code, or "Unknown error".
    IErrorInfo* stale = nullptr;
    if (GetErrorInfo(0, &stale) == S_OK && stale)
        stale->Release();
    com_exception plain(E_FAIL);
    EXPECT_EQ(plain.Error(), E_FAIL);
    EXPECT_EQ(plain.Description(), L"Unspecified error\r\n");
    EXPECT_TRUE(plain.Source().empty());
    EXPECT_EQ(com_exception(static_cast<HRESULT>(0x8123ABCD)).Description(), L"Unknown error");

    // An error object gives description, interface and source; the object is
    // taken from the thread.
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    wchar_t description[] = L"broken view";
    wchar_t source[] = L"No.Such.ProgId";
    const GUID iid = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
    create->SetDescription(description);
    create->SetSource(source);
    create->SetGUID(iid);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    ASSERT_EQ(SetErrorInfo(0, info), S_OK);
    info->Release();
    create->Release();

    com_exception rich(E_INVALIDARG);
    EXPECT_EQ(rich.Error(), E_INVALIDARG);
    EXPECT_EQ(rich.Description(), L"broken view");
    EXPECT_EQ(rich.Source(), L"No.Such.ProgId");
    EXPECT_TRUE(rich.InterfaceGuid() == iid);
    EXPECT_TRUE(rich.SourceClass() == GUID_NULL);
    EXPECT_STREQ(rich.what(), "broken view");
    const com_exception copy(rich);
    EXPECT_EQ(copy.Description(), L"broken view");

    com_exception after(E_FAIL);
    EXPECT_EQ(after.Description(), L"Unspecified error\r\n");
}

}  // namespace
