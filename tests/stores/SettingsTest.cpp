// The settings files: read, written, cached and layered (the firm's under the user's), and the
// store password kept out of them, in a file only a group may read or in the environment.

#include "stores/QOSettings.h"
#include "stores/SettingsCache.h"
#include "stores/SettingsFile.h"
#include "stores/SettingsLayers.h"
#include "stores/StoreConnection.h"
#include "stores/UserSettings.h"

#include "StoresTestSupport.h"

#include <QStringEncoder>

#include <array>
#include <sys/stat.h>

namespace fs = std::filesystem;
using Kerf::CSettingsFile;
using Kerf::CSettingsFileException;
using Kerf::QuireLib::CQOSettings;
using Kerf::QuireLib::CSettingsLayers;
using Kerf::QuireLib::ReadPasswordFile;
using Kerf::QuireLib::SettingsFileState;
using Kerf::QuireLib::StoreConnection;
using Kerf::Util::toWide;

namespace {

std::wstring lookup(const CSettingsFile& s, const std::wstring& section, const std::wstring& key) {
    std::wstring value = L"<missing>";
    s.Lookup(section, key, value);
    return value;
}

// The code of what the action throws, and its message.
CSettingsFileException::Code codeOf(const std::function<void()>& action,
                                    std::wstring* message = nullptr) {
    try {
        action();
    } catch (const CSettingsFileException& e) {
        if (message != nullptr)
            *message = e.getMessage();
        return e.getCode();
    }
    return CSettingsFileException::eUnknownError;
}

// The text in UTF-16 of the given byte order, with its mark.
std::string utf16(const std::u16string& text, QStringConverter::Encoding order) {
    QStringEncoder encode(order, QStringConverter::Flag::WriteBom);
    return QByteArray(encode(QString::fromStdU16String(text))).toStdString();
}

} // namespace

TEST(SettingsFile, LinesAreCommentsSectionsOrPairs) {
    CSettingsFile s;
    s.parseText(L"Top = outside\n[Search]\nTitle=a=b\n;Title=x\n[Broken\n"
                L"  Alias =  Job number  \n\n[[Other]]\nTitle=other\n");
    EXPECT_EQ(lookup(s, L"", L"Top"), L"outside");
    EXPECT_EQ(lookup(s, L"Search", L"Title"), L"a=b");
    // "[Broken" has no closing bracket: the pair after it stays in [Search].
    EXPECT_EQ(lookup(s, L"Search", L"Alias"), L"Job number");
    EXPECT_EQ(lookup(s, L"Broken", L"Alias"), L"<missing>");
    EXPECT_EQ(lookup(s, L"Other", L"Title"), L"other");
    EXPECT_EQ(lookup(s, L"search", L"TITLE"), L"a=b");
    EXPECT_EQ(lookup(s, L"Search", L";Title"), L"<missing>");
    std::wstring any;
    ASSERT_TRUE(s.LookupAnySection(L"Title", any));
    EXPECT_EQ(any, L"a=b"); // first section in file order
}

TEST(SettingsFile, ReadsUtf16EitherOrderAndUtf8WithOrWithoutMark) {
    QoTest::TempDir dir;
    const std::u16string text = u"[S]\r\nName=Stra\u00dfe \U0001F4C1\r\n";
    const std::string line = "Name=Stra\xC3\x9F"
                             "e \xF0\x9F\x93\x81";
    const std::pair<std::string, std::string> files[] = {
        {"le.cfg", utf16(text, QStringConverter::Utf16LE)},
        {"be.cfg", utf16(text, QStringConverter::Utf16BE)},
        {"bom.cfg", "\xEF\xBB\xBF[S]\r\n" + line + "\r\n"},
        {"plain.cfg", "[S]\n" + line}};
    for (const auto& [name, bytes] : files) {
        QoTest::writeFile(dir / name, bytes);
        CSettingsFile s;
        s.readAFile(toWide((dir / name).string()));
        EXPECT_EQ(lookup(s, L"S", L"Name"), L"Stra\u00dfe \U0001F4C1") << name;
    }
}

TEST(SettingsFile, ErrorsCarryCodeFileLineAndText) {
    QoTest::TempDir dir;
    const std::wstring file = toWide((dir / "bad.cfg").string()), at = L"Error (<<" + file;
    const struct {
        const char* text; // none: the file is missing
        CSettingsFileException::Code code;
        std::wstring message;
    } cases[] = {
        {nullptr, CSettingsFileException::eErrorOpeningFile, at + L">>) : Error opening file"},
        {"[S]\nA=1\njust words\n", CSettingsFileException::eTokenisingError,
         at + L">> @ line 3) : Tokenising error: no \"=\" in \"just words\""},
        {"[]\n", CSettingsFileException::eInvalidSection,
         at + L">> @ line 1) : Invalid section: []"},
        {"[S]\n=value\n", CSettingsFileException::eInvalidKey,
         at + L">> @ line 2) : Invalid key: =value"},
    };
    for (const auto& c : cases) {
        if (c.text != nullptr)
            QoTest::writeFile(dir / "bad.cfg", c.text);
        std::wstring message;
        EXPECT_EQ(codeOf([&] { CSettingsFile().readAFile(file); }, &message), c.code);
        EXPECT_EQ(message, c.message);
    }
}

TEST(SettingsFile, WritesWhatItReadsAndRefusesWhatAFileCannotHold) {
    QoTest::TempDir dir;
    CSettingsFile s;
    const std::array<const wchar_t*, 3> values[] = {
        {L"Search", L"Title", L"a=b"}, {L"", L"Top", L"first"}, {L"Other", L"Path", L"\\\\s\\x"}};
    for (const auto& [section, key, value] : values)
        s.setValue(section, key, value);
    const std::wstring file = toWide((dir / "out.cfg").string());
    s.writeAFile(file);
    CSettingsFile back;
    back.readAFile(file);
    for (const auto& [section, key, value] : values)
        EXPECT_EQ(lookup(back, section, key), value);

    EXPECT_THROW(s.setValue(L"S", L"a=b", L"x"), CSettingsFileException);
    EXPECT_THROW(s.setValue(L"S", L"k", L"two\nlines"), CSettingsFileException);
    EXPECT_THROW(s.writeAFile(toWide((dir / "no/such/folder/x.cfg").string())),
                 CSettingsFileException);

    EXPECT_EQ(codeOf([&] { s.remove(L"Search", L"Title"); }),
              CSettingsFileException::eRemoveDisallowed);
    s.setRemoveAllowed(true);
    EXPECT_TRUE(s.remove(L"search", L"title"));
    EXPECT_EQ(lookup(s, L"Search", L"Title"), L"<missing>");
}

TEST(SettingsCache, ParsesAgainOnlyWhenTheFileChangedOnDisk) {
    QoTest::TempDir dir;
    const auto path = dir / "EmailFiling.cfg";
    QoTest::writeFile(path, "[S]\nKey=one\n");
    const auto stamp = std::filesystem::last_write_time(path);
    Kerf::QuireLib::CSettingsCache cache;
    const std::wstring file = toWide(path.string());

    EXPECT_EQ(lookup(*cache.get(file), L"S", L"Key"), L"one");
    EXPECT_EQ(lookup(*cache.get(file), L"S", L"Key"), L"one");
    EXPECT_EQ(cache.parseCount(), 1u);

    // Same last-write time: the file is not read again, whatever it holds now.
    QoTest::writeFile(path, "[S]\nKey=two\n");
    std::filesystem::last_write_time(path, stamp);
    EXPECT_EQ(lookup(*cache.get(file), L"S", L"Key"), L"one");
    EXPECT_EQ(cache.parseCount(), 1u);

    std::filesystem::last_write_time(path, stamp + std::chrono::seconds(2));
    EXPECT_EQ(lookup(*cache.get(file), L"S", L"Key"), L"two");
    EXPECT_EQ(cache.parseCount(), 2u);
    EXPECT_EQ(cache.size(), 1u);

    std::filesystem::remove(path);
    EXPECT_THROW(cache.get(file), CSettingsFileException);
    EXPECT_EQ(cache.size(), 0u);
}

TEST(QOSettings, ReadsPrefixedKeyFirstThenPlainKey) {
    StoresTest::ScopedUser user;
    const auto folder = user.dir.path() / "store";
    QoTest::writeFile(folder / "EmailFiling.cfg",
                      "[Columns]\nLocationPriRefAlias=Job\n*LocationPriRefAlias=Matter\nCount=42\n"
                      "NotANumber=4x\n");
    CQOSettings settings(toWide(folder.string()));
    std::wstring value;
    ASSERT_TRUE(settings.ReadPrefixedOrPlain(L"LocationPriRefAlias", value));
    EXPECT_EQ(value, L"Matter");
    EXPECT_FALSE(settings.ReadPrefixedOrPlain(L"LocationDescAlias", value));
    long number = 0;
    EXPECT_TRUE(settings.Read(L"Count", number));
    EXPECT_EQ(number, 42);
    EXPECT_FALSE(settings.Read(L"NotANumber", number));

    CQOSettings empty(toWide((user.dir.path() / "nothing-here").string()));
    EXPECT_FALSE(empty.Read(L"LocationPriRefAlias", value));
}

TEST(SettingsLayers, TheUsersFileOverridesTheFirmsKeyByKeyAndTheFirstSystemFolderWins) {
    StoresTest::ScopedUser user;
    const std::string dirs = (user.dir / "first/xdg").string() +
                             ":relative/ignored:" + (user.dir / "second/xdg").string();
    QoTest::ScopedVariable configDirs("XDG_CONFIG_DIRS", dirs.c_str());
    const fs::path firstPath = QoTest::ScopedUserFolders::systemSettings(user.dir / "first"),
                   secondPath = QoTest::ScopedUserFolders::systemSettings(user.dir / "second"),
                   userPath = user.appData() / "EmailFiling.cfg";
    QoTest::writeFile(secondPath,
                      "[Columns]\nLocationPriRefAlias=second\nLocationSecRefAlias=second\n"
                      "LocationDescAlias=second\n[Filing Lists]\nJobs=/second/jobs.xml\n"
                      "Archive=/second/archive.xml\n");
    QoTest::writeFile(firstPath,
                      "[Columns]\nLocationPriRefAlias=first\nLocationSecRefAlias=first\n");
    QoTest::writeFile(userPath,
                      "[Columns]\nLocationSecRefAlias=user\n[Filing Lists]\nJobs=/user/jobs.xml\n");

    const CSettingsLayers layers = CSettingsLayers::ForThisUser();
    // The relative folder is left out.
    ASSERT_EQ(layers.Files().size(), 3u);

    const struct {
        const wchar_t* key;
        const wchar_t* value;
        const fs::path& from;
    } cases[] = {{L"LocationPriRefAlias", L"first", firstPath},
                 {L"LocationSecRefAlias", L"user", userPath},
                 {L"LocationDescAlias", L"second", secondPath}};
    for (const auto& c : cases) {
        std::wstring value, from;
        EXPECT_TRUE(layers.Lookup(L"Columns", c.key, value, &from));
        EXPECT_EQ(value, c.value) << c.key;
        EXPECT_EQ(from, toWide(c.from.string())) << c.key;
        EXPECT_TRUE(layers.ProductSettings().ReadPrefixedOrPlain(c.key, value));
        EXPECT_EQ(value, c.value) << c.key;
    }
    const auto lists = layers.SectionValues(CSettingsLayers::kFilingListsSection);
    ASSERT_EQ(lists.size(), 2u);
    EXPECT_EQ(lists[0].second, L"/user/jobs.xml");
    EXPECT_EQ(lists[1].second, L"/second/archive.xml");

    // A damaged file is named with the reason and takes nothing away.
    QoTest::writeFile(firstPath, "[]\nLocationPriRefAlias=x\n");
    const CSettingsLayers damaged = CSettingsLayers::ForThisUser();
    EXPECT_EQ(damaged.Files()[1].eState, SettingsFileState::Unreadable);
    EXPECT_NE(damaged.Files()[1].sProblem.find(L"Invalid section"), std::wstring::npos);
    std::wstring value;
    EXPECT_TRUE(damaged.Lookup(L"Columns", L"LocationPriRefAlias", value));
    EXPECT_EQ(value, L"second");
    fs::remove(userPath);
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
