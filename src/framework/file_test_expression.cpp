#include "framework/file_test_expression.h"

#include <algorithm>

namespace qv {

namespace {

// Characters with a meaning of their own outside brackets.
bool Special(wchar_t c)
{
    return std::wstring_view(L"^$\\.*+?()[]{}|").find(c) != std::wstring_view::npos;
}

// Escapes that stand for the character itself: ASCII punctuation. Letters
// and digits after a backslash mean classes, control characters or back
// references, and are left to the standard engine (save '\d').
bool PunctuationEscape(wchar_t c)
{
    return (c >= L'!' && c <= L'/') || (c >= L':' && c <= L'@') || (c >= L'[' && c <= L'`') ||
           (c >= L'{' && c <= L'~');
}

}  // namespace

FileTestExpression::FileTestExpression(std::wstring_view text, const CaseTraits& traits) : m_traits(traits)
{
    if (!CompilePlain(text)) {
        m_steps.clear();
        m_engine.emplace(text.data(), text.size(), std::regex_constants::ECMAScript | std::regex_constants::icase);
    }
}

bool FileTestExpression::CompilePlain(std::wstring_view text)
{
    if (text.empty())
        return false;
    bool digits = false;
    bool anyButLineEnd = false;
    m_steps.reserve(text.size());
    std::size_t at = 0;
    while (at < text.size()) {
        Step step{Kind::Character, false, 0};
        const wchar_t c = text[at++];
        if (c == L'\\') {
            if (at == text.size())
                return false;
            const wchar_t escaped = text[at++];
            if (escaped == L'd') {
                step.kind = Kind::Digit;
                digits = true;
            } else if (PunctuationEscape(escaped)) {
                step.folded = m_traits.translate_nocase(escaped);
            } else {
                return false;
            }
        } else if (c == L'.') {
            step.kind = Kind::AnyButLineEnd;
            anyButLineEnd = true;
        } else if (Special(c) || c < L' ') {
            return false;
        } else {
            step.folded = m_traits.translate_nocase(c);
        }
        m_steps.push_back(step);
        if (at < text.size() && (text[at] == L'*' || text[at] == L'+')) {
            // x+ is x followed by x*.
            if (text[at] == L'*')
                m_steps.back().repeats = true;
            else
                m_steps.push_back(Step{step.kind, true, step.folded});
            ++at;
            // A second quantifier (lazy forms, or an error) is not plain.
            if (at < text.size() && (text[at] == L'*' || text[at] == L'+' || text[at] == L'?' || text[at] == L'{'))
                return false;
        }
    }
    if (digits) {
        const wchar_t digitName[] = L"d";
        m_digit = m_traits.lookup_classname(digitName, digitName + 1, true);
    }
    if (anyButLineEnd) {
        const wchar_t lineEnds[] = {L'\n', L'\r', L'\u2028', L'\u2029'};
        for (std::size_t i = 0; i < 4; ++i)
            m_lineEnds[i] = m_traits.translate_nocase(lineEnds[i]);
    }
    return true;
}

bool FileTestExpression::Accepts(const Step& step, wchar_t folded, wchar_t original) const
{
    switch (step.kind) {
    case Kind::Character:
        return folded == step.folded;
    case Kind::AnyButLineEnd:
        return std::find(std::begin(m_lineEnds), std::end(m_lineEnds), folded) == std::end(m_lineEnds);
    case Kind::Digit:
        return m_traits.isctype(original, m_digit);
    }
    return false;
}

bool FileTestExpression::FullMatch(std::wstring_view name) const
{
    if (m_engine)
        return std::regex_match(name.begin(), name.end(), *m_engine);
    // reached[i]: the first i steps can consume what has been read so far.
    // A repeating step may also be passed over without reading anything.
    // The two sets live on the stack unless the expression is long.
    const std::size_t count = m_steps.size();
    unsigned char onStack[2][kStepsOnStack + 1];
    std::vector<unsigned char> onHeap;
    unsigned char* reached = onStack[0];
    unsigned char* next = onStack[1];
    if (count > kStepsOnStack) {
        onHeap.resize(2 * (count + 1));
        reached = onHeap.data();
        next = reached + count + 1;
    }
    const auto passOver = [&](unsigned char* set) {
        for (std::size_t i = 0; i < count; ++i)
            if (set[i] && m_steps[i].repeats)
                set[i + 1] = 1;
    };
    std::fill_n(reached, count + 1, 0);
    reached[0] = 1;
    passOver(reached);
    for (const wchar_t c : name) {
        const wchar_t folded = m_traits.translate_nocase(c);
        std::fill_n(next, count + 1, 0);
        bool any = false;
        for (std::size_t i = 0; i < count; ++i) {
            if (!reached[i] || !Accepts(m_steps[i], folded, c))
                continue;
            next[m_steps[i].repeats ? i : i + 1] = 1;
            any = true;
        }
        if (!any)
            return false;
        passOver(next);
        std::swap(reached, next);
    }
    return reached[count] != 0;
}

}  // namespace qv
