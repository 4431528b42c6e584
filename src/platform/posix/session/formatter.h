// Formatted text as the installer expands it (MsiFormatRecord): record
// markers [n], properties [Name], [%Env], [#File], [!File], [$Component],
// escapes [\x], [~], and {...} groups. Never throws; any input gives a text.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qv::posix::session {

// What the formatter asks of a session. Each lookup returns nullopt (or an
// empty text) when nothing is known, which the formatter shows as nothing.
class FormatContext {
public:
    virtual ~FormatContext() = default;
    virtual std::wstring property(const std::wstring& name) const = 0;
    virtual std::wstring environment(const std::wstring& name) const = 0;
    // Full path of a File row ([#key]; short form for [!key]); empty before costing.
    virtual std::wstring file_path(const std::wstring& key, bool short_form) const = 0;
    // Folder of a Component row ([$key]); empty before costing.
    virtual std::wstring component_folder(const std::wstring& key) const = 0;
};

// A record as the formatter sees it: index 0 is the template, a null field
// is nullopt.
using RecordText = std::vector<std::optional<std::wstring>>;

// Expands `text`. `record` supplies [n] (null: [n] names a property, as in a
// field value); `context` null means formatting without a session: only
// record markers, escapes and groups are processed, every other bracket is
// left as written.
std::wstring format_text(const std::wstring& text, const RecordText* record, const FormatContext* context);

// MsiFormatRecord: the template of field 0, or for a null field 0 the form
// "1: [1] 2: [2] ... " over every field.
std::wstring format_record(const RecordText& record, const FormatContext* context);

}  // namespace qv::posix::session
