// qosearch-cli stores, run as a separate program on a redirected user.

#include "stores/QuartoDb.h"
#include "support/Strings.h"

#include "CommandLine.h"
#include "TempDir.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using Kerf::QuireLib::CQuartoDb;

namespace {

/// A temporary folder that stands in for the user's data and settings folders.
struct ScopedUser {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders{dir.path()};

    std::filesystem::path appData() const { return dir.path() / "data/Pellam/Quarto"; }
};

// The user's folders are redirected in this process, so also in the program.
QoTest::CommandResult stores(std::vector<std::string> args) {
    args.insert(args.begin(), "stores");
    return QoTest::runCli(args);
}

void fillUser(const ScopedUser& user) {
    std::filesystem::create_directories(user.appData());
    CQuartoDb db(L"SQLITE", Kerf::Util::toWide((user.appData() / "Quarto.db").string()), L"", L"",
                 L"");
    db.CreateTables();
    db.TablesUpdateOrInsertStore(L"/srv/jobs/b", L"B-2", L"Acme", L"Tower\tblock\x1B[2J", L"msg",
                                 0);
    db.TablesUpdateOrInsertStore(L"/srv/jobs/a", L"A-1", L"Bolt", L"", L"msg", 0);
    db.TablesUpdateOrInsertStore(L"Outlook:\\\\Mailbox\\\\Inbox", L"C-3", L"", L"", L"msg", 0);
    QoTest::writeFile(user.dir.path() / "share/list.xml",
                      "<filinglocations><locations><location path=\"\\\\server\\central\" "
                      "primaryref=\"Z-9\" description=\"from the share\"/></locations>"
                      "</filinglocations>");
    QoTest::writeFile(user.appData() / "qoFilingLists.txt",
                      (user.dir.path() / "share/list.xml").string() + "\n");
}

} // namespace

TEST(StoresCommand, PrintsTheListInDisplayOrderAsTextOrJson) {
    ScopedUser user;
    fillUser(user);
    const QoTest::CommandResult text = stores({});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "2\tLocal\tA-1\tBolt\t\t/srv/jobs/a\n"
                        "1\tLocal\tB-2\tAcme\tTower block\\x1b[2J\t/srv/jobs/b\n"
                        "-1\tCentral\tZ-9\t\tfrom the share\t\\\\server\\central\n");

    const QoTest::CommandResult filtered = stores({"--filter", "ACME", "--json"});
    EXPECT_EQ(filtered.status, 0) << filtered.err;
    const QJsonArray rows =
        QJsonDocument::fromJson(QByteArray::fromStdString(filtered.out)).array();
    ASSERT_EQ(rows.size(), 1);
    const QJsonObject row = rows[0].toObject();
    EXPECT_EQ(row.value("store_id").toString(), "1");
    EXPECT_EQ(row.value("source").toString(), "Local");
    EXPECT_EQ(row.value("description").toString(), "Tower\tblock\x1b[2J");
    EXPECT_EQ(row.value("path_location").toString(), "/srv/jobs/b");
    EXPECT_EQ(row.keys().size(), 6);

    const QoTest::CommandResult mail = stores({"--kind", "0"});
    EXPECT_EQ(mail.out, "3\tLocal\tC-3\t\t\tOutlook:\\\\Mailbox\\\\Inbox\n");
    EXPECT_NE(stores({"--kind", "2"}).out.find("C-3"), std::string::npos);
}

TEST(StoresCommand, WrongUsageAndADamagedDatabaseAreClear) {
    ScopedUser user;
    EXPECT_EQ(stores({"--kind", "7"}).status, 2);
    EXPECT_EQ(stores({"--filter"}).status, 2);
    EXPECT_EQ(stores({"--bogus"}).status, 2);

    // Nothing to read is a failure an administrator must see, with an empty list.
    const QoTest::CommandResult empty = stores({"--json"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_TRUE(QJsonDocument::fromJson(QByteArray::fromStdString(empty.out)).isArray());

    QoTest::writeFile(user.appData() / "Quarto.db", std::string(4096, '\x13'));
    const QoTest::CommandResult damaged = stores({});
    EXPECT_TRUE(QoTest::endedSaying(damaged, 1, "Cannot open the store database"));
    EXPECT_EQ(damaged.out, "");
}
