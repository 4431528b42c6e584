// QVBP20 over a large Registry table: packages of N/4 and N Registry rows
// (default N = 100000), each with 2000 _QvRegistry entries, built with
// msibuild from IDT files. Prints the time per row of each run and the
// growth for 4x rows; a walk of one binary search a row grows by about 4,
// and the run fails above 4.5 or when the number of findings is not the
// one the rows were made to give.
//
// Usage: bench_qvbp20 [rows]
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "checks/bp/registry_key.h"
#include "platform/posix/runner.h"
#include "check_timer.h"

namespace {

constexpr int kEntries = 2000;

// Entry j: HKLM Software\Vendor<j>, named "*" (j % 3 == 0), empty (1) or
// "Value" (2). One entry a key, all under one root, so the list is in key
// order and each row's search meets the entry of its key.
std::string VendorKey(int j)
{
    char text[32];
    std::snprintf(text, sizeof text, "Software\\Vendor%04d", j);
    return text;
}

// Row i aims at entry j = (7 i) mod 2000 in one of four ways.
struct RowShape {
    std::string key;
    std::string name;
    int findings;  // 0 or 1: what the row must give
};

RowShape Shape(int i)
{
    const int j = (7 * i) % kEntries;
    switch (i % 4) {
    case 0:  // "*" on the key: 202 against "*", 203 below an empty name
        return {VendorKey(j), "*", j % 3 == 2 ? 0 : 1};
    case 1:  // below the key: only an empty name covers it
        return {VendorKey(j) + "\\Sub" + std::to_string(i), "X", j % 3 == 1 ? 1 : 0};
    case 2:  // the listed value, or below an empty name
        return {VendorKey(j), "Value", j % 3 == 0 ? 0 : 1};
    default:  // a key no entry covers
        return {"Software\\Other\\" + std::to_string(i), "", 0};
    }
}

std::string BuildPackage(const std::string& dir, int rows, size_t& expected)
{
    const std::string base = dir + "/r" + std::to_string(rows);
    std::filesystem::create_directories(base);
    expected = 0;
    {
        std::ofstream reg(base + "/Registry.idt");
        reg << "Registry\tRoot\tKey\tName\tValue\tComponent_\n"
            << "s72\ti2\tl255\tL255\tL0\ts72\n"
            << "Registry\tRegistry\n";
        for (int i = 0; i < rows; ++i) {
            const RowShape shape = Shape(i);
            expected += shape.findings;
            reg << "reg" << i << "\t2\t" << shape.key << "\t" << shape.name << "\tv\tMain\n";
        }
    }
    {
        std::ofstream list(base + "/_QvRegistry.idt");
        list << "Root\tKey\tName\ni2\ts255\tS255\n_QvRegistry\tRoot\tKey\tName\n";
        for (int j = 0; j < kEntries; ++j)
            list << "2\t" << VendorKey(j) << "\t" << (j % 3 == 0 ? "*" : j % 3 == 1 ? "" : "Value") << "\n";
    }
    const std::string msi = base + ".msi";
    bench::Msibuild(base, msi, {"-s bench qvice ';1033' '{11111111-2222-3333-4444-555555555555}'",
                                "-i Registry.idt", "-i _QvRegistry.idt"});
    return msi;
}

// Best of three, to keep noise from other work on the machine out.
double Measure(const std::string& msi, int rows, size_t& findings)
{
    const double best = bench::BestOf(3, QVBP20, msi, findings);
    std::printf("QVBP20 %7d Registry rows, %d _QvRegistry rows: %8.3f s, %7.2f us/row, %zu findings\n", rows,
                kEntries, best, best * 1e6 / rows, findings);
    return best;
}

}  // namespace

int main(int argc, char** argv)
{
    const int rows = argc > 1 ? std::max(4, std::atoi(argv[1])) : 100000;
    std::string pattern = (std::filesystem::temp_directory_path() / "qvbp20.XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        return 2;
    size_t quarterExpected = 0, fullExpected = 0;
    const std::string quarterMsi = BuildPackage(pattern, rows / 4, quarterExpected);
    const std::string fullMsi = BuildPackage(pattern, rows, fullExpected);
    size_t quarterFindings = 0, fullFindings = 0;
    const double quarter = Measure(quarterMsi, rows / 4, quarterFindings);
    const double full = Measure(fullMsi, rows, fullFindings);
    const double growth = full / quarter;
    std::printf("growth for 4x rows: %.2fx (limit 4.5x)\n", growth);
    std::filesystem::remove_all(pattern);
    const bool ran = quarterFindings == quarterExpected && fullFindings == fullExpected;
    if (!ran)
        std::printf("unexpected finding counts %zu and %zu, expected %zu and %zu\n", quarterFindings, fullFindings,
                    quarterExpected, fullExpected);
    return growth <= 4.5 && ran ? 0 : 1;
}
