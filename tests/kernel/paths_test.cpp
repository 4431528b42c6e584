// Windows paths over POSIX, UTF-8, and searches with wildcards.

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "fixture.h"

namespace {

using qv::posix::from_utf8;
using qv::posix::posix_path_from_windows;
using qv::posix::to_utf8;
using qv::posix::windows_path_from_posix;

TEST(PathMapping, PosixPathsShowOnDriveZ) {
    EXPECT_EQ(windows_path_from_posix("/home/u/p/x.msi"), L"Z:\\home\\u\\p\\x.msi");
    EXPECT_EQ(windows_path_from_posix("/"), L"Z:\\");
    EXPECT_EQ(windows_path_from_posix("//a//b/"), L"Z:\\a\\b");
    EXPECT_EQ(windows_path_from_posix("/t/\xC3\xA9t\xC3\xA9"), L"Z:\\t\\\u00E9t\u00E9");
}

TEST(PathMapping, LexicalFormsResolveLikeWindows) {
    // None of these exist, so each keeps its given spelling.
    EXPECT_EQ(posix_path_from_windows(L"Z:\\qv-none\\Sub\\File.txt"), "/qv-none/Sub/File.txt");
    EXPECT_EQ(posix_path_from_windows(L"z:/qv-none/a\\b"), "/qv-none/a/b");
    EXPECT_EQ(posix_path_from_windows(L"Z:\\qv-none\\a\\..\\..\\..\\b"), "/b");
    EXPECT_EQ(posix_path_from_windows(L"Z:\\qv-none\\.\\name. .\\x"), "/qv-none/name/x");
    EXPECT_EQ(posix_path_from_windows(L"\\\\?\\Z:\\qv-none\\x"), "/qv-none/x");
    EXPECT_EQ(posix_path_from_windows(L"\\qv-none\\x"), "/qv-none/x");
    EXPECT_EQ(posix_path_from_windows(L"Z:"), "/");
}

TEST(PathMapping, OtherDrivesLiveInTheScratchFolder) {
    const std::string& root = qv::posix::scratch_root();
    struct stat st;
    ASSERT_EQ(stat(root.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(posix_path_from_windows(L"C:\\Windows\\System32\\x.dll"), root + "/c/Windows/System32/x.dll");
    EXPECT_EQ(posix_path_from_windows(L"d:\\data"), root + "/d/data");
    EXPECT_EQ(posix_path_from_windows(L"\\\\server\\share\\f"), root + "/unc/server/share/f");
    EXPECT_EQ(qv::posix::temp_folder(), root + "/Temp");
    EXPECT_EQ(ERROR_OF(GetFileAttributesW(L"C:\\Windows\\notepad.exe") != INVALID_FILE_ATTRIBUTES),
              ERROR_PATH_NOT_FOUND);
}

TEST(Utf8, ConvertsBothWaysAndReplacesIllFormedInput) {
    EXPECT_EQ(to_utf8(L"a\u00E9\u20AC\U0001F600"), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(from_utf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), L"a\u00E9\u20AC\U0001F600");
    EXPECT_EQ(to_utf8(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD");
    EXPECT_EQ(from_utf8("a\xC3(b"), L"a\uFFFD(b");
    EXPECT_EQ(from_utf8("x\xE2\x82"), L"x\uFFFD");
    EXPECT_EQ(from_utf8("\xF0\x80\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");  // overlong form
    EXPECT_EQ(from_utf8("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");          // encoded surrogate
    EXPECT_EQ(from_utf8("\xFF"), L"\uFFFD");
}

using CaseInsensitivePaths = KernelFolder;

TEST_F(CaseInsensitivePaths, ComponentsMatchExistingEntriesWithoutRegardToCase) {
    ASSERT_EQ(mkdir(posix("Foo").c_str(), 0755), 0);
    write_posix("Foo/BAR.txt", "content");
    EXPECT_EQ(posix_path_from_windows(win(L"foo\\bar.TXT")), posix("Foo/BAR.txt"));
    std::wstring lower = windows_;
    for (wchar_t& c : lower) c = static_cast<wchar_t>(towlower(c));
    lower[0] = L'z';
    EXPECT_EQ(posix_path_from_windows(lower + L"\\FOO\\bar.txt"), posix("Foo/BAR.txt"));
    EXPECT_EQ(posix_path_from_windows(win(L"FOO\\new\\Thing.txt")), posix("Foo/new/Thing.txt"));

    HANDLE file = CreateFileW((lower + L"\\foo\\bar.TXT").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    char buffer[16];
    DWORD got = 0;
    ASSERT_TRUE(ReadFile(file, buffer, sizeof(buffer), &got, nullptr));
    EXPECT_EQ(std::string(buffer, got), "content");
    CloseHandle(file);
}

TEST_F(CaseInsensitivePaths, ExactSpellingWinsAndOtherwiseTheFirstInByteOrder) {
    write_posix("abc", "lower");
    write_posix("ABC", "upper");
    write_posix("\xC3\x9Cml.txt", "u");  // "Üml.txt"
    EXPECT_EQ(posix_path_from_windows(win(L"abc")), posix("abc"));
    EXPECT_EQ(posix_path_from_windows(win(L"ABC")), posix("ABC"));
    EXPECT_EQ(posix_path_from_windows(win(L"Abc")), posix("ABC"));
    EXPECT_EQ(posix_path_from_windows(win(L"\u00FCML.TXT")), posix("\xC3\x9Cml.txt"));
}

TEST_F(CaseInsensitivePaths, RelativePathsStartAtTheCurrentFolder) {
    ASSERT_EQ(mkdir(posix("Sub").c_str(), 0755), 0);
    write_posix("Sub/File.txt", "x");
    std::vector<char> saved(4096);
    ASSERT_NE(getcwd(saved.data(), saved.size()), nullptr);
    ASSERT_EQ(chdir(posix_.c_str()), 0);
    std::string mapped = posix_path_from_windows(L"sub\\FILE.TXT");
    DWORD attributes = GetFileAttributesW(L"SUB\\file.txt");
    ASSERT_EQ(chdir(saved.data()), 0);
    EXPECT_EQ(mapped, posix("Sub/File.txt"));
    EXPECT_EQ(attributes, FILE_ATTRIBUTE_ARCHIVE);
}

class Search : public KernelFolder {
protected:
    void SetUp() override {
        KernelFolder::SetUp();
        for (const char* name : {"a.txt", "B.TXT", "c.txt.bak", "README", "ab.txt", "x.html"}) write_posix(name, name);
        mkdir(posix("dir").c_str(), 0755);
    }
    std::vector<std::wstring> find(const std::wstring& pattern) {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW data;
        HANDLE search = FindFirstFileW(win(pattern).c_str(), &data);
        if (search == INVALID_HANDLE_VALUE) {
            names.push_back(L"error " + std::to_wstring(GetLastError()));
            return names;
        }
        do names.push_back(data.cFileName);
        while (FindNextFileW(search, &data));
        EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
        EXPECT_TRUE(FindClose(search));
        return names;
    }
};

TEST_F(Search, WildcardsFollowWindowsRules) {
    using List = std::vector<std::wstring>;
    EXPECT_EQ(find(L"*.txt"), (List{L"a.txt", L"ab.txt", L"B.TXT"}));
    EXPECT_EQ(find(L"*"), (List{L".", L"..", L"a.txt", L"ab.txt", L"B.TXT", L"c.txt.bak", L"dir", L"README", L"x.html"}));
    EXPECT_EQ(find(L"*.*"), find(L"*"));
    EXPECT_EQ(find(L"*."), (List{L".", L"..", L"dir", L"README"}));
    EXPECT_EQ(find(L"?.txt"), (List{L"a.txt", L"B.TXT"}));
    EXPECT_EQ(find(L"a?.txt"), (List{L"a.txt", L"ab.txt"}));
    // DOS_DOT matches nothing at the end of a name, so "a.txt" is in too.
    EXPECT_EQ(find(L"*.TXT.*"), (List{L"a.txt", L"ab.txt", L"B.TXT", L"c.txt.bak"}));
    EXPECT_EQ(find(L"r*e"), (List{L"README"}));
    EXPECT_EQ(find(L"*.zip"), (List{L"error 2"}));
    EXPECT_EQ(find(L"nodir\\*"), (List{L"error 3"}));
    EXPECT_EQ(find(L"readme"), (List{L"README"}));
    EXPECT_EQ(find(L"absent"), (List{L"error 2"}));
}

TEST_F(Search, EntriesCarryAttributesAndSizes) {
    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW(win(L"c.TXT.bak").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(std::wstring(data.cFileName), L"c.txt.bak");
    EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(data.nFileSizeLow, 9u);
    EXPECT_EQ(data.nFileSizeHigh, 0u);
    EXPECT_FALSE(FindNextFileW(search, &data));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    FindClose(search);
    search = FindFirstFileW(win(L"DIR").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(std::wstring(data.cFileName), L"dir");
    FindClose(search);
}

}  // namespace
