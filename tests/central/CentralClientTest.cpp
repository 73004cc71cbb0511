// The front ends over the central index: qosearch-cli find asks it for the folders under its roots
// and falls back to the per-user index when it does not answer (that both find the same is
// FindCommand's test); the service resumes a killed round without losing what it had committed.

#include "CentralTestSupport.h"
#include "CommandLine.h"

#include "CorpusGenerator.h"

#include <cstdio>

#include <QProcess>
#include <QTcpServer>

namespace fs = std::filesystem;

namespace {

std::string rowsCount(const std::string& conninfo) {
    return Kerf::Central::CPgConnection(conninfo)
        .query("SELECT count(*) FROM qosearch.messages")
        .text(0, 0);
}

} // namespace

// A streaming standby, where there is one, answers as the primary once it has replayed the round.
TEST(CentralClient, FindAsksTheCentralIndexOrItsStandbyAndFallsBackWhenItDoesNotAnswer) {
    QO_REQUIRE_FILING_TREE(server, tree);
    QoTest::ScopedUserFolders folders(tree.temp / "home");
    QoTest::runCentralRound(server.indexd, {tree.root.wstring()});

    // User A's role sees a/ and shared/ only; the per-user index sees all.
    const std::vector<std::string> find = {"find", "--subject", "budget", "--folder",
                                           tree.root.string()};
    // A loopback port that takes connections and never answers.
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost));
    const std::multiset<std::string> seenByA = {"1.msg", "3.msg"},
                                     all = {"1.msg", "2.msg", "3.msg"};
    const std::string fellBack = "Searched the per-user index instead of the central index";
    struct Case {
        std::string conninfo, option;
        std::multiset<std::string> files;
        std::string status;
    };
    std::vector<Case> cases = {
        {server.userA, "", seenByA, "2 matches found"},
        {server.userA, "--central", seenByA, "2 matches found"},
        {server.userA, "--local-only", all, "3 matches found"},
        {"host=127.0.0.1 port=1 dbname=none", "", all, fellBack},
        {"host=127.0.0.1 port=" + std::to_string(silent.serverPort()) + " dbname=none", "", all,
         fellBack},
    };
    if (server.standbyA.empty()) {
        std::printf("no standby: eval \"$(scripts/postgres standby)\" after starting the server\n");
    } else {
        const std::string written = Kerf::Central::CPgConnection(server.indexd)
                                        .query("SELECT pg_current_wal_lsn()")
                                        .text(0, 0);
        Kerf::Central::CPgConnection standby(server.standbyA);
        ASSERT_EQ(standby.query("SELECT pg_is_in_recovery()").text(0, 0), "t");
        const auto replayed = [&] {
            return standby.query("SELECT pg_last_wal_replay_lsn() >= $1::pg_lsn", {written})
                       .text(0, 0) == "t";
        };
        ASSERT_TRUE(QoTest::waitFor(replayed)) << "the standby did not catch up within two minutes";
        cases.push_back({server.standbyA, "", seenByA, "2 matches found"});
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.conninfo + " " + c.option);
        QoTest::setCentralIndex(c.conninfo, tree.root);
        std::vector<std::string> args = find;
        if (!c.option.empty())
            args.push_back(c.option);
        const QoTest::CommandResult result = QoTest::runCli(args);
        EXPECT_TRUE(QoTest::endedSaying(result, 0, c.status));
        EXPECT_EQ(result.fileNames(), c.files);
    }
}

TEST(CentralClient, KilledServiceResumesWithItsCommittedRows) {
    QO_REQUIRE_POSTGRES(server);
    QoTest::TempDir temp;
    const fs::path root = temp / "filing";
    // More messages than one commit takes, so that the kill comes after one.
    constexpr std::size_t kMessages = 3000;
    QoMsg::generateCorpus(root, kMessages, 11);
    fs::permissions(temp.path(), fs::perms::others_read | fs::perms::others_exec,
                    fs::perm_options::add);
    const fs::path settings = temp / "indexd.conf";
    QoTest::writeFile(settings, "[Central]\nConnection=\"" + server.indexd + "\"\n");
    QoTest::ScopedUserFolders folders(temp / "home");

    const QStringList args = {"--settings", QString::fromStdString(settings.string()), "--once",
                              "--folder", QString::fromStdString(root.string())};
    const QString program = QOSEARCH_BINARY_DIR "/src/indexd/qosearch-indexd";
    QProcess service;
    service.start(program, args);
    ASSERT_TRUE(service.waitForStarted());
    std::string committed = "0";
    for (int i = 0; i < 3000 && committed == "0"; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        try {
            committed = rowsCount(server.indexd);
        } catch (const Kerf::CExceptionBase&) {
            // the tables are not there yet
        }
    }
    service.kill();
    service.waitForFinished();
    ASSERT_NE(committed, "0") << "nothing was committed within five minutes";
    const std::string afterKill = rowsCount(server.indexd);
    EXPECT_GE(std::stoul(afterKill), std::stoul(committed));
    ASSERT_LT(std::stoul(afterKill), kMessages) << "the round ended before it was killed";

    // The next round writes only what the killed one had not committed; it
    // reads thousands of messages, so it is given ten minutes.
    service.start(program, args);
    ASSERT_TRUE(service.waitForFinished(600000));
    EXPECT_EQ(service.exitCode(), 0);
    const std::string said = service.readAllStandardError().toStdString();
    EXPECT_NE(
        said.find(" " + std::to_string(kMessages - std::stoul(afterKill)) + " written, 0 removed"),
        std::string::npos)
        << said;
    EXPECT_EQ(rowsCount(server.indexd), std::to_string(kMessages));
}
