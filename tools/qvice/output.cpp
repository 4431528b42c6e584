// Text, JSON and SARIF output of the delivered lines.
#include "output.h"

#include <cstdlib>
#include <map>

#include "commands.h"
#include "framework/library.h"
#include "framework/registry.h"
#include "text.h"

namespace qvice {

Finding SplitLine(std::string_view line) {
    std::vector<std::string> fields;
    size_t start = 0;
    while (true) {
        const size_t tab = line.find('\t', start);
        fields.emplace_back(line.substr(start, tab == std::string_view::npos ? std::string_view::npos : tab - start));
        if (tab == std::string_view::npos) break;
        start = tab + 1;
    }
    Finding f;
    f.check = fields[0];
    // Digits only: no sign, no blanks.
    if (fields.size() > 1 && !fields[1].empty() && fields[1][0] >= '0' && fields[1][0] <= '9') {
        char* stop = nullptr;
        const long value = std::strtol(fields[1].c_str(), &stop, 10);
        if (*stop == '\0' && value >= 0 && value <= 0x7fffffff) f.type = static_cast<int>(value);
    }
    std::string* named[] = {&f.text, &f.help, &f.table, &f.column};
    for (size_t i = 2; i < fields.size(); ++i) {
        if (i < 6)
            *named[i - 2] = std::move(fields[i]);
        else
            f.keys.push_back(std::move(fields[i]));
    }
    return f;
}

std::string JsonEscape(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 8);
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    for (size_t i = 0; i < n;) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            switch (c) {
                case '"': out += "\\\""; break;
                case '\\': out += "\\\\"; break;
                case '\n': out += "\\n"; break;
                case '\r': out += "\\r"; break;
                case '\t': out += "\\t"; break;
                case '\b': out += "\\b"; break;
                case '\f': out += "\\f"; break;
                default:
                    if (c < 0x20) {
                        char hex[8];
                        std::snprintf(hex, sizeof hex, "\\u%04x", c);
                        out += hex;
                    } else {
                        out += static_cast<char>(c);
                    }
            }
            ++i;
            continue;
        }
        // A well-formed UTF-8 sequence passes through; anything else is one U+FFFD.
        size_t length = c >= 0xf0 && c <= 0xf4 ? 4 : c >= 0xe0 ? 3 : c >= 0xc2 && c < 0xe0 ? 2 : 0;
        bool ok = length != 0 && i + length <= n;
        for (size_t k = 1; ok && k < length; ++k) ok = (s[i + k] & 0xc0) == 0x80;
        if (ok && length == 3) {
            const unsigned second = s[i + 1];
            ok = !(c == 0xe0 && second < 0xa0) && !(c == 0xed && second >= 0xa0);  // overlong, surrogate
        }
        if (ok && length == 4) {
            const unsigned second = s[i + 1];
            ok = !(c == 0xf0 && second < 0x90) && !(c == 0xf4 && second >= 0x90);  // overlong, > U+10FFFF
        }
        if (ok) {
            out.append(text.substr(i, length));
            i += length;
        } else {
            out += "\xef\xbf\xbd";
            ++i;
        }
    }
    return out;
}

std::string ArtifactUri(std::string_view path) {
    std::string out = !path.empty() && path[0] == '/' ? "file://" : "";
    for (const unsigned char c : path) {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
            c == '_' || c == '~' || c == '/') {
            out += static_cast<char>(c);
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", c);
            out += hex;
        }
    }
    return out;
}

namespace {

std::string Quoted(std::string_view text) { return "\"" + JsonEscape(text) + "\""; }

std::string KeysArray(const std::vector<std::string>& keys) {
    std::string out = "[";
    for (size_t i = 0; i < keys.size(); ++i) out += (i ? "," : "") + Quoted(keys[i]);
    return out + "]";
}

class TextOutput : public Output {
public:
    explicit TextOutput(std::FILE* out) : m_out(out) {}
    void Line(const std::string&, const std::string& line, bool kept) override {
        if (!kept) return;
        std::fwrite(line.data(), 1, line.size(), m_out);
        std::fputc('\n', m_out);
        std::fflush(m_out);
    }
    void Finish(int) override { std::fflush(m_out); }

private:
    std::FILE* m_out;
};

// A JSON array with one object per line of text, so that it streams and
// still reads as one document.
class JsonOutput : public Output {
public:
    explicit JsonOutput(std::FILE* out) : m_out(out) { std::fputs("[", m_out); }
    void Line(const std::string& package, const std::string& line, bool kept) override {
        if (!kept) return;
        const Finding f = SplitLine(line);
        std::string object = m_first ? "\n" : ",\n";
        m_first = false;
        object += "{\"package\":" + Quoted(package) + ",\"check\":" + Quoted(f.check) +
                  ",\"type\":" + (f.type < 0 ? std::string("null") : std::to_string(f.type)) +
                  ",\"text\":" + Quoted(f.text) + ",\"help\":" + Quoted(f.help) + ",\"table\":" + Quoted(f.table) +
                  ",\"column\":" + Quoted(f.column) + ",\"keys\":" + KeysArray(f.keys) + "}";
        std::fwrite(object.data(), 1, object.size(), m_out);
        std::fflush(m_out);
    }
    void Finish(int) override {
        std::fputs("\n]\n", m_out);
        std::fflush(m_out);
    }

private:
    std::FILE* m_out;
    bool m_first = true;
};

// One run; a rule for each check that ran (known by its banner, which every
// check sends), a result for each kept finding of type 0, 1 or 2.
class SarifOutput : public Output {
public:
    explicit SarifOutput(std::FILE* out) : m_out(out) {}
    void Line(const std::string& package, const std::string& line, bool kept) override {
        Finding f = SplitLine(line);
        const size_t rule = RuleIndex(f.check);
        if (!kept || f.type < 0 || f.type > 2) return;
        std::string r = "        {\n          \"ruleId\": " + Quoted(f.check) + ",\n          \"ruleIndex\": " +
                        std::to_string(rule) + ",\n          \"level\": \"" + (f.type == 2 ? "warning" : "error") +
                        "\",\n          \"message\": {\"text\": " + Quoted(f.text) + "},\n";
        r += "          \"locations\": [{\n            \"physicalLocation\": {\"artifactLocation\": {\"uri\": " +
             Quoted(ArtifactUri(package)) + "}}";
        if (!f.table.empty()) {
            std::string keys;
            for (size_t i = 0; i < f.keys.size(); ++i) keys += (i ? "," : "") + f.keys[i];
            std::string qualified = f.table + "[" + keys + "]";
            if (!f.column.empty()) qualified += "." + f.column;
            r += ",\n            \"logicalLocations\": [{\"name\": " + Quoted(f.column.empty() ? f.table : f.column) +
                 ", \"fullyQualifiedName\": " + Quoted(qualified) +
                 ", \"kind\": \"object\", \"properties\": {\"table\": " + Quoted(f.table) + ", \"column\": " +
                 Quoted(f.column) + ", \"keys\": " + KeysArray(f.keys) + "}}]";
        }
        r += "\n          }],\n          \"properties\": {\"type\": " + std::to_string(f.type);
        if (!f.help.empty()) r += ", \"help\": " + Quoted(f.help);
        r += "}\n        }";
        m_results.push_back(std::move(r));
    }

    void Note(const std::string& text) override { m_notes.push_back(text); }

    void Finish(int status) override {
        std::string doc =
            "{\n  \"$schema\": "
            "\"https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json\",\n"
            "  \"version\": \"2.1.0\",\n  \"runs\": [\n    {\n      \"tool\": {\n        \"driver\": {\n"
            "          \"name\": \"qvice\",\n          \"version\": \"" QVICE_VERSION "\",\n          \"rules\": [";
        for (size_t i = 0; i < m_rules.size(); ++i) {
            doc += (i ? ",\n" : "\n") + std::string("            {\"id\": ") + Quoted(m_rules[i]) +
                   ", \"shortDescription\": {\"text\": " + Quoted(Description(m_rules[i])) + "}}";
        }
        doc += m_rules.empty() ? "]\n" : "\n          ]\n";
        doc += "        }\n      },\n      \"results\": [";
        for (size_t i = 0; i < m_results.size(); ++i) doc += (i ? ",\n" : "\n") + m_results[i];
        doc += m_results.empty() ? "],\n" : "\n      ],\n";
        // The invocation fails when a package or an option could not be used;
        // what qvice wrote on stderr goes with it.
        doc += "      \"invocations\": [{\"executionSuccessful\": " + std::string(status < 2 ? "true" : "false");
        if (!m_notes.empty()) {
            doc += ", \"toolExecutionNotifications\": [";
            for (size_t i = 0; i < m_notes.size(); ++i) {
                const bool note = m_notes[i].rfind("qvice: note: ", 0) == 0;
                doc += (i ? ",\n          " : "\n          ") + std::string("{\"level\": \"") +
                       (note ? "note" : "error") + "\", \"message\": {\"text\": " + Quoted(m_notes[i]) + "}}";
            }
            doc += "\n        ]";
        }
        doc += "}]\n    }\n  ]\n}\n";
        std::fwrite(doc.data(), 1, doc.size(), m_out);
        std::fflush(m_out);
    }

private:
    size_t RuleIndex(const std::string& check) {
        const auto [at, added] = m_index.emplace(check, m_rules.size());
        if (added) m_rules.push_back(check);
        return at->second;
    }

    // The catalogue's description of the check; a name that is no export of
    // the library gets its name (the schema wants a non-empty text).
    static std::string Description(const std::string& check) {
        const qv::CheckExport* e = qv::FindExport(Wide(check));
        if (!e) return check;
        wchar_t text[1024] = {0};
        const int length = LoadStringW(QvLibraryModule(), e->descriptionId, text, 1024);
        return length > 0 ? Utf8(std::wstring(text, length)) : check;
    }

    std::FILE* m_out;
    std::vector<std::string> m_rules;
    std::map<std::string, size_t> m_index;
    std::vector<std::string> m_results;
    std::vector<std::string> m_notes;
};

}  // namespace

std::unique_ptr<Output> MakeOutput(std::string_view format, std::FILE* out) {
    if (format == "text") return std::make_unique<TextOutput>(out);
    if (format == "json") return std::make_unique<JsonOutput>(out);
    if (format == "sarif") return std::make_unique<SarifOutput>(out);
    return nullptr;
}

}  // namespace qvice
