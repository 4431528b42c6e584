// The reference data of data/reference: every file reads, every table has the
// columns that the checks read by position, and the rows hold what the
// checks can use (valid expressions, known check names, parseable schemas).
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <dirent.h>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "framework/registry.h"
#include "platform/posix/msidb/idt.h"

namespace {

const std::string kDataDir = std::string(QV_TEST_DATA_DIR) + "/../../data/reference";

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> Files(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.emplace_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

class ReferenceData : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        texts_ = new std::vector<std::string>;
        std::vector<qv::msidb::IdtText> tables;
        for (const auto& name : Files(kDataDir))
            if (name.size() > 4 && name.substr(name.size() - 4) == ".idt") {
                texts_->push_back(Slurp(kDataDir + "/" + name));
                names_.push_back(name);
            }
        for (size_t i = 0; i < names_.size(); ++i) tables.push_back({names_[i], (*texts_)[i]});
        filters_ = Slurp(kDataDir + "/Binary/_QVFilters.xml");
        const qv::msidb::IdtStreamFile streams[] = {
            {"Binary/_QVFilters.xml",
             {reinterpret_cast<const uint8_t*>(filters_.data()), filters_.size()}}};
        db_ = qv::msidb::read_idt_tables(tables, streams, error_).release();
    }
    static void TearDownTestSuite() {
        delete db_;
        delete texts_;
    }

    static const qv::msidb::Table& Table(const wchar_t* name) {
        const auto* t = db_->find_table(name);
        if (!t) throw std::runtime_error("no table");
        return *t;
    }
    static std::wstring Text(const qv::msidb::Table& t, size_t row, size_t column) {
        return db_->string(t.at(row, column).value);
    }

    static inline qv::msidb::Database* db_ = nullptr;
    static inline std::vector<std::string>* texts_ = nullptr;
    static inline std::vector<std::string> names_;
    static inline std::string filters_;
    static inline std::string error_;
};

TEST_F(ReferenceData, EveryTableWithTheColumnsTheChecksRead) {
    ASSERT_TRUE(db_) << error_;
    std::map<std::wstring, std::wstring> schemas;
    for (const auto& t : db_->tables) {
        std::wstring text;
        for (const auto& c : t.columns) text += c.name + L"(" + c.definition() + (c.key() ? L")* " : L") ");
        schemas[t.name] = text;
    }
    const std::map<std::wstring, std::wstring> expected = {
        {L"Binary", L"Name(s72)* Data(v0) "},
        {L"QVCustomActionReference", L"Action(s72)* Path(S255) "},
        {L"_ICESequence", L"Action(s72)* Condition(S255) Sequence(I2) "},
        {L"_QVDeprecatedApi", L"Module(s64)* Function(s255)* Kind(i2) "},
        {L"_QVDisallowedAction", L"Action(s72)* "},
        {L"_QVManifest", L"Extension(s16)* XPath(s255)* Attributes(i2) Message(L0) "},
        {L"_QVMsiProperty", L"Property(s72)* "},
        {L"_QVNonPrivilegedFolder", L"Directory(s72)* "},
        {L"_QVSignedExtension", L"Extension(s16)* "},
        {L"_QVTableSchema", L"Table(s64)* Schema(s0) "},
        {L"_QvRegistry", L"Root(i2)* Key(s255)* Name(S255)* "},
        {L"_QvViceFileTestEntries", L"Vice(s72)* Test(s255)* Value(S255) "},
        {L"_QvViceSeverity", L"Vice(s72)* Severity(i2) "},
    };
    EXPECT_EQ(schemas, expected);
    EXPECT_EQ(Table(L"QVCustomActionReference").rows(), 0u);
    EXPECT_EQ(Table(L"_QvViceSeverity").rows(), 0u);
}

TEST_F(ReferenceData, SequenceRunsEveryCheckInRegistryOrder) {
    ASSERT_TRUE(db_) << error_;
    const auto& t = Table(L"_ICESequence");
    const auto exports = qv::AllExports();
    ASSERT_EQ(t.rows(), exports.size());
    ASSERT_EQ(t.rows(), 85u);
    int previous = 0;
    for (size_t r = 0; r < t.rows(); ++r) {
        EXPECT_EQ(Text(t, r, 0), exports[r].name) << r;
        EXPECT_TRUE(t.at(r, 1).is_null()) << r;
        ASSERT_EQ(t.at(r, 2).kind, qv::msidb::CellKind::Integer);
        EXPECT_GT(t.at(r, 2).value, previous);
        previous = t.at(r, 2).value;
    }
}

TEST_F(ReferenceData, StoredSchemasSplitIntoNamedTypedColumns) {
    ASSERT_TRUE(db_) << error_;
    const auto& t = Table(L"_QVTableSchema");
    std::set<std::wstring> tables;
    for (size_t r = 0; r < t.rows(); ++r) {
        const std::wstring name = Text(t, r, 0);
        tables.insert(name);
        const std::wstring schema = Text(t, r, 1);
        ASSERT_FALSE(schema.empty()) << r;
        EXPECT_EQ(schema.back(), L')');
        size_t start = 0, columns = 0;
        while (start < schema.size()) {
            const size_t open = schema.find(L'(', start), close = schema.find(L')', start);
            ASSERT_TRUE(open != std::wstring::npos && close != std::wstring::npos && open < close) << r;
            ASSERT_GT(open, start) << std::string(name.begin(), name.end());
            const std::wstring type = schema.substr(open + 1, close - open - 1);
            uint16_t word = 0;
            EXPECT_TRUE(qv::msidb::parse_idt_type(std::string(type.begin(), type.end()), word))
                << std::string(name.begin(), name.end());
            EXPECT_EQ(schema.find(L'(', open + 1) < close, false);
            start = close + 1;
            ++columns;
        }
        EXPECT_GT(columns, 0u);
    }
    EXPECT_EQ(tables.size(), t.rows());
    // The reserved-name check spares only the standard tables listed here.
    for (const wchar_t* standard : {L"File", L"Component", L"Directory", L"Feature", L"Property", L"Registry",
                                    L"MsiFileHash", L"MsiAssembly", L"MsiPatchCertificate", L"MsiDigitalSignature",
                                    L"InstallExecuteSequence", L"ModuleSignature", L"Shortcut", L"Upgrade"})
        EXPECT_TRUE(tables.count(standard)) << std::string(standard, standard + std::wcslen(standard));
}

TEST_F(ReferenceData, FileTestsCompileAndNameRealChecks) {
    ASSERT_TRUE(db_) << error_;
    const auto& t = Table(L"_QvViceFileTestEntries");
    std::set<std::wstring> vices;
    for (size_t r = 0; r < t.rows(); ++r) {
        const std::wstring vice = Text(t, r, 0), test = Text(t, r, 1);
        vices.insert(vice);
        if (vice == L"QVUWP20") {
            // Compared with the Extension column, which has no dot.
            EXPECT_NE(test[0], L'.') << r;
            EXPECT_TRUE(std::all_of(test.begin(), test.end(), [](wchar_t c) { return !std::iswupper(c); }));
            continue;
        }
        EXPECT_NO_THROW(std::wregex(test, std::regex_constants::ECMAScript | std::regex_constants::icase)) << r;
    }
    const std::set<std::wstring> expected = {L"QVVICE01", L"QVVICE02", L"QVVICE03", L"QVVICE04", L"QVVICE05",
                                             L"QVVICE06", L"QVVICE07", L"QVVICE08", L"QVUWP14",  L"QVUWP20"};
    EXPECT_EQ(vices, expected);
}

TEST_F(ReferenceData, ListsHoldUsableValues) {
    ASSERT_TRUE(db_) << error_;
    const auto& apis = Table(L"_QVDeprecatedApi");
    std::set<int> kinds;
    for (size_t r = 0; r < apis.rows(); ++r) kinds.insert(apis.at(r, 2).value);
    EXPECT_EQ(kinds, (std::set<int>{1, 2, 3}));

    const auto& props = Table(L"_QVMsiProperty");
    for (size_t r = 0; r < props.rows(); ++r) {
        std::wstring head = Text(props, r, 0).substr(0, 3);
        for (auto& c : head) c = static_cast<wchar_t>(std::towupper(c));
        EXPECT_EQ(head, L"MSI") << r;
    }

    const auto& manifest = Table(L"_QVManifest");
    for (size_t r = 0; r < manifest.rows(); ++r) {
        EXPECT_GE(manifest.at(r, 2).value, 0);
        EXPECT_LE(manifest.at(r, 2).value, 3);
        EXPECT_NE(Text(manifest, r, 3).find(L"%1"), std::wstring::npos) << r;
    }

    const auto& registry = Table(L"_QvRegistry");
    for (size_t r = 0; r < registry.rows(); ++r) {
        EXPECT_GE(registry.at(r, 0).value, 0);
        EXPECT_LE(registry.at(r, 0).value, 3);
        const std::wstring key = Text(registry, r, 1);
        EXPECT_NE(key.back(), L'\\') << r;
        EXPECT_NE(key.front(), L'\\') << r;
    }
}

// QVBP20 sorts the list by root, then key, but searches it by key alone: an
// entry that the search cannot reach protects nothing. Each entry must be
// found for a row with its own key (and for a key below it when its name is
// empty).
TEST_F(ReferenceData, EveryRegistryEntryIsReachedByTheKeySearch) {
    ASSERT_TRUE(db_) << error_;
    struct Entry {
        int root;
        std::wstring key, name;
    };
    auto lower = [](std::wstring s) {
        for (auto& c : s) c = static_cast<wchar_t>(std::towlower(c));
        return s;
    };
    const auto& t = Table(L"_QvRegistry");
    std::vector<Entry> entries;
    for (size_t r = 0; r < t.rows(); ++r) entries.push_back({t.at(r, 0).value, Text(t, r, 1), Text(t, r, 2)});
    std::sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
        if (a.root != b.root) return a.root < b.root;
        if (lower(a.key) != lower(b.key)) return lower(a.key) < lower(b.key);
        return lower(a.name) < lower(b.name);
    });
    auto found = [&](const std::wstring& row_key, const std::wstring& row_name) {
        const std::wstring key = lower(row_key), name = lower(row_name);
        size_t low = 0, high = entries.size();
        while (low < high) {
            const size_t mid = (low + high) / 2;
            const std::wstring ekey = lower(entries[mid].key), ename = lower(entries[mid].name);
            if (key == ekey && name == ename) return true;
            if (ename.empty() && key.compare(0, ekey.size(), ekey) == 0) return true;
            const size_t n = std::min(key.size(), ekey.size());
            const int c = key.compare(0, n, ekey, 0, n);
            if (c > 0 || (c == 0 && key.size() >= ekey.size())) low = mid + 1;
            else high = mid;
        }
        return false;
    };
    for (const auto& e : entries) {
        const std::string text(e.key.begin(), e.key.end());
        if (e.name.empty()) EXPECT_TRUE(found(e.key + L"\\Below", L"Value")) << text;
        else EXPECT_TRUE(found(e.key, e.name)) << text;
    }
}

TEST_F(ReferenceData, FilterDocumentEntries) {
    ASSERT_TRUE(db_) << error_;
    const auto& binary = Table(L"Binary");
    ASSERT_EQ(binary.rows(), 1u);
    EXPECT_EQ(Text(binary, 0, 0), L"_QVFilters.xml");
    EXPECT_EQ(db_->streams[binary.at(0, 1).value]->size(), filters_.size());
    // Every protected file names a bracketed top folder without a closing
    // backslash, and every protected key spells out its root.
    const std::regex file(R"(<File name="[^"\\/]+" path="\[[A-Za-z0-9]+\](\\[^"\\]+)*"/>)");
    const std::regex key(R"(<Registry wrp="1" key="HKEY_(CLASSES_ROOT|LOCAL_MACHINE|CURRENT_USER|USERS)\\[^"]*[^"\\]"/>)");
    size_t files = 0, keys = 0;
    std::istringstream lines(filters_);
    for (std::string line; std::getline(lines, line);) {
        line.erase(0, line.find_first_not_of(' '));
        if (line.rfind("<File", 0) == 0) {
            EXPECT_TRUE(std::regex_match(line, file)) << line;
            ++files;
        } else if (line.rfind("<Registry", 0) == 0) {
            EXPECT_TRUE(std::regex_match(line, key)) << line;
            ++keys;
        }
    }
    EXPECT_GT(files, 0u);
    EXPECT_GT(keys, 0u);
}

}  // namespace
