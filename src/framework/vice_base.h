// CQVViceBase: the base of the virtualization and app package checks. Their
// findings carry Severity as message type instead of a constant. It also
// holds the file name tests of the file pattern checks, read from the
// package's _QvViceFileTestEntries, and the process-wide set of the target
// paths of all package files.
#pragma once

#include <map>
#include <set>

#include "framework/check_base.h"

// The tests of one file pattern check: test (an ECMAScript expression for the
// whole long file name, or an extension with its dot) to its value. Tests
// that differ only in case are one key.
using FileTestMap = std::map<_stringx<qv::char_traitsi>, _stringx<qv::char_traitsi>>;

class CQVViceBase : public CQVIceBase {
public:
    // name: the check's name, given by the concrete class because the
    // virtual name operation cannot be used from a base constructor.
    CQVViceBase(const _stringx<>& name, MSIHANDLE hInstall);
    ~CQVViceBase() override;

    // Fills tests with the rows of _QvViceFileTestEntries whose Vice is name;
    // the last row of a test wins. A failed fetch throws.
    void LoadFileTests(const _stringx<>& name, FileTestMap& tests);

    // True when longName passes one of the tests, whose value then goes to
    // value. Each test is compiled afresh (ECMAScript, case ignored) and
    // must match the whole name; failing that, it is compared with the
    // name's extension. An invalid expression throws std::regex_error.
    static bool MatchFileTests(const _stringx<>& longName, const FileTestMap& tests,
                               _stringx<qv::char_traitsi>& value);

    // One finding of messageId (%1 the long file name, type Severity, at
    // File.FileName of the row) for each File row that passes a test.
    void RunFileTests(UINT messageId, const FileTestMap& tests);

    // The target paths of all package files, case ignored. Filled by the
    // first check that asks and kept while the library stays loaded.
    const std::set<_stringx<qv::char_traitsi>>& InstalledTargets();
    // Forgets InstalledTargets (the library's reset).
    static void ResetInstalledTargets() noexcept;

    // Message type of every finding of this check: the row of _QvViceSeverity
    // for the check's name, read at construction; 1 without one, or for 0.
    int Severity;
};
