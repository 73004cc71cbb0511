#include "cycle/UserPlaces.h"
#include "support/Paths.h"
#include "support/Strings.h"

#include "TempDir.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;

TEST(UserPlaces, TheIndexLivesBelowTheUsersDataAndItsInstanceNameFollowsItsPath) {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders(dir.path());
    const std::wstring root = UserPlaces::buildIndexRootDirectory();
    EXPECT_EQ(root,
              Kerf::Util::fromPath(dir / "data" / QoTest::kVendor / QoTest::kProduct / "Index") +
                  L"/");
    EXPECT_TRUE(UserPlaces::buildIndexDirectory().starts_with(root));
    // The folders made on the way hold the user's mail text: the user's alone.
    Kerf::Paths::applicationDataDirectory();
    for (const auto& made :
         {dir / "data" / QoTest::kVendor, dir / "data" / QoTest::kVendor / QoTest::kProduct})
        EXPECT_EQ(std::filesystem::status(made).permissions() & std::filesystem::perms::all,
                  std::filesystem::perms::owner_all)
            << made;

    // One name per index whatever the case, without '/', of a long path the last 250 characters.
    EXPECT_EQ(UserPlaces::buildInstanceName(L"/HOME/ÄNN/X"),
              UserPlaces::buildInstanceName(L"/home/änn/x"));
    EXPECT_NE(UserPlaces::buildInstanceName(L"/home/ann/x"),
              UserPlaces::buildInstanceName(L"/home/bob/x"));
    const std::wstring longName =
        UserPlaces::buildInstanceName(L"/" + std::wstring(300, L'D') + L"/Tail/0.4");
    EXPECT_EQ(longName.size(), 9u + 250u);
    EXPECT_EQ(longName.substr(longName.size() - 9), L"_tail_0.4");
    EXPECT_EQ(longName.find(L'/'), std::wstring::npos);
}
