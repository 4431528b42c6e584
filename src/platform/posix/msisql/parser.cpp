#include "parser.h"

#include <cstdint>

namespace qv::msisql {
namespace {

enum class Tok : uint8_t {
    End,
    Name,        // plain or `quoted` identifier
    Keyword,
    String,      // 'text'
    Integer,
    Param,       // ?
    Star,
    Comma,
    Dot,
    LParen,
    RParen,
    Op,          // = <> < > <= >=
    BadOp,       // a run of comparison characters that is no operator: !=, ==, =<, ...
    Other,       // any other character
};

enum class Kw : uint8_t {
    None, Select, Distinct, From, Where, Order, By, And, Or, Is, Not, Null,
    Insert, Update, Delete, Create, Drop, Alter,
};

struct Token {
    Tok kind = Tok::End;
    Kw kw = Kw::None;
    CompareOp op = CompareOp::Eq;
    size_t pos = 0;
    size_t len = 0;
    std::wstring text;  // name or string value
    int32_t value = 0;
};

// Reserved words: those of the SELECT statement and the verbs of the other
// statements. Other words of the write statements (KEY, TABLE, ...) stay
// usable as plain names since this engine never parses those statements.
struct KeywordEntry {
    const wchar_t* text;
    Kw kw;
};
constexpr KeywordEntry kKeywords[] = {
    {L"SELECT", Kw::Select}, {L"DISTINCT", Kw::Distinct}, {L"FROM", Kw::From},
    {L"WHERE", Kw::Where},   {L"ORDER", Kw::Order},       {L"BY", Kw::By},
    {L"AND", Kw::And},       {L"OR", Kw::Or},             {L"IS", Kw::Is},
    {L"NOT", Kw::Not},       {L"NULL", Kw::Null},         {L"INSERT", Kw::Insert},
    {L"UPDATE", Kw::Update}, {L"DELETE", Kw::Delete},     {L"CREATE", Kw::Create},
    {L"DROP", Kw::Drop},     {L"ALTER", Kw::Alter},
};

bool is_name_start(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_'; }
bool is_name_char(wchar_t c) { return is_name_start(c) || (c >= L'0' && c <= L'9'); }
bool is_digit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool is_space(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }
bool is_op_char(wchar_t c) { return c == L'<' || c == L'>' || c == L'=' || c == L'!'; }

Kw keyword_of(std::wstring_view word) {
    for (const auto& entry : kKeywords) {
        std::wstring_view k(entry.text);
        if (k.size() != word.size()) continue;
        bool same = true;
        for (size_t i = 0; i < k.size() && same; ++i) {
            wchar_t c = word[i];
            if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
            same = c == k[i];
        }
        if (same) return entry.kw;
    }
    return Kw::None;
}

// Maximum nesting of parentheses; keeps the recursive descent bounded.
constexpr int kMaxDepth = 200;
// The installer's limit on comparisons in a WHERE clause.
constexpr int kMaxExpressions = 32;

class Parser {
public:
    Parser(std::wstring_view sql, Statement& out, SyntaxError& error) : sql_(sql), out_(out), error_(error) {}

    bool run() {
        if (!lex()) return false;
        if (tokens_.size() == 1) return fail({2237, {query()}});
        const Token& first = tokens_[0];
        if (first.kind == Tok::Keyword) {
            switch (first.kw) {
            case Kw::Insert: case Kw::Update: case Kw::Delete:
            case Kw::Create: case Kw::Drop: case Kw::Alter:
                // The engine is read-only.
                return fail({2212, {}});
            default: break;
            }
        }
        if (!accept_kw(Kw::Select)) return unexpected();
        if (accept_kw(Kw::Distinct)) out_.distinct = true;
        if (!parse_select_list()) return false;
        if (!accept_kw(Kw::From)) {
            if (peek().kind == Tok::End) return fail({2238, {query()}});
            return unexpected();
        }
        if (!parse_table_list()) return false;
        if (accept_kw(Kw::Where)) {
            int root = parse_or(0);
            if (root < 0) return false;
            out_.where_root = root;
        }
        if (accept_kw(Kw::Order)) {
            if (!accept_kw(Kw::By)) return unexpected();
            if (peek().kind == Tok::End) return fail({2234, {query()}});
            do {
                ColumnRef ref;
                if (!parse_column_ref(ref)) return false;
                out_.order_by.push_back(std::move(ref));
            } while (accept(Tok::Comma));
        }
        if (peek().kind != Tok::End) return unexpected();
        if (out_.expression_count > kMaxExpressions) return fail({2278, {query()}});
        return true;
    }

private:
    std::wstring query() const { return std::wstring(sql_); }

    bool fail(SyntaxError e) {
        error_ = std::move(e);
        return false;
    }
    // 2232 for the current token; the end of the text reads as an empty token.
    bool unexpected() {
        const Token& t = peek();
        return fail({2232, {std::wstring(sql_.substr(t.pos, t.len)), query()}});
    }

    const Token& peek() const { return tokens_[index_]; }
    void advance() {
        if (tokens_[index_].kind != Tok::End) ++index_;
    }
    bool accept(Tok kind) {
        if (peek().kind != kind) return false;
        advance();
        return true;
    }
    bool accept_kw(Kw kw) {
        if (peek().kind != Tok::Keyword || peek().kw != kw) return false;
        advance();
        return true;
    }

    bool lex() {
        size_t i = 0;
        const size_t n = sql_.size();
        while (true) {
            while (i < n && is_space(sql_[i])) ++i;
            Token t;
            t.pos = i;
            if (i >= n) {
                t.kind = Tok::End;
                tokens_.push_back(std::move(t));
                return true;
            }
            const wchar_t c = sql_[i];
            if (is_name_start(c)) {
                size_t j = i + 1;
                while (j < n && is_name_char(sql_[j])) ++j;
                std::wstring_view word = sql_.substr(i, j - i);
                t.kw = keyword_of(word);
                t.kind = t.kw == Kw::None ? Tok::Name : Tok::Keyword;
                t.text.assign(word);
                t.len = j - i;
            } else if (c == L'`') {
                size_t j = i + 1;
                while (j < n && sql_[j] != L'`') ++j;
                if (j >= n) return fail({2232, {std::wstring(sql_.substr(i)), query()}});
                if (j == i + 1) return fail({2227, {std::wstring(), query()}});
                t.kind = Tok::Name;
                t.text.assign(sql_.substr(i + 1, j - i - 1));
                t.len = j + 1 - i;
            } else if (c == L'\'') {
                size_t j = i + 1;
                while (j < n && sql_[j] != L'\'') ++j;
                if (j >= n) return fail({2232, {std::wstring(sql_.substr(i)), query()}});
                t.kind = Tok::String;
                t.text.assign(sql_.substr(i + 1, j - i - 1));
                t.len = j + 1 - i;
            } else if (is_digit(c) || (c == L'-' && i + 1 < n && is_digit(sql_[i + 1]))) {
                const bool negative = c == L'-';
                size_t j = negative ? i + 1 : i;
                int64_t v = 0;
                bool overflow = false;
                for (; j < n && is_digit(sql_[j]); ++j) {
                    v = v * 10 + (sql_[j] - L'0');
                    if (v > 2147483648LL) overflow = true, v = 2147483648LL;
                }
                if (negative) v = -v;
                t.len = j - i;
                if (overflow || v > INT32_MAX || v < INT32_MIN)
                    return fail({2232, {std::wstring(sql_.substr(i, t.len)), query()}});
                t.kind = Tok::Integer;
                t.value = static_cast<int32_t>(v);
            } else if (is_op_char(c)) {
                size_t j = i;
                while (j < n && is_op_char(sql_[j])) ++j;
                std::wstring_view op = sql_.substr(i, j - i);
                t.len = j - i;
                t.kind = Tok::Op;
                if (op == L"=") t.op = CompareOp::Eq;
                else if (op == L"<>") t.op = CompareOp::Ne;
                else if (op == L"<") t.op = CompareOp::Lt;
                else if (op == L">") t.op = CompareOp::Gt;
                else if (op == L"<=") t.op = CompareOp::Le;
                else if (op == L">=") t.op = CompareOp::Ge;
                else t.kind = Tok::BadOp;
            } else {
                t.len = 1;
                switch (c) {
                case L'?': t.kind = Tok::Param; break;
                case L'*': t.kind = Tok::Star; break;
                case L',': t.kind = Tok::Comma; break;
                case L'.': t.kind = Tok::Dot; break;
                case L'(': t.kind = Tok::LParen; break;
                case L')': t.kind = Tok::RParen; break;
                default: t.kind = Tok::Other; break;
                }
            }
            i = t.pos + t.len;
            tokens_.push_back(std::move(t));
        }
    }

    bool parse_column_ref(ColumnRef& ref) {
        if (peek().kind != Tok::Name) return unexpected();
        std::wstring first = peek().text;
        advance();
        if (accept(Tok::Dot)) {
            if (peek().kind != Tok::Name) return unexpected();
            ref.table = std::move(first);
            ref.column = peek().text;
            advance();
        } else {
            ref.column = std::move(first);
        }
        return true;
    }

    bool parse_select_list() {
        if (peek().kind == Tok::Keyword && peek().kw == Kw::From) return fail({2233, {query()}});
        if (peek().kind == Tok::End) return fail({2233, {query()}});
        if (accept(Tok::Star)) {
            out_.star = true;
            return true;
        }
        do {
            SelectItem item;
            const Token& t = peek();
            if (t.kind == Tok::Integer) {
                item.kind = SelectItem::Kind::Integer;
                item.integer = t.value;
                advance();
            } else if (t.kind == Tok::String) {
                item.kind = SelectItem::Kind::String;
                item.text = t.text;
                advance();
            } else if (!parse_column_ref(item.column)) {
                return false;
            }
            out_.items.push_back(std::move(item));
        } while (accept(Tok::Comma));
        return true;
    }

    bool parse_table_list() {
        do {
            if (peek().kind != Tok::Name) return unexpected();
            out_.tables.push_back(peek().text);
            advance();
        } while (accept(Tok::Comma));
        return true;
    }

    int add_node(CondNode node) {
        out_.nodes.push_back(std::move(node));
        return static_cast<int>(out_.nodes.size() - 1);
    }

    int parse_or(int depth) {
        int left = parse_and(depth);
        while (left >= 0 && accept_kw(Kw::Or)) {
            int right = parse_and(depth);
            if (right < 0) return -1;
            CondNode node;
            node.kind = CondNode::Kind::Or;
            node.left = left;
            node.right = right;
            left = add_node(std::move(node));
        }
        return left;
    }

    int parse_and(int depth) {
        int left = parse_primary(depth);
        while (left >= 0 && accept_kw(Kw::And)) {
            int right = parse_primary(depth);
            if (right < 0) return -1;
            CondNode node;
            node.kind = CondNode::Kind::And;
            node.left = left;
            node.right = right;
            left = add_node(std::move(node));
        }
        return left;
    }

    int parse_primary(int depth) {
        if (peek().kind == Tok::LParen) {
            if (depth >= kMaxDepth) return unexpected(), -1;
            advance();
            int inner = parse_or(depth + 1);
            if (inner < 0) return -1;
            if (!accept(Tok::RParen)) return fail({2231, {query()}}), -1;
            return inner;
        }
        CondNode node;
        if (!parse_column_ref(node.lhs)) return -1;
        ++out_.expression_count;
        const Token& t = peek();
        if (t.kind == Tok::Keyword && t.kw == Kw::Is) {
            advance();
            node.op = accept_kw(Kw::Not) ? CompareOp::IsNotNull : CompareOp::IsNull;
            if (!accept_kw(Kw::Null)) return unexpected(), -1;
            return add_node(std::move(node));
        }
        if (t.kind != Tok::Op) {
            if (t.kind == Tok::End) return unexpected(), -1;
            return fail({2236, {std::wstring(sql_.substr(t.pos, t.len)), query()}}), -1;
        }
        node.op = t.op;
        advance();
        const Token& r = peek();
        switch (r.kind) {
        case Tok::Integer:
            node.rhs_kind = CondNode::Operand::Integer;
            node.integer = r.value;
            advance();
            break;
        case Tok::String:
            node.rhs_kind = CondNode::Operand::String;
            node.text = r.text;
            advance();
            break;
        case Tok::Param:
            node.rhs_kind = CondNode::Operand::Param;
            node.param = out_.param_count++;
            advance();
            break;
        case Tok::Name:
            node.rhs_kind = CondNode::Operand::Column;
            if (!parse_column_ref(node.rhs_column)) return -1;
            break;
        default: return unexpected(), -1;
        }
        return add_node(std::move(node));
    }

    std::wstring_view sql_;
    Statement& out_;
    SyntaxError& error_;
    std::vector<Token> tokens_;
    size_t index_ = 0;
};

}  // namespace

bool parse_statement(std::wstring_view sql, Statement& out, SyntaxError& error) {
    out = Statement();
    Parser parser(sql, out, error);
    return parser.run();
}

}  // namespace qv::msisql
