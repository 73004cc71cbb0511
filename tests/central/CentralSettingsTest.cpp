// Where the central index's connection and roots come from: the user's own
// settings, else the firm's settings files, so a firm names them once.

#include "central/CentralSettings.h"
#include "TempDir.h"
#include "stores/UserSettings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(CentralSettings, TheUsersOwnValuesWinAndTheFirmsFillWhatTheyLeaveUnset) {
    const struct {
        const char* what;
        const char* firm;     // the firm's EmailFiling.cfg; none when null
        const char* userConn; // the user's own Connection; unset when null
        std::string conninfo;
        std::vector<std::wstring> roots;
    } cases[] = {
        {"nothing set", nullptr, nullptr, "", {}},
        {"the firm's only",
         "[Central Index]\nConnection=\"host=db dbname=qosearch\"\nRoots=/mnt/jobs, relative, "
         "/mnt/archive\n",
         nullptr,
         "host=db dbname=qosearch",
         {L"/mnt/jobs", L"/mnt/archive"}},
        {"the user's connection, the firm's roots",
         "[Central Index]\nConnection=host=firm\nRoots=/mnt/jobs\n",
         "host=mine",
         "host=mine",
         {L"/mnt/jobs"}},
    };
    for (const auto& c : cases) {
        QoTest::TempDir dir;
        QoTest::ScopedUserFolders folders(dir.path());
        if (c.firm != nullptr)
            QoTest::writeFile(QoTest::ScopedUserFolders::systemSettings(dir.path()), c.firm);
        if (c.userConn != nullptr)
            Kerf::QuireLib::openUserSettings()->setValue("Central Index/Connection", c.userConn);
        const auto settings = Kerf::Central::readCentralIndexSettings();
        EXPECT_EQ(settings.conninfo, c.conninfo) << c.what;
        EXPECT_EQ(settings.roots, c.roots) << c.what;
    }
}
