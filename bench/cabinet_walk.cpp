// Content inspection over a large package: 5,000 files (200 MB) in two
// embedded MSZIP cabinets made by gcab. Times the inspector walk that every
// byte-reading check performs (each file resolved in Sequence order, out of
// its cabinet, then deleted), the QVBP18 export over the same package, and
// cabextract over the same two cabinets, and prints the ratios; the target
// is a ratio of at most 2.
//
// Usage: bench_cabinet_walk [files] [bytes per file]
#include <stdlib.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "framework/check_base.h"
#include "framework/exports.h"
#include "framework/library.h"
#include "framework/registry.h"
#include "inspect/content_inspector.h"
#include "platform/posix/kernel/paths.h"
#include "platform/posix/runner.h"

namespace {

double Seconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Processor time (user + system) of this process or of its finished
// children: on a shared machine it says more than the wall clock.
double CpuSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Run(const std::string& command)
{
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        std::exit(1);
    }
}

std::string Quote(const std::string& s)
{
    std::string out = "'";
    for (char c : s)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

class Walker : public CQVIceBase {
public:
    Walker(MSIHANDLE install, std::function<void(Walker&)> body) : CQVIceBase(install), m_body(std::move(body)) {}
    _stringx<> GetName() const override { return L"QVWALK"; }
    _stringx<> GetDescription() const override { return L"walk"; }
    void Validate() override { m_body(*this); }

private:
    std::function<void(Walker&)> m_body;
};

// Half noise, half text: about the mix of a program's files.
std::string FileBytes(int index, size_t size, std::mt19937& random)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size / 2; ++i)
        bytes[i] = static_cast<char>(random());
    const std::string line = "line of file " + std::to_string(index) + " with some repeated words in it\n";
    for (size_t i = size / 2; i < size; ++i)
        bytes[i] = line[i % line.size()];
    return bytes;
}

}  // namespace

int main(int argc, char** argv)
{
    const int files = argc > 1 ? std::atoi(argv[1]) : 5000;
    const size_t size = argc > 2 ? static_cast<size_t>(std::atol(argv[2])) : 40000;
    const std::string dir = qv::posix::scratch_root() + "/bench";
    std::filesystem::create_directories(dir + "/src1");
    std::filesystem::create_directories(dir + "/src2");

    std::printf("building %d files of %zu bytes in 2 cabinets...\n", files, size);
    std::mt19937 random(5000);
    std::ofstream idt(dir + "/File.idt", std::ios::binary);
    idt << "File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\r\n"
           "s72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\r\nFile\tFile\r\n";
    std::string list1, list2;
    for (int i = 0; i < files; ++i) {
        const std::string key = "file" + std::to_string(10000 + i);
        const bool first = i < files / 2;
        std::ofstream(dir + (first ? "/src1/" : "/src2/") + key, std::ios::binary) << FileBytes(i, size, random);
        (first ? list1 : list2) += " " + key;
        // Executable names, so that QVBP18 extracts and inspects every file.
        idt << key << "\tMain\t" << key << ".dll\t" << size << "\t\t\t16384\t" << (i + 1) << "\r\n";
    }
    idt.close();
    Run("cd " + dir + "/src1 && gcab -c -z -n ../one.cab" + list1);
    Run("cd " + dir + "/src2 && gcab -c -z -n ../two.cab" + list2);
    const std::string msi = dir + "/big.msi";
    Run("msibuild " + msi + " -s big qvice ';1033' '{11111111-2222-3333-4444-555555555555}' >/dev/null");
    for (const std::string& q :
         {std::string("CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL PRIMARY KEY "
                      "`Property`)"),
          std::string("INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductCode', "
                      "'{22222222-2222-2222-2222-222222222222}')"),
          std::string("CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
                      "`DefaultDir` CHAR(255) NOT NULL PRIMARY KEY `Directory`)"),
          std::string("INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES ('TARGETDIR', "
                      "'', 'SourceDir')"),
          std::string("CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), "
                      "`Directory_` CHAR(72) NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), `KeyPath` "
                      "CHAR(72) PRIMARY KEY `Component`)"),
          std::string("INSERT INTO `Component` (`Component`, `Directory_`, `Attributes`) VALUES ('Main', "
                      "'TARGETDIR', 0)"),
          std::string("CREATE TABLE `Media` (`DiskId` SHORT NOT NULL, `LastSequence` SHORT NOT NULL, `DiskPrompt` "
                      "CHAR(64), `Cabinet` CHAR(255), `VolumeLabel` CHAR(32), `Source` CHAR(72) PRIMARY KEY "
                      "`DiskId`)"),
          "INSERT INTO `Media` (`DiskId`, `LastSequence`, `Cabinet`) VALUES (1, " + std::to_string(files / 2) +
              ", '#one.cab')",
          "INSERT INTO `Media` (`DiskId`, `LastSequence`, `Cabinet`) VALUES (2, " + std::to_string(files) +
              ", '#two.cab')"})
        Run("msibuild " + msi + " -q " + Quote(q) + " >/dev/null");
    Run("cd " + dir + " && msibuild " + msi + " -i File.idt -a one.cab one.cab -a two.cab two.cab >/dev/null");
    std::printf("cabinets: %.1f MB and %.1f MB\n", std::filesystem::file_size(dir + "/one.cab") / 1e6,
                std::filesystem::file_size(dir + "/two.cab") / 1e6);

    const std::wstring wide = qv::posix::windows_path_from_posix(msi);
    MSIHANDLE database = 0;
    if (MsiOpenDatabaseW(wide.c_str(), MSIDBOPEN_READONLY, &database) != ERROR_SUCCESS)
        return 1;
    size_t lines = 0;
    MSIHANDLE session = qv::posix::OpenSession(database, msi, [&](INSTALLMESSAGE type, const std::wstring&) {
        if (type == INSTALLMESSAGE_USER)
            ++lines;
        return 1;
    });

    QvResetLibraryState();
    size_t resolved = 0;
    double cpu = CpuSeconds(RUSAGE_SELF);
    auto start = std::chrono::steady_clock::now();
    {
        Walker walker(session, [&](Walker& w) {
            ContentInspector inspector(&w);
            for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
                TemporaryPath temporary;
                if (!file->ResolveFilePath(temporary).empty())
                    ++resolved;
            }
        });
        walker.Execute();
    }
    const double walk = Seconds(start);
    const double walkCpu = CpuSeconds(RUSAGE_SELF) - cpu;

    QvResetLibraryState();
    cpu = CpuSeconds(RUSAGE_SELF);
    start = std::chrono::steady_clock::now();
    QVBP18(session);
    const double qvbp18 = Seconds(start);
    const double qvbp18Cpu = CpuSeconds(RUSAGE_SELF) - cpu;
    QvResetLibraryState();

    std::filesystem::create_directories(dir + "/out");
    cpu = CpuSeconds(RUSAGE_CHILDREN);
    start = std::chrono::steady_clock::now();
    Run("cabextract -q -d " + dir + "/out " + dir + "/one.cab " + dir + "/two.cab");
    const double cabextract = Seconds(start);
    const double cabextractCpu = CpuSeconds(RUSAGE_CHILDREN) - cpu;

    MsiCloseHandle(session);
    MsiCloseHandle(database);
    std::printf("                wall      cpu\n");
    std::printf("inspector walk: %6.2f s  %6.2f s (%zu of %d files resolved)\n", walk, walkCpu, resolved, files);
    std::printf("QVBP18:         %6.2f s  %6.2f s\n", qvbp18, qvbp18Cpu);
    std::printf("cabextract:     %6.2f s  %6.2f s\n", cabextract, cabextractCpu);
    std::printf("ratio walk/cabextract:   %.2f wall, %.2f cpu\n", walk / cabextract, walkCpu / cabextractCpu);
    std::printf("ratio QVBP18/cabextract: %.2f wall, %.2f cpu (target <= 2)\n", qvbp18 / cabextract,
                qvbp18Cpu / cabextractCpu);
    std::filesystem::remove_all(dir);
    return resolved == static_cast<size_t>(files) ? 0 : 1;
}
