// The output formats of `qvice PACKAGE...`: the delivered lines as text, as
// a JSON array of objects, or as one SARIF 2.1.0 log.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvice {

// A delivered line split on TAB the way a validation tool splits it: name,
// type, text, help location, table, column, then the keys of the row.
struct Finding {
    std::string check;
    int type = -1;  // -1 when the second field is not a decimal number
    std::string text;
    std::string help;
    std::string table;
    std::string column;
    std::vector<std::string> keys;
};

Finding SplitLine(std::string_view line);

// `text` as the body of a JSON string (no quotes): control characters,
// quote and backslash escaped; bytes that are not UTF-8 become U+FFFD.
std::string JsonEscape(std::string_view text);

// A package path as a SARIF artifact URI: file:// for an absolute path,
// else a relative reference; every byte outside the unreserved set and "/"
// percent-encoded.
std::string ArtifactUri(std::string_view path);

class Output {
public:
    virtual ~Output() = default;
    // Each delivered line of `package`, in order; `kept` is false for a line
    // that the type filter leaves out (SARIF still learns its check from it).
    virtual void Line(const std::string& package, const std::string& line, bool kept) = 0;
    // A line that also goes to stderr: why a package cannot be used, or a note.
    virtual void Note(const std::string& text) {}
    // After the last package, with the exit status of the run.
    virtual void Finish(int status) = 0;
};

// "text", "json" or "sarif" over `out`, or null for another name.
std::unique_ptr<Output> MakeOutput(std::string_view format, std::FILE* out);

}  // namespace qvice
