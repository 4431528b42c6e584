#include "session.h"

#include <utility>

#include "reference_machine.h"

namespace qv::posix::session {
namespace {

constexpr int kFeatureFavorSource = 0x0001;

constexpr int kStateUnknown = -1;
constexpr int kStateAbsent = 2;
constexpr int kStateLocal = 3;
constexpr int kStateSource = 4;

std::wstring cell_text(const msidb::Database& db, const msidb::Table& table, size_t row, int column) {
    if (column < 0 || static_cast<size_t>(column) >= table.columns.size()) return std::wstring();
    const msidb::Cell& cell = table.at(row, static_cast<size_t>(column));
    switch (cell.kind) {
    case msidb::CellKind::String: return db.string(cell.value);
    case msidb::CellKind::Integer: return std::to_wstring(cell.value);
    default: return std::wstring();
    }
}

int cell_int(const msidb::Database& db, const msidb::Table& table, size_t row, int column) {
    if (column < 0 || static_cast<size_t>(column) >= table.columns.size()) return 0;
    const msidb::Cell& cell = table.at(row, static_cast<size_t>(column));
    if (cell.kind == msidb::CellKind::Integer) return cell.value;
    if (cell.kind == msidb::CellKind::String) {
        const std::wstring& s = db.string(cell.value);
        try {
            size_t used = 0;
            const long v = std::stol(s, &used);
            return used == s.size() ? static_cast<int>(v) : 0;
        } catch (...) {
            return 0;
        }
    }
    return 0;
}

// "short|long" into its two names; one name serves as both.
std::pair<std::wstring, std::wstring> split_names(const std::wstring& part) {
    const size_t bar = part.find(L'|');
    if (bar == std::wstring::npos) return {part, part};
    return {part.substr(0, bar), part.substr(bar + 1)};
}

std::wstring with_backslash(std::wstring path) {
    if (!path.empty() && path.back() != L'\\') path += L'\\';
    return path;
}

// A name of DefaultDir adds a folder unless it is "." (the parent itself).
std::wstring append_name(const std::wstring& base, const std::wstring& name) {
    if (name.empty() || name == L".") return base;
    return with_backslash(base) + name + L'\\';
}

bool same_ignoring_case(const std::wstring& a, const wchar_t* b) {
    size_t i = 0;
    for (; b[i]; ++i) {
        if (i >= a.size()) return false;
        wchar_t x = a[i], y = b[i];
        if (x >= L'a' && x <= L'z') x = static_cast<wchar_t>(x - 32);
        if (y >= L'a' && y <= L'z') y = static_cast<wchar_t>(y - 32);
        if (x != y) return false;
    }
    return i == a.size();
}

}  // namespace

Session::Session(std::shared_ptr<msidb::Database> database, std::wstring package_path)
    : db_(std::move(database)), package_path_(std::move(package_path)) {
    const size_t slash = package_path_.find_last_of(L"\\/");
    package_folder_ = slash == std::wstring::npos ? std::wstring() : package_path_.substr(0, slash + 1);
    if (db_) load_tables();
    seed_properties();
}

void Session::load_tables() {
    const msidb::Database& db = *db_;
    if (const msidb::Table* t = db.find_table(L"Directory")) {
        const int key = t->column_index(L"Directory");
        const int parent = t->column_index(L"Directory_Parent");
        const int dir = t->column_index(L"DefaultDir");
        for (size_t r = 0; r < t->rows(); ++r) {
            DirectoryRow row;
            row.key = cell_text(db, *t, r, key);
            if (row.key.empty() || directory_index_.count(row.key)) continue;
            row.parent = cell_text(db, *t, r, parent);
            if (row.parent == row.key) row.parent.clear();
            // DefaultDir is "target[:source]", each part "short|long" or one name.
            const std::wstring text = cell_text(db, *t, r, dir);
            const size_t colon = text.find(L':');
            const std::wstring target = colon == std::wstring::npos ? text : text.substr(0, colon);
            const std::wstring source = colon == std::wstring::npos ? text : text.substr(colon + 1);
            std::tie(row.target_short, row.target_long) = split_names(target);
            std::tie(row.source_short, row.source_long) = split_names(source);
            directory_index_[row.key] = directories_.size();
            directories_.push_back(std::move(row));
        }
    }
    if (const msidb::Table* t = db.find_table(L"Component")) {
        const int key = t->column_index(L"Component");
        const int dir = t->column_index(L"Directory_");
        const int attr = t->column_index(L"Attributes");
        for (size_t r = 0; r < t->rows(); ++r)
            components_.emplace(cell_text(db, *t, r, key),
                                ComponentRow{cell_text(db, *t, r, dir), cell_int(db, *t, r, attr)});
    }
    if (const msidb::Table* t = db.find_table(L"File")) {
        const int key = t->column_index(L"File");
        const int comp = t->column_index(L"Component_");
        const int name = t->column_index(L"FileName");
        for (size_t r = 0; r < t->rows(); ++r) {
            FileRow row;
            row.component = cell_text(db, *t, r, comp);
            std::tie(row.short_name, row.long_name) = split_names(cell_text(db, *t, r, name));
            files_.emplace(cell_text(db, *t, r, key), std::move(row));
        }
    }
    if (const msidb::Table* t = db.find_table(L"Feature")) {
        const int key = t->column_index(L"Feature");
        const int level = t->column_index(L"Level");
        const int attr = t->column_index(L"Attributes");
        for (size_t r = 0; r < t->rows(); ++r)
            features_.emplace(cell_text(db, *t, r, key),
                              FeatureRow{cell_int(db, *t, r, level), cell_int(db, *t, r, attr)});
    }
    auto wc = db.summary.find(PID_WORDCOUNT);
    if (wc != db.summary.end()) word_count_ = wc->second.integer;
}

void Session::seed_properties() {
    if (db_) {
        if (const msidb::Table* t = db_->find_table(L"Property")) {
            const int key = t->column_index(L"Property");
            const int value = t->column_index(L"Value");
            for (size_t r = 0; r < t->rows(); ++r) {
                std::wstring name = cell_text(*db_, *t, r, key);
                std::wstring v = cell_text(*db_, *t, r, value);
                if (!name.empty() && !v.empty()) properties_[name] = std::move(v);
            }
        }
    }
    for (const MachineValue& d : ReferenceMachine::defaults())
        if (!properties_.count(d.name)) properties_[d.name] = d.value;
    for (const MachineValue& p : ReferenceMachine::properties()) properties_[p.name] = p.value;

    // The installation context: ALLUSERS=1 is per machine; ALLUSERS=2 is per
    // machine for the reference user (an administrator) unless the package
    // asks for a per-user install with MSIINSTALLPERUSER=1; anything else is
    // per user. The package's own value stands: nothing is installed here.
    const std::wstring all_users = property(L"ALLUSERS");
    const bool dual_per_user = all_users == L"2" && property(L"MSIINSTALLPERUSER") == L"1";
    const bool per_machine = all_users == L"1" || (all_users == L"2" && !dual_per_user);
    for (const MachineValue& f :
         ReferenceMachine::folders(per_machine ? FolderContext::PerMachine : FolderContext::PerUser))
        properties_[f.name] = f.value;
    if (dual_per_user)
        for (const MachineValue& f : ReferenceMachine::per_user_program_files()) properties_[f.name] = f.value;

    if (!package_path_.empty()) {
        properties_[L"OriginalDatabase"] = package_path_;
        properties_[L"DATABASE"] = package_path_;
    }
}

std::wstring Session::property(const std::wstring& name) const {
    auto it = properties_.find(name);
    return it == properties_.end() ? std::wstring() : it->second;
}

void Session::set_property(const std::wstring& name, const std::wstring& value) {
    source_placeholders_.erase(name);
    if (value.empty())
        properties_.erase(name);
    else
        properties_[name] = value;
}

std::wstring Session::environment(const std::wstring& name) const {
    for (const MachineValue& e : ReferenceMachine::environment())
        if (same_ignoring_case(name, e.name)) return e.value;
    return std::wstring();
}

std::optional<int> Session::state(wchar_t prefix, const std::wstring& name) const {
    if (prefix == L'$' || prefix == L'?') {
        auto it = components_.find(name);
        if (it == components_.end()) return std::nullopt;
        // Nothing is installed on the reference machine.
        if (prefix == L'?') return kStateAbsent;
        if (!cost_finalized_) return kStateUnknown;
        return (it->second.attributes & kComponentSourceOnly) ? kStateSource : kStateLocal;
    }
    if (prefix == L'&' || prefix == L'!') {
        auto it = features_.find(name);
        if (it == features_.end()) return std::nullopt;
        if (prefix == L'!') return kStateAbsent;
        if (!cost_finalized_) return kStateUnknown;
        int install_level = 1;
        try {
            install_level = std::stoi(property(L"INSTALLLEVEL"));
        } catch (...) {
        }
        const int level = it->second.level;
        if (level <= 0 || level > install_level) return kStateUnknown;
        return (it->second.attributes & kFeatureFavorSource) ? kStateSource : kStateLocal;
    }
    return std::nullopt;
}

std::wstring Session::file_path(const std::wstring& key, bool /*short_form*/) const {
    // [!File] means a short path only in Registry and IniFile values; for
    // formatted records it is the same as [#File].
    if (!cost_finalized_) return std::wstring();
    auto f = files_.find(key);
    if (f == files_.end()) return std::wstring();
    auto c = components_.find(f->second.component);
    if (c == components_.end()) return std::wstring();
    if (c->second.attributes & kComponentSourceOnly) {
        auto s = sources_.find(c->second.directory);
        if (s == sources_.end()) return std::wstring();
        const bool short_names = (word_count_ & kWordCountShortNames) != 0;
        return s->second + (short_names ? f->second.short_name : f->second.long_name);
    }
    auto t = targets_.find(c->second.directory);
    if (t == targets_.end()) return std::wstring();
    const bool short_names = !property(L"SHORTFILENAMES").empty();
    return t->second + (short_names ? f->second.short_name : f->second.long_name);
}

std::wstring Session::component_folder(const std::wstring& key) const {
    if (!cost_finalized_) return std::wstring();
    auto c = components_.find(key);
    if (c == components_.end()) return std::wstring();
    const auto& paths = (c->second.attributes & kComponentSourceOnly) ? sources_ : targets_;
    auto it = paths.find(c->second.directory);
    return it == paths.end() ? std::wstring() : it->second;
}

UINT Session::do_action(const std::wstring& action) {
    if (action == L"CostInitialize") {
        cost_initialized_ = true;
        return ERROR_SUCCESS;
    }
    if (action == L"FileCost") {
        if (!cost_initialized_) return ERROR_FUNCTION_NOT_CALLED;
        file_costed_ = true;
        return ERROR_SUCCESS;
    }
    if (action == L"CostFinalize") {
        if (!file_costed_) return ERROR_FUNCTION_NOT_CALLED;
        finalize_costs();
        return ERROR_SUCCESS;
    }
    if (action == L"ResolveSource") {
        resolve_source();
        return ERROR_SUCCESS;
    }
    return ERROR_FUNCTION_NOT_CALLED;
}

const Session::DirectoryRow* Session::find_directory(const std::wstring& key) const {
    auto it = directory_index_.find(key);
    return it == directory_index_.end() ? nullptr : &directories_[it->second];
}

template <class Own, class Name>
std::map<std::wstring, std::wstring> Session::resolve_tree(Own own, Name name) const {
    // Walks up from each row to a row with a path of its own (a root, an
    // override) or one already resolved, then fills the chain on the way
    // down. Iterative, so a deep tree cannot exhaust the stack; a row whose
    // parent is missing or that sits on a loop is resolved like a root.
    std::map<std::wstring, std::wstring> done;
    for (const DirectoryRow& start : directories_) {
        if (done.count(start.key)) continue;
        std::vector<const DirectoryRow*> chain;
        std::set<std::wstring> seen;
        std::wstring base;
        const DirectoryRow* cur = &start;
        while (true) {
            auto known = done.find(cur->key);
            if (known != done.end()) {
                base = known->second;
                break;
            }
            std::wstring own_path;
            if (own(*cur, own_path, false)) {
                done[cur->key] = own_path;
                base = own_path;
                break;
            }
            chain.push_back(cur);
            seen.insert(cur->key);
            const DirectoryRow* parent = find_directory(cur->parent);
            if (!parent || seen.count(parent->key)) {
                own(*cur, base, true);
                break;
            }
            cur = parent;
        }
        for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
            base = append_name(base, name(**it));
            done[(*it)->key] = base;
        }
    }
    return done;
}

void Session::compute_sources(const std::wstring& source_root) {
    const bool short_names = (word_count_ & kWordCountShortNames) != 0;
    const bool compressed = (word_count_ & kWordCountCompressed) != 0;
    sources_ = resolve_tree(
        [&](const DirectoryRow& row, std::wstring& out, bool orphan) {
            // A compressed package takes every file from the source root.
            if (!orphan && !row.parent.empty() && !compressed) return false;
            out = source_root;
            if (row.parent.empty()) {
                const std::wstring named = property(row.source_long);
                if (!named.empty()) out = with_backslash(named);
            }
            return true;
        },
        [&](const DirectoryRow& row) { return short_names ? row.source_short : row.source_long; });
}

void Session::resolve_source() {
    if (property(L"SourceDir").empty()) properties_[L"SourceDir"] = package_folder_;
    if (property(L"SOURCEDIR").empty()) properties_[L"SOURCEDIR"] = property(L"SourceDir");
    compute_sources(property(L"SourceDir"));
    source_resolved_ = true;

    // Until CostFinalize puts the target paths there, each directory property
    // holds its source folder.
    if (cost_finalized_) return;
    for (const auto& [key, path] : sources_) {
        if (!source_placeholders_.count(key)) {
            auto before = properties_.find(key);
            source_placeholders_[key] =
                before == properties_.end() ? std::nullopt : std::optional<std::wstring>(before->second);
        }
        properties_[key] = path;
    }
}

void Session::finalize_costs() {
    // What a directory property held before ResolveSource borrowed it.
    auto authored = [&](const std::wstring& key) -> std::wstring {
        auto placeholder = source_placeholders_.find(key);
        if (placeholder != source_placeholders_.end()) return placeholder->second.value_or(std::wstring());
        return property(key);
    };
    const bool short_names = !property(L"SHORTFILENAMES").empty();
    const std::wstring root_drive = with_backslash(property(L"ROOTDRIVE"));
    targets_ = resolve_tree(
        [&](const DirectoryRow& row, std::wstring& out, bool orphan) {
            const std::wstring value = authored(row.key);
            if (!value.empty()) {
                out = with_backslash(value);
                return true;
            }
            if (row.parent.empty() || orphan) {
                out = root_drive;
                return true;
            }
            return false;
        },
        [&](const DirectoryRow& row) { return short_names ? row.target_short : row.target_long; });
    // Source paths are answered after costing too; SourceDir itself is set
    // by ResolveSource only.
    if (!source_resolved_) {
        const std::wstring root = property(L"SourceDir");
        compute_sources(root.empty() ? package_folder_ : root);
    }
    for (const auto& [key, path] : targets_) properties_[key] = path;
    source_placeholders_.clear();
    properties_[L"CostingComplete"] = L"1";
    cost_finalized_ = true;
}

std::optional<std::wstring> Session::target_path(const std::wstring& directory) const {
    if (!cost_finalized_) return std::nullopt;
    auto it = targets_.find(directory);
    if (it != targets_.end()) return it->second;
    // The root also answers to its DefaultDir name (normally SourceDir).
    for (const DirectoryRow& row : directories_)
        if (row.parent.empty() && row.target_long == directory) return targets_.at(row.key);
    return std::nullopt;
}

std::optional<std::wstring> Session::source_path(const std::wstring& directory) const {
    if (!cost_finalized_ && !source_resolved_) return std::nullopt;
    auto it = sources_.find(directory);
    if (it != sources_.end()) return it->second;
    for (const DirectoryRow& row : directories_)
        if (row.parent.empty() && row.source_long == directory) return sources_.at(row.key);
    return std::nullopt;
}

}  // namespace qv::posix::session
