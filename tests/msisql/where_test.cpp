// WHERE semantics: each operator on integers and strings, nulls, '' as null,
// mixed kinds, column against column, precedence, parameters.
#include "msisql/sql_fixture.h"

namespace qv::msisql::test {
namespace {

class Where : public ::testing::Test {
protected:
    void SetUp() override { add_items(db); }
    // Each WHERE clause with the names of the rows it selects.
    void check(const std::vector<std::pair<std::wstring, Rows>>& cases) {
        for (const auto& [where, names] : cases) {
            SCOPED_TRACE(std::string(where.begin(), where.end()));
            EXPECT_EQ(keys(db, where), names);
        }
    }
    msidb::Database db;
};

TEST_F(Where, IntegerOperatorsAndNullCells) {
    // A null integer cell fails every comparison but <>.
    check({{L"`Size` = 10", {L"a", L"d"}}, {L"`Size` <> 10", {L"b", L"c", L"e"}}, {L"`Size` < 10", {L"c", L"e"}},
           {L"`Size` > 3", {L"a", L"d"}}, {L"`Size` <= 3", {L"c", L"e"}}, {L"`Size` >= 10", {L"a", L"d"}},
           {L"`Size` = -5", {L"c"}}, {L"`Size` > -6", {L"a", L"c", L"d", L"e"}}, {L"`Size` IS NULL", {L"b"}},
           {L"`Size` is not null", {L"a", L"c", L"d", L"e"}}});
}

TEST_F(Where, StringOperatorsAreExactByCodeUnits) {
    // A null string cell reads as the empty text: <> a non-empty text is true.
    check({{L"`Kind` = 'x'", {L"a", L"e"}}, {L"`Kind` <> 'x'", {L"b", L"c", L"d"}},
           {L"`Kind` < 'y'", {L"a", L"c", L"d", L"e"}}, {L"`Kind` > 'x'", {L"b"}},
           {L"`Kind` >= 'x'", {L"a", L"b", L"e"}}, {L"`Kind` <= 'X'", {L"c", L"d"}}, {L"`Kind` = 'xx'", {}}});
}

TEST_F(Where, EmptyLiteralIsNull) {
    check({{L"`Kind` = ''", {L"c"}}, {L"`Kind` <> ''", {L"a", L"b", L"d", L"e"}}, {L"`Size` = ''", {L"b"}},
           {L"`Size` <> ''", {L"a", L"c", L"d", L"e"}}, {L"`Data` = ''", {L"b", L"c", L"e"}},
           {L"`Data` <> ''", {L"a", L"d"}}, {L"`Data` IS NULL", {L"b", L"c", L"e"}},
           {L"`Data` IS NOT NULL", {L"a", L"d"}}});
}

TEST_F(Where, MixedKindsNeverMatch) {
    check({{L"`Kind` = 10", {}}, {L"`Kind` <> 10", {}}, {L"`Size` = '10'", {}}, {L"`Size` <> 'abc'", {}},
           {L"`Data` = 'x'", {}}});
}

TEST_F(Where, ColumnAgainstColumnInOneTable) {
    // Null never matches, whatever the operator.
    check({{L"`Name` = `Alt`", {L"a", L"d"}}, {L"`Name` <> `Alt`", {L"c"}}, {L"`Item`.`Name` < `Item`.`Alt`", {L"c"}},
           {L"`Name` = `Kind`", {}}, {L"`Size` = `Name`", {}}});
}

TEST_F(Where, AndBindsTighterThanOrAndParenthesesOverride) {
    check({{L"`Size` = 10 OR `Kind` = 'y' AND `Name` = 'a'", {L"a", L"d"}},
           {L"`Kind` = 'y' AND `Name` = 'a' OR `Size` = 10", {L"a", L"d"}},
           {L"(`Size` = 10 OR `Kind` = 'y') AND `Name` = 'a'", {L"a"}},
           {L"`Name` = 'e' OR (`Size` = 10 AND (`Kind` = 'X' OR `Kind` = 'y'))", {L"d", L"e"}},
           {L"((`Name` = 'b'))", {L"b"}},
           {L"`Name`='a' or `Name`='c' AND `Size`=-5 or `Name`='e'", {L"a", L"c", L"e"}}});
}

TEST_F(Where, ThirtyTwoExpressionsAreAccepted) {
    std::wstring where = L"`Name` = 'c'";
    for (int i = 1; i < 32; ++i) where += L" OR `Name` = 'zz'";
    check({{where, {L"c"}}});
}

TEST_F(Where, ParametersBindInOrderAndCheckTypes) {
    const std::wstring sql = L"SELECT `Name` FROM `Item` WHERE `Size` = ? OR `Kind` = ?";
    EXPECT_EQ(run(db, sql, {Field::from_int(3), Field::from_text(L"y")}), (Rows{L"b", L"e"}));
    // A null parameter behaves as '' does; extra values are ignored.
    EXPECT_EQ(run(db, sql, {Field(), Field(), Field::from_int(1)}), (Rows{L"b", L"c"}));
    EXPECT_EQ(run(db, sql, {Field::from_int(3)}), (Rows{L"error 1627 2208: "}));
    EXPECT_EQ(run(db, sql, {Field::from_text(L"3"), Field::from_text(L"y")}), (Rows{L"error 1627 2258:  / 1"}));
    EXPECT_EQ(run(db, sql, {Field::from_int(3), Field::from_int(1)}), (Rows{L"error 1627 2258:  / 2"}));

    // One prepared query, executed again with other values.
    Error error;
    auto q = Query::prepare(db, L"SELECT `Name` FROM `Item` WHERE `Size` >= ?", L"", error);
    ASSERT_TRUE(q);
    std::vector<Field> row;
    EXPECT_FALSE(q->fetch(row));  // not executed yet
    ASSERT_TRUE(q->execute({Field::from_int(10)}, error));
    ASSERT_TRUE(q->fetch(row));
    EXPECT_EQ(render(row), L"a");
    ASSERT_TRUE(q->execute({Field::from_int(-5)}, error));
    Rows all;
    while (q->fetch(row)) all.push_back(render(row));
    EXPECT_EQ(all, (Rows{L"a", L"c", L"d", L"e"}));
    q->close();
    EXPECT_FALSE(q->executed());
    EXPECT_FALSE(q->fetch(row));
}

TEST_F(Where, DuplicatePoolEntriesCompareByText) {
    // A pool may hold one text under two ids: equality, DISTINCT and ORDER BY
    // go by the text.
    msidb::Database dup;
    dup.strings = {L"", L"k", L"k", L"r"};
    msidb::Table t;
    t.name = L"T";
    t.columns = {col(L"A", L"s8", true), col(L"B", L"S8")};
    using msidb::CellKind;
    t.cells = {{CellKind::String, 1}, {CellKind::String, 2}, {CellKind::String, 2}, {CellKind::Null, 0},
               {CellKind::String, 3}, {CellKind::String, 1}};
    dup.add_table(std::move(t));
    EXPECT_EQ(run(dup, L"SELECT `A` FROM `T` WHERE `A` = `B`"), (Rows{L"k"}));
    EXPECT_EQ(run(dup, L"SELECT DISTINCT `A` FROM `T`"), (Rows{L"k", L"r"}));
    EXPECT_EQ(run(dup, L"SELECT `A`, `B` FROM `T` ORDER BY `B`"), (Rows{L"k|~", L"k|k", L"r|k"}));
}

}  // namespace
}  // namespace qv::msisql::test

namespace qv::msisql::test {
namespace {

// A table large enough that "column = constant" goes through the index the
// table keeps: the same rows in stored order as a scan, and fresh answers
// after rows are appended or a cell changes.
TEST(WhereIndex, ConstantEqualityMatchesTheScanAndFollowsChanges) {
    msidb::Database db;
    msidb::Table& t = add(db, L"Big", {col(L"Name", L"s72", true), col(L"Group", L"S32"), col(L"Size", L"I4")}, {});
    for (int i = 0; i < 200; ++i) {
        const std::wstring group = i % 50 == 7 ? L"seven" : (i % 2 ? L"odd" : L"even");
        t.cells.push_back({msidb::CellKind::String, db.intern(L"n" + std::to_wstring(i))});
        t.cells.push_back(i == 100 ? msidb::Cell{} : msidb::Cell{msidb::CellKind::String, db.intern(group)});
        t.cells.push_back({msidb::CellKind::Integer, i % 3});
    }
    auto names = [&](const std::wstring& where, const std::vector<Field>& params = {}) {
        return run(db, L"SELECT `Name` FROM `Big` WHERE " + where, params);
    };
    EXPECT_EQ(names(L"`Group` = 'seven'"), (Rows{L"n7", L"n57", L"n107", L"n157"}));
    EXPECT_EQ(names(L"`Group` = 'SEVEN'"), Rows{});
    EXPECT_EQ(names(L"`Group` = ?", {Field::from_text(L"seven")}), (Rows{L"n7", L"n57", L"n107", L"n157"}));
    EXPECT_EQ(names(L"`Size` = 2 AND `Group` = 'seven'"), (Rows{L"n107"}));
    EXPECT_EQ(names(L"`Group` = 'seven' AND `Size` = 1"), (Rows{L"n7", L"n157"}));
    EXPECT_EQ(names(L"`Group` = '' AND `Size` = 1"), (Rows{L"n100"}));  // null: no index, still found
    EXPECT_EQ(names(L"`Name` = 'n199' OR `Name` = 'n0'"), (Rows{L"n0", L"n199"}));
    EXPECT_EQ(names(L"`Group` = 5"), Rows{});
    EXPECT_EQ(names(L"`Size` = '1'"), Rows{});
    EXPECT_EQ(run(db, L"SELECT `Name` FROM `Big` WHERE `Size` = 2 AND `Name` = 'n5'"), (Rows{L"n5"}));

    // An appended row and a changed cell are seen by the next query.
    msidb::Table& big = *db.find_table(L"Big");
    big.cells.push_back({msidb::CellKind::String, db.intern(L"late")});
    big.cells.push_back({msidb::CellKind::String, db.intern(L"seven")});
    big.cells.push_back({msidb::CellKind::Integer, 9});
    EXPECT_EQ(names(L"`Group` = 'seven'"), (Rows{L"n7", L"n57", L"n107", L"n157", L"late"}));
    big.at(57, 1) = {msidb::CellKind::String, db.intern(L"moved")};
    ++big.generation;
    EXPECT_EQ(names(L"`Group` = 'seven'"), (Rows{L"n7", L"n107", L"n157", L"late"}));
    EXPECT_EQ(names(L"`Group` = 'moved'"), (Rows{L"n57"}));
    EXPECT_EQ(names(L"`Size` = 9"), (Rows{L"late"}));
}

}  // namespace
}  // namespace qv::msisql::test
