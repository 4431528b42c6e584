// QVVICE01 over a package of many files and file tests: builds a package of
// N files (default 20000) and 50 tests with msibuild from IDT files, runs the
// check, and prints the time per file. Every expression is compiled once per
// file and test; the note line says how much of the run that compilation
// takes, measured by timing the same number of std::wregex constructions over
// the same 50 tests on their own. These tests use brackets and groups, so
// every one goes to the standard engine: the worst case. Plain tests
// (characters, '.', '\d', '*', '+') the check compiles itself, far faster.
//
// Usage: bench_vice_file_tests [files]
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "checks/vice/file_pattern.h"
#include "check_timer.h"
#include "framework/library.h"

namespace {

constexpr int kTests = 50;

// 49 expressions that no file name meets, and as the last key in order
// ("zz..."), one that every 100th file meets: every file is walked through
// all 50 tests, so the run compiles exactly files x 50 expressions.
std::vector<std::string> Tests()
{
    std::vector<std::string> tests;
    for (int i = 0; i < kTests - 1; ++i) {
        char text[64];
        std::snprintf(text, sizeof text, "vendor%02d_[a-z]+(\\.dll|\\.exe)", i);
        tests.push_back(text);
    }
    tests.push_back("zz.*\\.drv");
    return tests;
}

std::string BuildPackage(const std::string& dir, int files)
{
    {
        std::ofstream file(dir + "/File.idt");
        file << "File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\n"
             << "s72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\n"
             << "File\tFile\n";
        for (int i = 0; i < files; ++i) {
            file << "f" << i << "\tMain\t";
            if (i % 100 == 0)
                file << "ZZDRV" << i << "~1.DRV|zzdriver" << i << ".drv";
            else
                file << "FILE" << i << "~1.DLL|library" << i << ".dll";
            file << "\t1000\t\t\t\t" << (i + 1) << "\n";
        }
    }
    {
        std::ofstream tests(dir + "/_QvViceFileTestEntries.idt");
        tests << "Vice\tTest\tValue\ns72\ts255\tS255\n_QvViceFileTestEntries\tVice\tTest\n";
        for (const std::string& test : Tests())
            tests << "QVVICE01\t" << test << "\t\n";
    }
    const std::string msi = dir + "/files.msi";
    bench::Msibuild(dir, msi, {"-s bench qvice ';1033' '{11111111-2222-3333-4444-555555555555}'", "-i File.idt",
                               "-i _QvViceFileTestEntries.idt"});
    return msi;
}

// Seconds for count constructions of the tests' expressions, in the
// check's order and with its flags.
double CompileOnly(size_t count)
{
    std::vector<std::wstring> tests;
    for (const std::string& test : Tests())
        tests.emplace_back(test.begin(), test.end());
    std::sort(tests.begin(), tests.end());
    size_t states = 0;
    const auto start = std::chrono::steady_clock::now();
    for (size_t i = 0; i < count; ++i) {
        const std::wregex expression(tests[i % tests.size()],
                                     std::regex_constants::ECMAScript | std::regex_constants::icase);
        states += expression.mark_count();
    }
    const auto stop = std::chrono::steady_clock::now();
    if (states == 0)
        std::printf("(no groups compiled)\n");
    return std::chrono::duration<double>(stop - start).count();
}

}  // namespace

int main(int argc, char** argv)
{
    const int files = argc > 1 ? std::atoi(argv[1]) : 20000;
    if (files < 100 || files > 32000) {
        std::fprintf(stderr, "files: 100 to 32000\n");
        return 2;
    }
    std::string pattern = (std::filesystem::temp_directory_path() / "vicefiles.XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        return 2;
    const std::string msi = BuildPackage(pattern, files);

    // Best of two, to keep noise from other work on the machine out.
    double check = 1e30;
    size_t findings = 0;
    for (int i = 0; i < 2; ++i) {
        QvResetLibraryState();
        check = std::min(check, bench::RunOnce(QVVICE01, msi, findings));
    }
    const size_t compilations = static_cast<size_t>(files) * kTests;
    double compile = 1e30;
    for (int i = 0; i < 2; ++i)
        compile = std::min(compile, CompileOnly(compilations));
    std::filesystem::remove_all(pattern);

    std::printf("QVVICE01 %d files, %d tests: %8.3f s, %8.2f us/file, %zu findings\n", files, kTests, check,
                check * 1e6 / files, findings);
    std::printf("note: %zu expression compilations alone take %.3f s (%.2f us each), %.0f%% of the check's time\n",
                compilations, compile, compile * 1e6 / compilations, 100.0 * compile / check);
    const size_t expected = static_cast<size_t>((files + 99) / 100);
    if (findings != expected) {
        std::printf("unexpected finding count %zu, expected %zu\n", findings, expected);
        return 1;
    }
    return 0;
}
