#include "app/QoSearchApp.h"
#include "support/Strings.h"

#include "TempDir.h"

#include <gtest/gtest.h>

TEST(QoSearchApp, IndexDirectoryLivesBelowTheUsersDataFolder) {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders(dir.path());
    const std::wstring base = Kerf::Util::fromPath(dir / "data");
    EXPECT_EQ(CQoSearchApp::buildIndexRootDirectory(), base + L"/Pellam/Quarto/Index/");
    EXPECT_EQ(CQoSearchApp::buildIndexDirectory(), base + L"/Pellam/Quarto/Index/0.4");
}

TEST(QoSearchApp, InstanceNameKeepsTheLast250LowerCasedCharacters) {
    const std::wstring name = CQoSearchApp::buildInstanceName(L"/Home/Ann/.local/share/Index/0.4");
    EXPECT_EQ(name, L"QOSEARCH__home_ann_.local_share_index_0.4");
    EXPECT_EQ(CQoSearchApp::buildInstanceName(L"/HOME/ÄNN/X"),
              CQoSearchApp::buildInstanceName(L"/home/änn/x"));

    std::wstring longPath = L"/" + std::wstring(300, L'D') + L"/Tail/0.4";
    const std::wstring longName = CQoSearchApp::buildInstanceName(longPath);
    EXPECT_EQ(longName.size(), 9u + 250u);
    EXPECT_EQ(longName.substr(0, 9), L"QOSEARCH_");
    EXPECT_EQ(longName.substr(longName.size() - 9), L"_tail_0.4");
    EXPECT_EQ(longName.find(L'/'), std::wstring::npos);
}

TEST(QoSearchApp, ErrorStringsAreExact) {
    Kerf::CExceptionBase inner(L"disk full");
    Kerf::CExceptionBase outer(L"Index usage problem (/x)", inner);
    EXPECT_EQ(CQoSearchApp::getErrorString(outer),
              L"Index usage problem (/x)\n\nReported as: disk fullStack trace is:\n\n" +
                  outer.getStackTrace());
    Kerf::CExceptionBase alone(L"Something broke");
    EXPECT_EQ(CQoSearchApp::getErrorString(alone),
              L"Something broke\n\nStack trace is:\n\n" + alone.getStackTrace());
    EXPECT_FALSE(alone.getStackTrace().empty());
}
