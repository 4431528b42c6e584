#include "formatter.h"

#include <cstddef>

namespace qv::posix::session {
namespace {

constexpr size_t npos = static_cast<size_t>(-1);

// Openers nested deeper than this are plain text. Real templates nest two or
// three levels; the cap bounds the work on hostile text to depth x length.
constexpr size_t kMaxNesting = 200;

// How a bracket resolved, for the group rule: a group whose brackets all
// found a value loses its braces, one with a missing value disappears, one
// with nothing substituted stays as written.
enum class Outcome { Found, Missing, Literal };

struct Resolved {
    std::wstring text;
    Outcome outcome;
};

bool all_digits(const std::wstring& s) {
    if (s.empty()) return false;
    for (wchar_t c : s)
        if (c < L'0' || c > L'9') return false;
    return true;
}

Resolved found_or_missing(std::wstring value) {
    Outcome o = value.empty() ? Outcome::Missing : Outcome::Found;
    return {std::move(value), o};
}

// The value of the bracket whose (already expanded) content is `inner`.
Resolved resolve(const std::wstring& inner, const RecordText* record, const FormatContext* context) {
    if (!inner.empty() && inner[0] == L'\\') {
        // An escape assembled from nested brackets: keep the first character.
        if (inner.size() < 2) return {std::wstring(), Outcome::Missing};
        return {std::wstring(1, inner[1]), Outcome::Found};
    }
    if (inner == L"~") return {std::wstring(1, L'\0'), Outcome::Found};
    if (record && all_digits(inner)) {
        // Field numbers beyond the record (or too long to be one) are missing.
        size_t n = 0;
        if (inner.size() <= 9) n = std::stoul(inner);
        if (n == 0 || n >= record->size() || !(*record)[n]) return {std::wstring(), Outcome::Missing};
        // A field's text is formatted in turn (without record markers); a
        // property's value is inserted as it is.
        return found_or_missing(format_text(*(*record)[n], nullptr, context));
    }
    if (!context) return {L"[" + inner + L"]", Outcome::Literal};
    if (inner.empty()) return {std::wstring(), Outcome::Missing};
    const std::wstring rest = inner.substr(1);
    switch (inner[0]) {
    case L'%': return found_or_missing(context->environment(rest));
    case L'#': return found_or_missing(context->file_path(rest, false));
    case L'!': return found_or_missing(context->file_path(rest, true));
    case L'$': return found_or_missing(context->component_folder(rest));
    default: return found_or_missing(context->property(inner));
    }
}

enum class FrameKind : unsigned char { Top, Bracket, Group, DoubleGroup };

struct Frame {
    FrameKind kind;
    std::wstring text;
    bool substituted = false;
    bool missing = false;
    size_t inner_close = npos;  // DoubleGroup: the inner '}', which closes nothing
};

}  // namespace

std::wstring format_text(const std::wstring& text, const RecordText* record, const FormatContext* context) {
    const size_t n = text.size();
    if (n == 0) return std::wstring();

    // Pass 1: pair brackets and braces with one stack, so that the work stays
    // linear and nothing recurses on the nesting depth. An escape "[\x...]"
    // is one token up to the first ']' after x. Openers left without a
    // partner, and closers that meet the other kind of opener, are plain text.
    std::vector<size_t> next_close(n + 1, npos);
    for (size_t i = n; i-- > 0;) next_close[i] = text[i] == L']' ? i : next_close[i + 1];

    std::vector<size_t> partner(n, npos);   // opener <-> closer
    std::vector<size_t> escape_end(n, npos);
    std::vector<size_t> open;
    for (size_t i = 0; i < n; ++i) {
        const wchar_t c = text[i];
        if (c == L'[') {
            if (i + 2 < n && text[i + 1] == L'\\' && next_close[i + 3] != npos) {
                escape_end[i] = next_close[i + 3];
                i = escape_end[i];
                continue;
            }
            open.push_back(i);
        } else if (c == L'{') {
            open.push_back(i);
        } else if (c == L']' || c == L'}') {
            const wchar_t want = c == L']' ? L'[' : L'{';
            if (!open.empty() && text[open.back()] == want) {
                partner[open.back()] = i;
                partner[i] = open.back();
                open.pop_back();
            }
        }
    }

    // Pass 2: expand with an explicit stack of frames.
    std::vector<Frame> frames;
    frames.push_back(Frame{FrameKind::Top, {}});
    for (size_t i = 0; i < n; ++i) {
        const wchar_t c = text[i];
        if (escape_end[i] != npos) {
            frames.back().text += text[i + 2];
            frames.back().substituted = true;
            i = escape_end[i];
            continue;
        }
        if (partner[i] != npos && (c == L'[' || c == L'{') && frames.size() > kMaxNesting) {
            partner[partner[i]] = npos;  // too deep: both ends become plain text
            partner[i] = npos;
        }
        if (partner[i] == npos) {
            frames.back().text += c;
            continue;
        }
        if (c == L'[') {
            frames.push_back(Frame{FrameKind::Bracket, {}});
        } else if (c == L'{') {
            // "{{...}}" whose inner braces pair up is one double group.
            const size_t close = partner[i];
            if (i + 1 < n && text[i + 1] == L'{' && close > 0 && partner[i + 1] == close - 1) {
                Frame frame{FrameKind::DoubleGroup, {}};
                frame.inner_close = close - 1;
                frames.push_back(std::move(frame));
                ++i;
            } else {
                frames.push_back(Frame{FrameKind::Group, {}});
            }
        } else if (c == L']') {
            Frame done = std::move(frames.back());
            frames.pop_back();
            Resolved r = resolve(done.text, record, context);
            Frame& parent = frames.back();
            parent.text += r.text;
            if (r.outcome != Outcome::Literal) parent.substituted = true;
            if (r.outcome == Outcome::Missing) parent.missing = true;
        } else {  // '}'
            if (frames.back().kind == FrameKind::Bracket || frames.back().kind == FrameKind::Top) {
                // Unreachable by construction of the pairs; keep the text.
                frames.back().text += c;
                continue;
            }
            // The inner '}' of a double group is not a frame of its own.
            if (i == frames.back().inner_close) continue;
            Frame done = std::move(frames.back());
            frames.pop_back();
            Frame& parent = frames.back();
            if (done.missing) {
                // A group with any missing value vanishes whole.
            } else if (done.kind == FrameKind::DoubleGroup) {
                parent.text += done.text;
            } else if (done.substituted) {
                parent.text += done.text;
            } else {
                parent.text += L'{';
                parent.text += done.text;
                parent.text += L'}';
            }
            if (done.substituted) parent.substituted = true;
        }
    }
    return std::move(frames.front().text);
}

std::wstring format_record(const RecordText& record, const FormatContext* context) {
    if (record.empty()) return std::wstring();
    if (record[0]) return format_text(*record[0], &record, context);
    std::wstring layout;
    for (size_t n = 1; n < record.size(); ++n) {
        const std::wstring number = std::to_wstring(n);
        layout += number;
        layout += L": [";
        layout += number;
        layout += L"] ";
    }
    return format_text(layout, &record, context);
}

}  // namespace qv::posix::session
