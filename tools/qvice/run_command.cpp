// `qvice PACKAGE...`: runs the checks over each package in one emulated
// installer session and writes each delivered line in the chosen format;
// with --jobs, packages run in forked processes and their lines are replayed
// in command-line order.
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "commands.h"
#include "framework/library.h"
#include "framework/registry.h"
#include "output.h"
#include "platform/posix/api/database_posix.h"
#include "platform/posix/inspect/authenticode.h"
#include "platform/posix/inspect/cabinet_cache.h"
#include "platform/posix/kernel/paths.h"
#include "platform/posix/runner.h"
#include "progress.h"
#include "reference.h"
#include "text.h"

namespace qvice {
namespace {

struct RunOptions {
    std::vector<std::string> packages;
    std::vector<std::wstring> checks;  // empty: the package's _ICESequence, else all
    std::set<std::wstring> excluded;
    std::string reference;
    bool no_reference = false;
    bool debug = false;
    int max_type = 3;  // lines of a higher type are left out
    std::string format = "text";
    std::string output;
    int jobs = 1;
    bool cache = true;         // share decompressed cabinet entries between the checks
    bool cache_stats = false;  // a note with the cache's counts after each package
};

bool IsFamily(const std::string& name) { return name == "bp" || name == "ice" || name == "vice" || name == "uwp"; }

// The --checks list: names and families to run in that order, "-NAME" or
// "-FAMILY" to leave out. An empty string when it is good, else the reason.
std::string ParseChecks(const std::string& list, RunOptions& options) {
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(',', start);
        if (end == std::string::npos) end = list.size();
        std::string item = list.substr(start, end - start);
        start = end + 1;
        if (item.empty()) continue;
        const bool exclude = item[0] == '-';
        if (exclude) item.erase(0, 1);
        std::vector<std::wstring> names;
        if (IsFamily(item)) {
            for (const auto& e : qv::AllExports())
                if (item == e.family) names.emplace_back(e.name);
        } else if (qv::FindExport(Wide(item))) {
            names.push_back(Wide(item));
        } else {
            return "unknown check " + item + " (see qvice list)";
        }
        for (auto& name : names) {
            if (exclude) {
                options.excluded.insert(name);
            } else {
                bool seen = false;
                for (const auto& n : options.checks) seen = seen || n == name;
                if (!seen) options.checks.push_back(std::move(name));
            }
        }
    }
    return options.checks.empty() && options.excluded.empty() ? "--checks needs a list of check names" : "";
}

bool IsFile(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The checks of the merged _ICESequence whose condition holds, by Sequence.
std::vector<std::wstring> SequencedChecks(MSIHANDLE database, MSIHANDLE session) {
    std::vector<std::wstring> names;
    if (MsiDatabaseIsTablePersistentW(database, L"_ICESequence") >= MSICONDITION_NONE) return names;
    MSIHANDLE view = 0;
    if (MsiDatabaseOpenViewW(database,
                             L"SELECT `Action`, `Condition` FROM `_ICESequence` WHERE `Sequence` IS NOT NULL "
                             L"ORDER BY `Sequence`",
                             &view) != ERROR_SUCCESS) {
        MsiCloseHandle(MsiGetLastErrorRecord());
        return names;
    }
    if (MsiViewExecute(view, 0) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            wchar_t action[80] = {0}, condition[1024] = {0};
            DWORD action_size = 80, condition_size = 1024;
            MsiRecordGetStringW(record, 1, action, &action_size);
            MsiRecordGetStringW(record, 2, condition, &condition_size);
            if (!condition[0] || MsiEvaluateConditionW(session, condition) != MSICONDITION_FALSE)
                names.emplace_back(action);
            MsiCloseHandle(record);
        }
    }
    MsiCloseHandle(view);
    return names;
}

// What the run of one package tells whoever shows it.
class Events {
public:
    virtual ~Events() = default;
    virtual void Line(const std::string& line) = 0;   // a delivered line, UTF-8
    virtual void Note(const std::string& text) = 0;   // a line for stderr
    virtual void Started(const std::string& check) = 0;
};

// Runs the checks over one package. Returns 2 when the package cannot be
// used, else 0 (the lines decide between 0 and 1).
int RunPackage(const RunOptions& options, const std::string& package, Events& events) {
    auto fail = [&](const std::string& reason) {
        events.Note("qvice: " + reason);
        return 2;
    };
    if (!IsFile(package)) return fail("cannot open " + package + ": no such file");
    std::string reason;
    MSIHANDLE database = qv::posix::OpenDatabase(package, reason);
    if (!database) return fail("cannot open " + package + ": " + reason);

    if (!options.no_reference) {
        MSIHANDLE reference = 0;
        if (!options.reference.empty()) {
            // A folder of IDT files (as `reference --export` writes it) or a database.
            reference = IsFolder(options.reference) ? OpenReferenceFolder(options.reference, reason)
                                                    : qv::posix::OpenDatabase(options.reference, reason);
            if (!reference) {
                MsiCloseHandle(database);
                return fail("cannot open " + options.reference + ": " + reason);
            }
        } else {
            reference = OpenBuiltinReference(reason);
            if (!reference && !reason.empty()) {
                MsiCloseHandle(database);
                return fail("built-in reference data: " + reason);
            }
        }
        if (reference) {
            const UINT merged = MsiDatabaseMergeW(database, reference, L"_QvMergeConflicts");
            MsiCloseHandle(MsiGetLastErrorRecord());
            if (merged != ERROR_SUCCESS && merged != ERROR_FUNCTION_FAILED)
                events.Note("qvice: note: some reference tables differ in their columns from the package's and "
                            "were not merged (error " + std::to_string(merged) + ")");
            MsiCloseHandle(reference);
        }
    }
    if (options.debug) qv::posix::SetPropertyRow(database, L"_QV_DEBUGGING_ACTION", L"1");

    auto sink = [&](INSTALLMESSAGE type, const std::wstring& text) -> int {
        if (type == INSTALLMESSAGE_USER) events.Line(Utf8(text));
        return type == INSTALLMESSAGE_USER ? 1 : 0;
    };
    MSIHANDLE session = qv::posix::OpenSession(database, package, sink);
    if (!session) {
        MsiCloseHandle(database);
        return fail("cannot open a session over " + package);
    }

    // The checks of this package share one decompression of each cabinet
    // entry; nothing is kept from one package to the next.
    namespace cache = qv::mscab::cache;
    cache::Enable(options.cache);
    cache::Clear();

    bool incomplete = false;
    std::vector<std::wstring> order = options.checks;
    if (order.empty()) order = SequencedChecks(database, session);
    if (order.empty())
        for (const auto& e : qv::AllExports()) order.emplace_back(e.name);

    for (const auto& name : order) {
        if (options.excluded.count(name)) continue;
        const qv::CheckExport* check = qv::FindExport(name);
        if (!check) {
            events.Note("qvice: note: _ICESequence names " + Utf8(name) + ", which is not a check of qvice");
            continue;
        }
        events.Started(Utf8(name));
        // The installer loads a custom-action library afresh for each action.
        QvResetLibraryState();
        try {
            check->entry(session);
        } catch (...) {
            // An exception the check does not catch itself (one from its
            // constructor, say) ends the action as the installer's would,
            // and the others still run; the run counts as incomplete.
            events.Note("qvice: " + Utf8(name) + " on " + package +
                        " ended with an exception that escaped the check; its findings may be incomplete");
            incomplete = true;
        }
    }
    MsiCloseHandle(session);
    MsiCloseHandle(database);
    if (options.cache_stats) {
        const cache::Stats stats = cache::GetStats();
        events.Note("qvice: note: " + package + ": " + std::to_string(stats.decompressed) +
                    " cabinet entries decompressed, " + std::to_string(stats.served) + " served from the cache");
    }
    cache::Clear();
    return incomplete ? 2 : 0;
}

// Shows the events of one package: lines through the output (the type
// filter applied), notes on stderr, checks on the status line.
class Shown : public Events {
public:
    Shown(const RunOptions& options, Output& output, Progress& progress, const std::string& package, int& worst)
        : m_options(options), m_output(output), m_progress(progress), m_package(package), m_worst(worst) {}
    void Line(const std::string& line) override {
        const int type = SplitLine(line).type;
        const bool kept = type <= m_options.max_type;
        if (kept && (type == 0 || type == 1) && m_worst < 1) m_worst = 1;
        m_progress.Around([&] { m_output.Line(m_package, line, kept); });
    }
    void Note(const std::string& text) override {
        m_output.Note(text);
        m_progress.Around([&] { std::fprintf(stderr, "%s\n", text.c_str()); });
    }
    void Started(const std::string& check) override { m_progress.Check(m_package, check); }

private:
    const RunOptions& m_options;
    Output& m_output;
    Progress& m_progress;
    const std::string& m_package;
    int& m_worst;
};

// The events of a forked run, framed on a pipe: a tag ('L' line, 'N' note,
// 'S' check started), four bytes of length, the bytes.
class Framed : public Events {
public:
    explicit Framed(int fd) : m_fd(fd) {}
    void Line(const std::string& line) override { Send('L', line); }
    void Note(const std::string& text) override { Send('N', text); }
    void Started(const std::string& check) override { Send('S', check); }

private:
    void Send(char tag, const std::string& payload) {
        std::string record(5, '\0');
        record[0] = tag;
        const uint32_t n = static_cast<uint32_t>(payload.size());
        for (int i = 0; i < 4; ++i) record[1 + i] = static_cast<char>((n >> (8 * i)) & 0xff);
        record += payload;
        size_t at = 0;
        while (at < record.size()) {
            const ssize_t w = ::write(m_fd, record.data() + at, record.size() - at);
            if (w < 0 && errno == EINTR) continue;
            if (w <= 0) {  // the parent is gone
                qv::posix::remove_scratch_root_now();
                ::_exit(2);
            }
            at += static_cast<size_t>(w);
        }
    }
    int m_fd;
};

struct Job {
    pid_t pid = -1;
    int fd = -1;
    std::string bytes;                                   // received, not yet parsed
    std::vector<std::pair<char, std::string>> records;  // parsed, not yet shown
    bool finished = false;
    int code = 0;
};

// Takes the complete records off `job.bytes`; check starts go to the status
// line at once, the rest wait for their turn.
void ParseRecords(Job& job, Progress& progress, const std::string& package) {
    size_t at = 0;
    while (job.bytes.size() - at >= 5) {
        uint32_t n = 0;
        for (int i = 0; i < 4; ++i)
            n |= static_cast<uint32_t>(static_cast<unsigned char>(job.bytes[at + 1 + i])) << (8 * i);
        if (job.bytes.size() - at - 5 < n) break;
        const char tag = job.bytes[at];
        std::string payload = job.bytes.substr(at + 5, n);
        if (tag == 'S')
            progress.Check(package, payload);
        else
            job.records.emplace_back(tag, std::move(payload));
        at += 5 + n;
    }
    job.bytes.erase(0, at);
}

int RunForked(const RunOptions& options, Output& output, Progress& progress, int& worst) {
    const size_t count = options.packages.size();
    std::vector<Job> jobs(count);
    size_t started = 0, shown = 0, running = 0;
    int result = 0;
    auto show = [&](size_t i) {
        Shown events(options, output, progress, options.packages[i], worst);
        for (auto& [tag, payload] : jobs[i].records) {
            if (tag == 'L')
                events.Line(payload);
            else
                events.Note(payload);
        }
        jobs[i].records.clear();
    };
    while (shown < count) {
        while (running < static_cast<size_t>(options.jobs) && started < count) {
            int fds[2];
            if (::pipe(fds) != 0) return UsageError(std::string("cannot make a pipe: ") + std::strerror(errno));
            std::fflush(nullptr);
            const pid_t pid = ::fork();
            if (pid < 0) return UsageError(std::string("cannot fork: ") + std::strerror(errno));
            if (pid == 0) {
                ::close(fds[0]);
                Framed events(fds[1]);
                const int code = RunPackage(options, options.packages[started], events);
                // _exit skips the exit handlers, which would remove it.
                qv::posix::remove_scratch_root_now();
                ::_exit(code);
            }
            ::close(fds[1]);
            jobs[started].pid = pid;
            jobs[started].fd = fds[0];
            ++started;
            ++running;
        }
        std::vector<pollfd> polled;
        std::vector<size_t> which;
        for (size_t i = 0; i < started; ++i) {
            if (jobs[i].fd >= 0) {
                polled.push_back({jobs[i].fd, POLLIN, 0});
                which.push_back(i);
            }
        }
        if (!polled.empty() && ::poll(polled.data(), polled.size(), 250) == 0) progress.Redraw();
        for (size_t k = 0; k < polled.size(); ++k) {
            if (!(polled[k].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            Job& job = jobs[which[k]];
            char buffer[65536];
            const ssize_t n = ::read(job.fd, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR) continue;
            if (n > 0) {
                job.bytes.append(buffer, static_cast<size_t>(n));
                ParseRecords(job, progress, options.packages[which[k]]);
                continue;
            }
            // End of the pipe: the child has ended.
            ::close(job.fd);
            job.fd = -1;
            int status = 0;
            while (::waitpid(job.pid, &status, 0) < 0 && errno == EINTR) {
            }
            if (WIFEXITED(status)) {
                job.code = WEXITSTATUS(status);
            } else {
                job.code = 2;
                job.records.emplace_back('N', "qvice: " + options.packages[which[k]] + ": the run stopped on signal " +
                                                  std::to_string(WIFSIGNALED(status) ? WTERMSIG(status) : 0));
            }
            job.finished = true;
            --running;
            progress.Done();
        }
        // Show in command-line order: what has come of the first package not
        // yet done, and every finished package after it.
        while (shown < count) {
            show(shown);
            if (!jobs[shown].finished) break;
            if (jobs[shown].code > result) result = jobs[shown].code;
            ++shown;
        }
    }
    return result;
}

}  // namespace

int RunCommand(const std::vector<std::string>& given) {
    // "--option=value" and "-jN" stand for "--option value" and "-j N".
    std::vector<std::string> args;
    for (const auto& a : given) {
        const size_t equals = a.find('=');
        if (a.rfind("--", 0) == 0 && equals != std::string::npos) {
            args.push_back(a.substr(0, equals));
            args.push_back(a.substr(equals + 1));
        } else if (a.size() > 2 && a.rfind("-j", 0) == 0) {
            args.push_back("-j");
            args.push_back(a.substr(2));
        } else {
            args.push_back(a);
        }
    }
    // The code-signing roots shipped with qvice: installed, else those of
    // the source tree it was built from.
    struct stat shipped {};
    qv::SetShippedRootsFolder(::stat(QVICE_SHIPPED_TRUST, &shipped) == 0 ? QVICE_SHIPPED_TRUST : QVICE_SOURCE_TRUST);

    RunOptions options;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= args.size()) return false;
            out = args[++i];
            return true;
        };
        auto number = [&](int& out, int low, int high) {
            std::string text;
            if (!value(text) || text.empty()) return false;
            char* stop = nullptr;
            const long n = std::strtol(text.c_str(), &stop, 10);
            if (*stop != '\0' || n < low || n > high) return false;
            out = static_cast<int>(n);
            return true;
        };
        std::string text;
        if (a == "--checks") {
            if (!value(text)) return UsageError("--checks needs a list of check names");
            const std::string problem = ParseChecks(text, options);
            if (!problem.empty()) return UsageError(problem);
        } else if (a == "--reference") {
            if (!value(options.reference)) return UsageError("--reference needs a file");
        } else if (a == "--no-reference") {
            options.no_reference = true;
        } else if (a == "--debug") {
            options.debug = true;
        } else if (a == "--quiet") {
            options.max_type = std::min(options.max_type, 2);
        } else if (a == "--min-type") {
            if (!number(options.max_type, 0, 3)) return UsageError("--min-type needs a message type from 0 to 3");
        } else if (a == "--format") {
            if (!value(options.format) ||
                (options.format != "text" && options.format != "json" && options.format != "sarif"))
                return UsageError("--format needs text, json or sarif");
        } else if (a == "--output" || a == "-o") {
            if (!value(options.output) || options.output.empty()) return UsageError("--output needs a file");
        } else if (a == "--jobs" || a == "-j") {
            if (!number(options.jobs, 1, 256)) return UsageError("--jobs needs a number from 1 to 256");
        } else if (a == "--trust") {
            std::string file, reason;
            if (!value(file)) return UsageError("--trust needs a PEM file of root certificates");
            if (!qv::AddTrustedRoots(file, reason)) return UsageError("cannot trust " + file + ": " + reason);
        } else if (a == "--no-cache") {
            options.cache = false;
        } else if (a == "--cache-stats") {
            options.cache_stats = true;
        } else if (!a.empty() && a[0] == '-') {
            return UsageError("unknown option " + a + " (see qvice --help)");
        } else {
            options.packages.push_back(a);
        }
    }
    if (options.packages.empty()) return UsageError("no package given (see qvice --help)");
    if (options.no_reference && !options.reference.empty())
        return UsageError("--reference and --no-reference exclude each other");

    std::FILE* out = stdout;
    if (!options.output.empty()) {
        out = std::fopen(options.output.c_str(), "w");
        if (!out) return UsageError("cannot write " + options.output + ": " + std::strerror(errno));
    }
    const std::unique_ptr<Output> output = MakeOutput(options.format, out);
    const bool forked = options.jobs > 1 && options.packages.size() > 1;
    int worst = 0;
    int result = 0;
    {
        Progress progress(::isatty(STDERR_FILENO) == 1, !forked, options.packages.size());
        if (forked) {
            result = RunForked(options, *output, progress, worst);
        } else {
            for (const auto& package : options.packages) {
                Shown events(options, *output, progress, package, worst);
                result = std::max(result, RunPackage(options, package, events));
                progress.Done();
            }
        }
    }
    const int status = std::max(result, worst);
    output->Finish(status);
    if (out != stdout && std::fclose(out) != 0)
        return UsageError("cannot write " + options.output + ": " + std::strerror(errno));
    return status;
}

int ListCommand(const std::vector<std::string>& args) {
    if (!args.empty()) return UsageError("list takes no arguments");
    for (const auto& e : qv::AllExports()) {
        wchar_t text[1024] = {0};
        const int length = LoadStringW(QvLibraryModule(), e.descriptionId, text, 1024);
        const std::string line = Utf8(e.name) + "\t" + e.family + "\t" + Utf8(std::wstring(text, length > 0 ? length : 0));
        std::puts(line.c_str());
    }
    return 0;
}

}  // namespace qvice
