#pragma once
// The PostgreSQL server scripts/postgres starts, as the tests reach it: the
// service's role and the two users' roles, each with its connection text.

#include "MsgWriter.h"
#include "TempDir.h"
#include "WaitFor.h"
#include "central/CentralIndexer.h"
#include "central/CentralSchema.h"
#include "central/PgConnection.h"
#include "stores/UserSettings.h"

#include <sys/acl.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace QoTest {

struct PostgresServer {
    std::string indexd, userA, userB; // connection texts
    std::string nameA, nameB;         // the users' roles, named after Unix accounts
    std::string standbyA;             // user A on the streaming standby; empty without one
};

inline std::optional<PostgresServer> postgresServer() {
    const auto get = [](const char* name) -> std::string {
        const char* value = std::getenv(name);
        return value != nullptr ? value : "";
    };
    if (get("QOSEARCH_TEST_PG_PORT").empty())
        return std::nullopt;
    const auto conninfo = [&](const char* user, const char* password,
                              const char* port = "QOSEARCH_TEST_PG_PORT") {
        return "host=" + get("QOSEARCH_TEST_PG_HOST") + " port=" + get(port) +
               " dbname=" + get("QOSEARCH_TEST_PG_DATABASE") + " user=" + get(user) +
               " password=" + get(password);
    };
    return PostgresServer{
        conninfo("QOSEARCH_TEST_PG_INDEXD_USER", "QOSEARCH_TEST_PG_INDEXD_PASSWORD"),
        conninfo("QOSEARCH_TEST_PG_USER_A", "QOSEARCH_TEST_PG_PASSWORD_A"),
        conninfo("QOSEARCH_TEST_PG_USER_B", "QOSEARCH_TEST_PG_PASSWORD_B"),
        get("QOSEARCH_TEST_PG_USER_A"),
        get("QOSEARCH_TEST_PG_USER_B"),
        get("QOSEARCH_TEST_PG_STANDBY_PORT").empty()
            ? ""
            : conninfo("QOSEARCH_TEST_PG_USER_A", "QOSEARCH_TEST_PG_PASSWORD_A",
                       "QOSEARCH_TEST_PG_STANDBY_PORT")};
}

/// Skips the test without a server, and empties the central index with one.
#define QO_REQUIRE_POSTGRES(server)                                                                \
    const auto server##Found = QoTest::postgresServer();                                           \
    if (!server##Found)                                                                            \
        GTEST_SKIP() << "no PostgreSQL server: run scripts/test, or eval \"$(scripts/postgres "    \
                        "start)\"";                                                                \
    const QoTest::PostgresServer& server = *server##Found;                                         \
    Kerf::Central::CPgConnection(server.indexd).run("DROP SCHEMA IF EXISTS qosearch CASCADE")

/// One whole round of the central indexer over the folders.
inline void runCentralRound(const std::string& conninfo, const std::vector<std::wstring>& roots) {
    {
        Kerf::Central::CPgConnection connection(conninfo);
        Kerf::Central::createSchema(connection);
    }
    Kerf::Central::CCentralIndexer indexer(conninfo, roots);
    indexer.go();
    EXPECT_TRUE(waitFor([&] { return indexer.isFinished(); }, std::chrono::minutes(3)))
        << "the round never ended";
    EXPECT_EQ(indexer.getLastError(), L"");
    EXPECT_EQ(indexer.getCommitError(), L"");
    indexer.stop();
}

namespace fs = std::filesystem;

/// The user's settings name the central index and its one root.
inline void setCentralIndex(const std::string& conninfo, const fs::path& root) {
    auto settings = Kerf::QuireLib::openUserSettings();
    settings->setValue("Central Index/Connection", QString::fromStdString(conninfo));
    settings->setValue("Central Index/Roots", QStringList{QString::fromStdString(root.string())});
}

inline void writeMessage(const fs::path& path, const std::wstring& subject, bool sent = true) {
    QoMsg::MsgMessage message;
    message.subject = subject;
    message.body = L"Quarterly figures for " + subject;
    message.senderName = L"Ann Example";
    if (sent)
        message.submitTime = QoMsg::fileTimeFromUtc(2021, 3, 4, 10, 0, 0);
    fs::create_directories(path.parent_path());
    QoMsg::writeMsgFile(path, message);
}

// Only the owner and the named account may list the folder.
inline bool allowOnly(const fs::path& folder, const std::string& account) {
    const std::string text = "u::rwx,g::---,o::---,m::r-x,u:" + account + ":r-x";
    acl_t acl = acl_from_text(text.c_str());
    const bool set = acl != nullptr && acl_set_file(folder.c_str(), ACL_TYPE_ACCESS, acl) == 0;
    if (acl != nullptr)
        acl_free(acl);
    return set;
}

// The subject of the message everyone may read, never sent: text the rows' literals must quote.
inline const std::wstring kSharedSubject = L"shared budget \"{q}\", \\ 'x'";

// A tree of three folders: one only A may read, one only B, one everyone.
struct FilingTree {
    QoTest::TempDir temp;
    fs::path root = temp / "filing";

    FilingTree(const QoTest::PostgresServer& server) {
        writeMessage(root / "a" / "1.msg", L"alpha budget");
        writeMessage(root / "b" / "2.msg", L"beta budget");
        writeMessage(root / "shared" / "3.msg", kSharedSubject, false);
        fs::permissions(temp.path(), fs::perms::owner_all | fs::perms::group_read |
                                         fs::perms::group_exec | fs::perms::others_read |
                                         fs::perms::others_exec);
        aclsSet = allowOnly(root / "a", server.nameA) && allowOnly(root / "b", server.nameB);
    }
    bool aclsSet = false;
};

/// QO_REQUIRE_POSTGRES, then the filing tree; skips where the folders keep no ACLs.
#define QO_REQUIRE_FILING_TREE(server, tree)                                                       \
    QO_REQUIRE_POSTGRES(server);                                                                   \
    const QoTest::FilingTree tree(server);                                                         \
    if (!tree.aclsSet)                                                                             \
    GTEST_SKIP() << "the temporary folder's file system keeps no ACLs"

} // namespace QoTest
