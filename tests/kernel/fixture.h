// A private POSIX folder per test, with its Windows form; and one that may
// also lie in the process's private temporary folder.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/kernel/paths.h"

// The error a call sets when it fails (the slot cleared first), kOk when it
// succeeds.
constexpr DWORD kOk = 0xFFFFFFFFu;
#define ERROR_OF(call) (SetLastError(0), (call) ? kOk : GetLastError())

class KernelFolder : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/qvkt-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        posix_ = pattern;
        windows_ = qv::posix::windows_path_from_posix(posix_);
    }
    void TearDown() override {
        std::string command = "chmod -R u+w '" + posix_ + "' && rm -rf '" + posix_ + "'";
        ASSERT_EQ(system(command.c_str()), 0);
    }
    // Windows form of a path below the folder ("a\\b" style relative part).
    std::wstring win(const std::wstring& relative) const { return windows_ + L"\\" + relative; }
    std::string posix(const std::string& relative) const { return posix_ + "/" + relative; }
    void write_posix(const std::string& relative, const std::string& bytes) const {
        std::ofstream(posix(relative), std::ios::binary) << bytes;
    }
    std::string read_posix(const std::string& relative) const {
        std::ifstream in(posix(relative), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    bool exists_posix(const std::string& relative) const {
        struct stat st;
        return lstat(posix(relative).c_str(), &st) == 0;
    }
    DWORD attributes(const std::wstring& relative) const { return GetFileAttributesW(win(relative).c_str()); }

    std::string posix_;
    std::wstring windows_;
};

// Where a KernelPlace test works: a plain folder under /tmp, or a fresh
// folder below the private temporary folder, whose files the kernel may keep
// in memory where only the Windows calls see them.
enum class Place { OnDisk, InTemp };

inline void PrintTo(Place place, std::ostream* out) { *out << (place == Place::OnDisk ? "OnDisk" : "InTemp"); }
inline std::string place_name(const ::testing::TestParamInfo<Place>& info) {
    return ::testing::PrintToString(info.param);
}

class KernelPlace : public KernelFolder, public ::testing::WithParamInterface<Place> {
protected:
    void SetUp() override {
        if (on_disk()) return KernelFolder::SetUp();
        static int serial = 0;
        wchar_t temp[MAX_PATH];
        const DWORD length = GetTempPathW(MAX_PATH, temp);
        ASSERT_GT(length, 0u);
        const std::wstring folder = std::wstring(temp, length) + L"qvkt-" + std::to_wstring(++serial);
        ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
        windows_ = folder;  // set once made: TearDown removes nothing else
        posix_ = qv::posix::posix_path_from_windows(windows_);  // folders stay on disk
    }
    // Removed through the kernel in both places: it forgets what it kept of
    // each file by inode, which a later test's new file or folder may reuse.
    void TearDown() override {
        if (windows_.empty()) return;
        remove_tree(windows_);
        if (on_disk() && access(posix_.c_str(), F_OK) == 0) KernelFolder::TearDown();  // what was left
    }

    bool on_disk() const { return GetParam() == Place::OnDisk; }

    // Files as another program makes and reads them: through POSIX on disk,
    // through the Windows calls in the temporary folder. Names use '/'.
    void put(const std::string& relative, const std::string& bytes) const {
        if (on_disk()) return write_posix(relative, bytes);
        HANDLE file = CreateFileW(wide(relative).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << relative;
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
        EXPECT_TRUE(CloseHandle(file));
    }
    std::string get(const std::string& relative) const {
        if (on_disk()) return read_posix(relative);
        HANDLE file = CreateFileW(wide(relative).c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                  nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            ADD_FAILURE() << "cannot read " << relative << ": error " << GetLastError();
            return "<unreadable>";
        }
        std::string out;
        char buffer[4096];
        DWORD got = 0;
        while (ReadFile(file, buffer, sizeof(buffer), &got, nullptr) && got > 0) out.append(buffer, got);
        CloseHandle(file);
        return out;
    }
    // True when an entry of exactly this spelling exists.
    bool exists(const std::string& relative) const {
        if (on_disk()) return exists_posix(relative);
        WIN32_FIND_DATAW data;
        HANDLE search = FindFirstFileW(wide(relative).c_str(), &data);
        if (search == INVALID_HANDLE_VALUE) return false;
        FindClose(search);
        const std::wstring name = wide(relative);
        return name.substr(name.rfind(L'\\') + 1) == data.cFileName;
    }
    void make_folder(const std::string& relative) const {
        if (on_disk()) {
            ASSERT_EQ(mkdir(posix(relative).c_str(), 0755), 0) << relative;
        } else {
            ASSERT_TRUE(CreateDirectoryW(wide(relative).c_str(), nullptr)) << relative;
        }
    }
    std::wstring wide(const std::string& relative) const {
        std::wstring name = qv::posix::from_utf8(relative);
        for (wchar_t& c : name)
            if (c == L'/') c = L'\\';
        return win(name);
    }

    // Empties and removes a folder through the Windows calls only, failing
    // the test on anything left behind.
    static void remove_tree(const std::wstring& folder) {
        std::vector<std::pair<std::wstring, DWORD>> entries;
        WIN32_FIND_DATAW data;
        HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &data);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = data.cFileName;
                if (name != L"." && name != L"..") entries.emplace_back(folder + L"\\" + name, data.dwFileAttributes);
            } while (FindNextFileW(search, &data));
            FindClose(search);
        }
        for (const auto& [path, attributes] : entries) {
            if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
                remove_tree(path);
                continue;
            }
            if (attributes & FILE_ATTRIBUTE_READONLY) SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            EXPECT_TRUE(DeleteFileW(path.c_str())) << qv::posix::to_utf8(path) << ": error " << GetLastError();
        }
        EXPECT_TRUE(RemoveDirectoryW(folder.c_str())) << qv::posix::to_utf8(folder) << ": error " << GetLastError();
    }
};
