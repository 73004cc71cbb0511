#include "support/Paths.h"
#include "support/Strings.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <pwd.h>
#include <string>
#include <unistd.h>

using namespace Kerf;

TEST(Paths, DataHomeIsNeverAFolderSharedWithOtherUsers) {
    const passwd* account = ::getpwuid(::getuid());
    ASSERT_NE(account, nullptr);
    const std::string accountHome = std::string(account->pw_dir) + "/.local/share";
    const struct {
        const char* xdg;
        const char* home;
        std::string expected;
    } cases[] = {
        {"/data/x", "/home/u", "/data/x"},
        // A relative XDG_DATA_HOME is to be ignored.
        {"rel/x", "/home/u", "/home/u/.local/share"},
        {nullptr, "/home/u", "/home/u/.local/share"},
        // Without a usable HOME: the account's home, never /tmp.
        {nullptr, nullptr, accountHome},
        {nullptr, "", accountHome},
        {"", "relative", accountHome},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.xdg ? c.xdg : "(unset)") + " " + (c.home ? c.home : "(unset)"));
        QoTest::ScopedVariable xdg("XDG_DATA_HOME", c.xdg);
        QoTest::ScopedVariable home("HOME", c.home);
        EXPECT_EQ(Util::toNarrow(Paths::dataHome()), c.expected);
    }
}
