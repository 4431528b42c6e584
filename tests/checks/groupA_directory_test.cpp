// Directory helpers: long names, the walk to the top directory, paths built
// from table text, and the parts and tidying of typed folder paths.
#include "database/directory.h"
#include "database/views.h"
#include "groupA_fixture.h"

namespace {

using groupa::DirRow;
using qvtest::BuildPackage;
using qvtest::Session;
using qvtest::TempDir;

std::wstring W(const _stringx<>& s) { return std::wstring(s.data(), s.size()); }

TEST(LongNameOf, SplitsAtTheFirstBarOnly)
{
    EXPECT_EQ(W(LongNameOf(L"PROGRA~1|Program Files")), L"Program Files");
    EXPECT_EQ(W(LongNameOf(L"Plain")), L"Plain");
    EXPECT_EQ(W(LongNameOf(L"SHORT|")), L"");
    EXPECT_EQ(W(LongNameOf(L"a|b|c")), L"b|c");
    // Target and source parts are not split at the colon.
    EXPECT_EQ(W(LongNameOf(L"T|Target:S|Source")), L"Target:S|Source");
}

TEST(FolderPathParts, RootPartAndRemainder)
{
    struct Case {
        const wchar_t* path;
        const wchar_t* root;
        const wchar_t* part;
        const wchar_t* remainder;
    };
    const Case cases[] = {
        {L"C:\\Program Files\\App", L"C:", L"C:\\Program Files\\", L"App"},
        {L"C:\\", L"C:", L"C:\\", L""},
        {L"C:", L"C:", L"C:", L""},
        {L"\\\\server\\share\\dir\\file", L"\\\\server\\share", L"\\\\server\\share\\dir\\", L"file"},
        {L"\\\\server\\share", L"\\\\server\\share", L"\\\\server\\share", L""},
        {L"\\\\server", L"\\\\server", L"\\\\server", L""},
        {L"relative\\name", L"", L"relative\\", L"name"},
        {L"name", L"", L"", L"name"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::string(c.path, c.path + wcslen(c.path)));
        EXPECT_EQ(W(FolderRoot(c.path)), c.root);
        EXPECT_EQ(W(FolderPart(c.path)), c.part);
        EXPECT_EQ(W(FolderRemainder(c.path)), c.remainder);
    }
}

TEST(NormalizeFolderPath, AcceptsRewritesAndRejects)
{
    struct Case {
        const wchar_t* input;
        bool valid;
        const wchar_t* rewritten;  // path after a call with rewrite set
    };
    const Case cases[] = {
        {L"C", true, L"C:\\"},
        {L"c:", true, L"c:\\"},
        {L"  D:Data\t\n", true, L"D:\\Data"},
        {L"E\\Apps\\Tool", true, L"E:\\Apps\\Tool"},
        {L"C:\\Program Files\\", true, L"C:\\Program Files\\"},
        {L"\\\\srv\\share\\dir", true, L"\\\\srv\\share\\dir"},
        {L"\\\\-srv\\share", false, nullptr},
        {L"C:\\a?b", false, nullptr},
        {L"C:\\a\\b:c", false, nullptr},
        {L"C:\\a\\\\b", false, nullptr},
        {L"C:\\a/b", false, nullptr},
        {L"1:\\a", false, nullptr},
        {L"Cx\\a", false, nullptr},
        {L" \t\n", false, nullptr},
        {L"", false, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << std::string(c.input, c.input + wcslen(c.input)));
        _stringx<> kept = c.input;
        EXPECT_EQ(NormalizeFolderPath(kept, false), c.valid);
        EXPECT_EQ(W(kept), c.input);  // untouched without rewrite
        _stringx<> path = c.input;
        EXPECT_EQ(NormalizeFolderPath(path, true), c.valid);
        EXPECT_EQ(W(path), c.valid ? c.rewritten : c.input);
    }
}

class DirectoryTree : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_dir = new TempDir;
        s_msi = BuildPackage(*s_dir, "tree",
                             {groupa::kDirectoryTable, DirRow("TARGETDIR", "", "SourceDir"),
                              DirRow("ProgramFilesFolder", "TARGETDIR", "."),
                              DirRow("Company", "ProgramFilesFolder", "COMP|Quill Company"),
                              DirRow("INSTALLDIR", "Company", "APP|My App"),
                              DirRow("Same", "INSTALLDIR", "."),
                              DirRow("Bin", "Same", "bin"),
                              DirRow("LowerRoot", "targetdir", "Lower"),
                              DirRow("Orphan", "Missing", "Orphaned"),
                              DirRow("Child", "Orphan", "Kid")});
    }
    static void TearDownTestSuite() { delete s_dir; }
    static TempDir* s_dir;
    static std::string s_msi;
};
TempDir* DirectoryTree::s_dir = nullptr;
std::string DirectoryTree::s_msi;

TEST_F(DirectoryTree, FindTopDirectoryWalksUpToBelowTargetDir)
{
    Session session(s_msi);
    const MSIHANDLE db = session.database();
    _stringx<> out;
    EXPECT_TRUE(FindTopDirectory(db, L"Bin", out));
    EXPECT_EQ(W(out), L"ProgramFilesFolder");
    out = L"unchanged";
    EXPECT_FALSE(FindTopDirectory(db, L"ProgramFilesFolder", out));
    EXPECT_EQ(W(out), L"ProgramFilesFolder");
    EXPECT_FALSE(FindTopDirectory(db, L"TARGETDIR", out));
    EXPECT_EQ(W(out), L"TARGETDIR");
    // The root key is exact in case: "targetdir" is just another parent.
    out = L"unchanged";
    EXPECT_TRUE(FindTopDirectory(db, L"LowerRoot", out));
    EXPECT_EQ(W(out), L"unchanged");
    // A chain broken by a missing row: moved, out untouched.
    EXPECT_TRUE(FindTopDirectory(db, L"Child", out));
    EXPECT_EQ(W(out), L"unchanged");
    EXPECT_FALSE(FindTopDirectory(db, L"Nowhere", out));
    EXPECT_EQ(W(out), L"unchanged");
}

TEST_F(DirectoryTree, BuildDirectoryPathFromLongNames)
{
    Session session(s_msi);
    const MSIHANDLE db = session.database();
    EXPECT_EQ(W(BuildDirectoryPath(db, L"INSTALLDIR")), L"[ProgramFilesFolder]Quill Company\\My App");
    // "." adds nothing: Same vanishes between My App and bin.
    EXPECT_EQ(W(BuildDirectoryPath(db, L"Bin")), L"[ProgramFilesFolder]Quill Company\\My App\\bin");
    EXPECT_EQ(W(BuildDirectoryPath(db, L"Same")), L"[ProgramFilesFolder]Quill Company\\My App");
    EXPECT_EQ(W(BuildDirectoryPath(db, L"ProgramFilesFolder")), L"[ProgramFilesFolder]");
    // Without a top element the last name found leads, with no separator.
    EXPECT_EQ(W(BuildDirectoryPath(db, L"Child")), L"OrphanedKid");
    EXPECT_EQ(W(BuildDirectoryPath(db, L"Nowhere")), L"");
}

TEST(DirectoryRowLookup, MissingTableIsAnAbsentRow)
{
    TempDir dir;
    Session session(BuildPackage(dir, "nodir", {qvtest::kPropertyTable, qvtest::PropertyRow("A", "1")}));
    MSIHANDLE record = 0;
    EXPECT_FALSE(::DirectoryRow(session.database(), L"TARGETDIR", record));
    EXPECT_EQ(record, 0u);
    _stringx<> out = L"kept";
    EXPECT_FALSE(FindTopDirectory(session.database(), L"INSTALLDIR", out));
    EXPECT_EQ(W(out), L"kept");
    EXPECT_EQ(W(BuildDirectoryPath(session.database(), L"INSTALLDIR")), L"");
}

}  // namespace
