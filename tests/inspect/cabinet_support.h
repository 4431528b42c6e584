// Cabinets for the tests, written by gcab from files made here.
#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>

#include "framework/fixture.h"
#include "platform/posix/kernel/paths.h"

namespace qvtest {

// Bytes that do not compress: a fixed pseudo-random sequence.
inline std::string NoiseBytes(size_t size, unsigned seed)
{
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(generator() & 0xFF);
    return bytes;
}

// Writes each (name, bytes) into a fresh folder, stamps it with the given
// time, and packs them in that order into dir/cabName (MSZIP when zip).
inline std::string MakeCabinet(const TempDir& dir, const std::string& cabName,
                               const std::vector<std::pair<std::string, std::string>>& files, bool zip = true,
                               const char* stamp = "2021-03-04 05:06:08 UTC")
{
    const std::string source = dir.path() + "/src-" + cabName;
    std::filesystem::create_directories(source);
    std::string command = "cd " + ShellQuote(source) + " && gcab -c -n " + std::string(zip ? "-z " : "") +
                          ShellQuote(dir.path() + "/" + cabName);
    for (const auto& [name, bytes] : files) {
        std::ofstream(source + "/" + name, std::ios::binary) << bytes;
        const std::string touch = "touch -d " + ShellQuote(stamp) + " " + ShellQuote(source + "/" + name);
        if (std::system(touch.c_str()) != 0)
            throw std::runtime_error("touch failed");
        command += " " + ShellQuote(name);
    }
    command += " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("gcab failed: " + command);
    return dir.path() + "/" + cabName;
}

// The bytes of a file, from the kernel's memory when it keeps the file there.
inline std::string ReadPosixFile(const std::string& path)
{
    if (auto bytes = qv::posix::memory_file_bytes(path))
        return std::string(bytes->begin(), bytes->end());
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string WindowsNarrow(const std::string& posixPath)
{
    const std::wstring wide = qv::posix::windows_path_from_posix(posixPath);
    return std::string(wide.begin(), wide.end());
}

}  // namespace qvtest
