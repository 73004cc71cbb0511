// The store database: the same cases against SQLite and a real MariaDB server (scripts/test starts
// it; without it those cases skip), and which database a user's set-up opens.

#include "stores/StoreConnection.h"
#include "stores/UserSettings.h"

#include "StoresTestSupport.h"

#include <QDate>

#include <array>
#include <sys/stat.h>

using namespace Kerf::QuireLib;
using Engine = CDbTableHelper::Engine;
using Kerf::Util::toWide;
using StoresTest::locations;
using StoresTest::messageOf;

TEST(StoreDatabaseTexts, ConnectionStringsReadBackAndNameTheirEngine) {
    // Each engine's string gives back every value under the name its opening
    // reads, even values holding the piece separator or starting a brace.
    const struct {
        const wchar_t* type;
        Engine engine;
        std::array<std::wstring, 4> values;  // database, server, user, password
        std::array<const wchar_t*, 4> names; // each value's name; none where it is not kept
    } cases[] = {
        {L"MDB",
         Engine::Access,
         {L"/u/stores.mdb", L"", L"Admin", L"{x"},
         {L"DBQ", {}, L"UID", L"PWD"}},
        {L"MYSQL",
         Engine::MySql,
         {L"qo", L"db:3307", L"qo", L"p;w"},
         {L"DB", L"SERVER", L"UID", L"PASSWORD"}},
        {L"SQLITE", Engine::Sqlite, {L"/srv/a;b.db", L"", L"", L""}, {L"DATABASE", {}, {}, {}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Kerf::Util::toNarrow(c.type));
        const auto& [database, server, user, password] = c.values;
        const std::wstring text =
            CDbTableHelper::ConnectionString(c.type, database, server, user, password);
        EXPECT_EQ(CDbTableHelper::EngineFromConnectionString(text), c.engine);
        for (size_t i = 0; i < 4; ++i)
            EXPECT_TRUE(c.names[i] == nullptr ||
                        CDbTableHelper::ConnectionValue(text, c.names[i]) == c.values[i])
                << i;
    }
    EXPECT_EQ(CDbTableHelper::EngineFromConnectionString(L"DSN=x;driver={MYSQL ODBC 5.1 Driver};"),
              Engine::MySql);
    for (const auto& unsupported : std::vector<std::function<void()>>{
             [] { CDbTableHelper::EngineFromConnectionString(L"Driver={Oracle};"); },
             [] { CDbTableHelper::ConnectionString(L"ORACLE", L"", L"", L"", L""); }})
        EXPECT_NE(messageOf(unsupported).find(L"unsupported database type"), std::wstring::npos);
}

namespace {

enum class Backend { Sqlite, MariaDb };

// A fresh store database with its tables, on each engine that can be written.
class StoreTables : public ::testing::TestWithParam<Backend> {
protected:
    void SetUp() override {
        if (GetParam() == Backend::Sqlite) {
            m_db = StoresTest::sqliteStores(m_dir / "stores.db");
            return;
        }
        const auto server = StoresTest::mariaDbServer();
        if (!server)
            GTEST_SKIP() << StoresTest::kNoServerMessage;
        m_mariaDb.emplace(*server);
        m_db = m_mariaDb->open();
        m_db->CreateTables();
    }
    long storeCount() {
        QSqlQuery count = m_db->GetHelper().executeQuery(L"SELECT COUNT(*) FROM tbl_stores;");
        EXPECT_TRUE(count.next());
        return std::stol(CDbTableHelper::retrieveColumn(count, 1));
    }

    QoTest::TempDir m_dir;
    std::optional<StoresTest::MariaDbDatabase> m_mariaDb;
    std::unique_ptr<CStoreDatabase> m_db;
};

} // namespace

TEST_P(StoreTables, TypeLookupIgnoresCaseAndTheTextNullKeepsAColumn) {
    const long a =
        m_db->TablesUpdateOrInsertStore(L"\\\\srv\\jobs\\A", L"A1", L"B1", L"kept", L"msg", 0);
    m_db->TablesUpdateOrInsertStore(L"C:\\jobs\\B", L"A2", L"B2", L"", L"MSG", 0);
    m_db->TablesUpdateOrInsertStore(L"/srv/docs", L"D", L"", L"", L"doc", 0);
    EXPECT_GT(a, 0);
    EXPECT_EQ(m_db->TablesUpdateOrInsertStore(L"NULL", L"A'1b", L"NULL", L"NULL", L"msg", a), a);
    const auto rows = locations(*m_db, L"Msg");
    // Updating does not link the store to its type a second time.
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], (LocationRow{{L"store_id", std::to_wstring(a)},
                                    {L"path_location", L"\\\\srv\\jobs\\A"},
                                    {L"primary_ref", L"A'1b"},
                                    {L"secondary_ref", L"B1"},
                                    {L"description", L"kept"}}));
    EXPECT_EQ(rows[1].at(L"primary_ref"), L"A2");
    EXPECT_TRUE(locations(*m_db, L"none").empty());
    EXPECT_EQ(m_db->GetHelper().TableReadRecordStrings(L"tbl_stores", L"store_id", a,
                                                       {L"date_last_used"})[L"date_last_used"],
              QDate::currentDate().toString(u"dd/MM/yyyy").toStdWString());
}

TEST_P(StoreTables, QuotesAndBackslashesRoundTripAndCannotEndTheString) {
    const std::wstring path = L"\\\\server\\o'brien\\";
    const std::wstring nasty = L"it\\'s'); DROP TABLE tbl_stores; -- \\";
    const long id =
        m_db->TablesUpdateOrInsertStore(path, L"O'Brien", L"C:\\jobs\\", nasty, L"it's", 0);
    const auto rows = locations(*m_db, L"IT'S");
    EXPECT_EQ(rows, (LocationRows{{{L"store_id", std::to_wstring(id)},
                                   {L"path_location", path},
                                   {L"primary_ref", L"O'Brien"},
                                   {L"secondary_ref", L"C:\\jobs\\"},
                                   {L"description", nasty}}}));
    auto& helper = m_db->GetHelper();
    EXPECT_EQ(helper.TableFindRecord(L"tbl_stores", L"store_id", {{L"path_location", path}}, {}),
              id);
    EXPECT_EQ(
        helper.TableFindRecord(L"tbl_stores", L"store_id", {{L"primary_ref", L"o'brien"}}, {}), id);
}

// A record found other than once, or an id that is not a number, throws; an
// update or an insert that fails half-way leaves no trace.
TEST_P(StoreTables, WrongRecordCountsAndIdsThrowAndTheTransactionRollsBack) {
    auto& helper = m_db->GetHelper();
    const long kept = m_db->TablesUpdateOrInsertStore(L"/kept", L"K", L"", L"before", L"msg", 0);
    helper.TableUpdateInsert(L"tbl_store_types", L"type_id", 0, {{L"type", L"MSG"}}, {});
    const std::pair<std::function<void()>, const wchar_t*> cases[] = {
        {[&] { locations(*m_db, L"msg"); }, L"invalid record count (2)"},
        {[&] { m_db->TablesUpdateOrInsertStore(L"NULL", L"", L"", L"after", L"msg", kept); },
         L"invalid record count (2)"},
        {[&] { m_db->TablesUpdateOrInsertStore(L"/new", L"", L"", L"", L"msg", 0); },
         L"invalid record count (2)"},
        {[&] { helper.TableReadRecordStrings(L"tbl_stores", L"store_id", 99, {L"description"}); },
         L"TableReadRecordStrings: invalid record count"},
        {[&] {
             helper.TableFindRecord(L"tbl_stores", L"primary_ref", {}, {{L"store_id", kept}});
         },
         L"invalid type retrieving id field"},
    };
    for (const auto& [action, said] : cases)
        EXPECT_NE(messageOf(action).find(said), std::wstring::npos) << Kerf::Util::toNarrow(said);
    EXPECT_EQ(helper.TableReadRecordStrings(L"tbl_stores", L"store_id", kept,
                                            {L"description"})[L"description"],
              L"before");
    EXPECT_EQ(storeCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(Engines, StoreTables, ::testing::Values(Backend::Sqlite, Backend::MariaDb),
                         [](const auto& info) {
                             return info.param == Backend::Sqlite ? "Sqlite" : "MariaDb";
                         });

// The server answers through its socket, refuses a wrong password, and opens
// from the firm's settings with the password from a file only a group may read.
TEST(StoreDatabaseMariaDb, ReachableThroughItsSocketAndTheFirmsSettingsWithAPasswordFile) {
    const auto server = StoresTest::mariaDbServer();
    if (!server)
        GTEST_SKIP() << StoresTest::kNoServerMessage;
    const StoresTest::MariaDbDatabase database(*server);
    const auto stores = database.open();
    stores->CreateTables();
    stores->TablesUpdateOrInsertStore(L"/srv/jobs/1", L"P1", L"", L"", L"msg", 0);
    stores->TablesUpdateOrInsertStore(L"/srv/jobs/2", L"P2", L"", L"", L"msg", 0);
    if (!server->socket.empty()) {
        EXPECT_EQ(
            locations(*database.open(toWide(server->socket), server->password), L"msg").size(), 2u);
    }
    const auto refusal = messageOf([&] { database.open(server->tcpServer(), "not-the-password"); });
    EXPECT_NE(refusal.find(L"Cannot open the store database"), std::wstring::npos);

    StoresTest::ScopedUser user;
    QoTest::ScopedVariable noPassword(StoreConnection::kPasswordVariable, nullptr);
    // The connection string without its password, which lives in a file.
    std::wstring connection = database.connectionString();
    const std::size_t password = connection.find(L"PASSWORD=");
    ASSERT_NE(password, std::wstring::npos);
    connection.erase(password, connection.find(L';', password) + 1 - password);
    const std::filesystem::path passwordFile = user.dir / "store-password";
    QoTest::writeFile(passwordFile, server->password + "\n");
    QoTest::writeFile(QoTest::ScopedUserFolders::systemSettings(user.dir.path()),
                      "[Store Database]\nConnectionString=" + Kerf::Util::toNarrow(connection) +
                          "\nPasswordFile=" + passwordFile.string() + "\n");
    ::chmod(passwordFile.c_str(), 0640);
    CStoreDatabase db;
    ASSERT_TRUE(db.IsOpen()) << Kerf::Util::toNarrow(db.GetOpenError());
    EXPECT_EQ(locations(db, L"msg").size(), 2u);
    ::chmod(passwordFile.c_str(), 0644);
    const CStoreDatabase refused;
    EXPECT_FALSE(refused.IsOpen());
    EXPECT_NE(refused.GetOpenError().find(L"may be read by every user"), std::wstring::npos);
}

TEST(StoreDatabaseSqlite, FolderListLinesBecomeStoresOnce) {
    StoresTest::ScopedUser user;
    QoTest::writeFile(
        user.appData() / "Folders.txt",
        "\\\\server\\share\\Client\\Job_1\r\nnot a path\r\nC:\\top\r\n/srv/filing/Acme/2020\r\n");
    {
        CStoreDatabase built(CStoreDatabase::eBuildFromFolderLists);
        ASSERT_TRUE(built.IsOpen()) << Kerf::Util::toNarrow(built.GetOpenError());
        const auto rows = locations(built, L"msg");
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_EQ(rows[0].at(L"primary_ref"), L"Client");
        EXPECT_EQ(rows[0].at(L"secondary_ref"), L"Job_1");
        EXPECT_EQ(rows[1].at(L"primary_ref"), L"Acme");
        EXPECT_EQ(rows[1].at(L"secondary_ref"), L"2020");
        // "Job_1" is not taken for a LIKE pattern that also matches "Job-1".
        QoTest::writeFile(user.appData() / "more.txt", "\\\\server\\share\\Client\\Job-1\n");
        EXPECT_EQ(built.ImportFolderList(toWide((user.appData() / "more.txt").string()), L"msg"),
                  1u);
    }
    CStoreDatabase again(CStoreDatabase::eBuildFromFolderLists);
    EXPECT_EQ(locations(again, L"msg").size(), 3u);
}

TEST(StoreDatabaseChoice, SettingsThenSqliteThenAccessThenNothing) {
    StoresTest::ScopedUser user;
    const CStoreDatabase none;
    EXPECT_FALSE(none.IsOpen());
    EXPECT_TRUE(none.GetOpenError().empty());
    QoTest::writeFile(user.appData() / (QoTest::kProduct + ".mdb"), "not an access file");
    const CStoreDatabase mdb;
    EXPECT_FALSE(mdb.IsOpen());
    EXPECT_NE(mdb.GetOpenError().find(toWide(QoTest::kProduct + ".mdb")), std::wstring::npos);
    StoresTest::sqliteStores(user.appData() / (QoTest::kProduct + ".db"))
        ->TablesUpdateOrInsertStore(L"/local", L"L", L"", L"", L"msg", 0);
    CStoreDatabase preferred;
    ASSERT_TRUE(preferred.IsOpen()) << Kerf::Util::toNarrow(preferred.GetOpenError());
    EXPECT_EQ(locations(preferred, L"msg").size(), 1u);
    const std::wstring other = toWide((user.dir.path() / "other.db").string());
    StoresTest::sqliteStores(user.dir.path() / "other.db");
    openUserSettings()->setValue(
        QStringLiteral("Store Database/ConnectionString"),
        QString::fromStdWString(L"Driver={SQLite3};Database=" + other + L";"));
    CStoreDatabase configured;
    ASSERT_TRUE(configured.IsOpen());
    EXPECT_TRUE(locations(configured, L"msg").empty());
}
