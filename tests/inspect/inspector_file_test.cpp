// qv::file: byte order marks at open, shared handles, the local and network
// branches, and the exceptions thrown by pointer on failures.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "framework/fixture.h"
#include "inspect/file.h"
#include "platform/posix/kernel/paths.h"

namespace {

using qvtest::TempDir;

_stringx<> WritePosixFile(const TempDir& dir, const std::string& name, const std::string& bytes)
{
    const std::string path = dir.path() + "/" + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return _stringx<>(qv::posix::windows_path_from_posix(path).c_str());
}

DWORD OpenRead(qv::file& f, const _stringx<>& path)
{
    return f.Open(path, GENERIC_READ, FILE_SHARE_READ, FILE_ATTRIBUTE_NORMAL, OPEN_EXISTING);
}

struct MarkCase {
    const char* name;
    std::string bytes;
    UINT page;
    bool mark;
};

TEST(UniformFile, ByteOrderMarksAreTestedOnlyWhenTheFileIsLongEnoughAndThePositionReturnsToZero)
{
    TempDir dir;
    const MarkCase cases[] = {
        {"utf16le", std::string("\xFF\xFE" "a\0", 4), 1200, true},
        {"utf16be", std::string("\xFE\xFF\0a", 4), 1201, true},
        {"utf8", "\xEF\xBB\xBF" "abc", 65001, true},
        {"utf8short", "\xEF\xBB", 0, false},      // three mark bytes need a size above 2
        {"le2", "\xFF\xFE", 1200, true},          // two bytes are enough for the 16-bit marks
        {"one", "\xFF", 0, false},
        {"empty", "", 0, false},
        {"plain", "MZ\x90", 0, false},
    };
    for (const MarkCase& c : cases) {
        SCOPED_TRACE(c.name);
        qv::file f;
        ASSERT_EQ(OpenRead(f, WritePosixFile(dir, c.name, c.bytes)), 0u);
        EXPECT_EQ(f.EncodingPage(), c.page);
        EXPECT_EQ(f.HasByteOrderMark(), c.mark);
        EXPECT_EQ(f.Seek(0, FILE_CURRENT), 0);
        char buffer[8] = {};
        EXPECT_EQ(f.Read(buffer, sizeof buffer), c.bytes.size());
        EXPECT_EQ(std::string(buffer, c.bytes.size()), c.bytes);
        f.Close();
    }
}

TEST(UniformFile, ReadWriteSeekAndSizeOnALocalFile)
{
    TempDir dir;
    const _stringx<> path(qv::posix::windows_path_from_posix(dir.path() + "/out.bin").c_str());
    qv::file out;
    ASSERT_EQ(out.Open(path, GENERIC_WRITE, FILE_SHARE_READ, FILE_ATTRIBUTE_NORMAL, CREATE_ALWAYS), 0u);
    EXPECT_EQ(out.Write("hello world", 11), 11u);
    EXPECT_EQ(out.GetSize(), 11u);
    out.Close();

    qv::file in;
    ASSERT_EQ(OpenRead(in, path), 0u);
    EXPECT_EQ(in.Seek(6, FILE_BEGIN), 6);
    char buffer[16] = {};
    EXPECT_EQ(in.Read(buffer, static_cast<DWORD>(-1)), 0u);  // a count of -1 reads nothing
    EXPECT_EQ(in.Read(buffer, 16), 5u);
    EXPECT_EQ(std::string(buffer, 5), "world");
    EXPECT_EQ(in.Seek(-5, FILE_END), 6);
    EXPECT_EQ(in.Read(buffer, 0), 0u);
}

TEST(UniformFile, CopiesShareTheHandleUntilTheLastClose)
{
    TempDir dir;
    qv::file first;
    ASSERT_EQ(OpenRead(first, WritePosixFile(dir, "shared", "0123456789")), 0u);
    {
        qv::file second(first);
        second.Close();  // not the last copy: the handle stays open for the first
        EXPECT_FALSE(second.IsOpen());
    }
    EXPECT_TRUE(first.IsOpen());
    char c = 0;
    EXPECT_EQ(first.Read(&c, 1), 1u);
    EXPECT_EQ(c, '0');
    qv::file third;
    third = first;
    EXPECT_EQ(third.Read(&c, 1), 1u);  // one handle, one position
    EXPECT_EQ(c, '1');
    first.Close();
    EXPECT_EQ(third.Read(&c, 1), 1u);
    EXPECT_EQ(c, '2');
}

TEST(UniformFile, FailuresReturnTheLastErrorOrThrowFileExceptionsByPointer)
{
    TempDir dir;
    const _stringx<> missing(qv::posix::windows_path_from_posix(dir.path() + "/none.bin").c_str());
    qv::file f;
    EXPECT_EQ(OpenRead(f, missing), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(f.IsOpen());

    qv::file in;
    ASSERT_EQ(OpenRead(in, WritePosixFile(dir, "ro", "abc")), 0u);
    try {
        in.Write("x", 1);
        ADD_FAILURE() << "write to a read-only handle did not throw";
    } catch (qv::file_exception* e) {
        std::unique_ptr<qv::file_exception> owned(e);
        EXPECT_NE(e->Error(), 0u);
        EXPECT_EQ(e->Path(), in.Path());
        qv::win32_exception* base = e;
        EXPECT_EQ(dynamic_cast<qv::internet_exception*>(base), nullptr);  // a local failure
    }
    try {
        in.Seek(-10, FILE_BEGIN);
        ADD_FAILURE() << "negative seek did not throw";
    } catch (qv::win32_exception* e) {
        std::unique_ptr<qv::win32_exception> owned(e);
        EXPECT_EQ(e->Error(), static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
        EXPECT_NE(dynamic_cast<qv::file_exception*>(e), nullptr);
    }
}

TEST(UniformFile, OnlyTheTwoSchemesInAnyCaseTakeTheNetworkBranch)
{
    EXPECT_TRUE(qv::IsRemotePath(L"http://example.invalid/a.cab"));
    EXPECT_TRUE(qv::IsRemotePath(L"HTTPS://example.invalid/a.cab"));
    EXPECT_TRUE(qv::IsRemotePath(L"HtTp://x"));
    EXPECT_FALSE(qv::IsRemotePath(L"http:/x"));
    EXPECT_FALSE(qv::IsRemotePath(L"httpx://x"));
    EXPECT_FALSE(qv::IsRemotePath(L"http"));
    EXPECT_FALSE(qv::IsRemotePath(L"C:\\http://x"));

    // The network branch cannot open on this system; a look-alike scheme is
    // a local (missing) path and fails as one.
    qv::file remote;
    EXPECT_EQ(OpenRead(remote, L"HTTP://example.invalid/a.cab"), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
    EXPECT_FALSE(remote.IsOpen());
    qv::file local;
    const DWORD error = OpenRead(local, L"http:\\example.invalid\\a.cab");
    EXPECT_NE(error, static_cast<DWORD>(ERROR_NOT_SUPPORTED));
    EXPECT_NE(error, 0u);
}

TEST(UniformFile, ExceptionTreeHasOneWin32BaseAndCarriesThePath)
{
    qv::internet_file_exception* e = new qv::internet_file_exception(ERROR_NOT_SUPPORTED, L"http://h/x");
    try {
        throw e;
    } catch (qv::file_exception* caught) {
        std::unique_ptr<qv::file_exception> owned(caught);
        EXPECT_EQ(caught->Path(), _stringx<>(L"http://h/x"));
        qv::win32_exception* base = caught;
        EXPECT_NE(dynamic_cast<qv::internet_exception*>(base), nullptr);
        EXPECT_EQ(base->Error(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
    }
}

}  // namespace
