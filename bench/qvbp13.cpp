// QVBP13 over a large Registry table: builds packages of N/4 and N rows
// (default N = 100000) with msibuild from IDT files, runs the check over
// each, prints the time per row and the growth for 4x rows. A linear walk
// grows by about 4; the run fails above 4.5.
//
// Usage: bench_qvbp13 [rows]
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "checks/bp/sequence_property.h"
#include "platform/posix/runner.h"
#include "check_timer.h"

namespace {

// Every 50th value names a dialog property without default; the rest are
// plain references to defaulted or unknown names.
std::string BuildPackage(const std::string& dir, int rows)
{
    const std::string base = dir + "/r" + std::to_string(rows);
    std::filesystem::create_directories(base);
    {
        std::ofstream reg(base + "/Registry.idt");
        reg << "Registry\tRoot\tKey\tName\tValue\tComponent_\n"
            << "s72\ti2\tl255\tL255\tL0\ts72\n"
            << "Registry\tRegistry\n";
        for (int i = 0; i < rows; ++i) {
            reg << "reg" << i << "\t2\tSoftware\\Quill\\[ProductName]\\" << i << "\tName" << i << "\t";
            if (i % 50 == 0)
                reg << "[USERNAME]-[INSTALLDIR]";
            else
                reg << "#" << i << "[ProductName][Unknown" << (i % 97) << "]";
            reg << "\tMain\n";
        }
    }
    {
        std::ofstream control(base + "/Control.idt");
        control << "Dialog_\tControl\tType\tX\tY\tWidth\tHeight\tAttributes\tProperty\tText\tControl_Next\tHelp\n"
                << "s72\ts50\ts20\ti2\ti2\ti2\ti2\tI4\tS72\tL0\tS50\tL255\n"
                << "Control\tDialog_\tControl\n";
        control << "Dlg\tUser\tEdit\t0\t0\t10\t10\t0\tUSERNAME\t\t\t\n";
        control << "Dlg\tProduct\tEdit\t0\t20\t10\t10\t0\tProductName\t\t\t\n";
    }
    {
        std::ofstream property(base + "/Property.idt");
        property << "Property\tValue\ns72\tl0\nProperty\tProperty\nProductName\tQuill\n";
    }
    const std::string msi = base + ".msi";
    bench::Msibuild(base, msi, {"-s bench qvice ';1033' '{11111111-2222-3333-4444-555555555555}'",
                                "-i Registry.idt", "-i Control.idt", "-i Property.idt"});
    return msi;
}

// Best of five, to keep noise from other work on the machine out.
double Measure(const std::string& msi, int rows, size_t& findings)
{
    const double best = bench::BestOf(5, QVBP13, msi, findings);
    std::printf("QVBP13 %7d Registry rows: %8.3f s, %7.2f us/row, %zu findings\n", rows, best, best * 1e6 / rows,
                findings);
    return best;
}

}  // namespace

int main(int argc, char** argv)
{
    const int rows = argc > 1 ? std::atoi(argv[1]) : 100000;
    std::string pattern = (std::filesystem::temp_directory_path() / "qvbp13.XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        return 2;
    const std::string quarterMsi = BuildPackage(pattern, rows / 4);
    const std::string fullMsi = BuildPackage(pattern, rows);
    size_t quarterFindings = 0, fullFindings = 0;
    const double quarter = Measure(quarterMsi, rows / 4, quarterFindings);
    const double full = Measure(fullMsi, rows, fullFindings);
    const double growth = full / quarter;
    std::printf("growth for 4x rows: %.2fx (limit 4.5x)\n", growth);
    std::filesystem::remove_all(pattern);
    // One finding per 50 rows (USERNAME in Value) proves that the scan ran.
    const bool ran = fullFindings == static_cast<size_t>((rows + 49) / 50);
    if (!ran)
        std::printf("unexpected finding count %zu\n", fullFindings);
    return growth <= 4.5 && ran ? 0 : 1;
}
