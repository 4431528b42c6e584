// Files through their Windows names: errors, round trips, attributes,
// sharing, moves, the temporary folder, mapping and times. The Files tests
// run in a plain folder on disk and again below the private temporary
// folder, whose files need not be on disk: what the Windows calls show must
// not differ.

#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <regex>
#include <thread>

#include "fixture.h"
#include "platform/posix/inspect/mapped_bytes.h"
#include "platform/posix/kernel/memory.h"

namespace {

using Files = KernelPlace;

// The process's temporary folder, with its closing backslash.
std::wstring temp_folder() {
    wchar_t buffer[MAX_PATH];
    return std::wstring(buffer, GetTempPathW(MAX_PATH, buffer));
}

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

bool write_bytes(HANDLE file, const std::string& bytes) {
    DWORD written = 0;
    return WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

uint64_t ticks(const FILETIME& t) { return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime; }

FILETIME dos_day(WORD year, WORD month, WORD day) {
    FILETIME t{};
    DosDateTimeToFileTime(static_cast<WORD>(((year - 1980) << 9) | (month << 5) | day), 0, &t);
    return t;
}

// The search entry of one name; zeros when there is none.
WIN32_FIND_DATAW entry(const std::wstring& path) {
    WIN32_FIND_DATAW data{};
    HANDLE search = FindFirstFileW(path.c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) {
        ADD_FAILURE() << "no entry " << qv::posix::to_utf8(path);
        return {};
    }
    FindClose(search);
    return data;
}

// A plain folder under /tmp beside the test's own, removed at the end.
struct DiskFolder {
    DiskFolder() {
        char pattern[] = "/tmp/qvkt-XXXXXX";
        if (mkdtemp(pattern)) path = pattern;
    }
    ~DiskFolder() {
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
    std::wstring at(const wchar_t* name) const { return qv::posix::windows_path_from_posix(path) + L"\\" + name; }
    std::string path;
};

TEST_P(Files, MissingFilesAndBadNamesSetTheWindowsErrors) {
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

TEST_P(Files, WriteReadAndSeekRoundTripWithoutByteOrderMark) {
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
    EXPECT_EQ(get("data.bin"), "hello world");

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
TEST_P(Files, GatheredWritesAreSeenInOrderByEveryLaterUse) {
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
    EXPECT_EQ(get("gather.bin"), expected);
}

TEST_P(Files, CreationDispositionsFollowWindows) {
    put("f.txt", "old content");
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
    EXPECT_EQ(get("f.txt"), "");
    EXPECT_FALSE(exists("F.TXT"));  // the existing spelling was used

    file = open_file(win(L"new.txt"), GENERIC_WRITE, 0, OPEN_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    CloseHandle(file);

    EXPECT_EQ(open_error(win(L"gone.txt"), GENERIC_WRITE, 0, TRUNCATE_EXISTING), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(open_error(win(L"f.txt"), GENERIC_READ, 0, 9), ERROR_INVALID_PARAMETER);
    make_folder("folder");
    EXPECT_EQ(open_error(win(L"folder"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), ERROR_ACCESS_DENIED);
}

TEST_P(Files, WrongAndClosedHandlesAreRejectedWithoutCrash) {
    put("f.txt", "abc");
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

TEST_P(Files, AttributesKeepTheReadOnlyBitAndWindowsDefaults) {
    HANDLE file = open_file(win(L"a.txt"), GENERIC_WRITE, 0, CREATE_NEW);
    ASSERT_TRUE(write_bytes(file, "kept"));
    CloseHandle(file);
    EXPECT_EQ(attributes(L"a.txt"), FILE_ATTRIBUTE_ARCHIVE);

    // A read-only file refuses every way of writing, replacing or deleting it.
    ASSERT_TRUE(SetFileAttributesW(win(L"A.TXT").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(attributes(L"a.txt"), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(open_error(win(L"a.txt"), GENERIC_WRITE, 0, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_EQ(open_error(win(L"a.txt"), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_ALWAYS),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(open_error(win(L"a.txt"), GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(open_error(win(L"a.txt"), GENERIC_WRITE, 0, TRUNCATE_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"a.txt").c_str())), ERROR_ACCESS_DENIED);
    put("b.txt", "other");
    EXPECT_EQ(ERROR_OF(MoveFileExW(win(L"b.txt").c_str(), win(L"a.txt").c_str(), MOVEFILE_REPLACE_EXISTING)),
              ERROR_ACCESS_DENIED);
    EXPECT_TRUE(exists("a.txt"));
    EXPECT_EQ(get("a.txt"), "kept");

    ASSERT_TRUE(SetFileAttributesW(win(L"a.txt").c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(attributes(L"a.txt"), FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(DeleteFileW(win(L"a.txt").c_str()));
    EXPECT_FALSE(exists("a.txt"));

    CloseHandle(open_file(win(L"t.tmp"), GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY));
    EXPECT_EQ(attributes(L"t.tmp"), FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_ARCHIVE);

    // Created read-only: the creating handle still writes, later opens may not.
    file = open_file(win(L"made.txt"), GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_READONLY);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(write_bytes(file, "abc"));
    CloseHandle(file);
    EXPECT_EQ(attributes(L"made.txt"), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(get("made.txt"), "abc");
    EXPECT_EQ(open_error(win(L"made.txt"), GENERIC_WRITE, 0, OPEN_EXISTING), ERROR_ACCESS_DENIED);

    if (on_disk()) {  // mode bits set from outside exist on disk only
        put("locked.txt", "x");
        chmod(posix("locked.txt").c_str(), 0444);
        EXPECT_EQ(attributes(L"LOCKED.txt"), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
    }
    make_folder("sub");
    EXPECT_EQ(attributes(L"SUB"), FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"sub").c_str())), ERROR_ACCESS_DENIED);
}

TEST_P(Files, ShareModesAndOpenFilesGuardDeletion) {
    put("s.txt", "shared");
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
    EXPECT_TRUE(exists("doc.tmp"));
    CloseHandle(temporary);
    EXPECT_FALSE(exists("doc.tmp"));

    // With a second handle open, the bytes stay readable through it, and the
    // file is gone once both are closed.
    temporary = open_file(win(L"pair.tmp"), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, CREATE_NEW,
                          FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_NE(temporary, INVALID_HANDLE_VALUE);
    reader = open_file(win(L"pair.tmp"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       OPEN_EXISTING);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(write_bytes(temporary, "pending"));
    CloseHandle(temporary);
    EXPECT_EQ(read_all(reader), "pending");
    CloseHandle(reader);
    EXPECT_FALSE(exists("pair.tmp"));
    EXPECT_EQ(attributes(L"pair.tmp"), INVALID_FILE_ATTRIBUTES);
}

// What one handle writes, another handle of the same file reads at once;
// a write past the end and a longer end of file leave zeros.
TEST_P(Files, HandlesShareOneFileItsGapsAndItsEnd) {
    const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    HANDLE a = open_file(win(L"shared.bin"), GENERIC_READ | GENERIC_WRITE, share, CREATE_NEW);
    HANDLE b = open_file(win(L"SHARED.BIN"), GENERIC_READ | GENERIC_WRITE, share, OPEN_EXISTING);
    ASSERT_NE(a, INVALID_HANDLE_VALUE);
    ASSERT_NE(b, INVALID_HANDLE_VALUE);
    auto content = [](HANDLE file) {
        SetFilePointer(file, 0, nullptr, FILE_BEGIN);
        return read_all(file);
    };
    ASSERT_TRUE(write_bytes(a, "hello"));
    EXPECT_EQ(GetFileSize(b, nullptr), 5u);
    EXPECT_EQ(read_all(b), "hello");  // each handle has its own position
    ASSERT_TRUE(write_bytes(b, " world"));
    EXPECT_EQ(read_all(a), " world");
    SetFilePointer(a, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(write_bytes(a, "J"));
    EXPECT_EQ(content(b), "Jello world");

    EXPECT_EQ(SetFilePointer(a, 20, nullptr, FILE_BEGIN), 20u);
    EXPECT_EQ(GetFileSize(b, nullptr), 11u);  // moving the position alone does not grow the file
    DWORD none = 0;
    ASSERT_TRUE(WriteFile(a, "", 0, &none, nullptr));
    EXPECT_EQ(GetFileSize(b, nullptr), 11u);  // nor does writing nothing there
    ASSERT_TRUE(write_bytes(a, "end"));
    LARGE_INTEGER size{};
    ASSERT_TRUE(GetFileSizeEx(b, &size));
    EXPECT_EQ(size.QuadPart, 23);
    EXPECT_EQ(content(b), std::string("Jello world") + std::string(9, '\0') + "end");

    EXPECT_EQ(SetFilePointer(b, 4, nullptr, FILE_BEGIN), 4u);
    ASSERT_TRUE(SetEndOfFile(b));
    EXPECT_EQ(GetFileSize(a, nullptr), 4u);
    EXPECT_EQ(read_all(a), "");  // a's position, 23, is past the new end
    EXPECT_EQ(content(a), "Jell");
    EXPECT_EQ(SetFilePointer(a, 10, nullptr, FILE_BEGIN), 10u);
    ASSERT_TRUE(SetEndOfFile(a));
    EXPECT_EQ(content(b), std::string("Jell") + std::string(6, '\0'));
    ASSERT_TRUE(write_bytes(b, "+"));
    CloseHandle(a);
    CloseHandle(b);
    EXPECT_EQ(get("shared.bin"), std::string("Jell") + std::string(6, '\0') + "+");
    EXPECT_EQ(entry(win(L"shared.bin")).nFileSizeLow, 11u);
}

TEST_P(Files, MoveCopyAndFolders) {
    put("one.txt", "1");
    put("two.txt", "22");
    auto move = [&](const wchar_t* from, const wchar_t* to, DWORD flags = 0) {
        return ERROR_OF(MoveFileExW(win(from).c_str(), win(to).c_str(), flags));
    };
    auto copy = [&](BOOL fail_if_exists) {
        return ERROR_OF(CopyFileW(win(L"two.txt").c_str(), win(L"copy.txt").c_str(), fail_if_exists));
    };
    EXPECT_EQ(ERROR_OF(MoveFileW(win(L"one.txt").c_str(), win(L"TWO.txt").c_str())), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(move(L"one.txt", L"TWO.txt", MOVEFILE_REPLACE_EXISTING), kOk);
    EXPECT_EQ(get("two.txt"), "1");
    EXPECT_FALSE(exists("one.txt"));
    EXPECT_TRUE(MoveFileW(win(L"two.txt").c_str(), win(L"Two.txt").c_str()));  // a change of case
    EXPECT_TRUE(exists("Two.txt"));
    EXPECT_EQ(ERROR_OF(MoveFileW(win(L"absent").c_str(), win(L"x").c_str())), ERROR_FILE_NOT_FOUND);

    ASSERT_TRUE(SetFileAttributesW(win(L"two.txt").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(copy(TRUE), kOk);
    EXPECT_EQ(get("copy.txt"), "1");
    EXPECT_EQ(attributes(L"copy.txt"), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(copy(TRUE), ERROR_FILE_EXISTS);
    EXPECT_EQ(copy(FALSE), ERROR_ACCESS_DENIED);  // read-only target

    auto make_dir = [&](const wchar_t* name) { return ERROR_OF(CreateDirectoryW(win(name).c_str(), nullptr)); };
    auto remove_dir = [&](const wchar_t* name) { return ERROR_OF(RemoveDirectoryW(win(name).c_str())); };
    EXPECT_EQ(make_dir(L"Dir"), kOk);
    EXPECT_EQ(make_dir(L"dir"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(make_dir(L"no\\such"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(make_dir(L"COPY.txt"), ERROR_ALREADY_EXISTS);  // a file's name
    EXPECT_EQ(make_dir(L"DIR\\inner"), kOk);
    EXPECT_TRUE(exists("Dir/inner"));
    put("Dir/inner/only.txt", "x");
    EXPECT_EQ(remove_dir(L"dir\\inner"), ERROR_DIR_NOT_EMPTY);  // one file fills a folder
    EXPECT_TRUE(DeleteFileW(win(L"dir\\inner\\ONLY.txt").c_str()));
    EXPECT_EQ(remove_dir(L"dir"), ERROR_DIR_NOT_EMPTY);
    EXPECT_EQ(remove_dir(L"copy.txt"), ERROR_DIRECTORY);
    EXPECT_EQ(remove_dir(L"dir\\INNER"), kOk);
    EXPECT_EQ(remove_dir(L"dir"), kOk);
    EXPECT_FALSE(exists("Dir"));
}

// Moves and copies within the folder, out to a plain folder on disk and
// back keep a file's bytes, size and last write time.
TEST_P(Files, MovesAndCopiesToAndFromAFolderOnDiskKeepBytesSizeAndTime) {
    const DiskFolder disk;
    ASSERT_FALSE(disk.path.empty());
    std::string bytes(70000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 13) % 253);
    const FILETIME stamp = dos_day(2001, 2, 3);
    HANDLE file = open_file(win(L"a.bin"), GENERIC_WRITE, 0, CREATE_NEW);
    ASSERT_TRUE(write_bytes(file, bytes));
    ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &stamp));
    CloseHandle(file);
    auto kept = [&](const std::wstring& path) {
        SCOPED_TRACE(qv::posix::to_utf8(path));
        const WIN32_FIND_DATAW data = entry(path);
        EXPECT_EQ(data.nFileSizeLow, bytes.size());
        EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
        EXPECT_EQ(ticks(data.ftLastWriteTime), ticks(stamp));
        HANDLE reader = open_file(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
        EXPECT_EQ(read_all(reader), bytes);
        CloseHandle(reader);
    };
    auto move = [](const std::wstring& from, const std::wstring& to, DWORD flags = 0) {
        return ERROR_OF(MoveFileExW(from.c_str(), to.c_str(), flags));
    };
    auto copy = [](const std::wstring& from, const std::wstring& to, BOOL fail_if_exists) {
        return ERROR_OF(CopyFileW(from.c_str(), to.c_str(), fail_if_exists));
    };

    EXPECT_EQ(move(win(L"a.bin"), win(L"b.bin")), kOk);
    kept(win(L"b.bin"));
    EXPECT_EQ(move(win(L"b.bin"), disk.at(L"c.bin")), kOk);
    kept(disk.at(L"c.bin"));
    EXPECT_FALSE(exists("b.bin"));
    EXPECT_EQ(move(disk.at(L"c.bin"), win(L"d.bin")), kOk);
    kept(win(L"d.bin"));
    EXPECT_FALSE(std::filesystem::exists(disk.path + "/c.bin"));

    EXPECT_EQ(copy(win(L"d.bin"), disk.at(L"e.bin"), TRUE), kOk);
    kept(disk.at(L"e.bin"));
    kept(win(L"d.bin"));
    EXPECT_EQ(copy(disk.at(L"e.bin"), win(L"f.bin"), TRUE), kOk);
    kept(win(L"f.bin"));
    // Replacing a shorter file leaves none of its bytes or its time.
    put("g.bin", "short");
    EXPECT_EQ(copy(disk.at(L"e.bin"), win(L"g.bin"), TRUE), ERROR_FILE_EXISTS);
    EXPECT_EQ(copy(disk.at(L"e.bin"), win(L"g.bin"), FALSE), kOk);
    kept(win(L"g.bin"));
    put("h.bin", "short");
    EXPECT_EQ(move(win(L"g.bin"), win(L"h.bin"), MOVEFILE_REPLACE_EXISTING), kOk);
    kept(win(L"h.bin"));
    put("i.bin", "short");
    EXPECT_EQ(move(disk.at(L"e.bin"), win(L"i.bin"), MOVEFILE_REPLACE_EXISTING), kOk);
    kept(win(L"i.bin"));
}

TEST_P(Files, TemporaryFolderAndNames) {
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

    // Names are made, and the files created, in the test's own folder.
    wchar_t name[MAX_PATH];
    UINT unique = GetTempFileNameW(windows_.c_str(), L"qvxyz", 0, name);
    ASSERT_NE(unique, 0u);
    wchar_t expected_tail[16];
    std::swprintf(expected_tail, 16, L"qvx%X.TMP", unique);
    EXPECT_EQ(std::wstring(name), windows_ + L"\\" + expected_tail);
    EXPECT_EQ(GetFileAttributesW(name), FILE_ATTRIBUTE_ARCHIVE);  // created, empty
    std::wregex form(LR"(.*\\qvx[0-9A-F]{1,4}\.TMP)");
    EXPECT_TRUE(std::regex_match(std::wstring(name), form));
    wchar_t other[MAX_PATH];
    ASSERT_NE(GetTempFileNameW(windows_.c_str(), L"qvx", 0, other), 0u);
    EXPECT_NE(std::wstring(other), std::wstring(name));
    EXPECT_TRUE(DeleteFileW(name));
    EXPECT_TRUE(DeleteFileW(other));

    // A given number only forms the name.
    EXPECT_EQ(GetTempFileNameW(windows_.c_str(), L"ab", 0x11A2B, name), 0x1A2Bu);
    EXPECT_EQ(std::wstring(name), windows_ + L"\\ab1A2B.TMP");
    EXPECT_FALSE(exists("ab1A2B.TMP"));
    EXPECT_EQ(ERROR_OF(GetTempFileNameW(win(L"missing").c_str(), L"x", 0, name)), ERROR_DIRECTORY);
}

// The private temporary folder keeps its listing between lookups; each
// change the kernel makes there must show at once in lookups of any case.
TEST(TemporaryFolder, LookupsOfAnyCaseSeeEveryChangeAtOnce) {
    const std::wstring temp = temp_folder();
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
// Files in the scratch root outside the temporary folder stay on disk, and
// lend their inode on deletion to the next file made there.
TEST(ScratchRoot, AReusedInodeIsANewEmptyFileAndOpenOrMappedFilesKeepTheirBytes) {
    CreateDirectoryW(L"C:\\", nullptr);
    ASSERT_TRUE(CreateDirectoryW(L"C:\\recycling", nullptr));
    const std::wstring folder = L"C:\\recycling\\";
    auto at = [&](const wchar_t* name) { return folder + name; };
    auto inode = [&](const wchar_t* name) {
        struct stat st {};
        stat(qv::posix::posix_path_from_windows(at(name)).c_str(), &st);
        return st.st_ino;
    };
    auto write_new = [&](const wchar_t* name, const std::string& bytes, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
        HANDLE file = CreateFileW(at(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, flags, nullptr);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        DWORD written = 0;
        if (!bytes.empty()) {
            EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
        }
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
    EXPECT_TRUE(RemoveDirectoryW(L"C:\\recycling"));
}

// A file in the temporary folder is read in place by the readers outside the
// kernel, and keeps what they saw when it changes or goes.
TEST(TemporaryFolder, ReadersOfAFileInMemorySeeItAsItWasWhenTheyOpenedIt) {
    const std::wstring path = temp_folder() + L"Reader.bin";
    auto rewrite = [&](const std::string& bytes) {
        HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
        CloseHandle(file);
    };
    auto text = [](const qv::posix::MappedFileBytes& bytes) {
        return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    rewrite("");
    const std::string posix = qv::posix::posix_path_from_windows(path);
    EXPECT_EQ(qv::posix::MappedFileBytes(posix).status(), qv::posix::MappedFileBytes::Status::Empty);
    struct stat st;
    EXPECT_NE(stat(posix.c_str(), &st), 0);  // nothing on disk
    rewrite("first bytes");
    {
        const qv::posix::MappedFileBytes first(posix);
        ASSERT_EQ(first.status(), qv::posix::MappedFileBytes::Status::Mapped);
        rewrite("second, longer bytes");
        EXPECT_EQ(text(first), "first bytes");
        EXPECT_EQ(text(qv::posix::MappedFileBytes(qv::posix::posix_path_from_windows(path))), "second, longer bytes");
        ASSERT_TRUE(DeleteFileW(path.c_str()));
        EXPECT_EQ(text(first), "first bytes");
    }
    EXPECT_EQ(qv::posix::MappedFileBytes(posix).status(), qv::posix::MappedFileBytes::Status::NotFound);
}

// A search for one plain name answers from the entry the name maps to.
TEST_P(Files, SearchForOnePlainNameGivesItsSpellingSizeAndAttributes) {
    put("Plain.Txt", "12345");
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

// A listing gives each entry its own size, attributes and last write time.
TEST_P(Files, ListingGivesEachEntryItsSizeAttributesAndTime) {
    auto make = [&](const wchar_t* name, size_t size, DWORD flags, const FILETIME& time) {
        HANDLE file = open_file(win(name), GENERIC_WRITE, 0, CREATE_NEW, flags);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        EXPECT_TRUE(write_bytes(file, std::string(size, 'x')));
        EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &time));
        CloseHandle(file);
    };
    const FILETIME first = dos_day(2003, 4, 5), second = dos_day(2010, 11, 12), third = dos_day(1999, 12, 31);
    make(L"Small.txt", 5, FILE_ATTRIBUTE_NORMAL, first);
    make(L"hidden.BIN", 70000, FILE_ATTRIBUTE_HIDDEN, second);
    make(L"empty", 0, FILE_ATTRIBUTE_NORMAL, third);
    ASSERT_TRUE(SetFileAttributesW(win(L"EMPTY").c_str(), FILE_ATTRIBUTE_READONLY));
    make_folder("Sub");

    std::map<std::wstring, WIN32_FIND_DATAW> listed;
    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW(win(L"*").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    do listed[data.cFileName] = data;
    while (FindNextFileW(search, &data));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    FindClose(search);

    std::vector<std::wstring> names;
    for (const auto& [name, ignored] : listed) names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::wstring>{L".", L"..", L"Small.txt", L"Sub", L"empty", L"hidden.BIN"}));
    const struct {
        const wchar_t* name;
        DWORD size, attributes;
        FILETIME time;
    } files[] = {{L"Small.txt", 5, FILE_ATTRIBUTE_ARCHIVE, first},
                 {L"hidden.BIN", 70000, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE, second},
                 {L"empty", 0, FILE_ATTRIBUTE_READONLY, third}};
    for (const auto& file : files) {
        SCOPED_TRACE(qv::posix::to_utf8(file.name));
        const WIN32_FIND_DATAW& found = listed[file.name];
        EXPECT_EQ(found.nFileSizeLow, file.size);
        EXPECT_EQ(found.nFileSizeHigh, 0u);
        EXPECT_EQ(found.dwFileAttributes, file.attributes);
        EXPECT_EQ(ticks(found.ftLastWriteTime), ticks(file.time));
    }
    EXPECT_EQ(listed[L"Sub"].dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
}

TEST_P(Files, MappingGivesTheBytesAndPinsTheFile) {
    std::string bytes(70000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 7) % 251);
    put("image.bin", bytes);
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
    EXPECT_EQ(std::memcmp(whole, bytes.data(), bytes.size()), 0);  // views outlive both handles

    EXPECT_EQ(ERROR_OF(DeleteFileW(win(L"image.bin").c_str())), ERROR_ACCESS_DENIED);  // a view is still there
    EXPECT_EQ(open_error(win(L"image.bin"), GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS), ERROR_USER_MAPPED_FILE);
    EXPECT_TRUE(UnmapViewOfFile(whole));
    EXPECT_EQ(ERROR_OF(UnmapViewOfFile(whole)), ERROR_INVALID_ADDRESS);
    EXPECT_TRUE(UnmapViewOfFile(part + 10));  // any address inside the view
    EXPECT_TRUE(DeleteFileW(win(L"image.bin").c_str()));

    put("empty.bin", "");
    file = open_file(win(L"empty.bin"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_EQ(ERROR_OF(CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr)), ERROR_FILE_INVALID);
    CloseHandle(file);
}

TEST_P(Files, FileTimesFromDosStamps) {
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

    put("stamp.txt", "x");
    HANDLE file = open_file(win(L"stamp.txt"), GENERIC_WRITE, 0, OPEN_EXISTING);
    ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &utc));
    FILETIME written;
    ASSERT_TRUE(GetFileTime(file, nullptr, nullptr, &written));
    EXPECT_EQ(written.dwLowDateTime, utc.dwLowDateTime);
    EXPECT_EQ(written.dwHighDateTime, utc.dwHighDateTime);
    CloseHandle(file);
    if (on_disk()) {  // the time that POSIX sees is on disk only
        struct stat st;
        ASSERT_EQ(stat(posix("stamp.txt").c_str(), &st), 0);
        EXPECT_EQ(st.st_mtim.tv_sec, 1577934246);
    }

    file = open_file(win(L"stamp.txt"), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    ASSERT_TRUE(GetFileTime(file, nullptr, nullptr, &written));
    EXPECT_EQ(ticks(written), ticks(utc));
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

INSTANTIATE_TEST_SUITE_P(, Files, ::testing::Values(Place::OnDisk, Place::InTemp), place_name);

}  // namespace

// A new file in memory can take shared bytes as its content (the cabinet
// cache hands out its entries so); a change to the file leaves them alone.
TEST(TemporaryFolder, AdoptedBytesAreTheContentAndStayUnchangedByWrites) {
    const std::wstring path = temp_folder() + L"Adopted.bin";
    auto shared = std::make_shared<const std::vector<uint8_t>>(std::vector<uint8_t>{'c', 'a', 'c', 'h', 'e'});
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(qv::posix::adopt_memory_bytes(file, shared));
    EXPECT_FALSE(qv::posix::adopt_memory_bytes(file, shared));  // no longer empty
    EXPECT_EQ(GetFileSize(file, nullptr), 5u);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "!", 1, &written, nullptr));  // appended at the end
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(WriteFile(file, "C", 1, &written, nullptr));
    EXPECT_EQ(read_all(file), "ache!");
    CloseHandle(file);
    EXPECT_EQ(std::string(shared->begin(), shared->end()), "cache");
    const auto now = qv::posix::memory_file_bytes(qv::posix::posix_path_from_windows(path));
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(std::string(now->begin(), now->end()), "Cache!");

    // Only an empty file in memory, open for writing, at its start.
    HANDLE reader = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_FALSE(qv::posix::adopt_memory_bytes(reader, shared));
    CloseHandle(reader);
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    HANDLE moved = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_TRUE(WriteFile(moved, "x", 1, &written, nullptr));
    SetFilePointer(moved, 0, nullptr, FILE_BEGIN);
    SetEndOfFile(moved);
    SetFilePointer(moved, 1, nullptr, FILE_BEGIN);
    EXPECT_FALSE(qv::posix::adopt_memory_bytes(moved, shared));  // not at the start
    CloseHandle(moved);
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    HANDLE on_disk = CreateFileW((qv::posix::windows_path_from_posix("/tmp") + L"\\qv-adopt-" +
                                  std::to_wstring(GetCurrentProcessId()) + L".bin").c_str(),
                                 GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    ASSERT_NE(on_disk, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(qv::posix::adopt_memory_bytes(on_disk, shared));
    CloseHandle(on_disk);
    EXPECT_FALSE(qv::posix::adopt_memory_bytes(nullptr, shared));
}

// The hash of a file's bytes is the same whatever pieces they come in; a
// file in memory keeps it while it is written front to back from empty (as
// an embedded cabinet is copied out), and drops it at any other change.
TEST(TemporaryFolder, AFileWrittenFrontToBackKeepsTheHashOfItsBytes) {
    std::vector<uint8_t> bytes(5000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 131 + i / 7);
    qv::posix::ContentHash whole;
    whole.add(bytes.data(), bytes.size());
    const uint64_t expected = whole.finish();
    for (size_t piece : {size_t{1}, size_t{7}, size_t{31}, size_t{32}, size_t{260}, size_t{4999}}) {
        qv::posix::ContentHash pieces;
        for (size_t at = 0; at < bytes.size(); at += piece)
            pieces.add(bytes.data() + at, std::min(piece, bytes.size() - at));
        EXPECT_EQ(pieces.finish(), expected) << piece;
    }
    qv::posix::ContentHash shorter, seeded(1);
    shorter.add(bytes.data(), bytes.size() - 1);
    seeded.add(bytes.data(), bytes.size());
    EXPECT_NE(shorter.finish(), expected);
    EXPECT_NE(seeded.finish(), expected);

    const std::wstring path = temp_folder() + L"Hashed.bin";
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    for (size_t at = 0; at < bytes.size(); at += 260)
        ASSERT_TRUE(WriteFile(file, bytes.data() + at, static_cast<DWORD>(std::min<size_t>(260, bytes.size() - at)),
                              &written, nullptr));
    uint64_t hash = 0;
    ASSERT_TRUE(qv::posix::memory_content_hash(file, hash));
    EXPECT_EQ(hash, expected);
    SetFilePointer(file, 10, nullptr, FILE_BEGIN);  // a change in the middle
    ASSERT_TRUE(WriteFile(file, "x", 1, &written, nullptr));
    EXPECT_FALSE(qv::posix::memory_content_hash(file, hash));
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);  // emptied, and written again
    ASSERT_TRUE(SetEndOfFile(file));
    ASSERT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    ASSERT_TRUE(qv::posix::memory_content_hash(file, hash));
    EXPECT_EQ(hash, expected);
    SetFilePointer(file, 100, nullptr, FILE_BEGIN);  // cut short
    ASSERT_TRUE(SetEndOfFile(file));
    EXPECT_FALSE(qv::posix::memory_content_hash(file, hash));
    CloseHandle(file);
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    EXPECT_FALSE(qv::posix::memory_content_hash(nullptr, hash));
}

// Past their budget the files of the temporary folder go to disk, and work
// as the others do; once room is made, new files are in memory again.
TEST(TemporaryFolder, PastTheMemoryBudgetNewFilesGoToDisk) {
    const std::wstring temp = temp_folder();
    auto write_new = [&](const std::wstring& name, size_t size) {
        HANDLE file = CreateFileW((temp + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        const std::string bytes(size, 'b');
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
        CloseHandle(file);
    };
    auto on_disk = [&](const std::wstring& name) {
        struct stat st;
        return stat(qv::posix::posix_path_from_windows(temp + name).c_str(), &st) == 0;
    };
    const uint64_t old = qv::posix::set_memory_budget(1000);
    write_new(L"first.bin", 1500);  // made while under the budget
    write_new(L"second.bin", 10);
    EXPECT_FALSE(on_disk(L"first.bin"));
    EXPECT_TRUE(on_disk(L"second.bin"));
    WIN32_FIND_DATAW data;
    HANDLE search = FindFirstFileW((temp + L"SECOND.BIN").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_EQ(data.nFileSizeLow, 10u);
    FindClose(search);
    EXPECT_TRUE(MoveFileExW((temp + L"second.bin").c_str(), (temp + L"first.bin").c_str(), MOVEFILE_REPLACE_EXISTING));
    EXPECT_TRUE(on_disk(L"first.bin"));
    EXPECT_EQ(GetFileAttributesW((temp + L"second.bin").c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(DeleteFileW((temp + L"first.bin").c_str()));
    write_new(L"third.bin", 10);  // room again
    EXPECT_FALSE(on_disk(L"third.bin"));
    EXPECT_TRUE(DeleteFileW((temp + L"third.bin").c_str()));
    qv::posix::set_memory_budget(old);
}

// A file in memory that would grow past what memory can hold fails the
// write or the new end as a full disk does, and keeps what it had.
TEST(TemporaryFolder, AFileInMemoryTooLargeToHoldFailsAsAFullDisk) {
    const std::wstring path = temp_folder() + L"Huge.bin";
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(file, "abc", 3, &written, nullptr));
    LARGE_INTEGER far;
    far.QuadPart = LONGLONG{1} << 40;
    ASSERT_TRUE(SetFilePointerEx(file, far, nullptr, FILE_BEGIN));
    EXPECT_EQ(ERROR_OF(WriteFile(file, "x", 1, &written, nullptr)), ERROR_DISK_FULL);
    EXPECT_EQ(ERROR_OF(SetEndOfFile(file)), ERROR_DISK_FULL);
    EXPECT_EQ(GetFileSize(file, nullptr), 3u);
    CloseHandle(file);
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

// A file cannot be made in memory in a folder that does not exist: the
// calls fail as they do on disk.
TEST(TemporaryFolder, NoFileInMemoryInAFolderThatIsNotThere) {
    const std::wstring temp = temp_folder();
    const std::wstring lost = temp + L"no such folder\\lost.bin";
    EXPECT_EQ(open_error(lost, GENERIC_WRITE, 0, CREATE_NEW), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(open_error(lost, GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
    HANDLE file = CreateFileW((temp + L"here.bin").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
    EXPECT_EQ(ERROR_OF(CopyFileW((temp + L"here.bin").c_str(), lost.c_str(), TRUE)), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(ERROR_OF(MoveFileExW((temp + L"here.bin").c_str(), lost.c_str(), 0)), ERROR_PATH_NOT_FOUND);
    EXPECT_NE(GetFileAttributesW((temp + L"here.bin").c_str()), INVALID_FILE_ATTRIBUTES);  // still there
    EXPECT_EQ(GetFileAttributesW(lost.c_str()), INVALID_FILE_ATTRIBUTES);
    WIN32_FIND_DATAW data;
    EXPECT_EQ(FindFirstFileW((temp + L"no such folder\\*").c_str(), &data), INVALID_HANDLE_VALUE);
    EXPECT_TRUE(DeleteFileW((temp + L"here.bin").c_str()));
}
