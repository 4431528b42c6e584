// Binding and execution of a parsed SELECT over a msidb::Database.
//
// Execution materialises the result as tuples of row indices (one per FROM
// table), then sorts (ORDER BY) and removes duplicates (DISTINCT); fetch turns
// one tuple into fields. Top-level AND terms of the WHERE clause are checked
// as soon as the tables they name are bound, and an equality between a column
// of the current table and one of an earlier table is answered from a hash
// index of the current table, so the usual two-table join is linear. An
// equality between a column and a constant is answered from an index that
// the table keeps between queries, so a lookup by key costs no scan.
#include "query.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>
#include <unordered_map>
#include <unordered_set>

#include "parser.h"

namespace qv::msisql {
namespace {

using msidb::Cell;
using msidb::CellKind;
using msidb::Column;
using msidb::Database;
using msidb::Field;
using msidb::Table;

constexpr uint32_t kNoRow = UINT32_MAX;

struct BoundColumn {
    uint32_t table = 0;   // index into the query's tables
    uint32_t column = 0;  // index into that table's columns
};

// Value category of a column, deciding how comparisons read its cells.
enum class Category : uint8_t { Integer, String, Stream };

Category category_of(const Column& c) {
    if (c.is_integer()) return Category::Integer;
    if (c.is_string()) return Category::String;
    return Category::Stream;
}

struct Node {
    CondNode::Kind kind = CondNode::Kind::Compare;
    int left = -1;
    int right = -1;
    CompareOp op = CompareOp::Eq;
    CondNode::Operand rhs_kind = CondNode::Operand::None;
    BoundColumn lhs;
    Category lhs_category = Category::String;
    BoundColumn rhs;
    int param = -1;
    // The constant compared against, after parameters are bound.
    CellKind value_kind = CellKind::Null;
    int32_t integer = 0;
    std::wstring text;
};

struct Item {
    bool constant = false;
    BoundColumn column;
    Field value;  // for constants
    std::wstring name;
    std::wstring definition;
};

// Equality index of one column: rows with the same value chained in stored
// order (next[row] is the following row with that value).
struct JoinIndex {
    std::unordered_map<int32_t, uint32_t> integers;
    std::unordered_map<std::wstring_view, uint32_t> strings;
    std::vector<uint32_t> next;
};

class SelectQuery final : public Query {
public:
    SelectQuery(Database& db, std::wstring db_name) : db_(db), db_name_(std::move(db_name)) {}

    bool bind(const Statement& st, std::wstring_view sql, Error& error);

    std::vector<std::wstring> column_names() const override {
        std::vector<std::wstring> names;
        names.reserve(items_.size());
        for (const Item& item : items_) names.push_back(item.name);
        return names;
    }

    std::vector<std::wstring> column_definitions() const override {
        std::vector<std::wstring> defs;
        defs.reserve(items_.size());
        for (const Item& item : items_) defs.push_back(item.definition);
        return defs;
    }

    bool execute(const std::vector<Field>& params, Error& error) override;

    bool fetch(std::vector<Field>& row, size_t first) override {
        if (!executed_ || cursor_ >= order_.size()) return false;
        refresh_tables();
        const uint32_t* tuple = &tuples_[static_cast<size_t>(order_[cursor_++]) * tables_.size()];
        row.resize(first + items_.size());
        for (size_t i = 0; i < items_.size(); ++i) {
            const Item& item = items_[i];
            if (item.constant) {
                row[first + i] = item.value;
            } else {
                assign(row[first + i], cell(item.column, tuple));
            }
        }
        return true;
    }

    bool executed() const override { return executed_; }

    void close() override {
        executed_ = false;
        tuples_.clear();
        order_.clear();
        cursor_ = 0;
    }

private:
    // Tables of the database are held by position: their addresses change
    // when the database gains a table while this query is open.
    void refresh_tables() {
        for (size_t t = 0; t < tables_.size(); ++t)
            tables_[t] = slots_[t] >= 0 ? &db_.tables[slots_[t]] : owned_[-slots_[t] - 1].get();
    }

    const Cell& cell(BoundColumn c, const uint32_t* tuple) const {
        return tables_[c.table]->at(tuple[c.table], c.column);
    }
    // Text of a string cell; a null cell reads as the empty text.
    const std::wstring& text_of(const Cell& c) const {
        static const std::wstring empty;
        return c.kind == CellKind::String ? db_.string(c.value) : empty;
    }
    bool cell_is_null(const Cell& c) const {
        switch (c.kind) {
        case CellKind::Null: return true;
        case CellKind::String: return db_.string(c.value).empty();
        case CellKind::Stream: return c.value < 0 || static_cast<size_t>(c.value) >= db_.streams.size();
        case CellKind::Integer: return false;
        }
        return true;
    }

    // Field::from_cell into an existing field, with the text borrowed from
    // the pool: the row's holder keeps the database alive.
    void assign(Field& f, const Cell& c) const {
        f.integer = 0;
        f.stream_pos = 0;
        f.stream.reset();
        f.kind = CellKind::Null;
        f.owned.clear();
        f.borrowed = nullptr;
        switch (c.kind) {
        case CellKind::Integer:
            f.kind = CellKind::Integer;
            f.integer = c.value;
            return;
        case CellKind::String: {
            const std::wstring& text = db_.string(c.value);
            if (!text.empty()) {
                f.kind = CellKind::String;
                f.borrowed = &text;
            }
            return;
        }
        case CellKind::Stream:
            if (c.value >= 0 && static_cast<size_t>(c.value) < db_.streams.size() && db_.streams[c.value]) {
                f.kind = CellKind::Stream;
                f.stream = db_.streams[c.value];
            }
            break;
        case CellKind::Null: break;
        }
    }

    bool resolve(const ColumnRef& ref, std::wstring_view sql, BoundColumn& out, Error& error) const;
    std::vector<uint64_t> row_sort_keys(BoundColumn c) const;
    void sort_result();
    uint32_t last_table_of(int node) const;
    bool eval(int node, const uint32_t* tuple) const;
    bool compare(const Node& n, const uint32_t* tuple) const;
    void build_index(uint32_t level, BoundColumn build);
    const msidb::ColumnIndex* constant_index(uint32_t level) const;
    void scan(uint32_t level, uint32_t* tuple);
    bool same_value(const Cell& a, const Cell& b) const;
    size_t row_hash(const uint32_t* tuple) const;
    bool same_row(const uint32_t* a, const uint32_t* b) const;

    Database& db_;
    std::wstring db_name_;
    std::vector<std::unique_ptr<Table>> owned_;  // virtual tables built for this query
    std::vector<const Table*> tables_;
    std::vector<ptrdiff_t> slots_;  // index in db_.tables, or -1 - index in owned_
    std::vector<Item> items_;
    std::vector<Node> nodes_;
    int root_ = -1;
    int param_count_ = 0;
    bool distinct_ = false;
    std::vector<BoundColumn> order_by_;

    // Per FROM table: the AND terms checked once it is bound, and the join
    // equality (probe column of an earlier table, indexed column of this one).
    std::vector<std::vector<int>> filters_;
    std::vector<int> join_node_;
    std::vector<int> constant_node_;  // a "column = constant" term of the table
    std::vector<BoundColumn> probe_;
    std::vector<JoinIndex> indexes_;

    bool executed_ = false;
    std::vector<uint32_t> tuples_;  // flattened, tables_.size() entries each
    std::vector<uint32_t> order_;   // result order, indices of tuples
    size_t cursor_ = 0;
};

bool SelectQuery::resolve(const ColumnRef& ref, std::wstring_view sql, BoundColumn& out, Error& error) const {
    int found = 0;
    for (size_t t = 0; t < tables_.size(); ++t) {
        if (!ref.table.empty() && tables_[t]->name != ref.table) continue;
        const int c = tables_[t]->column_index(ref.column);
        if (c < 0) continue;
        out = {static_cast<uint32_t>(t), static_cast<uint32_t>(c)};
        ++found;
    }
    if (found == 1) return true;
    error = {1615, 2235, {db_name_, ref.column, std::wstring(sql)}};
    return false;
}

uint32_t SelectQuery::last_table_of(int node) const {
    const Node& n = nodes_[node];
    if (n.kind != CondNode::Kind::Compare) return std::max(last_table_of(n.left), last_table_of(n.right));
    return n.rhs_kind == CondNode::Operand::Column ? std::max(n.lhs.table, n.rhs.table) : n.lhs.table;
}

bool SelectQuery::bind(const Statement& st, std::wstring_view sql, Error& error) {
    const std::wstring query(sql);
    std::unordered_set<std::wstring_view> seen;
    for (const std::wstring& name : st.tables) {
        if (!seen.insert(name).second) {
            error = {1615, 2230, {db_name_, name, query}};
            return false;
        }
        const Table* table = db_.find_table(name);
        ptrdiff_t slot = table ? table - db_.tables.data() : 0;
        if (!table && msidb::is_virtual_table(name)) {
            owned_.push_back(msidb::make_virtual_table(db_, name));
            table = owned_.back().get();
            slot = -static_cast<ptrdiff_t>(owned_.size());
        }
        if (!table) {
            error = {1615, 2228, {db_name_, name, query}};
            return false;
        }
        tables_.push_back(table);
        slots_.push_back(slot);
    }

    if (st.star) {
        for (size_t t = 0; t < tables_.size(); ++t)
            for (size_t c = 0; c < tables_[t]->columns.size(); ++c)
                items_.push_back({false, {static_cast<uint32_t>(t), static_cast<uint32_t>(c)}, Field(),
                                  tables_[t]->columns[c].name, tables_[t]->columns[c].definition()});
    } else {
        for (const SelectItem& si : st.items) {
            Item item;
            switch (si.kind) {
            case SelectItem::Kind::Column:
                if (!resolve(si.column, sql, item.column, error)) return false;
                item.name = tables_[item.column.table]->columns[item.column.column].name;
                item.definition = tables_[item.column.table]->columns[item.column.column].definition();
                break;
            case SelectItem::Kind::Integer:
                item.constant = true;
                item.value = Field::from_int(si.integer);
                item.definition = L"i4";
                break;
            case SelectItem::Kind::String:
                item.constant = true;
                item.value = Field::from_text(si.text);
                item.definition = L"s0";
                break;
            }
            items_.push_back(std::move(item));
        }
    }

    nodes_.resize(st.nodes.size());
    for (size_t i = 0; i < st.nodes.size(); ++i) {
        const CondNode& cn = st.nodes[i];
        Node& n = nodes_[i];
        n.kind = cn.kind;
        n.left = cn.left;
        n.right = cn.right;
        if (cn.kind != CondNode::Kind::Compare) continue;
        n.op = cn.op;
        n.rhs_kind = cn.rhs_kind;
        if (!resolve(cn.lhs, sql, n.lhs, error)) return false;
        n.lhs_category = category_of(tables_[n.lhs.table]->columns[n.lhs.column]);
        switch (cn.rhs_kind) {
        case CondNode::Operand::Column:
            if (!resolve(cn.rhs_column, sql, n.rhs, error)) return false;
            break;
        case CondNode::Operand::Integer:
            n.value_kind = CellKind::Integer;
            n.integer = cn.integer;
            break;
        case CondNode::Operand::String:
            n.value_kind = cn.text.empty() ? CellKind::Null : CellKind::String;
            n.text = cn.text;
            break;
        case CondNode::Operand::Param: n.param = cn.param; break;
        case CondNode::Operand::None: break;
        }
    }
    root_ = st.where_root;
    param_count_ = st.param_count;
    distinct_ = st.distinct;
    for (const ColumnRef& ref : st.order_by) {
        BoundColumn b;
        if (!resolve(ref, sql, b, error)) return false;
        order_by_.push_back(b);
    }

    // Plan: split the WHERE tree into its top-level AND terms and attach
    // each to the last table it reads.
    filters_.assign(tables_.size(), {});
    join_node_.assign(tables_.size(), -1);
    constant_node_.assign(tables_.size(), -1);
    probe_.assign(tables_.size(), {});
    indexes_.resize(tables_.size());
    if (root_ >= 0) {
        std::vector<int> terms;
        std::vector<int> stack{root_};
        while (!stack.empty()) {
            const int i = stack.back();
            stack.pop_back();
            if (nodes_[i].kind == CondNode::Kind::And) {
                stack.push_back(nodes_[i].right);
                stack.push_back(nodes_[i].left);
            } else {
                terms.push_back(i);
            }
        }
        for (int term : terms) {
            const uint32_t level = last_table_of(term);
            filters_[level].push_back(term);
            const Node& n = nodes_[term];
            if (constant_node_[level] < 0 && n.kind == CondNode::Kind::Compare && n.op == CompareOp::Eq &&
                n.lhs.table == level &&
                (n.rhs_kind == CondNode::Operand::String || n.rhs_kind == CondNode::Operand::Integer ||
                 n.rhs_kind == CondNode::Operand::Param))
                constant_node_[level] = term;
            if (level == 0 || join_node_[level] >= 0 || n.kind != CondNode::Kind::Compare ||
                n.op != CompareOp::Eq || n.rhs_kind != CondNode::Operand::Column || n.lhs.table == n.rhs.table)
                continue;
            join_node_[level] = term;
            probe_[level] = n.lhs.table == level ? n.rhs : n.lhs;
        }
    }
    return true;
}

bool SelectQuery::execute(const std::vector<Field>& params, Error& error) {
    close();
    refresh_tables();
    if (params.size() < static_cast<size_t>(param_count_)) {
        error = {1627, 2208, {db_name_}};
        return false;
    }
    for (Node& n : nodes_) {
        if (n.kind != CondNode::Kind::Compare || n.rhs_kind != CondNode::Operand::Param) continue;
        const Field& f = params[n.param];
        const bool fits = f.is_null() || (f.kind == CellKind::Integer && n.lhs_category == Category::Integer) ||
                          (f.kind == CellKind::String && n.lhs_category == Category::String);
        if (!fits) {
            error = {1627, 2258, {db_name_, std::to_wstring(n.param + 1)}};
            return false;
        }
        n.value_kind = f.is_null() ? CellKind::Null : f.kind;
        n.integer = f.integer;
        n.text = f.kind == CellKind::String ? f.text() : std::wstring();
    }

    for (uint32_t level = 0; level < tables_.size(); ++level) {
        if (join_node_[level] < 0) continue;
        const Node& n = nodes_[join_node_[level]];
        build_index(level, n.lhs.table == level ? n.lhs : n.rhs);
    }
    if (!tables_.empty()) {
        std::vector<uint32_t> tuple(tables_.size(), 0);
        scan(0, tuple.data());
    }
    for (JoinIndex& index : indexes_) index = JoinIndex();

    const size_t width = tables_.size();
    const size_t count = width ? tuples_.size() / width : 0;
    order_.resize(count);
    std::iota(order_.begin(), order_.end(), 0u);
    if (!order_by_.empty()) sort_result();
    if (distinct_ && !order_.empty()) {
        // Open addressing over result rows: a slot holds a kept tuple + 1.
        size_t capacity = 16;
        while (capacity < order_.size() * 2) capacity *= 2;
        std::vector<uint32_t> slots(capacity, 0);
        std::vector<size_t> hashes(capacity, 0);
        size_t kept = 0;
        for (uint32_t t : order_) {
            const uint32_t* tuple = &tuples_[t * width];
            const size_t h = row_hash(tuple);
            size_t i = h & (capacity - 1);
            bool duplicate = false;
            for (; slots[i] != 0; i = (i + 1) & (capacity - 1)) {
                if (hashes[i] == h && same_row(&tuples_[static_cast<size_t>(slots[i] - 1) * width], tuple)) {
                    duplicate = true;
                    break;
                }
            }
            if (duplicate) continue;
            slots[i] = t + 1;
            hashes[i] = h;
            order_[kept++] = t;
        }
        order_.resize(kept);
    }
    executed_ = true;
    return true;
}

void SelectQuery::build_index(uint32_t level, BoundColumn build) {
    JoinIndex& index = indexes_[level];
    const Table& table = *tables_[level];
    const size_t rows = table.rows();
    index.next.assign(rows, kNoRow);
    // Walk backwards so that each chain lists its rows in stored order.
    for (size_t r = rows; r-- > 0;) {
        const Cell& c = table.at(r, build.column);
        const auto row = static_cast<uint32_t>(r);
        if (c.kind == CellKind::Integer) {
            auto [it, fresh] = index.integers.try_emplace(c.value, row);
            if (!fresh) index.next[r] = it->second, it->second = row;
        } else if (c.kind == CellKind::String) {
            const std::wstring& text = db_.string(c.value);
            if (text.empty()) continue;
            auto [it, fresh] = index.strings.try_emplace(std::wstring_view(text), row);
            if (!fresh) index.next[r] = it->second, it->second = row;
        }
    }
}

// The table's index of the column of this level's "column = constant"
// term, built or rebuilt as needed; null when the term cannot use one (a
// null constant, or a constant of the other kind, which matches per the
// rules of compare).
const msidb::ColumnIndex* SelectQuery::constant_index(uint32_t level) const {
    if (constant_node_[level] < 0 || slots_[level] < 0) return nullptr;
    const Node& n = nodes_[constant_node_[level]];
    const bool usable = (n.value_kind == CellKind::Integer && n.lhs_category == Category::Integer) ||
                        (n.value_kind == CellKind::String && n.lhs_category == Category::String && !n.text.empty());
    if (!usable) return nullptr;
    const Table& table = *tables_[level];
    const size_t rows = table.rows();
    if (rows < 64) return nullptr;  // a scan is as quick
    std::shared_ptr<msidb::ColumnIndex>& slot = table.indexes.by_column[n.lhs.column];
    if (slot && slot->rows == rows && slot->generation == table.generation) return slot.get();
    auto index = std::make_shared<msidb::ColumnIndex>();
    index->rows = rows;
    index->generation = table.generation;
    index->next.assign(rows, kNoRow);
    for (size_t r = rows; r-- > 0;) {
        const Cell& c = table.at(r, n.lhs.column);
        const auto row = static_cast<uint32_t>(r);
        if (c.kind == CellKind::Integer) {
            auto [it, fresh] = index->integers.try_emplace(c.value, row);
            if (!fresh) index->next[r] = it->second, it->second = row;
        } else if (c.kind == CellKind::String) {
            const std::wstring& text = db_.string(c.value);
            if (text.empty()) continue;
            auto [it, fresh] = index->strings.try_emplace(text, row);
            if (!fresh) index->next[r] = it->second, it->second = row;
        }
    }
    slot = std::move(index);
    return slot.get();
}

void SelectQuery::scan(uint32_t level, uint32_t* tuple) {
    const Table& table = *tables_[level];
    const std::vector<int>& filters = filters_[level];
    const bool last = level + 1 == tables_.size();
    auto visit = [&](uint32_t row) {
        tuple[level] = row;
        for (int f : filters)
            if (!eval(f, tuple)) return;
        if (last) {
            tuples_.insert(tuples_.end(), tuple, tuple + tables_.size());
        } else {
            scan(level + 1, tuple);
        }
    };
    if (join_node_[level] >= 0) {
        const JoinIndex& index = indexes_[level];
        const Cell& probe = cell(probe_[level], tuple);
        uint32_t row = kNoRow;
        if (probe.kind == CellKind::Integer) {
            auto it = index.integers.find(probe.value);
            if (it != index.integers.end()) row = it->second;
        } else if (probe.kind == CellKind::String) {
            auto it = index.strings.find(std::wstring_view(db_.string(probe.value)));
            if (it != index.strings.end()) row = it->second;
        }
        for (; row != kNoRow; row = index.next[row]) visit(row);
        return;
    }
    if (const msidb::ColumnIndex* index = constant_index(level)) {
        // Only rows holding the constant can pass the term; the filters
        // still test every term.
        const Node& n = nodes_[constant_node_[level]];
        uint32_t row = kNoRow;
        if (n.value_kind == CellKind::Integer) {
            auto it = index->integers.find(n.integer);
            if (it != index->integers.end()) row = it->second;
        } else {
            auto it = index->strings.find(n.text);
            if (it != index->strings.end()) row = it->second;
        }
        for (; row != kNoRow; row = index->next[row]) visit(row);
        return;
    }
    const auto rows = static_cast<uint32_t>(table.rows());
    for (uint32_t row = 0; row < rows; ++row) visit(row);
}

template <typename T>
bool apply(CompareOp op, const T& a, const T& b) {
    switch (op) {
    case CompareOp::Eq: return a == b;
    case CompareOp::Ne: return a != b;
    case CompareOp::Lt: return a < b;
    case CompareOp::Gt: return a > b;
    case CompareOp::Le: return a <= b;
    case CompareOp::Ge: return a >= b;
    default: return false;
    }
}

bool SelectQuery::eval(int index, const uint32_t* tuple) const {
    const Node& n = nodes_[index];
    switch (n.kind) {
    case CondNode::Kind::And: return eval(n.left, tuple) && eval(n.right, tuple);
    case CondNode::Kind::Or: return eval(n.left, tuple) || eval(n.right, tuple);
    case CondNode::Kind::Compare: return compare(n, tuple);
    }
    return false;
}

bool SelectQuery::compare(const Node& n, const uint32_t* tuple) const {
    const Cell& a = cell(n.lhs, tuple);
    if (n.op == CompareOp::IsNull) return cell_is_null(a);
    if (n.op == CompareOp::IsNotNull) return !cell_is_null(a);

    if (n.rhs_kind == CondNode::Operand::Column) {
        // Column against column: values of the same kind; null never matches.
        const Cell& b = cell(n.rhs, tuple);
        if (a.kind == CellKind::Integer && b.kind == CellKind::Integer) return apply(n.op, a.value, b.value);
        if (a.kind == CellKind::String && b.kind == CellKind::String) {
            const std::wstring& ta = db_.string(a.value);
            const std::wstring& tb = db_.string(b.value);
            return !ta.empty() && !tb.empty() && apply(n.op, ta, tb);
        }
        return false;
    }

    switch (n.lhs_category) {
    case Category::String:
        // A null cell reads as the empty text and '' is null, so text
        // comparison covers both.
        if (n.value_kind == CellKind::Integer) return false;
        return apply(n.op, text_of(a), n.text);
    case Category::Integer:
        if (n.value_kind == CellKind::String) return false;
        if (n.value_kind == CellKind::Null) {
            if (n.op == CompareOp::Eq) return cell_is_null(a);
            if (n.op == CompareOp::Ne) return !cell_is_null(a);
            return false;
        }
        if (a.kind != CellKind::Integer) return n.op == CompareOp::Ne;
        return apply(n.op, a.value, n.integer);
    case Category::Stream:
        if (n.value_kind != CellKind::Null) return false;
        if (n.op == CompareOp::Eq) return cell_is_null(a);
        if (n.op == CompareOp::Ne) return !cell_is_null(a);
        return false;
    }
    return false;
}

// Sort keys of ORDER BY for every row of a column's table: nulls first, then
// integers numerically, strings by code units (equal texts share a key),
// streams by their index. One integer key per row keeps the sort itself cheap.
std::vector<uint64_t> SelectQuery::row_sort_keys(BoundColumn c) const {
    const Table& table = *tables_[c.table];
    const size_t rows = table.rows();
    std::vector<int32_t> ids;
    for (size_t r = 0; r < rows; ++r) {
        const Cell& cell = table.at(r, c.column);
        if (cell.kind == CellKind::String && !cell_is_null(cell)) ids.push_back(cell.value);
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    std::vector<int32_t> by_text = ids;
    std::sort(by_text.begin(), by_text.end(),
              [&](int32_t a, int32_t b) { return db_.string(a) < db_.string(b); });
    std::vector<uint32_t> rank(ids.size());  // parallel to ids
    uint32_t next = 0;
    for (size_t i = 0; i < by_text.size(); ++i) {
        if (i > 0 && db_.string(by_text[i]) != db_.string(by_text[i - 1])) ++next;
        rank[std::lower_bound(ids.begin(), ids.end(), by_text[i]) - ids.begin()] = next;
    }

    constexpr int kShift = 40;
    std::vector<uint64_t> keys(rows, 0);
    for (size_t r = 0; r < rows; ++r) {
        const Cell& cell = table.at(r, c.column);
        if (cell_is_null(cell)) continue;
        switch (cell.kind) {
        case CellKind::Integer:
            keys[r] = (uint64_t{1} << kShift) + static_cast<uint64_t>(static_cast<int64_t>(cell.value) + 0x80000000LL);
            break;
        case CellKind::String:
            keys[r] = (uint64_t{2} << kShift) + rank[std::lower_bound(ids.begin(), ids.end(), cell.value) - ids.begin()];
            break;
        case CellKind::Stream: keys[r] = (uint64_t{3} << kShift) + static_cast<uint32_t>(cell.value); break;
        case CellKind::Null: break;
        }
    }
    return keys;
}

void SelectQuery::sort_result() {
    const size_t width = tables_.size();
    const size_t count = order_.size();
    // keys[k * count + i]: key of order column k for result tuple i.
    std::vector<uint64_t> keys(order_by_.size() * count);
    for (size_t k = 0; k < order_by_.size(); ++k) {
        const std::vector<uint64_t> row_keys = row_sort_keys(order_by_[k]);
        const uint32_t table = order_by_[k].table;
        for (size_t i = 0; i < count; ++i) keys[k * count + i] = row_keys[tuples_[i * width + table]];
    }
    const size_t columns = order_by_.size();
    std::stable_sort(order_.begin(), order_.end(), [&](uint32_t a, uint32_t b) {
        for (size_t k = 0; k < columns; ++k) {
            const uint64_t ka = keys[k * count + a];
            const uint64_t kb = keys[k * count + b];
            if (ka != kb) return ka < kb;
        }
        return false;
    });
}

bool SelectQuery::same_value(const Cell& a, const Cell& b) const {
    const bool na = cell_is_null(a);
    const bool nb = cell_is_null(b);
    if (na || nb) return na == nb;
    if (a.kind != b.kind) return false;
    if (a.kind == CellKind::String) return a.value == b.value || db_.string(a.value) == db_.string(b.value);
    return a.value == b.value;
}

size_t SelectQuery::row_hash(const uint32_t* tuple) const {
    uint64_t h = 0;
    for (const Item& item : items_) {
        if (item.constant) continue;
        const Cell& c = cell(item.column, tuple);
        uint64_t v = 0;
        if (!cell_is_null(c)) {
            v = c.kind == CellKind::String ? std::hash<std::wstring>()(db_.string(c.value))
                                           : std::hash<int64_t>()(c.value) + static_cast<size_t>(c.kind);
        }
        h = (h ^ v) * 0x9E3779B97F4A7C15ull;
        h ^= h >> 29;
    }
    return static_cast<size_t>(h);
}

bool SelectQuery::same_row(const uint32_t* a, const uint32_t* b) const {
    for (const Item& item : items_)
        if (!item.constant && !same_value(cell(item.column, a), cell(item.column, b))) return false;
    return true;
}

}  // namespace

std::unique_ptr<Query> Query::prepare(msidb::Database& db, std::wstring_view sql, std::wstring_view db_name,
                                      Error& error) {
    Statement st;
    SyntaxError syntax;
    if (!parse_statement(sql, st, syntax)) {
        error.result = 1615;
        error.number = syntax.number;
        error.params.clear();
        error.params.emplace_back(db_name);
        for (auto& p : syntax.params) error.params.push_back(std::move(p));
        return nullptr;
    }
    auto query = std::make_unique<SelectQuery>(db, std::wstring(db_name));
    if (!query->bind(st, sql, error)) return nullptr;
    return query;
}

}  // namespace qv::msisql
