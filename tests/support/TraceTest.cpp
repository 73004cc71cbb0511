#include "support/Trace.h"
#include "support/Assert.h"

#include "TempDir.h"

#include <gtest/gtest.h>

TEST(Trace, OffUnlessSwitchedOnAndThenWritesToTheUsersDataFolder) {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders(dir.path());

    unsetenv("QOSEARCH_TRACE");
    Kerf::Trace::reinitialise();
    EXPECT_FALSE(Kerf::Trace::isOn());
    KERF_TRACE_ENTRY("Quiet::function");
    EXPECT_EQ(Kerf::Trace::traceFilePath(), "");

    setenv("QOSEARCH_TRACE", "1", 1);
    Kerf::Trace::reinitialise();
    ASSERT_TRUE(Kerf::Trace::isOn());
    const std::string path = Kerf::Trace::traceFilePath();
    EXPECT_EQ(path, (dir.path() / "data/Pellam/Quarto/trace.log").string());

    KERF_TRACE_ENTRY("Kerf::Search::Writer::create");
    const unsigned before = Kerf::failedAssertionCount();
    const int line = __LINE__ + 1;
    KERF_ASSERT(1 + 1 == 3);
    EXPECT_EQ(Kerf::failedAssertionCount(), before + 1);

    unsetenv("QOSEARCH_TRACE");
    Kerf::Trace::reinitialise();
    const std::string log = QoTest::readFile(path);
    EXPECT_NE(log.find("Kerf::Search::Writer::create()"), std::string::npos) << log;
    EXPECT_NE(log.find("TraceTest.cpp(" + std::to_string(line) + "): 1 + 1 == 3"),
              std::string::npos)
        << log;
    EXPECT_EQ(log.find("Quiet::function"), std::string::npos);
}
