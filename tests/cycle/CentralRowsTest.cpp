// The search cycle over the central index when its server goes away or the
// user stops in the middle of the rows: those that came stay in the list, the
// status says that the rest may be missing, and the server works no longer.
// A row whose file does not open for the user is not shown.

#include "CycleTestSupport.h"
#include "central/CentralTestSupport.h"

#include "PermissionOverride.h"
#include "WaitFor.h"

#include <algorithm>

namespace {

// Given a connection, ends the user's search on the server at the first row,
// while the rest of the rows are still on their way.
struct ServerLostAtFirstRow : CycleTest::RowsView {
    std::string conninfo;
    void insertItem(const Kerf::QuireLib::CEmailMetadata& record) override {
        if (rows.empty() && !conninfo.empty())
            Kerf::Central::CPgConnection(conninfo).query(
                "SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                "WHERE usename = current_user AND pid <> pg_backend_pid()");
        RowsView::insertItem(record);
    }
};

// Rows of 64 KB each under `mail`, readable by every role: far more than the
// connection holds in flight, or than the search keeps waiting for the list.
class CentralRows : public QoTest::IndexFolder {
protected:
    static constexpr int kRows = 500;
    std::filesystem::path mail = QoTest::copiesOfTheSample(dir.path(), kRows);

    void fill(const QoTest::PostgresServer& server) {
        Kerf::Central::CPgConnection db(server.indexd);
        db.run("DROP SCHEMA IF EXISTS qosearch CASCADE");
        Kerf::Central::createSchema(db);
        const std::string folder = mail.string() + "/";
        db.query("INSERT INTO qosearch.folders (id, path) VALUES (1, $1)", {folder});
        db.query("INSERT INTO qosearch.folder_readers VALUES (1, 'public')");
        db.query("INSERT INTO qosearch.messages (path, location, folder_id, file_name, "
                 "modified_ns, size, subject, subject_words) SELECT $1 || 'm' || i || '.msg', "
                 "$1, 1, 'm' || i || '.msg', 0, 0, repeat('budget ', 9000), 'budget' "
                 "FROM generate_series(0, $2::integer - 1) i",
                 {folder, std::to_string(kRows)});
    }
    void start(const QoTest::PostgresServer& server, Kerf::QuireLib::CMailSearchCycle& cycle) {
        cycle.initialise();
        cycle.setCentralIndex({server.userA, {Kerf::Util::fromPath(dir.path())}});
        Kerf::QuireLib::SearchCriteria criteria;
        criteria.m_sSubject = L"budget";
        ASSERT_TRUE(cycle.findNow(criteria, {Kerf::Util::fromPath(mail)}));
    }
};

} // namespace

TEST_F(CentralRows, AServerLostOrAStopPartWayLeavesTheRowsThatCameAndSaysSo) {
    QO_REQUIRE_POSTGRES(server);
    // Stop ends the central index's search at once, while its rows come.
    for (const bool stopped : {false, true}) {
        ServerLostAtFirstRow view;
        view.conninfo = stopped ? "" : server.userA;
        Kerf::QuireLib::CMailSearchCycle cycle(view, sink, place);
        fill(server);
        start(server, cycle);
        EXPECT_TRUE(CycleTest::pumpUntil(cycle, *sink, [&] { return !view.rows.empty(); }));
        if (stopped)
            cycle.stop();
        EXPECT_TRUE(CycleTest::pumpUntil(cycle, *sink, [&] { return !cycle.isBusy(); }));
        EXPECT_LT(view.rows.size(), static_cast<std::size_t>(kRows));
        const std::wstring said = stopped ? L"searched only in part: the search was stopped"
                                          : L"central index searched only in part";
        EXPECT_NE(cycle.getStatusText().find(said), std::wstring::npos)
            << Kerf::Util::toNarrow(cycle.getStatusText());
    }
    // A statement that has sent no row yet (here it waits for a table another session holds
    // locked) is stopped on the server too, not left running to its time limit of 30 s.
    fill(server);
    Kerf::Central::CPgConnection locker(server.indexd);
    locker.run("BEGIN; LOCK TABLE qosearch.messages IN ACCESS EXCLUSIVE MODE");
    Kerf::Central::CPgConnection watcher(server.userA);
    const auto runningOfA = [&] {
        return watcher
            .query("SELECT count(*) FROM pg_stat_activity WHERE usename = current_user "
                   "AND state = 'active' AND pid <> pg_backend_pid()")
            .number(0, 0);
    };
    CycleTest::RowsView view;
    Kerf::QuireLib::CMailSearchCycle cycle(view, sink, place);
    start(server, cycle);
    ASSERT_TRUE(QoTest::waitFor([&] { return runningOfA() == 1; }));
    cycle.stop();
    EXPECT_TRUE(QoTest::waitFor([&] { return runningOfA() == 0; }, std::chrono::seconds(10)));
}

// The server lets the user's role read the folder, but one file in it does not open for the user:
// that row stays out of the list.
TEST_F(CentralRows, AFileTheUserCannotOpenIsNotShown) {
    QO_REQUIRE_POSTGRES(server);
    fill(server);
    // The files are links to one; this one gets a file of its own to lock.
    const std::filesystem::path locked = mail / "m7.msg";
    std::filesystem::remove(locked);
    std::filesystem::copy_file(dir.path() / "sample.msg", locked);
    std::filesystem::permissions(locked, std::filesystem::perms::none);
    CycleTest::RowsView view;
    {
        QoTest::WithoutPermissionOverride lowered;
        Kerf::QuireLib::CMailSearchCycle cycle(view, sink, place);
        start(server, cycle);
        EXPECT_TRUE(CycleTest::pumpUntil(cycle, *sink, [&] { return !cycle.isBusy(); }));
    }
    EXPECT_EQ(view.rows.size(), static_cast<std::size_t>(kRows - 1));
    EXPECT_EQ(std::count(view.rows.begin(), view.rows.end(), Kerf::Util::fromPath(locked)), 0);
}
