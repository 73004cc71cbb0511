// The firm's settings under the user's, and the store password kept out of
// the settings: in a file only a group may read, or in the environment.

#include "stores/SettingsLayers.h"
#include "stores/StoreConnection.h"
#include "stores/UserSettings.h"

#include "StoresTestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace fs = std::filesystem;
using Kerf::QuireLib::CSettingsLayers;
using Kerf::QuireLib::ReadPasswordFile;
using Kerf::QuireLib::SettingsFileState;
using Kerf::QuireLib::StoreConnection;
using Kerf::Util::toWide;

TEST(SettingsLayers, TheUsersFileOverridesTheFirmsKeyByKeyAndTheFirstSystemFolderWins) {
    StoresTest::ScopedUser user;
    const fs::path first = user.dir / "first", second = user.dir / "second";
    const std::string dirs = first.string() + ":relative/ignored:" + second.string();
    QoTest::ScopedVariable configDirs("XDG_CONFIG_DIRS", dirs.c_str());
    QoTest::writeFile(second / "Pellam/Quarto/EmailFiling.cfg",
                      "[Columns]\nLocationPriRefAlias=second\nLocationSecRefAlias=second\n"
                      "LocationDescAlias=second\n[Filing Lists]\nJobs=/second/jobs.xml\n"
                      "Archive=/second/archive.xml\n");
    QoTest::writeFile(first / "Pellam/Quarto/EmailFiling.cfg",
                      "[Columns]\nLocationPriRefAlias=first\nLocationSecRefAlias=first\n");
    QoTest::writeFile(user.appData() / "EmailFiling.cfg",
                      "[Columns]\nLocationSecRefAlias=user\n[Filing Lists]\nJobs=/user/jobs.xml\n");

    const CSettingsLayers layers = CSettingsLayers::ForThisUser();
    const std::wstring firstFile = toWide((first / "Pellam/Quarto/EmailFiling.cfg").string());
    const std::wstring secondFile = toWide((second / "Pellam/Quarto/EmailFiling.cfg").string());
    const std::wstring userFile = toWide((user.appData() / "EmailFiling.cfg").string());
    ASSERT_EQ(layers.Files().size(), 3u);
    EXPECT_EQ(layers.Files()[0].sPath, secondFile);
    EXPECT_EQ(layers.Files()[1].sPath, firstFile);
    EXPECT_EQ(layers.Files()[2].sPath, userFile);

    const struct {
        const wchar_t* key;
        const wchar_t* value;
        const std::wstring& from;
    } cases[] = {{L"LocationPriRefAlias", L"first", firstFile},
                 {L"LocationSecRefAlias", L"user", userFile},
                 {L"LocationDescAlias", L"second", secondFile}};
    for (const auto& c : cases) {
        std::wstring value, from;
        EXPECT_TRUE(layers.Lookup(L"Columns", c.key, value, &from));
        EXPECT_EQ(value, c.value) << c.key;
        EXPECT_EQ(from, c.from) << c.key;
        EXPECT_TRUE(layers.ProductSettings().ReadPrefixedOrPlain(c.key, value));
        EXPECT_EQ(value, c.value) << c.key;
    }
    const auto lists = layers.SectionValues(CSettingsLayers::kFilingListsSection);
    ASSERT_EQ(lists.size(), 2u);
    EXPECT_EQ(lists[0].second, L"/user/jobs.xml");
    EXPECT_EQ(lists[1].second, L"/second/archive.xml");

    // A damaged file is named with the reason and takes nothing away.
    QoTest::writeFile(first / "Pellam/Quarto/EmailFiling.cfg", "[]\nLocationPriRefAlias=x\n");
    const CSettingsLayers damaged = CSettingsLayers::ForThisUser();
    EXPECT_EQ(damaged.Files()[1].eState, SettingsFileState::Unreadable);
    EXPECT_NE(damaged.Files()[1].sProblem.find(L"Invalid section"), std::wstring::npos);
    std::wstring value;
    EXPECT_TRUE(damaged.Lookup(L"Columns", L"LocationPriRefAlias", value));
    EXPECT_EQ(value, L"second");
    fs::remove(userFile);
    EXPECT_EQ(CSettingsLayers::ForThisUser().Files()[2].eState, SettingsFileState::Absent);
}

TEST(StorePassword, AFileOnlyAGroupMayReadGivesItsFirstLineAndAnyOtherFileIsRefused) {
    QoTest::TempDir dir;
    QoTest::writeFile(dir / "large", std::string(5000, 'x'));
    fs::create_directory(dir / "folder");
    const struct {
        const char* file;
        const char* content;
        mode_t mode;
        const wchar_t* password;
        const wchar_t* problem;
    } cases[] = {
        {"group", "s3cret;x=y\r\nsecond line\n", 0640, L"s3cret;x=y", L""},
        {"everyone", "s3cret\n", 0644, L"", L"may be read by every user"},
        {"missing", nullptr, 0, L"", L"No such file or directory"},
        {"folder", nullptr, 0, L"", L"is not a plain file"},
        {"large", nullptr, 0600, L"", L"too large"},
    };
    for (const auto& c : cases) {
        if (c.content != nullptr)
            QoTest::writeFile(dir / c.file, c.content);
        if (c.mode != 0)
            ::chmod((dir / c.file).c_str(), c.mode);
        std::wstring problem;
        EXPECT_EQ(ReadPasswordFile(toWide((dir / c.file).string()), problem), c.password) << c.file;
        EXPECT_NE(problem.find(c.problem), std::wstring::npos) << c.file << ": " << problem;
        EXPECT_EQ(problem.empty(), c.problem[0] == L'\0') << c.file;
    }
}

TEST(StorePassword, TheEnvironmentWinsOverTheFileAndTheUsersOwnConnectionOverTheFirms) {
    StoresTest::ScopedUser user;
    QoTest::ScopedVariable noPassword(StoreConnection::kPasswordVariable, nullptr);
    const fs::path passwordFile = user.dir / "store-password";
    QoTest::writeFile(passwordFile, "from-the-file\n");
    ::chmod(passwordFile.c_str(), 0640);
    QoTest::writeFile(QoTest::ScopedUserFolders::systemSettings(user.dir.path()),
                      "[Store Database]\nConnectionString=DRIVER={MySQL ODBC 3.51 Driver};DB=q;"
                      "SERVER=db:3306;UID=reader;\nPasswordFile=" +
                          passwordFile.string() + "\n");

    StoreConnection firm = StoreConnection::ForThisUser(CSettingsLayers::ForThisUser());
    EXPECT_EQ(firm.sPassword, L"from-the-file");
    EXPECT_TRUE(firm.bPasswordGiven);
    // Describe() names where the password came from, never the password.
    EXPECT_NE(firm.Describe().find(L"; password from " + toWide(passwordFile.string()) + L")"),
              std::wstring::npos);
    EXPECT_EQ(firm.Describe().find(L"from-the-file"), std::wstring::npos);

    QoTest::ScopedVariable password(StoreConnection::kPasswordVariable, "from-the-environment");
    EXPECT_EQ(StoreConnection::ForThisUser(CSettingsLayers::ForThisUser()).sPassword,
              L"from-the-environment");

    const fs::path ownSettings = Kerf::QuireLib::userSettingsPath().toStdString();
    QoTest::writeFile(ownSettings,
                      "[Store Database]\nConnectionString=\"DRIVER={MySQL ODBC 3.51 Driver};DB=own;"
                      "SERVER=db:3306;UID=me;\"\n");
    const StoreConnection own = StoreConnection::ForThisUser(CSettingsLayers::ForThisUser());
    EXPECT_EQ(own.sFrom, toWide(ownSettings.string()));
    EXPECT_NE(own.sConnectionString.find(L"DB=own"), std::wstring::npos);
}
