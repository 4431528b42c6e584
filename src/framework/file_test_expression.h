// The expression of one file name test: ECMAScript, case ignored, matched
// against the whole name. The tests people write are nearly all plain runs
// of characters, '.', '\d' and escaped punctuation, each at most repeated by
// '*' or '+'. Those are compiled here into a short list of steps and matched
// by walking the name once, keeping the set of steps reached. Every other
// expression goes to the standard library's engine, which also raises the
// errors. Both read characters through the same traits, so a plain
// expression matches exactly the names that the standard engine would.
#pragma once

#include <cstddef>
#include <optional>
#include <regex>
#include <string_view>
#include <vector>

namespace qv {

// The standard traits of wide expressions, with the locale's case table
// looked up once per expression: the standard ones look it up again for
// every character they fold while compiling and while matching. The folding
// itself is the same.
class CaseTraits : public std::regex_traits<wchar_t> {
public:
    CaseTraits() : m_ctype(&std::use_facet<std::ctype<wchar_t>>(getloc())) {}
    wchar_t translate_nocase(wchar_t c) const { return m_ctype->tolower(c); }
    locale_type imbue(locale_type locale)
    {
        locale_type old = std::regex_traits<wchar_t>::imbue(locale);
        m_ctype = &std::use_facet<std::ctype<wchar_t>>(getloc());
        return old;
    }

private:
    const std::ctype<wchar_t>* m_ctype;
};

class FileTestExpression {
public:
    // Compiles text, reading characters through traits, which must outlive
    // the expression. An expression the standard engine rejects throws its
    // std::regex_error.
    FileTestExpression(std::wstring_view text, const CaseTraits& traits);

    // True when the expression matches all of name.
    bool FullMatch(std::wstring_view name) const;

    // True when the expression was compiled into plain steps, not handed to
    // the standard engine.
    bool Plain() const { return !m_engine.has_value(); }

private:
    static constexpr std::size_t kStepsOnStack = 64;  // longer expressions match with heap room
    enum class Kind : unsigned char { Character, AnyButLineEnd, Digit };
    struct Step {
        Kind kind;
        bool repeats;  // any number of times, none included
        wchar_t folded;  // Character: the character, case folded
    };

    bool CompilePlain(std::wstring_view text);
    bool Accepts(const Step& step, wchar_t folded, wchar_t original) const;

    const CaseTraits& m_traits;
    std::vector<Step> m_steps;
    std::regex_traits<wchar_t>::char_class_type m_digit{};  // set when a step is '\d'
    wchar_t m_lineEnds[4]{};  // '\n', '\r', U+2028, U+2029, case folded; set when a step is '.'
    std::optional<std::basic_regex<wchar_t, CaseTraits>> m_engine;
};

}  // namespace qv
