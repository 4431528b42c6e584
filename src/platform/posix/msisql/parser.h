// Lexer and parser of the installer's SELECT statement. The result is a
// syntax tree with names still unbound; query.cpp binds and runs it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::msisql {

// A column reference as written: `c`, `t`.`c` or t.c.
struct ColumnRef {
    std::wstring table;  // empty when unqualified
    std::wstring column;
};

// One entry of the select list.
struct SelectItem {
    enum class Kind : uint8_t { Column, Integer, String };
    Kind kind = Kind::Column;
    ColumnRef column;
    int32_t integer = 0;
    std::wstring text;  // string constant; empty means null
};

enum class CompareOp : uint8_t { Eq, Ne, Lt, Gt, Le, Ge, IsNull, IsNotNull };

// A node of the WHERE tree. And/Or nodes use `left`/`right` as indices into
// Statement::nodes; Compare nodes hold one comparison.
struct CondNode {
    enum class Kind : uint8_t { And, Or, Compare };
    enum class Operand : uint8_t { None, Integer, String, Param, Column };
    Kind kind = Kind::Compare;
    int left = -1;
    int right = -1;
    ColumnRef lhs;
    CompareOp op = CompareOp::Eq;
    Operand rhs_kind = Operand::None;  // None for IS [NOT] NULL
    ColumnRef rhs_column;
    int32_t integer = 0;
    std::wstring text;
    int param = 0;  // 0-based marker index
};

struct Statement {
    bool distinct = false;
    bool star = false;
    std::vector<SelectItem> items;
    std::vector<std::wstring> tables;
    std::vector<CondNode> nodes;
    int where_root = -1;
    std::vector<ColumnRef> order_by;
    int param_count = 0;
    int expression_count = 0;  // comparisons in WHERE
};

// Why parsing failed: an installer error number and its parameters after the
// database name (the caller puts the database name first).
struct SyntaxError {
    unsigned number = 0;
    std::vector<std::wstring> params;
};

// Parses `sql`. On failure returns false with `error` set; never throws on
// any input.
bool parse_statement(std::wstring_view sql, Statement& out, SyntaxError& error);

}  // namespace qv::msisql
