// qvice: validates Windows Installer packages on POSIX systems.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "reference.h"

namespace {

const char kUsage[] =
    "Usage:\n"
    "  qvice [OPTIONS] PACKAGE      run the checks on PACKAGE and print each finding line\n"
    "  qvice list                   list the checks: name, family, description\n"
    "  qvice dump PACKAGE [TABLE...]  print tables as IDT text (all tables when none given)\n"
    "  qvice dump --summary PACKAGE   print the summary information as IDT text\n"
    "  qvice reference --list [FOLDER]  list the built-in reference tables (or a folder of IDT\n"
    "                               files): name, columns, row count\n"
    "  qvice reference --export FOLDER  write the built-in reference tables as IDT files\n"
    "\n"
    "Options:\n"
    "  --checks NAMES      comma-separated check names, run in that order (default: all, in the\n"
    "                      order of the reference data's _ICESequence, else the registry order)\n"
    "  --reference FILE    merge this validation database (or folder of IDT files) instead of\n"
    "                      the built-in reference data\n"
    "  --no-reference      merge nothing: the package's own tables are the reference tables\n"
    "  --debug             act as if the Property table had the row _QV_DEBUGGING_ACTION\n"
    "  --quiet             leave out lines of type 3 (information)\n"
    "  -h, --help          show this help\n"
    "  --version           show the version\n"
    "\n"
    "Exit status: 0 when no finding of type 0 or 1 was delivered, 1 when one was,\n"
    "2 when the package or the options cannot be used.\n";

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (args[0] == "-h" || args[0] == "--help" || args[0] == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (args[0] == "--version") {
        std::puts("qvice " QVICE_VERSION);
        return 0;
    }
    if (args[0] == "dump") return qvice::DumpCommand({args.begin() + 1, args.end()});
    if (args[0] == "reference") return qvice::ReferenceCommand({args.begin() + 1, args.end()});
    if (args[0] == "list") return qvice::ListCommand({args.begin() + 1, args.end()});
    return qvice::RunCommand(args);
}
