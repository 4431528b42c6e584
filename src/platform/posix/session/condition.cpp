#include "condition.h"

#include <cstdint>
#include <cwctype>
#include <vector>

namespace qv::posix::session {
namespace {

// Deeper nesting than this is refused as a syntax error rather than risking
// the stack on hostile input.
constexpr int kMaxDepth = 200;

enum class Tok { End, LParen, RParen, Compare, Not, And, Or, Xor, Eqv, Imp, Literal, Integer, Symbol, Bad };

enum class Cmp { Eq, Ne, Lt, Gt, Le, Ge, Contains, Starts, Ends };

struct Token {
    Tok kind = Tok::End;
    Cmp cmp = Cmp::Eq;
    bool fold = false;       // ~ prefix
    wchar_t prefix = 0;      // symbol prefix: 0 % $ ? & !
    int32_t integer = 0;
    std::wstring text;
};

bool is_space(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }
bool is_ident_start(wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_' || c >= 0x80;
}
bool is_ident(wchar_t c) { return is_ident_start(c) || (c >= L'0' && c <= L'9') || c == L'.'; }

wchar_t fold_char(wchar_t c) {
    if (c >= L'a' && c <= L'z') return static_cast<wchar_t>(c - L'a' + L'A');
    return c < 0x80 ? c : static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
}

std::wstring folded(const std::wstring& s) {
    std::wstring out(s);
    for (auto& c : out) c = fold_char(c);
    return out;
}

bool keyword(const std::wstring& word, const wchar_t* kw) {
    size_t i = 0;
    for (; kw[i]; ++i)
        if (i >= word.size() || fold_char(word[i]) != kw[i]) return false;
    return i == word.size();
}

// Optional '-' then decimal digits, within 32 bits.
bool to_integer(const std::wstring& s, int32_t& out) {
    size_t i = 0;
    bool negative = false;
    if (i < s.size() && s[i] == L'-') {
        negative = true;
        ++i;
    }
    if (i == s.size()) return false;
    int64_t v = 0;
    for (; i < s.size(); ++i) {
        if (s[i] < L'0' || s[i] > L'9') return false;
        v = v * 10 + (s[i] - L'0');
        if (v > 2147483648LL) return false;
    }
    if (negative) v = -v;
    if (v > INT32_MAX || v < INT32_MIN) return false;
    out = static_cast<int32_t>(v);
    return true;
}

class Lexer {
public:
    explicit Lexer(const std::wstring& s) : s_(s) {}

    Token next() {
        while (pos_ < s_.size() && is_space(s_[pos_])) ++pos_;
        Token t;
        if (pos_ >= s_.size()) return t;
        const wchar_t c = s_[pos_];
        if (c == L'(') { ++pos_; t.kind = Tok::LParen; return t; }
        if (c == L')') { ++pos_; t.kind = Tok::RParen; return t; }
        if (c == L'"') {
            const size_t close = s_.find(L'"', pos_ + 1);
            if (close == std::wstring::npos) { t.kind = Tok::Bad; return t; }
            t.kind = Tok::Literal;
            t.text = s_.substr(pos_ + 1, close - pos_ - 1);
            pos_ = close + 1;
            return t;
        }
        if (c == L'~' || c == L'=' || c == L'<' || c == L'>') return comparison();
        if (c == L'-' || (c >= L'0' && c <= L'9')) {
            size_t end = pos_ + 1;
            while (end < s_.size() && s_[end] >= L'0' && s_[end] <= L'9') ++end;
            if (!to_integer(s_.substr(pos_, end - pos_), t.integer)) { t.kind = Tok::Bad; return t; }
            pos_ = end;
            t.kind = Tok::Integer;
            return t;
        }
        wchar_t prefix = 0;
        if (c == L'%' || c == L'$' || c == L'?' || c == L'&' || c == L'!') {
            prefix = c;
            ++pos_;
        }
        if (pos_ >= s_.size() || !is_ident_start(s_[pos_])) { t.kind = Tok::Bad; return t; }
        size_t end = pos_;
        while (end < s_.size() && is_ident(s_[end])) ++end;
        t.text = s_.substr(pos_, end - pos_);
        pos_ = end;
        t.prefix = prefix;
        t.kind = Tok::Symbol;
        if (prefix == 0) {
            if (keyword(t.text, L"NOT")) t.kind = Tok::Not;
            else if (keyword(t.text, L"AND")) t.kind = Tok::And;
            else if (keyword(t.text, L"OR")) t.kind = Tok::Or;
            else if (keyword(t.text, L"XOR")) t.kind = Tok::Xor;
            else if (keyword(t.text, L"EQV")) t.kind = Tok::Eqv;
            else if (keyword(t.text, L"IMP")) t.kind = Tok::Imp;
        }
        return t;
    }

private:
    Token comparison() {
        Token t;
        t.kind = Tok::Compare;
        if (s_[pos_] == L'~') {
            t.fold = true;
            ++pos_;
        }
        const wchar_t a = pos_ < s_.size() ? s_[pos_] : 0;
        const wchar_t b = pos_ + 1 < s_.size() ? s_[pos_ + 1] : 0;
        size_t used = 2;
        if (a == L'=') { t.cmp = Cmp::Eq; used = 1; }
        else if (a == L'<' && b == L'>') t.cmp = Cmp::Ne;
        else if (a == L'<' && b == L'=') t.cmp = Cmp::Le;
        else if (a == L'<' && b == L'<') t.cmp = Cmp::Starts;
        else if (a == L'<') { t.cmp = Cmp::Lt; used = 1; }
        else if (a == L'>' && b == L'=') t.cmp = Cmp::Ge;
        else if (a == L'>' && b == L'<') t.cmp = Cmp::Contains;
        else if (a == L'>' && b == L'>') t.cmp = Cmp::Ends;
        else if (a == L'>') { t.cmp = Cmp::Gt; used = 1; }
        else { t.kind = Tok::Bad; return t; }
        pos_ += used;
        return t;
    }

    const std::wstring& s_;
    size_t pos_ = 0;
};

// An operand. Integer literals and install states are integers; quoted
// literals are strings; property and environment values are strings that
// compare as integers when they convert and the other side is numeric too.
struct Value {
    enum Kind { Int, Str, Prop } kind = Str;
    int32_t integer = 0;
    bool convertible = false;  // Prop: text converts to an integer
    std::wstring text;

    bool truth() const { return kind == Int ? integer != 0 : !text.empty(); }
};

bool compare_int(Cmp op, int32_t l, int32_t r) {
    const uint32_t ul = static_cast<uint32_t>(l);
    switch (op) {
    case Cmp::Eq: return l == r;
    case Cmp::Ne: return l != r;
    case Cmp::Lt: return l < r;
    case Cmp::Gt: return l > r;
    case Cmp::Le: return l <= r;
    case Cmp::Ge: return l >= r;
    case Cmp::Contains: return (l & r) != 0;
    case Cmp::Starts: return static_cast<int32_t>(ul >> 16) == r;
    case Cmp::Ends: return static_cast<int32_t>(ul & 0xFFFF) == r;
    }
    return false;
}

bool compare_text(Cmp op, bool fold, const std::wstring& l0, const std::wstring& r0) {
    const std::wstring l = fold ? folded(l0) : l0;
    const std::wstring r = fold ? folded(r0) : r0;
    switch (op) {
    case Cmp::Eq: return l == r;
    case Cmp::Ne: return l != r;
    case Cmp::Lt: return l < r;
    case Cmp::Gt: return l > r;
    case Cmp::Le: return l <= r;
    case Cmp::Ge: return l >= r;
    case Cmp::Contains: return l.find(r) != std::wstring::npos;
    case Cmp::Starts: return l.size() >= r.size() && l.compare(0, r.size(), r) == 0;
    case Cmp::Ends: return l.size() >= r.size() && l.compare(l.size() - r.size(), r.size(), r) == 0;
    }
    return false;
}

bool compare(Cmp op, bool fold, const Value& l, const Value& r) {
    const bool l_num = l.kind == Value::Int || (l.kind == Value::Prop && l.convertible);
    const bool r_num = r.kind == Value::Int || (r.kind == Value::Prop && r.convertible);
    if (l.kind != Value::Int && r.kind != Value::Int) {
        // Two texts: numeric only when both are convertible property values.
        if (l.kind == Value::Prop && r.kind == Value::Prop && l_num && r_num)
            return compare_int(op, l.integer, r.integer);
        return compare_text(op, fold, l.text, r.text);
    }
    if (l_num && r_num) return compare_int(op, l.integer, r.integer);
    // An integer against a string that is not one: only "<>" holds.
    return op == Cmp::Ne;
}

class Parser {
public:
    Parser(const std::wstring& text, const ConditionContext& context) : lexer_(text), context_(context) {
        advance();
    }

    // nullopt on a syntax error.
    std::optional<bool> parse() {
        std::optional<bool> v = imp(0);
        if (!v || tok_.kind != Tok::End) return std::nullopt;
        return v;
    }

private:
    void advance() { tok_ = lexer_.next(); }

    // Lowest to highest: IMP, EQV, XOR, OR, AND, NOT; all left-associative.
    std::optional<bool> imp(int depth) { return binary(Tok::Imp, depth, &Parser::eqv); }
    std::optional<bool> eqv(int depth) { return binary(Tok::Eqv, depth, &Parser::xor_); }
    std::optional<bool> xor_(int depth) { return binary(Tok::Xor, depth, &Parser::or_); }
    std::optional<bool> or_(int depth) { return binary(Tok::Or, depth, &Parser::and_); }
    std::optional<bool> and_(int depth) { return binary(Tok::And, depth, &Parser::not_); }

    std::optional<bool> binary(Tok op, int depth, std::optional<bool> (Parser::*operand)(int)) {
        std::optional<bool> left = (this->*operand)(depth);
        while (left && tok_.kind == op) {
            advance();
            std::optional<bool> right = (this->*operand)(depth);
            if (!right) return std::nullopt;
            const bool a = *left, b = *right;
            switch (op) {
            case Tok::Imp: left = !a || b; break;
            case Tok::Eqv: left = a == b; break;
            case Tok::Xor: left = a != b; break;
            case Tok::Or: left = a || b; break;
            default: left = a && b; break;
            }
        }
        return left;
    }

    std::optional<bool> not_(int depth) {
        bool invert = false;
        while (tok_.kind == Tok::Not) {
            invert = !invert;
            advance();
        }
        std::optional<bool> v = term(depth);
        if (v && invert) v = !*v;
        return v;
    }

    std::optional<bool> term(int depth) {
        if (tok_.kind == Tok::LParen) {
            if (depth >= kMaxDepth) return std::nullopt;
            advance();
            std::optional<bool> v = imp(depth + 1);
            if (!v || tok_.kind != Tok::RParen) return std::nullopt;
            advance();
            return v;
        }
        std::optional<Value> left = value();
        if (!left) return std::nullopt;
        if (tok_.kind != Tok::Compare) return left->truth();
        const Cmp op = tok_.cmp;
        const bool fold = tok_.fold;
        advance();
        std::optional<Value> right = value();
        if (!right) return std::nullopt;
        return compare(op, fold, *left, *right);
    }

    std::optional<Value> value() {
        Value v;
        switch (tok_.kind) {
        case Tok::Literal:
            v.kind = Value::Str;
            v.text = tok_.text;
            break;
        case Tok::Integer:
            v.kind = Value::Int;
            v.integer = tok_.integer;
            break;
        case Tok::Symbol:
            if (tok_.prefix == L'$' || tok_.prefix == L'?' || tok_.prefix == L'&' || tok_.prefix == L'!') {
                std::optional<int> state = context_.state(tok_.prefix, tok_.text);
                if (state) {
                    v.kind = Value::Int;
                    v.integer = *state;
                } else {
                    v.kind = Value::Prop;  // no such row: an empty value
                }
            } else {
                v.kind = Value::Prop;
                v.text = tok_.prefix == L'%' ? context_.environment(tok_.text) : context_.property(tok_.text);
                v.convertible = to_integer(v.text, v.integer);
            }
            break;
        default: return std::nullopt;
        }
        advance();
        return v;
    }

    Lexer lexer_;
    const ConditionContext& context_;
    Token tok_;
};

}  // namespace

MSICONDITION evaluate_condition(const std::wstring& text, const ConditionContext& context) {
    bool blank = true;
    for (wchar_t c : text)
        if (!is_space(c)) blank = false;
    if (blank) return MSICONDITION_NONE;
    Parser parser(text, context);
    std::optional<bool> result = parser.parse();
    if (!result) return MSICONDITION_ERROR;
    return *result ? MSICONDITION_TRUE : MSICONDITION_FALSE;
}

}  // namespace qv::posix::session
