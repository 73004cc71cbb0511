#include "support/Paths.h"
#include "support/Strings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <pwd.h>
#include <string>
#include <unistd.h>

using namespace Kerf;

namespace {

/// Sets or unsets a variable for the scope, then puts it back.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name))
            m_old = old;
        if (value != nullptr)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~ScopedVariable() {
        if (m_old)
            ::setenv(m_name, m_old->c_str(), 1);
        else
            ::unsetenv(m_name);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

} // namespace

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
        ScopedVariable xdg("XDG_DATA_HOME", c.xdg);
        ScopedVariable home("HOME", c.home);
        EXPECT_EQ(Util::toNarrow(Paths::dataHome()), c.expected);
    }
}
