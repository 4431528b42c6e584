// Files through their Windows names: errors, round trips, attributes,
// sharing, moves, the temporary folder, mapping and times.

#include <sys/stat.h>

#include <cstring>
#include <regex>
#include <thread>

#include "fixture.h"
#include "platform/posix/inspect/mapped_bytes.h"

namespace {

using Files = KernelFolder;

HANDLE open_file(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
    return CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
}

// Opens and closes again: the error of a failed open, kOk otherwise.
DWORD open_error(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
    SetLastError(0);
    HANDLE file = open_file(path, access, share, disposition);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(file);
    return kOk;
}

std::string read_all(HANDLE file) {
    std::string out;
    char buffer[7];
    DWORD got = 0;
    while (ReadFile(file, buffer, sizeof(buffer), &got, nullptr) && got > 0) out.append(buffer, got);
    return out;
}

TEST_F(Files, MissingFilesAndBadNamesSetTheWindowsErrors) {
    const std::pair<std::wstring, DWORD> cases[] = {
        {win(L"missing.txt"), ERROR_FILE_NOT_FOUND}, {win(L"nodir\\x.txt"), ERROR_PATH_NOT_FOUND},
        {L"", ERROR_PATH_NOT_FOUND},                 {win(L"a|b.txt"), ERROR_INVALID_NAME},
        {win(L"*.txt"), ERROR_INVALID_NAME},         {win(L"a:b"), ERROR_INVALID_NAME},
    };
    for (const auto& [path, error] : cases) {
        SCOPED_TRACE(qv::posix::to_utf8(path));
        EXPECT_EQ(open_error(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), error);
        EXPECT_EQ(ERROR_OF(GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES), error);
        EXPECT_EQ(ERROR_OF(DeleteFileW(path.c_str())), error);
    }
    EXPECT_EQ(ERROR_OF(GetFileAttributesW(nullptr) != INVALID_FILE_ATTRIBUTES), ERROR_INVALID_PARAMETER);
}

TEST_F(Files, WriteReadAndSeekRoundTripWithoutByteOrderMark) {
    HANDLE file = open_file(win(L"data.bin"), GENERIC_WRITE, 0, CREATE_NEW);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "hello world", 11, &written, nullptr));
    EXPECT_EQ(written, 11u);
    char byte;
    DWORD got = 99;
    EXPECT_EQ(ERROR_OF(ReadFile(file, &byte, 1, &got, nullptr)), ERROR_ACCESS_DENIED);  // opened for writing only
    EXPECT_EQ(got, 0u);
    ASSERT_TRUE(CloseHandle(file));
    EXPECT_EQ(read_posix("data.bin"), "hello world");

    file = open_file(win(L"data.bin"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD high = 77;
    EXPECT_EQ(GetFileSize(file, &high), 11u);
    EXPECT_EQ(high, 0u);
    char buffer[16] = {};
    ASSERT_TRUE(ReadFile(file, buffer, 5, &got, nullptr));
    EXPECT_EQ(std::string(buffer, got), "hello");
    EXPECT_EQ(SetFilePointer(file, -5, nullptr, FILE_END), 6u);
    EXPECT_EQ(read_all(file), "world");
    ASSERT_TRUE(ReadFile(file, buffer, 4, &got, nullptr));  // at the end: success, nothing read
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(SetFilePointer(file, 2, nullptr, FILE_BEGIN), 2u);
    EXPECT_EQ(SetFilePointer(file, 3, nullptr, FILE_CURRENT), 5u);
    EXPECT_EQ(read_all(file), " world");
    EXPECT_EQ(ERROR_OF(SetFilePointer(file, -20, nullptr, FILE_CURRENT) != INVALID_SET_FILE_POINTER),
              ERROR_NEGATIVE_SEEK);
    LARGE_INTEGER distance, position;
    distance.QuadPart = 4;
    ASSERT_TRUE(SetFilePointerEx(file, distance, &position, FILE_BEGIN));
    EXPECT_EQ(position.QuadPart, 4);
    EXPECT_EQ(ERROR_OF(WriteFile(file, "x", 1, &written, nullptr)), ERROR_ACCESS_DENIED);
    ASSERT_TRUE(CloseHandle(file));
}

// A write-only handle that shares nothing gathers small writes; every use
// of the handle, and a search, must see them in order.
TEST_F(Files, GatheredWritesAreSeenInOrderByEveryLaterUse) {
    HANDLE file = open_file(win(L"gather.bin"), GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    std::string expected;
    DWORD written = 0;
    for (int i = 0; i < 300; ++i) {  // 300 pieces of 260 bytes: more than one gathering
        std::string piece(260, static_cast<char>('a' + i % 26));
        ASSERT_TRUE(WriteFile(file, piece.data(), 260, &written, nullptr));
        ASSERT_EQ(written, 260u);
        expected += piece;
    }
    EXPECT_EQ(GetFileSize(file, nullptr), expected.size());
    ASSERT_TRUE(WriteFile(file, "tail", 4, &written, nullptr));
    expected += "tail";

    WIN32_FIND_DATAW found{};
    HANDLE search = FindFirstFileW(win(L"gather.bin").c_str(), &found);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(found.nFileSizeLow, expected.size());
    FindClose(search);

    ASSERT_TRUE(WriteFile(file, "0123456789", 10, &written, nullptr));
    EXPECT_EQ(SetFilePointer(file, -6, nullptr, FILE_END), expected.size() + 4);
    ASSERT_TRUE(SetEndOfFile(file));
    expected += "0123";
    const std::string big(8192, 'Z');  // a large write after small ones keeps their order
    ASSERT_TRUE(WriteFile(file, "mid", 3, &written, nullptr));
    ASSERT_TRUE(WriteFile(file, big.data(), static_cast<DWORD>(big.size()), &written, nullptr));
    expected += "mid" + big;
    ASSERT_TRUE(WriteFile(file, "end", 3, &written, nullptr));
    expected += "end";
    // Nothing else may open it, as on Windows.
    EXPECT_EQ(ERROR_OF(CopyFileW(win(L"gather.bin").c_str(), win(L"copy.bin").c_str(), TRUE)),
              ERROR_SHARING_VIOLATION);
    ASSERT_TRUE(WriteFile(file, "!", 1, &written, nullptr));
    expected += "!";
    ASSERT_TRUE(CloseHandle(file));
    EXPECT_EQ(read_posix("gather.bin"), expected);
}

TEST_F(Files, CreationDispositionsFollowWindows) {
    write_posix("f.txt", "old content");
    EXPECT_EQ(open_error(win(L"f.txt"), GENERIC_WRITE, 0, CREATE_NEW), ERROR_FILE_EXISTS);

    HANDLE file = open_file(win(L"F.TXT"), GENERIC_READ, FILE_SHARE_READ, OPEN_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(read_all(file), "old content");
    CloseHandle(file);

    file = open_file(win(L"f.txt"), GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    CloseHandle(file);
    EXPECT_EQ(read_posix("f.txt"), "");
    EXPECT_FALSE(exists_posix("F.TXT"));  // the existing spelling was used

    file = open_file(win(L"new.txt"), GENERIC_WRITE, 0, OPEN_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    CloseHandle(file);

    EXPECT_EQ(open_error(win(L"gone.txt"), GENERIC_WRITE, 0, TRUNCATE_EXISTING), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(open_error(win(L"f.txt"), GENERIC_READ, 0, 9), ERROR_INVALID_PARAMETER);
    mkdir(posix("folder").c_str(), 0755);
    EXPECT_EQ(open_error(win(L"folder"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), ERROR_ACCESS_DENIED);
}

TEST_F(Files, WrongAndClosedHandlesAreRejectedWithoutCrash) {
    write_posix("f.txt", "abc");
    HANDLE file = open_file(win(L"f.txt"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(ERROR_OF(FindClose(file)), ERROR_INVALID_HANDLE);
    ASSERT_TRUE(CloseHandle(file));

    char buffer[4];
    DWORD got = 0;
    for (HANDLE handle : {file, INVALID_HANDLE_VALUE, HANDLE(nullptr), reinterpret_cast<HANDLE>(0x12345)}) {
        EXPECT_EQ(ERROR_OF(CloseHandle(handle)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(ERROR_OF(ReadFile(handle, buffer, 1, &got, nullptr)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(ERROR_OF(GetFileSize(handle, nullptr) != INVALID_FILE_SIZE), ERROR_INVALID_HANDLE);
        EXPECT_EQ(ERROR_OF(CreateFileMappingW(handle, nullptr, PAGE_READONLY, 0, 0, nullptr)), ERROR_INVALID_HANDLE);
    }

    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW(win(L"*").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(ERROR_OF(CloseHandle(search)), ERROR_INVALID_HANDLE);  // a search closes with FindClose only
    EXPECT_TRUE(FindClose(search));
    EXPECT_EQ(ERROR_OF(FindNextFileW(search, &data)), ERROR_INVALID_HANDLE);
}

TEST_F(Files, AttributesKeepTheReadOnlyBitAndWindowsDefaults) {
    CloseHandle(open_file(win(L"a.txt"), GENERIC_WRITE, 0, CREATE_NEW));
    EXPECT_EQ(attributes(L"a.txt"), FILE_ATTRIBUTE_ARCHIVE);

    ASSERT_TRUE(SetFileAttributesW(win(L"A.TXT").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(attributes(L"a.txt"), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(open_error(win(L"a.txt"), GENERIC_WRITE, 0, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"a.txt").c_str())), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(exists_posix("a.txt"));

    ASSERT_TRUE(SetFileAttributesW(win(L"a.txt").c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(attributes(L"a.txt"), FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(DeleteFileW(win(L"a.txt").c_str()));
    EXPECT_FALSE(exists_posix("a.txt"));

    CloseHandle(open_file(win(L"t.tmp"), GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY));
    EXPECT_EQ(attributes(L"t.tmp"), FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_ARCHIVE);

    write_posix("locked.txt", "x");
    chmod(posix("locked.txt").c_str(), 0444);
    EXPECT_EQ(attributes(L"LOCKED.txt"), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
    mkdir(posix("sub").c_str(), 0755);
    EXPECT_EQ(attributes(L"SUB"), FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"sub").c_str())), ERROR_ACCESS_DENIED);
}

TEST_F(Files, ShareModesAndOpenFilesGuardDeletion) {
    write_posix("s.txt", "shared");
    HANDLE writer = open_file(win(L"s.txt"), GENERIC_WRITE, 0, OPEN_EXISTING);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    EXPECT_EQ(open_error(win(L"s.txt"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING),
              ERROR_SHARING_VIOLATION);
    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"s.txt").c_str())), ERROR_SHARING_VIOLATION);
    CloseHandle(writer);

    HANDLE reader = open_file(win(L"s.txt"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    HANDLE second = open_file(win(L"s.txt"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_NE(second, INVALID_HANDLE_VALUE);  // readers that share reading agree
    EXPECT_EQ(open_error(win(L"s.txt"), GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
    CloseHandle(second);
    CloseHandle(reader);

    reader = open_file(win(L"s.txt"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING);
    EXPECT_TRUE(DeleteFileW(win(L"s.txt").c_str()));
    CloseHandle(reader);

    HANDLE temporary = open_file(win(L"doc.tmp"), GENERIC_WRITE, 0, CREATE_NEW,
                                 FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_NE(temporary, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(exists_posix("doc.tmp"));
    CloseHandle(temporary);
    EXPECT_FALSE(exists_posix("doc.tmp"));
}

TEST_F(Files, MoveCopyAndFolders) {
    write_posix("one.txt", "1");
    write_posix("two.txt", "22");
    auto move = [&](const wchar_t* from, const wchar_t* to, DWORD flags = 0) {
        return ERROR_OF(MoveFileExW(win(from).c_str(), win(to).c_str(), flags));
    };
    auto copy = [&](BOOL fail_if_exists) {
        return ERROR_OF(CopyFileW(win(L"two.txt").c_str(), win(L"copy.txt").c_str(), fail_if_exists));
    };
    EXPECT_EQ(ERROR_OF(MoveFileW(win(L"one.txt").c_str(), win(L"TWO.txt").c_str())), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(move(L"one.txt", L"TWO.txt", MOVEFILE_REPLACE_EXISTING), kOk);
    EXPECT_EQ(read_posix("two.txt"), "1");
    EXPECT_FALSE(exists_posix("one.txt"));
    EXPECT_TRUE(MoveFileW(win(L"two.txt").c_str(), win(L"Two.txt").c_str()));  // a change of case
    EXPECT_TRUE(exists_posix("Two.txt"));
    EXPECT_EQ(ERROR_OF(MoveFileW(win(L"absent").c_str(), win(L"x").c_str())), ERROR_FILE_NOT_FOUND);

    ASSERT_TRUE(SetFileAttributesW(win(L"two.txt").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(copy(TRUE), kOk);
    EXPECT_EQ(read_posix("copy.txt"), "1");
    EXPECT_EQ(attributes(L"copy.txt"), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(copy(TRUE), ERROR_FILE_EXISTS);
    EXPECT_EQ(copy(FALSE), ERROR_ACCESS_DENIED);  // read-only target

    auto make_dir = [&](const wchar_t* name) { return ERROR_OF(CreateDirectoryW(win(name).c_str(), nullptr)); };
    auto remove_dir = [&](const wchar_t* name) { return ERROR_OF(RemoveDirectoryW(win(name).c_str())); };
    EXPECT_EQ(make_dir(L"Dir"), kOk);
    EXPECT_EQ(make_dir(L"dir"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(make_dir(L"no\\such"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(make_dir(L"DIR\\inner"), kOk);
    EXPECT_TRUE(exists_posix("Dir/inner"));
    EXPECT_EQ(remove_dir(L"dir"), ERROR_DIR_NOT_EMPTY);
    EXPECT_EQ(remove_dir(L"copy.txt"), ERROR_DIRECTORY);
    EXPECT_EQ(remove_dir(L"dir\\INNER"), kOk);
    EXPECT_EQ(remove_dir(L"dir"), kOk);
    EXPECT_FALSE(exists_posix("Dir"));
}

TEST_F(Files, TemporaryFolderAndNames) {
    wchar_t small[4];
    DWORD needed = GetTempPathW(4, small);
    std::wstring folder(needed, L'\0');
    DWORD length = GetTempPathW(needed, folder.data());
    ASSERT_EQ(length + 1, needed);
    folder.resize(length);
    EXPECT_EQ(folder.substr(0, 3), L"Z:\\");
    EXPECT_EQ(folder.back(), L'\\');
    EXPECT_EQ(qv::posix::posix_path_from_windows(folder), qv::posix::temp_folder());
    struct stat st;
    ASSERT_EQ(stat(qv::posix::temp_folder().c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0700u);

    wchar_t name[MAX_PATH];
    UINT unique = GetTempFileNameW(folder.c_str(), L"qvxyz", 0, name);
    ASSERT_NE(unique, 0u);
    wchar_t expected_tail[16];
    std::swprintf(expected_tail, 16, L"qvx%X.TMP", unique);
    EXPECT_EQ(std::wstring(name), folder + expected_tail);
    EXPECT_EQ(GetFileAttributesW(name), FILE_ATTRIBUTE_ARCHIVE);  // created, empty
    std::wregex form(LR"(.*\\qvx[0-9A-F]{1,4}\.TMP)");
    EXPECT_TRUE(std::regex_match(std::wstring(name), form));
    wchar_t other[MAX_PATH];
    ASSERT_NE(GetTempFileNameW(folder.c_str(), L"qvx", 0, other), 0u);
    EXPECT_NE(std::wstring(other), std::wstring(name));
    EXPECT_TRUE(DeleteFileW(name));
    EXPECT_TRUE(DeleteFileW(other));

    // A given number only forms the name.
    EXPECT_EQ(GetTempFileNameW(windows_.c_str(), L"ab", 0x11A2B, name), 0x1A2Bu);
    EXPECT_EQ(std::wstring(name), windows_ + L"\\ab1A2B.TMP");
    EXPECT_FALSE(exists_posix("ab1A2B.TMP"));
    EXPECT_EQ(ERROR_OF(GetTempFileNameW(win(L"missing").c_str(), L"x", 0, name)), ERROR_DIRECTORY);
}

// The private temporary folder keeps its listing between lookups; each
// change the kernel makes there must show at once in lookups of any case.
TEST(TemporaryFolder, LookupsOfAnyCaseSeeEveryChangeAtOnce) {
    wchar_t buffer[MAX_PATH];
    const std::wstring temp(buffer, GetTempPathW(MAX_PATH, buffer));
    auto at = [&](const wchar_t* name) { return temp + name; };
    auto attributes_of = [&](const wchar_t* name) { return GetFileAttributesW(at(name).c_str()); };
    auto exists = [&](const wchar_t* name) { return attributes_of(name) != INVALID_FILE_ATTRIBUTES; };

    // A lookup that finds nothing reads the listing; the file created next
    // must be found under another case all the same.
    EXPECT_EQ(ERROR_OF(exists(L"mixed.txt")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ERROR_OF(CreateFileW(at(L"missing.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr) !=
                       INVALID_HANDLE_VALUE),
              ERROR_FILE_NOT_FOUND);
    HANDLE file = CreateFileW(at(L"Mixed.TXT").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "abc", 3, &written, nullptr));
    CloseHandle(file);
    EXPECT_EQ(attributes_of(L"mixed.txt"), FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(qv::posix::posix_path_from_windows(at(L"MIXED.txt")), qv::posix::temp_folder() + "/Mixed.TXT");
    EXPECT_EQ(open_error(at(L"mixed.TXT"), GENERIC_WRITE, 0, CREATE_NEW), ERROR_FILE_EXISTS);

    // Copied and moved names appear, moved-away and deleted ones go.
    EXPECT_TRUE(CopyFileW(at(L"mixed.txt").c_str(), at(L"Copy.BIN").c_str(), TRUE));
    EXPECT_TRUE(exists(L"copy.bin"));
    EXPECT_TRUE(MoveFileW(at(L"copy.bin").c_str(), at(L"Moved.Bin").c_str()));
    EXPECT_EQ(ERROR_OF(exists(L"COPY.BIN")), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(exists(L"MOVED.BIN"));
    EXPECT_TRUE(DeleteFileW(at(L"moved.bin").c_str()));
    EXPECT_EQ(ERROR_OF(exists(L"Moved.Bin")), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(DeleteFileW(at(L"MIXED.TXT").c_str()));
    EXPECT_EQ(ERROR_OF(exists(L"Mixed.TXT")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ERROR_OF(DeleteFileW(at(L"mixed.txt").c_str())), ERROR_FILE_NOT_FOUND);

    // Folders: made, filled through another case, emptied and removed.
    EXPECT_EQ(ERROR_OF(exists(L"sub")), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(CreateDirectoryW(at(L"Sub").c_str(), nullptr));
    EXPECT_EQ(attributes_of(L"SUB"), FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(ERROR_OF(exists(L"sub\\inner.txt")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(open_error(at(L"SUB\\Inner.txt"), GENERIC_WRITE, 0, CREATE_NEW), kOk);
    EXPECT_EQ(qv::posix::posix_path_from_windows(at(L"sub\\INNER.TXT")), qv::posix::temp_folder() + "/Sub/Inner.txt");
    EXPECT_EQ(ERROR_OF(RemoveDirectoryW(at(L"sub").c_str())), ERROR_DIR_NOT_EMPTY);
    EXPECT_TRUE(DeleteFileW(at(L"sub\\inner.TXT").c_str()));
    EXPECT_EQ(ERROR_OF(exists(L"Sub\\Inner.txt")), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(RemoveDirectoryW(at(L"SUB").c_str()));
    EXPECT_EQ(ERROR_OF(exists(L"Sub")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ERROR_OF(exists(L"sub\\inner.txt")), ERROR_PATH_NOT_FOUND);

    // A file that deletes itself on close leaves the listing too.
    file = CreateFileW(at(L"Gone.tmp").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE,
                       nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(exists(L"GONE.TMP"));
    CloseHandle(file);
    EXPECT_EQ(ERROR_OF(exists(L"gone.tmp")), ERROR_FILE_NOT_FOUND);
}

// Files deleted from the temporary folder lend their inode to the next file
// created there; what a new file shows must not tell.
TEST(TemporaryFolder, AReusedInodeIsANewEmptyFileAndOpenOrMappedFilesKeepTheirBytes) {
    wchar_t buffer[MAX_PATH];
    const std::wstring temp(buffer, GetTempPathW(MAX_PATH, buffer));
    auto at = [&](const wchar_t* name) { return temp + name; };
    auto inode = [&](const wchar_t* name) {
        struct stat st {};
        stat(qv::posix::posix_path_from_windows(at(name)).c_str(), &st);
        return st.st_ino;
    };
    auto write_new = [&](const wchar_t* name, const std::string& bytes, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
        HANDLE file = CreateFileW(at(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, flags, nullptr);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        DWORD written = 0;
        if (!bytes.empty()) EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
        CloseHandle(file);
    };

    write_new(L"first.bin", "first content", FILE_ATTRIBUTE_HIDDEN);
    FILETIME old_time{};
    DosDateTimeToFileTime(0x2821, 0, &old_time);  // 2000-01-01
    HANDLE stamp = CreateFileW(at(L"first.bin").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_TRUE(SetFileTime(stamp, nullptr, nullptr, &old_time));
    CloseHandle(stamp);
    const ino_t first = inode(L"first.bin");
    ASSERT_TRUE(DeleteFileW(at(L"first.bin").c_str()));

    write_new(L"second.bin", "");
    EXPECT_EQ(inode(L"second.bin"), first);
    EXPECT_EQ(GetFileAttributesW(at(L"second.bin").c_str()), FILE_ATTRIBUTE_ARCHIVE);
    HANDLE second = CreateFileW(at(L"second.bin").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(second, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetFileSize(second, nullptr), 0u);
    FILETIME created{};
    ASSERT_TRUE(GetFileTime(second, nullptr, nullptr, &created));
    auto ticks = [](const FILETIME& t) { return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime; };
    EXPECT_GT(ticks(created), ticks(old_time));

    // Deleted while open: the handle still reads its own bytes after the
    // next file is created and written.
    CloseHandle(second);
    write_new(L"open.bin", "kept while open");
    HANDLE open = CreateFileW(at(L"open.bin").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(open, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(DeleteFileW(at(L"open.bin").c_str()));
    write_new(L"after.bin", "something else entirely");
    EXPECT_EQ(read_all(open), "kept while open");
    CloseHandle(open);

    // Deleted while mapped outside the kernel: the mapping keeps its bytes.
    write_new(L"mapped.bin", "mapped bytes");
    {
        const qv::posix::MappedFileBytes mapped(qv::posix::posix_path_from_windows(at(L"mapped.bin")));
        ASSERT_EQ(mapped.status(), qv::posix::MappedFileBytes::Status::Mapped);
        ASSERT_TRUE(DeleteFileW(at(L"mapped.bin").c_str()));
        write_new(L"later.bin", "later bytes, longer than the mapped ones");
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(mapped.data()), mapped.size()), "mapped bytes");
    }

    // A reused inode never replaces an existing name.
    EXPECT_TRUE(DeleteFileW(at(L"second.bin").c_str()));
    EXPECT_EQ(open_error(at(L"AFTER.BIN"), GENERIC_WRITE, 0, CREATE_NEW), ERROR_FILE_EXISTS);
    HANDLE kept = CreateFileW(at(L"after.bin").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(read_all(kept), "something else entirely");
    CloseHandle(kept);
    for (const wchar_t* name : {L"after.bin", L"later.bin"}) EXPECT_TRUE(DeleteFileW(at(name).c_str()));
}

// A search for one plain name answers from the entry the name maps to.
TEST_F(Files, SearchForOnePlainNameGivesItsSpellingSizeAndAttributes) {
    write_posix("Plain.Txt", "12345");
    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW(win(L"plain.txt").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(std::wstring(data.cFileName), L"Plain.Txt");
    EXPECT_EQ(data.nFileSizeLow, 5u);
    EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(ERROR_OF(FindNextFileW(search, &data)), ERROR_NO_MORE_FILES);
    FindClose(search);
    EXPECT_EQ(ERROR_OF(FindFirstFileW(win(L"absent.txt").c_str(), &data) != INVALID_HANDLE_VALUE),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ERROR_OF(FindFirstFileW(win(L"nodir\\plain.txt").c_str(), &data) != INVALID_HANDLE_VALUE),
              ERROR_PATH_NOT_FOUND);
    // A name with trailing dots names the same entry, as Windows strips them.
    search = FindFirstFileW(win(L"PLAIN.TXT..").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(std::wstring(data.cFileName), L"Plain.Txt");
    FindClose(search);
}

TEST_F(Files, MappingGivesTheBytesAndPinsTheFile) {
    std::string bytes(70000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 7) % 251);
    write_posix("image.bin", bytes);
    HANDLE file = open_file(win(L"IMAGE.BIN"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(ERROR_OF(CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr)), ERROR_ACCESS_DENIED);
    CloseHandle(file);  // the mapping keeps the file

    auto* whole = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(std::memcmp(whole, bytes.data(), bytes.size()), 0);
    auto* part = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 100));
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(std::memcmp(part, bytes.data() + 65536, 100), 0);
    EXPECT_EQ(ERROR_OF(MapViewOfFile(mapping, FILE_MAP_READ, 0, 100, 10)), ERROR_MAPPED_ALIGNMENT);
    EXPECT_EQ(ERROR_OF(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 5000)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(ERROR_OF(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0)), ERROR_ACCESS_DENIED);
    CloseHandle(mapping);

    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"image.bin").c_str())), ERROR_ACCESS_DENIED);  // a view is still there
    EXPECT_EQ(open_error(win(L"image.bin"), GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS), ERROR_USER_MAPPED_FILE);
    EXPECT_TRUE(UnmapViewOfFile(whole));
    EXPECT_EQ(ERROR_OF(UnmapViewOfFile(whole)), ERROR_INVALID_ADDRESS);
    EXPECT_TRUE(UnmapViewOfFile(part + 10));  // any address inside the view
    EXPECT_TRUE(DeleteFileW(win(L"image.bin").c_str()));

    write_posix("empty.bin", "");
    file = open_file(win(L"empty.bin"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_EQ(ERROR_OF(CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr)), ERROR_FILE_INVALID);
    CloseHandle(file);
}

TEST_F(Files, FileTimesFromDosStamps) {
    // 2020-01-02 03:04:06, the reference machine's local time being UTC.
    const WORD date = static_cast<WORD>(((2020 - 1980) << 9) | (1 << 5) | 2);
    const WORD time = static_cast<WORD>((3 << 11) | (4 << 5) | (6 / 2));
    FILETIME local, utc;
    ASSERT_TRUE(DosDateTimeToFileTime(date, time, &local));
    const uint64_t expected = 1577934246ULL * 10000000ULL + 116444736000000000ULL;
    EXPECT_EQ((static_cast<uint64_t>(local.dwHighDateTime) << 32) | local.dwLowDateTime, expected);
    ASSERT_TRUE(LocalFileTimeToFileTime(&local, &utc));
    EXPECT_EQ(ERROR_OF(DosDateTimeToFileTime(static_cast<WORD>((40 << 9) | (13 << 5) | 1), 0, &local)),
              ERROR_INVALID_PARAMETER);  // month 13

    write_posix("stamp.txt", "x");
    HANDLE file = open_file(win(L"stamp.txt"), GENERIC_WRITE, 0, OPEN_EXISTING);
    ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &utc));
    FILETIME written;
    ASSERT_TRUE(GetFileTime(file, nullptr, nullptr, &written));
    EXPECT_EQ(written.dwLowDateTime, utc.dwLowDateTime);
    EXPECT_EQ(written.dwHighDateTime, utc.dwHighDateTime);
    CloseHandle(file);
    struct stat st;
    ASSERT_EQ(stat(posix("stamp.txt").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1577934246);

    file = open_file(win(L"stamp.txt"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_EQ(ERROR_OF(SetFileTime(file, nullptr, nullptr, &utc)), ERROR_ACCESS_DENIED);
    CloseHandle(file);
}

TEST(LastError, IsKeptPerThread) {
    SetLastError(5);
    DWORD seen_in_thread = 99;
    std::thread other([&] {
        seen_in_thread = GetLastError();
        SetLastError(7);
    });
    other.join();
    EXPECT_EQ(seen_in_thread, 0u);
    EXPECT_EQ(GetLastError(), 5u);
}

}  // namespace
