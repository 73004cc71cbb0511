#pragma once
// The PostgreSQL server scripts/postgres starts, as the tests reach it: the
// service's role and the two users' roles, each with its connection text.

#include "central/CentralIndexer.h"
#include "central/CentralSchema.h"
#include "central/PgConnection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

namespace QoTest {

struct PostgresServer {
    std::string indexd, userA, userB; // connection texts
    std::string nameA, nameB;         // the users' roles, named after Unix accounts
};

inline std::optional<PostgresServer> postgresServer() {
    const auto get = [](const char* name) -> std::string {
        const char* value = std::getenv(name);
        return value != nullptr ? value : "";
    };
    if (get("QOSEARCH_TEST_PG_PORT").empty())
        return std::nullopt;
    const auto conninfo = [&](const char* user, const char* password) {
        return "host=" + get("QOSEARCH_TEST_PG_HOST") + " port=" + get("QOSEARCH_TEST_PG_PORT") +
               " dbname=" + get("QOSEARCH_TEST_PG_DATABASE") + " user=" + get(user) +
               " password=" + get(password);
    };
    return PostgresServer{
        conninfo("QOSEARCH_TEST_PG_INDEXD_USER", "QOSEARCH_TEST_PG_INDEXD_PASSWORD"),
        conninfo("QOSEARCH_TEST_PG_USER_A", "QOSEARCH_TEST_PG_PASSWORD_A"),
        conninfo("QOSEARCH_TEST_PG_USER_B", "QOSEARCH_TEST_PG_PASSWORD_B"),
        get("QOSEARCH_TEST_PG_USER_A"), get("QOSEARCH_TEST_PG_USER_B")};
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
    while (!indexer.isFinished())
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(indexer.getLastError(), L"");
    EXPECT_EQ(indexer.getCommitError(), L"");
    indexer.stop();
}

} // namespace QoTest
