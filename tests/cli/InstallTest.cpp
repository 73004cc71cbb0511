// An installed tree finds its shipped files beside its programs, wherever the
// tree is moved, and never reaches back into the build tree for them.

#include "CommandLine.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

const char* const kCentralList = R"(<?xml version="1.0" encoding="UTF-8"?>
<filinglocations><locations>
  <location path="/srv/filing/J1001" primaryref="J1001" description="checked by the schema"/>
</locations></filinglocations>
)";

} // namespace

TEST(InstalledTree, FindsHelpPageAndSchemaBesideItsProgramsOnly) {
    QoTest::TempDir tmp;
    const auto install =
        QoTest::runProgram(QOSEARCH_CMAKE_COMMAND,
                           {"--install", QOSEARCH_BINARY_DIR, "--prefix", (tmp / "p").string()});
    ASSERT_EQ(install.status, 0) << install.out << install.err;
    // A tree moved after installing still finds its files: nothing points at
    // the prefix it was installed to.
    fs::rename(tmp / "p", tmp / "moved");
    const fs::path root = tmp / "moved";
    for (const char* file : {"bin/qosearch", "share/applications/qosearch.desktop",
                             "share/icons/hicolor/scalable/apps/qosearch.svg"})
        EXPECT_TRUE(fs::is_regular_file(root / file)) << file;

    QoTest::ScopedUserFolders user(tmp / "user");
    QoTest::writeFile(tmp / "lists/central.xml", kCentralList);
    QoTest::writeFile(tmp / "user/data/Pellam/Quarto/qoFilingLists.txt",
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

    // Without the installed files the program has none: the build tree's
    // copies are out of its reach.
    fs::remove_all(root / "share/qosearch");
    EXPECT_NE(QoTest::runProgram(cli, {"--help"}).out.find("The help page is not installed."),
              std::string::npos);
    EXPECT_EQ(QoTest::runProgram(cli, {"stores"}).out.find("/srv/filing/J1001"), std::string::npos);
}
