// Select lists, joins, ORDER BY, DISTINCT and column information.
#include "msisql/sql_fixture.h"

namespace qv::msisql::test {
namespace {

class Select : public ::testing::Test {
protected:
    void SetUp() override {
        add_items(db);
        add(db, L"CustomAction",
            {col(L"Action", L"s72", true), col(L"Type", L"i2"), col(L"Source", L"S72"), col(L"Target", L"S255")},
            {{L"CA1", 51, L"P", L"v"}, {L"CA2", 1, L"B", nullptr}, {L"CA3", 34, L"D", L"x.exe"}});
        add(db, L"InstallUISequence",
            {col(L"Action", L"s72", true), col(L"Condition", L"S255"), col(L"Sequence", L"I2")},
            {{L"CA2", nullptr, 10}, {L"CostInitialize", nullptr, 800}, {L"CA1", L"NOT Installed", 20}});
        add(db, L"Component", {col(L"Component", L"s72", true), col(L"Attributes", L"i2")},
            {{L"C1", 0}, {L"C2", 4}, {L"C3", 0}});
        add(db, L"File", {col(L"File", L"s72", true), col(L"Component_", L"s72"), col(L"Sequence", L"i2")},
            {{L"f1", L"C2", 1}, {L"f2", L"C1", 2}, {L"f3", L"C2", 3}, {L"f4", L"C9", 4}, {L"f5", L"C1", 5}});
    }
    msidb::Database db;
};

TEST_F(Select, StarListsAllColumnsOfEachTableInOrder) {
    EXPECT_EQ(run(db, L"SELECT * FROM `Item` WHERE `Name` = 'a'"), (Rows{L"a|10|x|a|#3"}));
    EXPECT_EQ(run(db, L"SELECT `Data`, `Name` FROM `Item` WHERE `Size` = 10"), (Rows{L"#3|a", L"#1|d"}));
    EXPECT_EQ(run(db, L"select Name, Item.Kind from Item where Size < 0"), (Rows{L"c|~"}));
}

TEST_F(Select, TwoTableJoinKeepsOuterThenInnerOrder) {
    EXPECT_EQ(run(db, L"SELECT * FROM `CustomAction`,`InstallUISequence` WHERE "
                      L"`CustomAction`.`Action`=`InstallUISequence`.`Action`"),
              (Rows{L"CA1|51|P|v|CA1|NOT Installed|20", L"CA2|1|B|~|CA2|~|10"}));
    // Several inner matches come in stored order; unmatched rows drop out.
    const Rows component_files{L"C1|f2", L"C1|f5", L"C2|f1", L"C2|f3"};
    EXPECT_EQ(run(db, L"SELECT `Component`, `File` FROM `Component`, `File` WHERE `Component` = `Component_`"),
              component_files);
    EXPECT_EQ(run(db, L"SELECT `Component`, `File` FROM `Component`, `File` WHERE `File`.`Component_` = "
                      L"`Component`.`Component`"),
              component_files);
    // With File first the order follows File.
    EXPECT_EQ(run(db, L"SELECT `Component`, `File` FROM `File`, `Component` WHERE `Component` = `Component_`"),
              (Rows{L"C2|f1", L"C1|f2", L"C2|f3", L"C1|f5"}));
    // Further terms filter either side; OR inside a term still works.
    EXPECT_EQ(run(db, L"SELECT `File` FROM `Component`, `File` WHERE `Component` = `Component_` AND "
                      L"`Attributes` = 4 AND (`File`.`Sequence` = 3 OR `File`.`Sequence` = 1)"),
              (Rows{L"f1", L"f3"}));
    // A join written under an OR is evaluated on the cross product.
    EXPECT_EQ(run(db, L"SELECT `Component`, `File` FROM `Component`, `File` WHERE `Component` = `Component_` "
                      L"OR `File` = 'f4'"),
              (Rows{L"C1|f2", L"C1|f4", L"C1|f5", L"C2|f1", L"C2|f3", L"C2|f4", L"C3|f4"}));
    // An integer column never joins a string column.
    EXPECT_EQ(run(db, L"SELECT `File` FROM `Component`, `File` WHERE `Attributes` = `Component_`"), Rows{});
}

TEST_F(Select, CrossProductAndThreeTables) {
    EXPECT_EQ(run(db, L"SELECT `Component`, `Action` FROM `Component`, `CustomAction` WHERE `Attributes` = 4"),
              (Rows{L"C2|CA1", L"C2|CA2", L"C2|CA3"}));
    EXPECT_EQ(run(db, L"SELECT `File`, `InstallUISequence`.`Sequence` FROM `Component`, `File`, "
                      L"`InstallUISequence` WHERE `Component` = `Component_` AND "
                      L"`InstallUISequence`.`Sequence` = `File`.`Sequence`"),
              Rows{});
    EXPECT_EQ(run(db, L"SELECT `File`, `Type` FROM `Component`, `File`, `CustomAction` WHERE "
                      L"`Component` = `Component_` AND `Type` = `File`.`Sequence`"),
              (Rows{L"f1|1"}));
}

TEST_F(Select, OrderByIntegersStringsAndSeveralColumns) {
    // Nulls first, then ascending; equal keys keep stored order (a before d).
    EXPECT_EQ(run(db, L"SELECT `Name`, `Size` FROM `Item` ORDER BY `Size`"),
              (Rows{L"b|~", L"c|-5", L"e|3", L"a|10", L"d|10"}));
    // By code units: "X" sorts before "x".
    EXPECT_EQ(run(db, L"SELECT `Name` FROM `Item` ORDER BY `Kind`"), (Rows{L"c", L"d", L"a", L"e", L"b"}));
    EXPECT_EQ(run(db, L"SELECT `Name` FROM `Item` ORDER BY `Kind`, `Size`"), (Rows{L"c", L"d", L"e", L"a", L"b"}));
    EXPECT_EQ(run(db, L"SELECT `Name` FROM `Item` ORDER BY `Size`, `Kind`"), (Rows{L"b", L"c", L"e", L"d", L"a"}));
    EXPECT_EQ(run(db, L"SELECT `Name` FROM `Item` WHERE `Kind` <> '' ORDER BY `Alt`"),
              (Rows{L"b", L"e", L"a", L"d"}));
    // Sorting by a column of the second table of a join.
    EXPECT_EQ(run(db, L"SELECT `File` FROM `Component`, `File` WHERE `Component` = `Component_` ORDER BY "
                      L"`File`.`Sequence`"),
              (Rows{L"f1", L"f2", L"f3", L"f5"}));
    EXPECT_EQ(run(db, L"SELECT `Action` FROM `InstallUISequence` ORDER BY `Sequence`"),
              (Rows{L"CA2", L"CA1", L"CostInitialize"}));
}

TEST_F(Select, DistinctKeepsFirstOccurrence) {
    EXPECT_EQ(run(db, L"SELECT DISTINCT `Size` FROM `Item`"), (Rows{L"10", L"~", L"-5", L"3"}));
    EXPECT_EQ(run(db, L"SELECT DISTINCT `Kind` FROM `Item` ORDER BY `Kind`"), (Rows{L"~", L"X", L"x", L"y"}));
    EXPECT_EQ(run(db, L"SELECT DISTINCT `Component_` FROM `File`"), (Rows{L"C2", L"C1", L"C9"}));
    EXPECT_EQ(run(db, L"SELECT DISTINCT `Size`, `Kind` FROM `Item`"),
              (Rows{L"10|x", L"~|y", L"-5|~", L"10|X", L"3|x"}));
    EXPECT_EQ(run(db, L"SELECT DISTINCT `Component` FROM `Component`, `File` WHERE `Component` = `Component_`"),
              (Rows{L"C1", L"C2"}));
    EXPECT_EQ(run(db, L"SELECT DISTINCT 1 FROM `Item`"), (Rows{L"1"}));
}

TEST_F(Select, ConstantsAndColumnInformation) {
    EXPECT_EQ(run(db, L"SELECT 'lit', `Name`, 7, -3, '' FROM `Item` WHERE `Name` = 'b'"), (Rows{L"lit|b|7|-3|~"}));
    EXPECT_EQ(describe(db, L"SELECT 'lit', `Name`, 7, `Data`, `Size` FROM `Item`"),
              (Rows{L":s0", L"Name:s72", L":i4", L"Data:V0", L"Size:I4"}));
    EXPECT_EQ(describe(db, L"SELECT * FROM `CustomAction`, `Component`"),
              (Rows{L"Action:s72", L"Type:i2", L"Source:S72", L"Target:S255", L"Component:s72", L"Attributes:i2"}));
}

TEST_F(Select, OpenQuerySurvivesTablesAddedToTheDatabase) {
    // Adding tables moves the table array; an open query must follow it
    // (run under QV_SANITIZE this reads freed memory when it does not).
    Error error;
    auto q = Query::prepare(db, L"SELECT `File`, `Attributes` FROM `Component`, `File` WHERE `Component` = "
                                L"`Component_` AND `Attributes` = 4", L"", error);
    ASSERT_TRUE(q);
    for (int i = 0; i < 40; ++i) add(db, (L"Extra" + std::to_wstring(i)).c_str(), {col(L"K", L"s8", true)}, {});
    ASSERT_TRUE(q->execute({}, error));
    std::vector<Field> row;
    ASSERT_TRUE(q->fetch(row));
    EXPECT_EQ(render(row), L"f1|4");
    for (int i = 40; i < 200; ++i) add(db, (L"Extra" + std::to_wstring(i)).c_str(), {col(L"K", L"s8", true)}, {});
    ASSERT_TRUE(q->fetch(row));
    EXPECT_EQ(render(row), L"f3|4");
    EXPECT_FALSE(q->fetch(row));
}

}  // namespace
}  // namespace qv::msisql::test
