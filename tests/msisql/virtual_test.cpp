// The virtual system tables, and the query shapes the checks use against a
// small package.
#include "msisql/sql_fixture.h"

namespace qv::msisql::test {
namespace {

std::shared_ptr<msidb::MemoryStream> bytes(std::initializer_list<uint8_t> b) {
    return std::make_shared<msidb::MemoryStream>(std::vector<uint8_t>(b));
}

class Virtual : public ::testing::Test {
protected:
    void SetUp() override {
        add_items(db);
        add(db, L"Binary", {col(L"Name", L"s72", true), col(L"Data", L"v0")}, {{L"foo", V::bytes(2)}});
        // A temporary column stays out of _Columns.
        add(db, L"Temp", {col(L"K", L"s8", true), col(L"Hidden", L"I2")}, {});
        db.tables.back().columns[1].type |= msidb::coltype::Temporary;
        db.named_streams = {{L"Binary.foo", db.streams.back()},
                            {L"Disk1.cab", bytes({1, 2, 3, 4})},
                            {L"\x05SummaryInformation", bytes({9})}};
        db.storages = {L"Sub1", L"Sub2"};
    }
    msidb::Database db;
};

TEST_F(Virtual, TablesAndColumns) {
    EXPECT_EQ(run(db, L"SELECT * FROM `_Tables`"), (Rows{L"Item", L"Binary", L"Temp"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `_Columns` WHERE `Table` <> 'Item'"),
              (Rows{L"Binary|1|Name|11592", L"Binary|2|Data|2304", L"Temp|1|K|11528"}));
    EXPECT_EQ(run(db, L"SELECT `Name`, `Type` FROM `_Columns` WHERE `Table` = 'Item' ORDER BY `Number`"),
              (Rows{L"Name|11592", L"Size|4356", L"Kind|7456", L"Alt|7496", L"Data|6400"}));
    // Joined with a real table, _Tables lists tables that have rows.
    EXPECT_EQ(run(db, L"SELECT DISTINCT `_Tables`.`Name` FROM `_Tables`, `_Columns` WHERE "
                      L"`_Tables`.`Name` = `_Columns`.`Table` AND `_Columns`.`Number` = 2"),
              (Rows{L"Item", L"Binary"}));
    EXPECT_EQ(describe(db, L"SELECT * FROM `_Columns`"), (Rows{L"Table:s64", L"Number:i2", L"Name:s64", L"Type:i2"}));
}

TEST_F(Virtual, StreamsAndStorages) {
    const size_t streams_before = db.streams.size();
    EXPECT_EQ(run(db, L"SELECT * FROM `_Streams`"),
              (Rows{L"Binary.foo|#2", L"Disk1.cab|#4", L"\x05SummaryInformation|#1"}));
    // The source already in db.streams is reused, the two others added once.
    EXPECT_EQ(db.streams.size(), streams_before + 2);
    EXPECT_EQ(run(db, L"SELECT `Data` FROM `_Streams` WHERE `Name`='Disk1.cab'"), (Rows{L"#4"}));
    EXPECT_EQ(db.streams.size(), streams_before + 2);

    Error error;
    auto q = Query::prepare(db, L"SELECT `Data` FROM `_Streams` WHERE `Name`='Disk1.cab'", L"", error);
    ASSERT_TRUE(q && q->execute({}, error));
    std::vector<Field> row;
    ASSERT_TRUE(q->fetch(row));
    uint8_t buf[8] = {};
    ASSERT_EQ(row[0].stream->read(1, buf, sizeof buf), 3u);
    EXPECT_EQ(buf[0] + buf[1] * 10 + buf[2] * 100, 2 + 30 + 400);
    EXPECT_EQ(q->column_definitions(), (Rows{L"V0"}));

    EXPECT_EQ(run(db, L"SELECT * FROM `_Storages` ORDER BY `Name`"), (Rows{L"Sub1|~", L"Sub2|~"}));
    EXPECT_EQ(run(db, L"SELECT `Name` FROM `_Storages` WHERE `Data` IS NULL AND `Name` = 'Sub2'"), (Rows{L"Sub2"}));
}

TEST_F(Virtual, ARealTableOfTheSameNameWins) {
    add(db, L"_Tables", {col(L"Name", L"s64", true), col(L"Extra", L"i2")}, {{L"x", 5}});
    EXPECT_EQ(run(db, L"SELECT * FROM `_Tables`"), (Rows{L"x|5"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `_Nothing`"), (Rows{L"error 1615 2228:  / _Nothing / SELECT * FROM `_Nothing`"}));
}

// The query shapes of the checks, filled in as the checks fill them.
class CheckQueries : public ::testing::Test {
protected:
    void SetUp() override {
        add(db, L"Property", {col(L"Property", L"s72", true), col(L"Value", L"l0")},
            {{L"ProductName", L"P"}, {L"SecureCustomProperties", L"A;B"}, {L"_QV_DEBUGGING_ACTION", L"1"}});
        add(db, L"Media",
            {col(L"DiskId", L"i2", true), col(L"LastSequence", L"i4"), col(L"Cabinet", L"S255")},
            {{3, 30, L"#c.cab"}, {1, 10, L"#a.cab"}, {2, 20, nullptr}});
        add(db, L"Control",
            {col(L"Dialog_", L"s72", true), col(L"Control", L"s50", true), col(L"Type", L"s20"), col(L"X", L"i2"),
             col(L"Y", L"i2"), col(L"Property", L"S72")},
            {{L"D", L"R1", L"RadioButtonGroup", 10, 10, L"P1"},
             {L"D", L"R2", L"RadioButtonGroup", 10, 40, nullptr},
             {L"D", L"B1", L"PushButton", 50, 20, nullptr},
             {L"D", L"B2", L"RadioButton", 50, 20, nullptr},
             {L"E", L"B3", L"PushButton", 50, 20, nullptr}});
        add(db, L"CustomAction",
            {col(L"Action", L"s72", true), col(L"Type", L"i2"), col(L"Source", L"S72"), col(L"Target", L"S255")},
            {{L"SetARP", 51, L"ARPINSTALLLOCATION", L"[INSTALLDIR]"}, {L"Other", 51, L"X", L"y"}});
        add(db, L"ServiceInstall", {col(L"ServiceInstall", L"s72", true), col(L"StartType", L"i4")},
            {{L"S1", 2}, {L"S2", 0}});
        add(db, L"File", {col(L"File", L"s72", true), col(L"Component_", L"s72")}, {{L"f1", L"C1"}, {L"f2", L"C2"}});
    }
    msidb::Database db;
};

TEST_F(CheckQueries, TemplatesParseAndSelect) {
    EXPECT_EQ(run(db, L"SELECT * FROM `Property` WHERE `Property`='SecureCustomProperties'"),
              (Rows{L"SecureCustomProperties|A;B"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `Property` WHERE `Property` = '_QV_DEBUGGING_ACTION'"),
              (Rows{L"_QV_DEBUGGING_ACTION|1"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `Media` ORDER BY `DiskId`"), (Rows{L"1|10|#a.cab", L"2|20|~", L"3|30|#c.cab"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `Media` WHERE `Cabinet` <> '' ORDER BY `DiskId`"),
              (Rows{L"1|10|#a.cab", L"3|30|#c.cab"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `Control` WHERE `Property` IS NULL OR `Property`=' '"),
              (Rows{L"D|R2|RadioButtonGroup|10|40|~", L"D|B1|PushButton|50|20|~", L"D|B2|RadioButton|50|20|~",
                    L"E|B3|PushButton|50|20|~"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `Control` WHERE `Type`='RadioButtonGroup' AND `Property` IS NOT NULL"),
              (Rows{L"D|R1|RadioButtonGroup|10|10|P1"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `Control` WHERE `Dialog_`='D' AND `Type`<>'RadioButton' AND `X` > 5 AND "
                      L"`X` < 60 AND `Y` > 15 AND `Y` < 30"),
              (Rows{L"D|B1|PushButton|50|20|~"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `CustomAction` WHERE `Source`='ARPINSTALLLOCATION' AND `Type`=51"),
              (Rows{L"SetARP|51|ARPINSTALLLOCATION|[INSTALLDIR]"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `ServiceInstall` WHERE `StartType` = 0"), (Rows{L"S2|0"}));
    EXPECT_EQ(run(db, L"SELECT `Component_` FROM `File` WHERE `File` = 'f2'"), (Rows{L"C2"}));
    EXPECT_EQ(run(db, L"SELECT * FROM `File`,`Control` WHERE `File`.`Component_`=`Control`.`Property`"), Rows{});
}

}  // namespace
}  // namespace qv::msisql::test
