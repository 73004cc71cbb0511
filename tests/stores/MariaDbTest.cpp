// The store database on a real MariaDB server, which scripts/test starts on
// the loopback address and names in QOSEARCH_TEST_MYSQL_* variables. Each test
// works in a database of its own, so the tests may run side by side.

#include "stores/DbTableHelper.h"
#include "stores/MsgStoresListModel.h"
#include "stores/QODatabase.h"
#include "stores/UserSettings.h"

#include "StoresTestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Kerf::QuireLib;
using Kerf::Util::toWide;

namespace {

class MariaDb : public ::testing::Test {
protected:
    void SetUp() override {
        const auto server = StoresTest::mariaDbServer();
        if (!server)
            GTEST_SKIP() << StoresTest::kNoServerMessage;
        m_server = *server;
        std::string name = std::string("qo_") + std::to_string(getpid()) + "_" +
                           ::testing::UnitTest::GetInstance()->current_test_info()->name();
        for (char& c : name)
            c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        m_sDatabase = toWide(name.substr(0, 60));
        admin().executeQuery(L"DROP DATABASE IF EXISTS " + m_sDatabase + L";");
        admin().executeQuery(L"CREATE DATABASE " + m_sDatabase + L" CHARACTER SET utf8mb4;");
        m_db = std::make_unique<CQuartoDb>(L"MYSQL", m_sDatabase, m_server.tcpServer(),
                                           toWide(m_server.user), toWide(m_server.password));
        m_db->CreateTables();
    }
    void TearDown() override {
        m_db.reset();
        if (!m_sDatabase.empty())
            admin().executeQuery(L"DROP DATABASE IF EXISTS " + m_sDatabase + L";");
    }
    CDbTableHelper& admin() {
        if (!m_admin.IsOpen())
            m_admin.Attach(L"MYSQL", toWide(m_server.database), m_server.tcpServer(),
                           toWide(m_server.user), toWide(m_server.password));
        return m_admin;
    }
    LocationRows locations(const std::wstring& type) { return StoresTest::locations(*m_db, type); }
    std::wstring connectionString() const {
        return CDbTableHelper::ConnectionString(L"MYSQL", m_sDatabase, m_server.tcpServer(),
                                                toWide(m_server.user), toWide(m_server.password));
    }

    StoresTest::MariaDbServer m_server;
    std::wstring m_sDatabase;
    CDbTableHelper m_admin;
    std::unique_ptr<CQuartoDb> m_db;
};

} // namespace

TEST_F(MariaDb, UppercaseTypeFindsLowercaseTypeAndNullKeepsTheColumn) {
    EXPECT_EQ(m_db->GetHelper().GetEngine(), CDbTableHelper::Engine::MySql);
    const long id =
        m_db->TablesUpdateOrInsertStore(L"\\\\srv\\jobs", L"J1", L"S1", L"kept", L"msg", 0);
    ASSERT_GT(id, 0);
    m_db->TablesUpdateOrInsertStore(L"NULL", L"J1b", L"NULL", L"NULL", L"msg", id);
    const long second = m_db->TablesUpdateOrInsertStore(L"/srv/b", L"J2", L"", L"", L"msg", 0);
    EXPECT_GT(second, id);
    const auto rows = locations(L"MSG");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at(L"store_id"), std::to_wstring(id));
    EXPECT_EQ(rows[0].at(L"path_location"), L"\\\\srv\\jobs");
    EXPECT_EQ(rows[0].at(L"primary_ref"), L"J1b");
    EXPECT_EQ(rows[0].at(L"secondary_ref"), L"S1");
    EXPECT_EQ(rows[0].at(L"description"), L"kept");
    EXPECT_TRUE(locations(L"doc").empty());
}

TEST_F(MariaDb, QuotesAndBackslashesRoundTrip) {
    const std::wstring path = L"\\\\server\\o'brien\\";
    const std::wstring nasty = L"it\\'s'); DROP TABLE tbl_stores; -- \\";
    const long id =
        m_db->TablesUpdateOrInsertStore(path, L"O'Brien", L"C:\\jobs\\", nasty, L"msg", 0);
    const auto rows = locations(L"msg");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].at(L"path_location"), path);
    EXPECT_EQ(rows[0].at(L"primary_ref"), L"O'Brien");
    EXPECT_EQ(rows[0].at(L"secondary_ref"), L"C:\\jobs\\");
    EXPECT_EQ(rows[0].at(L"description"), nasty);
    EXPECT_EQ(m_db->GetHelper().TableFindRecord(L"tbl_stores", L"store_id",
                                                {{L"path_location", path}}, {}),
              id);
}

TEST_F(MariaDb, TypesNamedAlikeThrowTheRecordCountAndTheTransactionRollsBack) {
    auto& helper = m_db->GetHelper();
    const long kept = m_db->TablesUpdateOrInsertStore(L"/kept", L"K", L"", L"before", L"msg", 0);
    helper.TableUpdateInsert(L"tbl_store_types", L"type_id", 0, {{L"type", L"MSG"}}, {});
    EXPECT_EQ(StoresTest::messageOf([&] { locations(L"msg"); }),
              L"Kerf::QuireLib::CDbTableHelper::TableFindRecord: invalid record count (2)");
    // An update and an insert that fail half-way leave no trace.
    EXPECT_THROW(m_db->TablesUpdateOrInsertStore(L"NULL", L"", L"", L"after", L"msg", kept),
                 Kerf::CExceptionBase);
    EXPECT_THROW(m_db->TablesUpdateOrInsertStore(L"/new", L"", L"", L"", L"msg", 0),
                 Kerf::CExceptionBase);
    auto row = helper.TableReadRecordStrings(L"tbl_stores", L"store_id", kept, {L"description"});
    EXPECT_EQ(row[L"description"], L"before");
    QSqlQuery count = helper.executeQuery(L"SELECT COUNT(*) FROM tbl_stores;");
    ASSERT_TRUE(count.next());
    EXPECT_EQ(CDbTableHelper::retrieveColumn(count, 1), L"1");
}

TEST_F(MariaDb, ReachableThroughItsSocketAndThroughTheUserSettings) {
    m_db->TablesUpdateOrInsertStore(L"/srv/jobs/1", L"P1", L"", L"", L"msg", 0);
    m_db->TablesUpdateOrInsertStore(L"Outlook:\\\\Mailbox\\\\Inbox", L"P2", L"", L"", L"msg", 0);
    if (!m_server.socket.empty()) {
        CQuartoDb bySocket(L"MYSQL", m_sDatabase, toWide(m_server.socket), toWide(m_server.user),
                           toWide(m_server.password));
        EXPECT_EQ(StoresTest::locations(bySocket, L"msg").size(), 2u);
    }
    try {
        CQuartoDb wrong(L"MYSQL", m_sDatabase, m_server.tcpServer(), toWide(m_server.user),
                        L"not-the-password");
        FAIL() << "a wrong password was accepted";
    } catch (const CDbException& e) {
        EXPECT_NE(e.getMessage().find(L"Cannot open the store database"), std::wstring::npos);
    }

    StoresTest::ScopedUser user;
    openUserSettings()->setValue(QStringLiteral("Store Database/ConnectionString"),
                                 QString::fromStdWString(connectionString()));
    CMsgStoresListModel list;
    EXPECT_TRUE(list.LoadStoreLocations(eFileSystemFolder));
    ASSERT_EQ(list.GetRowCount(), 1u);
    EXPECT_EQ(list.GetRow(0)[CMsgStoresListModel::eColSource], L"Local");
    EXPECT_EQ(list.GetRow(0)[CMsgStoresListModel::eColLocation], L"/srv/jobs/1");
    EXPECT_TRUE(list.LoadStoreLocations(eMailClientFolder));
    ASSERT_EQ(list.GetRowCount(), 1u);
    EXPECT_EQ(list.GetRow(0)[CMsgStoresListModel::eColPrimaryRef], L"P2");
}
