#include "stores/DbTableHelper.h"
#include "stores/QODatabase.h"
#include "stores/UserSettings.h"

#include "StoresTestSupport.h"

#include <gtest/gtest.h>

#include <QDate>

using namespace Kerf::QuireLib;
using Engine = CDbTableHelper::Engine;
using Kerf::Util::toWide;
using StoresTest::locations;
using StoresTest::messageOf;

namespace {

// A fresh SQLite store database in a temporary folder.
struct SqliteDb {
    QoTest::TempDir dir;
    CQuartoDb db{CDbTableHelper::kTypeSqlite, toWide((dir / "Quarto.db").string()), L"", L"", L""};
    SqliteDb() { db.CreateTables(); }
};

} // namespace

TEST(StoreDatabaseTexts, AccessAndMySqlConnectionStringsAndDialects) {
    const std::wstring mdb =
        CDbTableHelper::ConnectionString(L"MDB", L"/home/u/Quarto.mdb", L"", L"Admin", L"");
    EXPECT_EQ(mdb,
              L"Driver={Microsoft Access Driver (*.mdb)};Dbq=/home/u/Quarto.mdb;Uid=Admin;Pwd=;");
    const std::wstring mysql =
        CDbTableHelper::ConnectionString(L"MYSQL", L"quarto", L"db.example:3307", L"qo", L"p;w");
    EXPECT_EQ(mysql, L"DRIVER={MySQL ODBC 3.51 Driver};DB=quarto;SERVER=db.example:3307;UID=qo;"
                     L"PASSWORD={p;w};OPTION=2048;");
    EXPECT_EQ(CDbTableHelper::EngineFromConnectionString(mdb), Engine::Access);
    EXPECT_EQ(CDbTableHelper::EngineFromConnectionString(mysql), Engine::MySql);
    EXPECT_EQ(CDbTableHelper::EngineFromConnectionString(L"DSN=x;driver={MYSQL ODBC 5.1 Driver};"),
              Engine::MySql);
    EXPECT_EQ(CDbTableHelper::ConnectionValue(mdb, L"DBQ"), L"/home/u/Quarto.mdb");
    EXPECT_EQ(CDbTableHelper::ConnectionValue(mysql, L"SERVER"), L"db.example:3307");
    EXPECT_EQ(CDbTableHelper::ConnectionValue(mysql, L"PASSWORD"), L"p;w");
    EXPECT_EQ(CDbTableHelper::ConnectionValue(mysql, L"UID"), L"qo");
    EXPECT_NE(messageOf([] {
                  CDbTableHelper::EngineFromConnectionString(L"Driver={Oracle};");
              }).find(L"unsupported database type"),
              std::wstring::npos);
    EXPECT_NE(messageOf([] {
                  CDbTableHelper::ConnectionString(L"ORACLE", L"", L"", L"", L"");
              }).find(L"unsupported database type"),
              std::wstring::npos);

    EXPECT_EQ(CDbTableHelper::FindRecordSql(Engine::Access, L"tbl_store_types", L"type_id",
                                            {{L"type", L"msg"}}, {}),
              L"SELECT type_id FROM tbl_store_types WHERE UCase(type) LIKE UCase('msg');");
    EXPECT_EQ(CDbTableHelper::FindRecordSql(Engine::MySql, L"t", L"id", {{L"name", L"O'Brien"}},
                                            {{L"n", 5}, {L"m", -2}}),
              L"SELECT id FROM t WHERE UPPER(name) LIKE UPPER('O''Brien') AND m=-2 AND n=5;");
    // MySQL's LIKE escapes with a backslash; Access's and SQLite's do not.
    EXPECT_EQ(CDbTableHelper::FindRecordSql(Engine::MySql, L"t", L"id", {{L"p", L"C:\\x\\"}}, {}),
              L"SELECT id FROM t WHERE UPPER(p) LIKE UPPER('C:\\\\x\\\\');");
    EXPECT_EQ(CDbTableHelper::FindRecordSql(Engine::Access, L"t", L"id", {{L"p", L"C:\\x"}}, {}),
              L"SELECT id FROM t WHERE UCase(p) LIKE UCase('C:\\x');");
    EXPECT_EQ(CDbTableHelper::LastInsertIdSql(Engine::Access), L"SELECT @@IDENTITY;");
    EXPECT_EQ(CDbTableHelper::LastInsertIdSql(Engine::MySql), L"SELECT LAST_INSERT_ID();");
    EXPECT_EQ(CDbTableHelper::UpdateSql(L"tbl_stores", L"store_id", 7, {{L"description", L"it's"}},
                                        {{L"n", 1}}),
              L"UPDATE tbl_stores SET description='it''s', n=1 WHERE store_id = 7;");
    EXPECT_EQ(CDbTableHelper::InsertSql(L"t", {{L"a", L"x'); DROP TABLE t; --"}}, {{L"b", 3}}),
              L"insert into t(a, b) values('x''); DROP TABLE t; --', 3);");
    EXPECT_EQ(CDbTableHelper::ReadRecordSql(L"tbl_stores", L"store_id", 4, {L"a", L"b"}),
              L"SELECT a, b FROM tbl_stores WHERE store_id=4;");
}

TEST(StoreDatabaseSqlite, TypeLookupIgnoresCaseAndFindsTheStores) {
    SqliteDb s;
    const long a =
        s.db.TablesUpdateOrInsertStore(L"\\\\srv\\jobs\\A", L"A1", L"B1", L"first", L"msg", 0);
    const long b =
        s.db.TablesUpdateOrInsertStore(L"C:\\jobs\\B", L"A2", L"B2", L"second", L"MSG", 0);
    s.db.TablesUpdateOrInsertStore(L"/srv/docs", L"D", L"", L"", L"doc", 0);
    EXPECT_GT(a, 0);
    EXPECT_GT(b, a);
    const auto rows = locations(s.db, L"Msg");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at(L"store_id"), std::to_wstring(a));
    EXPECT_EQ(rows[0].at(L"path_location"), L"\\\\srv\\jobs\\A");
    EXPECT_EQ(rows[1].at(L"primary_ref"), L"A2");
    EXPECT_EQ(rows[1].size(), 5u);
    EXPECT_TRUE(locations(s.db, L"none").empty());
}

TEST(StoreDatabaseSqlite, TheTextNullLeavesAColumnAndTheDateIsToday) {
    SqliteDb s;
    const long id = s.db.TablesUpdateOrInsertStore(L"/a", L"P", L"S", L"kept", L"msg", 0);
    EXPECT_EQ(s.db.TablesUpdateOrInsertStore(L"/b", L"NULL", L"S2", L"NULL", L"msg", id), id);
    auto row = s.db.GetHelper().TableReadRecordStrings(
        L"tbl_stores", L"store_id", id,
        {L"path_location", L"primary_ref", L"secondary_ref", L"description", L"date_last_used"});
    EXPECT_EQ(row[L"path_location"], L"/b");
    EXPECT_EQ(row[L"primary_ref"], L"P");
    EXPECT_EQ(row[L"secondary_ref"], L"S2");
    EXPECT_EQ(row[L"description"], L"kept");
    EXPECT_EQ(row[L"date_last_used"], QDate::currentDate().toString(u"dd/MM/yyyy").toStdWString());
    // Updating does not link the store to its type a second time.
    EXPECT_EQ(locations(s.db, L"msg").size(), 1u);
}

TEST(StoreDatabaseSqlite, QuotesRoundTripAndCannotEndTheString) {
    SqliteDb s;
    const std::wstring nasty = L"x'); DROP TABLE tbl_stores; --";
    const long id =
        s.db.TablesUpdateOrInsertStore(L"/o'brien", L"O'Brien", L"''", nasty, L"it's", 0);
    const auto rows = locations(s.db, L"IT'S");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].at(L"primary_ref"), L"O'Brien");
    EXPECT_EQ(rows[0].at(L"secondary_ref"), L"''");
    EXPECT_EQ(rows[0].at(L"description"), nasty);
    EXPECT_EQ(s.db.GetHelper().TableFindRecord(L"tbl_stores", L"store_id",
                                               {{L"primary_ref", L"o'brien"}}, {}),
              id);
}

TEST(StoreDatabaseSqlite, TypesNamedAlikeThrowAndRollTheStoreBack) {
    SqliteDb s;
    auto& helper = s.db.GetHelper();
    helper.TableUpdateInsert(L"tbl_store_types", L"type_id", 0, {{L"type", L"msg"}}, {});
    helper.TableUpdateInsert(L"tbl_store_types", L"type_id", 0, {{L"type", L"MSG"}}, {});
    EXPECT_EQ(messageOf([&] { locations(s.db, L"msg"); }),
              L"Kerf::QuireLib::CDbTableHelper::TableFindRecord: invalid record count (2)");
    // The insert and the failed type lookup share one transaction: nothing stays.
    EXPECT_NE(messageOf([&] {
                  s.db.TablesUpdateOrInsertStore(L"/x", L"", L"", L"", L"msg", 0);
              }).find(L"invalid record count (2)"),
              std::wstring::npos);
    QSqlQuery count = helper.executeQuery(L"SELECT COUNT(*) FROM tbl_stores;");
    ASSERT_TRUE(count.next());
    EXPECT_EQ(CDbTableHelper::retrieveColumn(count, 1), L"0");
}

TEST(StoreDatabaseSqlite, ARecordMustBeThereOnceAndAnIdMustBeANumber) {
    SqliteDb s;
    auto& helper = s.db.GetHelper();
    EXPECT_EQ(messageOf([&] {
                  helper.TableReadRecordStrings(L"tbl_stores", L"store_id", 99, {L"description"});
              }),
              L"TableReadRecordStrings: invalid record count");
    const long id = s.db.TablesUpdateOrInsertStore(L"/a", L"P", L"S", L"D", L"msg", 0);
    EXPECT_NE(messageOf([&] {
                  helper.TableFindRecord(L"tbl_stores", L"primary_ref", {}, {{L"store_id", id}});
              }).find(L"invalid type retrieving id field"),
              std::wstring::npos);
}

TEST(StoreDatabaseSqlite, FolderListLinesBecomeStoresOnce) {
    std::wstring parent, folder;
    ASSERT_TRUE(
        CQuartoDb::ParseFolderListLine(L"\\\\server\\share\\Client\\Job 1", parent, folder));
    EXPECT_EQ(parent, L"Client");
    EXPECT_EQ(folder, L"Job 1");
    ASSERT_TRUE(CQuartoDb::ParseFolderListLine(L"/srv/filing/Acme/2020", parent, folder));
    EXPECT_EQ(parent, L"Acme");
    EXPECT_EQ(folder, L"2020");
    EXPECT_FALSE(CQuartoDb::ParseFolderListLine(L"C:\\top", parent, folder));

    StoresTest::ScopedUser user;
    QoTest::writeFile(
        user.appData() / "Folders.txt",
        "\\\\server\\share\\Client\\Job_1\r\nnot a path\r\n/srv/filing/Acme/2020\r\n");
    {
        CQuartoDb built(CQuartoDb::eBuildFromFolderLists);
        ASSERT_TRUE(built.IsOpen()) << Kerf::Util::toNarrow(built.GetOpenError());
        const auto rows = locations(built, L"msg");
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_EQ(rows[0].at(L"primary_ref"), L"Client");
        EXPECT_EQ(rows[0].at(L"secondary_ref"), L"Job_1");
        // "Job_1" is not taken for a LIKE pattern that also matches "Job-1".
        QoTest::writeFile(user.appData() / "more.txt", "\\\\server\\share\\Client\\Job-1\n");
        EXPECT_EQ(built.ImportFolderList(toWide((user.appData() / "more.txt").string()), L"msg"),
                  1u);
    }
    CQuartoDb again(CQuartoDb::eBuildFromFolderLists);
    EXPECT_EQ(locations(again, L"msg").size(), 3u);
}

TEST(StoreDatabaseChoice, SettingsThenSqliteThenAccessThenNothing) {
    StoresTest::ScopedUser user;
    {
        CQuartoDb none;
        EXPECT_FALSE(none.IsOpen());
        EXPECT_TRUE(none.GetOpenError().empty());
    }
    QoTest::writeFile(user.appData() / "Quarto.mdb", "not an access file");
    {
        CQuartoDb mdb;
        EXPECT_FALSE(mdb.IsOpen());
        EXPECT_NE(mdb.GetOpenError().find(L"Quarto.mdb"), std::wstring::npos);
    }
    const std::wstring sqlite = toWide((user.appData() / "Quarto.db").string());
    {
        CQuartoDb make(CDbTableHelper::kTypeSqlite, sqlite, L"", L"", L"");
        make.CreateTables();
        make.TablesUpdateOrInsertStore(L"/local", L"L", L"", L"", L"msg", 0);
    }
    {
        CQuartoDb preferred;
        ASSERT_TRUE(preferred.IsOpen()) << Kerf::Util::toNarrow(preferred.GetOpenError());
        EXPECT_EQ(preferred.GetHelper().GetEngine(), Engine::Sqlite);
        EXPECT_EQ(locations(preferred, L"msg").size(), 1u);
    }
    const std::wstring other = toWide((user.dir.path() / "other.db").string());
    {
        CQuartoDb make(CDbTableHelper::kTypeSqlite, other, L"", L"", L"");
        make.CreateTables();
    }
    openUserSettings()->setValue(
        QStringLiteral("Store Database/ConnectionString"),
        QString::fromStdWString(L"Driver={SQLite3};Database=" + other + L";"));
    CQuartoDb configured;
    ASSERT_TRUE(configured.IsOpen());
    EXPECT_TRUE(locations(configured, L"msg").empty());
}

TEST(StoreDatabaseChoice, ADamagedSqliteFileIsReportedNotFatal) {
    StoresTest::ScopedUser user;
    QoTest::writeFile(user.appData() / "Quarto.db", std::string(8192, '\x01'));
    CQuartoDb db;
    EXPECT_FALSE(db.IsOpen());
    EXPECT_NE(db.GetOpenError().find(L"Cannot open the store database"), std::wstring::npos)
        << Kerf::Util::toNarrow(db.GetOpenError());
}
