// The central index against a real PostgreSQL server: who sees which rows,
// and how the rows follow the files from one round to the next.

#include "CentralTestSupport.h"

#include "central/CentralSearch.h"
#include "support/Exception.h"

#include <set>

namespace fs = std::filesystem;
using Kerf::Central::CPgConnection;

namespace {

std::set<std::string> visiblePaths(const std::string& conninfo, const fs::path& base) {
    CPgConnection connection(conninfo);
    const auto rows = connection.query("SELECT path FROM qosearch.messages");
    std::set<std::string> paths;
    for (int r = 0; r < rows.rows(); ++r)
        paths.insert(fs::path(rows.text(r, 0)).lexically_relative(base).string());
    return paths;
}

} // namespace

TEST(CentralIndex, EachUserSeesOnlyRowsOfFoldersTheyMayReadAndTheRowsFollowTheFiles) {
    QO_REQUIRE_FILING_TREE(server, tree);
    const std::wstring root = tree.root.wstring();
    QoTest::runCentralRound(server.indexd, {root});

    EXPECT_EQ(visiblePaths(server.indexd, tree.root),
              (std::set<std::string>{"a/1.msg", "b/2.msg", "shared/3.msg"}));
    struct Case {
        std::string conninfo, self, other;
        std::set<std::string> sees;
    };
    for (const Case& c :
         {Case{server.userA, server.nameA, server.nameB, {"a/1.msg", "shared/3.msg"}},
          Case{server.userB, server.nameB, server.nameA, {"b/2.msg", "shared/3.msg"}}}) {
        SCOPED_TRACE(c.self);
        EXPECT_EQ(visiblePaths(c.conninfo, tree.root), c.sees);

        CPgConnection connection(c.conninfo);
        Kerf::QuireLib::SearchCriteria criteria;
        criteria.m_sSubject = L"budg";
        std::set<std::string> found;
        Kerf::Central::searchCentralIndex(
            connection, criteria, {root},
            [&](Kerf::QuireLib::CEmailMetadata&& record, const Kerf::Central::CentralRow&) {
                const std::string relative = fs::path(record.GetStringValue(L"Location"))
                                                 .lexically_relative(tree.root)
                                                 .string();
                found.insert(relative);
                if (relative == "shared/3.msg") {
                    EXPECT_EQ(record.GetStringValue(L"Subject"), QoTest::kSharedSubject);
                    EXPECT_EQ(record.GetSentDate(), Kerf::OleDate{});
                }
            });
        EXPECT_EQ(found, c.sees);
        // A statement that fails after its first rows hands those over,
        // throws, and leaves the connection ready for the next.
        int rows = 0;
        EXPECT_THROW(connection.queryRows("SELECT 1 / (3 - g) FROM generate_series(1, 5) g", {},
                                          [&rows](const auto&) { ++rows; }),
                     Kerf::CExceptionBase);
        EXPECT_EQ(rows, 2);
        EXPECT_EQ(connection.query("SELECT 7").number(0, 0), 7);
        // Nothing written by hand gets round the policy: not the other tables,
        // not switching the policy off, not taking the other user's role.
        for (const char* sql :
             {"SELECT count(*) FROM qosearch.folder_readers WHERE role = $1",
              "SELECT count(*) FROM qosearch.messages m JOIN qosearch.folder_readers r "
              "ON r.folder_id = m.folder_id WHERE r.role = $1"})
            EXPECT_EQ(connection.query(sql, {c.other}).number(0, 0), 0) << sql;
        EXPECT_EQ(connection
                      .query("SELECT count(*) FROM qosearch.folders WHERE path LIKE '%/b' "
                             "OR path LIKE '%/a'")
                      .number(0, 0),
                  1);
        EXPECT_THROW(connection.run("SET row_security = off; SELECT * FROM qosearch.messages"),
                     Kerf::CExceptionBase);
        EXPECT_THROW(connection.run("SET ROLE " + c.other), Kerf::CExceptionBase);
        EXPECT_THROW(connection.run("DELETE FROM qosearch.messages"), Kerf::CExceptionBase);
    }

    // The rows follow the files from round to round: a file deleted, one
    // moved, and folder b opened to A without any of its files changing.
    fs::remove(tree.root / "shared" / "3.msg");
    fs::rename(tree.root / "a" / "1.msg", tree.root / "shared" / "1.msg");
    QoTest::allowOnly(tree.root / "b", server.nameA);
    QoTest::runCentralRound(server.indexd, {root});
    EXPECT_EQ(visiblePaths(server.indexd, tree.root),
              (std::set<std::string>{"b/2.msg", "shared/1.msg"}));
    EXPECT_EQ(visiblePaths(server.userA, tree.root),
              (std::set<std::string>{"b/2.msg", "shared/1.msg"}));
    EXPECT_EQ(visiblePaths(server.userB, tree.root), (std::set<std::string>{"shared/1.msg"}));

    // A location that cannot be reached (a share not mounted) keeps its rows.
    fs::rename(tree.root, tree.temp / "away");
    QoTest::runCentralRound(server.indexd, {root});
    fs::rename(tree.temp / "away", tree.root);
    EXPECT_EQ(visiblePaths(server.indexd, tree.root).size(), 2u);
}
