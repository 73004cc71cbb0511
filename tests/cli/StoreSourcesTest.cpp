// What stores and doctor tell an administrator: where each part of the
// filing-store list came from, and what is missing.

#include "CommandLine.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

const char* const kList = R"(<?xml version="1.0" encoding="UTF-8"?>
<filinglocations><locations>
  <location path="%s" primaryref="C-1" description="central"/>
</locations></filinglocations>
)";

std::string listFor(const fs::path& location) {
    std::string text = kList;
    return text.replace(text.find("%s"), 2, location.string());
}

class StoreSources : public ::testing::Test {
protected:
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders{dir.path()};
    fs::path appData = dir / "data/Pellam/Quarto";
    fs::path firm = QoTest::ScopedUserFolders::systemSettings(dir.path());

    void storeDatabase(const std::vector<fs::path>& locations) {
        std::string sql =
            "CREATE TABLE tbl_stores (store_id INTEGER PRIMARY KEY, primary_ref "
            "TEXT, secondary_ref TEXT, description TEXT, path_location TEXT, "
            "date_last_used TEXT); CREATE TABLE tbl_store_types (type_id INTEGER "
            "PRIMARY KEY, type TEXT); CREATE TABLE tbl_store_types_link (store_id "
            "INTEGER, type_id INTEGER); INSERT INTO tbl_store_types VALUES (1, 'msg');";
        for (size_t i = 0; i < locations.size(); ++i)
            sql += "INSERT INTO tbl_stores VALUES (" + std::to_string(i + 1) + ", 'J" +
                   std::to_string(i + 1) + "', '', '', '" + locations[i].string() +
                   "', ''); INSERT INTO tbl_store_types_link VALUES (" + std::to_string(i + 1) +
                   ", 1);";
        fs::create_directories(appData);
        ASSERT_EQ(QoTest::runProgram("sqlite3", {(appData / "Quarto.db").string(), sql}).status, 0);
    }
};

} // namespace

TEST_F(StoreSources, NothingToReadEndsWithStatusOneAndSaysWhatWasLookedFor) {
    for (const char* command : {"stores", "doctor"}) {
        const auto result = QoTest::runCli({command});
        EXPECT_TRUE(
            QoTest::endedSaying(result, 1, "no store database and no central list could be read"))
            << command;
        const std::string said = result.err + result.out;
        for (const std::string& text :
             {"settings " + firm.string() + ": not there",
              "store database: none: no ConnectionString in the settings, and no Quarto.db or "
              "Quarto.mdb in " +
                  appData.string() + "/: nothing to read",
              std::string("central lists: none named")})
            EXPECT_NE(said.find(text), std::string::npos) << command << ": " << text << "\n"
                                                          << said;
    }
}

TEST_F(StoreSources, EachSourceSaysWhetherItWasReadFromItsCacheOrNotAtAll) {
    const fs::path here = dir / "filing/here", gone = dir / "filing/gone";
    fs::create_directories(here);
    storeDatabase({here, gone});
    QoTest::writeFile(dir / "share/central.xml", listFor(here));
    QoTest::writeFile(dir / "share/cached.xml", listFor(dir / "filing/cached"));
    QoTest::writeFile(firm, "[Filing Lists]\nJobs=" + (dir / "share/central.xml").string() +
                                "\nNowhere=/mnt/nowhere/central.xml\n");
    QoTest::writeFile(appData / "qoFilingLists.txt", (dir / "share/cached.xml").string() + "\n");
    ASSERT_EQ(QoTest::runCli({"stores"}).status, 0); // copies both lists into the cache
    fs::remove(dir / "share/cached.xml");

    const auto stores = QoTest::runCli({"stores"});
    EXPECT_EQ(stores.status, 0) << stores.err;
    const std::string cached = (dir / "share/cached.xml").string();
    for (const std::string& text :
         {"settings " + firm.string() + ": read",
          "settings " + (appData / "EmailFiling.cfg").string() + ": not there",
          "store database: SQLite file " + (appData / "Quarto.db").string() + ": read, 2 locations",
          "central list " + (dir / "share/central.xml").string() + ": read, 1 location\n",
          std::string("central list /mnt/nowhere/central.xml: unreadable: no such file, and it "
                      "was never copied here"),
          "central list " + cached + ": read from its cached copy ",
          "1 location (Can't access file : " + cached + " (no such file))"})
        EXPECT_NE(stores.err.find(text), std::string::npos) << text << "\n" << stores.err;
    EXPECT_NE(stores.out.find(here.string()), std::string::npos) << stores.out;

    const auto doctor = QoTest::runCli({"doctor"});
    EXPECT_EQ(doctor.status, 0) << doctor.err;
    for (const std::string& text :
         {"index folder " + (appData / "Index/").string(),
          std::string(": not made yet (the first search makes it)\n"),
          "location " + here.string() + ": reachable\n",
          "location " + gone.string() + ": not reachable: Folder not found: " + gone.string(),
          std::string("store database: SQLite file")})
        EXPECT_NE(doctor.out.find(text), std::string::npos) << text << "\n" << doctor.out;

    // A database that cannot be reached is named with the reason.
    QoTest::writeFile(firm, "[Store Database]\nConnectionString=DRIVER={MySQL ODBC 3.51 Driver};"
                            "DB=q;SERVER=127.0.0.1:1;UID=reader;\n");
    const auto unreachable = QoTest::runCli({"stores"});
    EXPECT_TRUE(QoTest::endedSaying(
        unreachable, 1,
        "store database: MariaDB/MySQL database \"q\" on 127.0.0.1:1 as \"reader\" (from " +
            firm.string() + "): unreadable: "))
        << unreachable.err;
}
