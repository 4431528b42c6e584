// qvice: validates Windows Installer packages on POSIX systems.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#ifdef QV_HAVE_MIMALLOC
#include <mimalloc.h>
#endif

#include "commands.h"
#include "reference.h"

namespace {

const char kUsage[] =
    "Usage:\n"
    "  qvice [OPTIONS] PACKAGE...   run the checks on each PACKAGE and write each finding line\n"
    "  qvice list                   list the checks: name, family, description\n"
    "  qvice dump PACKAGE [TABLE...]  print tables as IDT text (all tables when none given)\n"
    "  qvice dump --summary PACKAGE   print the summary information as IDT text\n"
    "  qvice reference --list [FOLDER]  list the built-in reference tables (or a folder of IDT\n"
    "                               files): name, columns, row count\n"
    "  qvice reference --export FOLDER  write the built-in reference tables as IDT files\n"
    "\n"
    "Options:\n"
    "  --checks LIST       comma-separated check names and families (bp, ice, vice, uwp), run in\n"
    "                      that order; -NAME or -FAMILY leaves checks out (default: all, in the\n"
    "                      order of the reference data's _ICESequence, else the registry order)\n"
    "  --min-type N        keep only lines of message type N or lower (0 failure, 1 error,\n"
    "                      2 warning, 3 information)\n"
    "  --quiet             leave out lines of type 3 (the same as --min-type 2)\n"
    "  --format FORMAT     text (the lines as delivered, the default), json (an array of objects\n"
    "                      with package, check, type, text, help, table, column, keys) or sarif\n"
    "                      (one SARIF 2.1.0 log; findings of type 0, 1 and 2 as results)\n"
    "  -o, --output FILE   write the output to FILE instead of standard output\n"
    "  -j, --jobs N        check up to N packages at once, in separate processes; the output\n"
    "                      keeps the order of the command line\n"
    "  --reference FILE    merge this validation database (or folder of IDT files) instead of\n"
    "                      the built-in reference data\n"
    "  --no-reference      merge nothing: the package's own tables are the reference tables\n"
    "  --debug             act as if the Property table had the row _QV_DEBUGGING_ACTION\n"
    "  --trust FILE        also trust the root certificates of this PEM file when judging\n"
    "                      signatures (may be given more than once)\n"
    "  --no-cache          let every check decompress the cabinet entries it reads (by default\n"
    "                      the checks of one package share one decompression of each entry)\n"
    "  --cache-stats       after each package, a note on stderr: entries decompressed, and\n"
    "                      copies served from the cache\n"
    "  -h, --help          show this help\n"
    "  --version           show the version\n"
    "\n"
    "When standard error is a terminal, a status line there shows the check under way, its\n"
    "package and the time elapsed.\n"
    "\n"
    "Exit status: 0 when no line of type 0 or 1 was kept, 1 when one was, 2 when a package\n"
    "or the options cannot be used, or a check ended with an exception that escaped it\n"
    "(the worst over all packages).\n";

#ifdef QV_HAVE_MIMALLOC
// A large package makes a run touch hundreds of megabytes of fresh memory
// (decompressed entries, inventories of every row, the string pool). Backing
// the heap with transparent huge pages takes one fault for 2 MiB instead of
// one for 4 KiB; on virtual machines, where a fault is dear, that is most of
// a run's system time. Set before any constructor runs, so that the
// allocator's first segments are backed the same way.
void UseLargePages() { mi_option_enable(mi_option_large_os_pages); }
__attribute__((section(".preinit_array"), used)) void (*const kUseLargePages)() = UseLargePages;
#endif

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
