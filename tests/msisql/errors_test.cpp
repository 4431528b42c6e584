// Failures at prepare: result 1615 with the installer error number and its
// parameters (database name first, always empty here).
#include "msisql/sql_fixture.h"

namespace qv::msisql::test {
namespace {

// Stands for the query text itself among the expected parameters.
const std::wstring Q = L"\x1Bquery";

struct Case {
    std::wstring sql;
    unsigned number;
    std::vector<std::wstring> params;  // after the database name
};

class Errors : public ::testing::Test {
protected:
    void SetUp() override {
        add_items(db);
        add(db, L"Other", {col(L"Name", L"s72", true)}, {{L"a"}});
    }
    void expect(const Case& c) {
        SCOPED_TRACE(::testing::Message() << "query: " << std::string(c.sql.begin(), c.sql.end()));
        Error error;
        auto q = Query::prepare(db, c.sql, L"", error);
        EXPECT_EQ(q, nullptr);
        EXPECT_EQ(error.result, 1615u);
        EXPECT_EQ(error.number, c.number);
        std::vector<std::wstring> want{L""};
        for (const auto& p : c.params) want.push_back(p == Q ? c.sql : p);
        EXPECT_EQ(error.params, want);
    }
    msidb::Database db;
};

TEST_F(Errors, NamesThatDoNotBind) {
    const std::vector<Case> cases = {
        {L"SELECT * FROM `Foo`", 2228, {L"Foo", Q}},
        // Table names are case-sensitive.
        {L"SELECT * FROM item", 2228, {L"item", Q}},
        {L"SELECT * FROM `Item`,`Item`", 2230, {L"Item", Q}},
        {L"SELECT `Nope` FROM `Item`", 2235, {L"Nope", Q}},
        {L"SELECT `name` FROM `Item`", 2235, {L"name", Q}},
        // Present in two FROM tables and not qualified.
        {L"SELECT `Name` FROM `Item`,`Other`", 2235, {L"Name", Q}},
        // Qualified by a table that is not in FROM.
        {L"SELECT `Other`.`Name` FROM `Item`", 2235, {L"Name", Q}},
        {L"SELECT * FROM `Item` WHERE `X` = 1", 2235, {L"X", Q}},
        {L"SELECT * FROM `Item` WHERE `Name` = `Y`", 2235, {L"Y", Q}},
        {L"SELECT * FROM `Item` ORDER BY `Z`", 2235, {L"Z", Q}},
    };
    for (const Case& c : cases) expect(c);
}

TEST_F(Errors, SyntaxMistakes) {
    const std::vector<Case> cases = {
        {L"SELECT * FROM `Item` WHERE `Name` = 'a' garbage", 2232, {L"garbage", Q}},
        // Constant before the column.
        {L"SELECT * FROM `Item` WHERE 'a' = `Name`", 2232, {L"'a'", Q}},
        {L"SELECT * FROM `Item` WHERE 1 < `Size`", 2232, {L"1", Q}},
        {L"SELECT * FROM `Item` WHERE `Size` = NULL", 2232, {L"NULL", Q}},
        {L"SELECT * FROM `Item` WHERE", 2232, {L"", Q}},
        {L"SELECT * FROM `Item` WHERE `Name` = 'a')", 2232, {L")", Q}},
        {L"SELECT * `Item`", 2232, {L"`Item`", Q}},
        {L"SELECT * FROM `Item` ORDER `Name`", 2232, {L"`Name`", Q}},
        {L"SELECT * FROM `Item` WHERE `Name` = 'abc", 2232, {L"'abc", Q}},
        {L"SELECT * FROM `Item", 2232, {L"`Item", Q}},
        {L"SELECT * FROM `Item` WHERE `Size` = 2147483648", 2232, {L"2147483648", Q}},
        {L"SELECT *, `Name` FROM `Item`", 2232, {L",", Q}},
        {L"SELECT ? FROM `Item`", 2232, {L"?", Q}},
        {L"SELEKT * FROM `Item`", 2232, {L"SELEKT", Q}},
        {L"SELECT * FROM `Item` WHERE (`Name` = 'a'", 2231, {Q}},
        {L"SELECT * FROM `Item` WHERE `Name` != 'a'", 2236, {L"!=", Q}},
        {L"SELECT * FROM `Item` WHERE `Name` LIKE 'a'", 2236, {L"LIKE", Q}},
        {L"SELECT FROM `Item`", 2233, {Q}},
        {L"SELECT DISTINCT", 2233, {Q}},
        {L"SELECT * FROM `Item` ORDER BY", 2234, {Q}},
        {L"SELECT `Name`", 2238, {Q}},
        {L"SELECT * FROM ``", 2227, {L"", Q}},
        {L"", 2237, {Q}},
        {L" \t\r\n", 2237, {Q}},
    };
    for (const Case& c : cases) expect(c);
}

TEST_F(Errors, WriteStatementsFailBecauseTheDatabaseIsReadOnly) {
    for (const wchar_t* sql : {L"INSERT INTO `Item` (`Name`) VALUES ('z')", L"UPDATE `Item` SET `Size` = 1",
                               L"delete FROM `Item`", L"CREATE TABLE `T` (`A` SHORT PRIMARY KEY `A`)",
                               L"DROP TABLE `Item`", L"ALTER TABLE `Item` HOLD"})
        expect({sql, 2212, {}});
}

TEST_F(Errors, MoreThanThirtyTwoExpressions) {
    std::wstring sql = L"SELECT * FROM `Item` WHERE `Size` IS NULL";
    for (int i = 1; i < 33; ++i) sql += L" AND (`Size` = 1 OR `Kind` = 'x')";
    // 1 + 32 * 2 comparisons.
    expect({sql.c_str(), 2278, {sql}});
    // Syntax is checked before the count.
    expect({(sql + L" )").c_str(), 2232, {L")", sql + L" )"}});
}

TEST_F(Errors, ParserSurvivesDeepNesting) {
    std::wstring sql = L"SELECT * FROM `Item` WHERE ";
    sql += std::wstring(100000, L'(');
    expect({sql.c_str(), 2232, {L"(", sql}});
    std::wstring ok = L"SELECT `Name` FROM `Item` WHERE " + std::wstring(150, L'(') + L"`Name`='d'" +
                      std::wstring(150, L')');
    EXPECT_EQ(run(db, ok), (Rows{L"d"}));
}

}  // namespace
}  // namespace qv::msisql::test
