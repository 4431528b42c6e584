// An install session over one database: properties (seeded from the
// reference machine and the Property table), formatted text, conditions, the
// cost actions and ResolveSource with the target and source paths of the
// Directory table.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "../msidb/model.h"
#include "../winapi/msi.h"
#include "condition.h"
#include "formatter.h"

namespace qv::posix::session {

// Word Count summary bits that change source paths.
constexpr int kWordCountShortNames = 1;
constexpr int kWordCountCompressed = 2;

// Component.Attributes bit: run from source.
constexpr int kComponentSourceOnly = 0x0001;

class Session final : public FormatContext, public ConditionContext {
public:
    // `package_path` is the package in Windows form (Z:\home\u\p\x.msi); its
    // folder, with a closing backslash, becomes SourceDir at ResolveSource.
    Session(std::shared_ptr<msidb::Database> database, std::wstring package_path);

    const std::shared_ptr<msidb::Database>& database() const { return db_; }
    const std::wstring& package_folder() const { return package_folder_; }

    // Properties: case-sensitive names; an absent property reads as "".
    std::wstring property(const std::wstring& name) const override;
    // Setting "" removes the property.
    void set_property(const std::wstring& name, const std::wstring& value);
    const std::map<std::wstring, std::wstring>& properties() const { return properties_; }

    // Environment of the reference machine; names ignore case.
    std::wstring environment(const std::wstring& name) const override;
    std::wstring file_path(const std::wstring& key, bool short_form) const override;
    std::wstring component_folder(const std::wstring& key) const override;
    std::optional<int> state(wchar_t prefix, const std::wstring& name) const override;

    std::wstring format(const RecordText& record) const { return format_record(record, this); }
    MSICONDITION evaluate(const std::wstring& condition) const { return evaluate_condition(condition, *this); }

    // CostInitialize, FileCost, CostFinalize, ResolveSource. Unknown actions
    // give ERROR_FUNCTION_NOT_CALLED, as do cost actions out of order.
    UINT do_action(const std::wstring& action);

    // Paths of a Directory key (or of the root by its DefaultDir name), each
    // ending in a backslash; nullopt for an unknown directory or before the
    // action that resolves them (CostFinalize; ResolveSource for sources).
    std::optional<std::wstring> target_path(const std::wstring& directory) const;
    std::optional<std::wstring> source_path(const std::wstring& directory) const;

    bool cost_initialized() const { return cost_initialized_; }
    bool file_costed() const { return file_costed_; }
    bool cost_finalized() const { return cost_finalized_; }
    bool source_resolved() const { return source_resolved_; }

private:
    struct DirectoryRow {
        std::wstring key;
        std::wstring parent;  // empty for a root
        std::wstring target_short, target_long, source_short, source_long;
    };
    struct ComponentRow {
        std::wstring directory;
        int attributes = 0;
    };
    struct FileRow {
        std::wstring component;
        std::wstring short_name, long_name;
    };
    struct FeatureRow {
        int level = 0;
        int attributes = 0;
    };

    void load_tables();
    void seed_properties();
    void compute_sources(const std::wstring& source_root);
    void resolve_source();
    void finalize_costs();
    // Resolves every directory with `own(row, out)` giving a path that does
    // not depend on the parent (roots, overrides) and `name(row)` the
    // component appended below the parent.
    template <class Own, class Name>
    std::map<std::wstring, std::wstring> resolve_tree(Own own, Name name) const;
    const DirectoryRow* find_directory(const std::wstring& key) const;

    std::shared_ptr<msidb::Database> db_;
    std::wstring package_path_;
    std::wstring package_folder_;
    std::map<std::wstring, std::wstring> properties_;

    std::vector<DirectoryRow> directories_;
    std::map<std::wstring, size_t> directory_index_;
    std::map<std::wstring, ComponentRow> components_;
    std::map<std::wstring, FileRow> files_;
    std::map<std::wstring, FeatureRow> features_;
    int word_count_ = 0;

    bool cost_initialized_ = false;
    bool file_costed_ = false;
    bool cost_finalized_ = false;
    bool source_resolved_ = false;

    std::map<std::wstring, std::wstring> targets_;
    std::map<std::wstring, std::wstring> sources_;
    // Directory properties that ResolveSource set to a source folder, with
    // the value each held before (nullopt: none). A later MsiSetProperty of
    // the name takes it out, so CostFinalize can tell them from user values.
    std::map<std::wstring, std::optional<std::wstring>> source_placeholders_;
};

}  // namespace qv::posix::session
