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
