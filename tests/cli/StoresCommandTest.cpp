// qosearch-cli stores and doctor, run as separate programs on a redirected user: the filing-store
// list as text or JSON, where each part of it came from, and what is missing. An installed tree
// finds its shipped files (the list's schema, the help page) beside its programs, wherever the tree
// is moved, and never reaches back into the build tree for them.

#include "CommandLine.h"
#include "stores/StoresTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdlib>

namespace fs = std::filesystem;
using QoTest::runCli;

namespace {

std::string centralList(const std::string& location, const char* reference,
                        const char* description) {
    return "<filinglocations><locations><location path=\"" + location + "\" primaryref=\"" +
           reference + "\" description=\"" + description + "\"/></locations></filinglocations>";
}

// The user's folders are redirected in this process, so also in the program.
class StoresCommand : public ::testing::Test, protected StoresTest::ScopedUser {
protected:
    const fs::path firm = QoTest::ScopedUserFolders::systemSettings(dir.path());

    /// The user's store database with the stores (path, reference, name, description), in order.
    void storeDatabase(const std::vector<std::array<std::wstring, 4>>& stores) {
        fs::create_directories(appData());
        const auto db = StoresTest::sqliteStores(appData() / (QoTest::kProduct + ".db"));
        for (const auto& [path, reference, name, description] : stores)
            db->TablesUpdateOrInsertStore(path, reference, name, description, L"msg", 0);
    }
};

} // namespace

TEST_F(StoresCommand, PrintsTheListInDisplayOrderAsTextOrJson) {
    storeDatabase({{L"/srv/jobs/b", L"B-2", L"Acme", L"Tower\tblock\x1B[2J"},
                   {L"/srv/jobs/a", L"A-1", L"Bolt", L""},
                   {L"Outlook:\\\\Mailbox\\\\Inbox", L"C-3", L"", L""}});
    QoTest::writeFile(dir / "share/list.xml",
                      centralList("\\\\server\\central", "Z-9", "from the share"));
    QoTest::writeFile(appData() / "qoFilingLists.txt", (dir / "share/list.xml").string() + "\n");
    const QoTest::CommandResult text = runCli({"stores"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out, "2\tLocal\tA-1\tBolt\t\t/srv/jobs/a\n"
                        "1\tLocal\tB-2\tAcme\tTower block\\x1b[2J\t/srv/jobs/b\n"
                        "-1\tCentral\tZ-9\t\tfrom the share\t\\\\server\\central\n");

    const QoTest::CommandResult filtered = runCli({"stores", "--filter", "ACME", "--json"});
    EXPECT_EQ(filtered.status, 0) << filtered.err;
    const QJsonObject acme = {{"store_id", "1"},
                              {"source", "Local"},
                              {"primary_ref", "B-2"},
                              {"secondary_ref", "Acme"},
                              {"description", "Tower\tblock\x1b[2J"},
                              {"path_location", "/srv/jobs/b"}};
    EXPECT_EQ(QJsonDocument::fromJson(QByteArray::fromStdString(filtered.out)).array(),
              QJsonArray{acme});

    EXPECT_EQ(runCli({"stores", "--kind", "0"}).out,
              "3\tLocal\tC-3\t\t\tOutlook:\\\\Mailbox\\\\Inbox\n");
    EXPECT_NE(runCli({"stores", "--kind", "2"}).out.find("C-3"), std::string::npos);
}

TEST_F(StoresCommand, NothingToReadEndsWithStatusOneAndSaysWhatWasLookedFor) {
    for (const char* command : {"stores", "doctor"}) {
        const auto result = runCli({command});
        EXPECT_TRUE(
            QoTest::endedSaying(result, 1, "no store database and no central list could be read"))
            << command;
        const std::string said = result.err + result.out;
        for (const std::string& text :
             {"settings " + firm.string() + ": not there",
              "store database: none: no ConnectionString in the settings, and no " +
                  QoTest::kProduct + ".db or " + QoTest::kProduct + ".mdb in " +
                  appData().string() + "/: nothing to read",
              std::string("central lists: none named")})
            EXPECT_NE(said.find(text), std::string::npos) << command << ": " << text << "\n"
                                                          << said;
    }
    // Nothing to read is a failure an administrator must see, with an empty list.
    const QoTest::CommandResult empty = runCli({"stores", "--json"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_TRUE(QJsonDocument::fromJson(QByteArray::fromStdString(empty.out)).isArray());
}

TEST_F(StoresCommand, EachSourceSaysWhetherItWasReadFromItsCacheOrNotAtAll) {
    const fs::path here = dir / "filing/here", gone = dir / "filing/gone";
    fs::create_directories(here);
    storeDatabase({{here.wstring(), L"J1", L"", L""}, {gone.wstring(), L"J2", L"", L""}});
    QoTest::writeFile(dir / "share/central.xml", centralList(here.string(), "C-1", "central"));
    QoTest::writeFile(dir / "share/cached.xml",
                      centralList((dir / "filing/cached").string(), "C-1", "central"));
    QoTest::writeFile(firm, "[Filing Lists]\nJobs=" + (dir / "share/central.xml").string() +
                                "\nNowhere=/mnt/nowhere/central.xml\n");
    QoTest::writeFile(appData() / "qoFilingLists.txt", (dir / "share/cached.xml").string() + "\n");
    ASSERT_EQ(runCli({"stores"}).status, 0); // copies both lists into the cache
    fs::remove(dir / "share/cached.xml");

    const auto stores = runCli({"stores"});
    EXPECT_EQ(stores.status, 0) << stores.err;
    const std::string cached = (dir / "share/cached.xml").string();
    for (const std::string& text :
         {"settings " + firm.string() + ": read",
          "settings " + (appData() / "EmailFiling.cfg").string() + ": not there",
          "store database: SQLite file " + (appData() / (QoTest::kProduct + ".db")).string() +
              ": read, 2 locations",
          "central list " + (dir / "share/central.xml").string() + ": read, 1 location\n",
          std::string("central list /mnt/nowhere/central.xml: unreadable: no such file, and it "
                      "was never copied here"),
          "central list " + cached + ": read from its cached copy ",
          "1 location (Can't access file : " + cached + " (no such file))"})
        EXPECT_NE(stores.err.find(text), std::string::npos) << text << "\n" << stores.err;
    EXPECT_NE(stores.out.find(here.string()), std::string::npos) << stores.out;

    const auto doctor = runCli({"doctor"});
    EXPECT_EQ(doctor.status, 0) << doctor.err;
    for (const std::string& text :
         {"index folder " + (appData() / "Index/").string(),
          std::string(": not made yet (the first search makes it)\n"),
          "location " + here.string() + ": reachable\n",
          "location " + gone.string() + ": not reachable: Folder not found: " + gone.string(),
          std::string("store database: SQLite file")})
        EXPECT_NE(doctor.out.find(text), std::string::npos) << text << "\n" << doctor.out;

    // A database that cannot be reached is named with the reason.
    QoTest::writeFile(firm, "[Store Database]\nConnectionString=DRIVER={MySQL ODBC 3.51 Driver};"
                            "DB=q;SERVER=127.0.0.1:1;UID=reader;\n");
    const auto unreachable = runCli({"stores"});
    EXPECT_TRUE(QoTest::endedSaying(
        unreachable, 1,
        "store database: MariaDB/MySQL database \"q\" on 127.0.0.1:1 as \"reader\" (from " +
            firm.string() + "): unreadable: "))
        << unreachable.err;
}

TEST_F(StoresCommand, ADamagedDatabaseIsNamedAndNothingIsListed) {
    QoTest::writeFile(appData() / (QoTest::kProduct + ".db"), std::string(4096, '\x13'));
    const QoTest::CommandResult damaged = runCli({"stores"});
    EXPECT_TRUE(QoTest::endedSaying(damaged, 1, "Cannot open the store database"));
    EXPECT_EQ(damaged.out, "");
}

// Each command's options, missing, empty or out of range, on a redirected
// user and an empty folder, so that nothing is searched if one slips through.
using CommandUsage = StoresCommand;
TEST_F(CommandUsage, WrongOptionsEndWithStatusTwo) {
    const std::string folder = (dir / "empty").string();
    fs::create_directories(folder);
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"stores", "--kind", "7"},
          {"stores", "--filter"},
          {"stores", "--bogus"},
          {"show"},
          {"show", "--bogus", folder},
          {"find", "--folder"},
          {"find", "--folder", ""},
          {"find", "--index-dir", "", "--folder", folder},
          {"find", "--folder", folder, "--after", "2024-02-30"}}) {
        const auto result = runCli(args);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(args) << ": " << result.err;
    }
}

TEST(InstalledTree, FindsHelpPageAndSchemaBesideItsProgramsOnly) {
    QoTest::TempDir tmp;
    const auto install =
        QoTest::runProgram(QOSEARCH_CMAKE_COMMAND,
                           {"--install", QOSEARCH_BINARY_DIR, "--prefix", (tmp / "p").string()});
    ASSERT_EQ(install.status, 0) << install.out << install.err;
    // A tree moved after installing still finds its files: nothing points at its install prefix.
    fs::rename(tmp / "p", tmp / "moved");
    const fs::path root = tmp / "moved";
    for (const char* file : {"bin/qosearch", "share/applications/qosearch.desktop",
                             "share/icons/hicolor/scalable/apps/qosearch.svg"})
        EXPECT_TRUE(fs::is_regular_file(root / file)) << file;

    QoTest::ScopedUserFolders user(tmp / "user");
    QoTest::writeFile(tmp / "lists/central.xml",
                      centralList("/srv/filing/J1001", "J1001", "checked by the schema"));
    QoTest::writeFile(tmp / "user/data" / QoTest::kVendor / QoTest::kProduct / "qoFilingLists.txt",
                      (tmp / "lists/central.xml").string() + "\n");
    unsetenv("QOSEARCH_DATA_DIR");
    const std::string cli = (root / "bin/qosearch-cli").string();

    const auto help = QoTest::runProgram(cli, {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Help page: " + (root / "share/qosearch/QoSearch.html").string()),
              std::string::npos)
        << help.out;
    // The central list is read only when it validates against the schema.
    const auto stores = QoTest::runProgram(cli, {"stores"});
    EXPECT_EQ(stores.status, 0) << stores.err;
    EXPECT_NE(stores.out.find("/srv/filing/J1001"), std::string::npos) << stores.out;

    // Without the installed files the program has none: the build tree's copies are out of reach.
    fs::remove_all(root / "share/qosearch");
    EXPECT_NE(QoTest::runProgram(cli, {"--help"}).out.find("The help page is not installed."),
              std::string::npos);
    EXPECT_EQ(QoTest::runProgram(cli, {"stores"}).out.find("/srv/filing/J1001"), std::string::npos);
}
