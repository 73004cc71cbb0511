#include "cycle/UserPlaces.h"
#include "support/Strings.h"

#include "TempDir.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;

TEST(UserPlaces, IndexDirectoryLivesBelowTheUsersDataFolder) {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders(dir.path());
    const std::wstring base = Kerf::Util::fromPath(dir / "data");
    EXPECT_EQ(UserPlaces::buildIndexRootDirectory(), base + L"/Pellam/Quarto/Index/");
    EXPECT_EQ(UserPlaces::buildIndexDirectory(), base + L"/Pellam/Quarto/Index/0.6");
}

TEST(UserPlaces, InstanceNameKeepsTheLast250LowerCasedCharacters) {
    const std::wstring name = UserPlaces::buildInstanceName(L"/Home/Ann/.local/share/Index/0.4");
    EXPECT_EQ(name, L"QOSEARCH__home_ann_.local_share_index_0.4");
    EXPECT_EQ(UserPlaces::buildInstanceName(L"/HOME/ÄNN/X"),
              UserPlaces::buildInstanceName(L"/home/änn/x"));

    std::wstring longPath = L"/" + std::wstring(300, L'D') + L"/Tail/0.4";
    const std::wstring longName = UserPlaces::buildInstanceName(longPath);
    EXPECT_EQ(longName.size(), 9u + 250u);
    EXPECT_EQ(longName.substr(0, 9), L"QOSEARCH_");
    EXPECT_EQ(longName.substr(longName.size() - 9), L"_tail_0.4");
    EXPECT_EQ(longName.find(L'/'), std::wstring::npos);
}
