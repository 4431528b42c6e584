// A private POSIX folder per test, with its Windows form.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

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
