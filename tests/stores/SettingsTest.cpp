#include "stores/QOSettings.h"
#include "stores/SettingsCache.h"
#include "stores/SettingsFile.h"

#include "StoresTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>

using Kerf::CSettingsFile;
using Kerf::CSettingsFileException;
using Kerf::QuireLib::CQOSettings;
using Kerf::QuireLib::CSettingsCache;
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

// What reading the text from a file throws; without text, the file is missing.
CSettingsFileException::Code parseError(const std::optional<std::string>& text,
                                        std::wstring* message = nullptr) {
    QoTest::TempDir dir;
    if (text)
        QoTest::writeFile(dir / "bad.cfg", *text);
    return codeOf([&] { CSettingsFile().readAFile(toWide((dir / "bad.cfg").string())); }, message);
}

// UTF-16 bytes of ASCII/BMP text in the given byte order, with its mark.
std::string utf16(const std::u16string& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (char16_t c : text) {
        const char hi = static_cast<char>(c >> 8), lo = static_cast<char>(c & 0xFF);
        bytes += bigEndian ? std::string{hi, lo} : std::string{lo, hi};
    }
    return bytes;
}

} // namespace

TEST(SettingsFile, LinesAreCommentsSectionsOrPairs) {
    CSettingsFile s;
    s.parseText(L"Top = outside\n"
                L"[Search]\n"
                L"Title=a=b\n"
                L";Title=x\n"
                L"[Broken\n"
                L"  Alias =  Job number  \n"
                L"\n"
                L"[[Other]]\n"
                L"Title=other\n");
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
        {"le.cfg", utf16(text, false)},
        {"be.cfg", utf16(text, true)},
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
    std::wstring message;
    EXPECT_EQ(parseError("[S]\nA=1\njust words\n", &message),
              CSettingsFileException::eTokenisingError);
    EXPECT_NE(message.find(L"@ line 3) : Tokenising error"), std::wstring::npos) << message;
    EXPECT_NE(message.find(L"just words"), std::wstring::npos) << message;
    EXPECT_EQ(parseError("[]\n"), CSettingsFileException::eInvalidSection);
    EXPECT_EQ(parseError("[S]\n=value\n"), CSettingsFileException::eInvalidKey);
    EXPECT_EQ(parseError(std::nullopt, &message), CSettingsFileException::eErrorOpeningFile);
    EXPECT_TRUE(message.starts_with(L"Error (<<") &&
                message.ends_with(L"bad.cfg>>) : Error opening file"))
        << message;
}

TEST(SettingsFile, WritesWhatItReadsAndRefusesWhatAFileCannotHold) {
    QoTest::TempDir dir;
    CSettingsFile s;
    s.setValue(L"Search", L"Title", L"a=b");
    s.setValue(L"", L"Top", L"first");
    s.setValue(L"Other", L"Path", L"\\\\server\\share");
    const std::wstring file = toWide((dir / "out.cfg").string());
    s.writeAFile(file);
    CSettingsFile back;
    back.readAFile(file);
    EXPECT_EQ(lookup(back, L"", L"Top"), L"first");
    EXPECT_EQ(lookup(back, L"Search", L"Title"), L"a=b");
    EXPECT_EQ(lookup(back, L"Other", L"Path"), L"\\\\server\\share");

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
    CSettingsCache cache;
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
    QoTest::writeFile(folder / "EmailFiling.cfg", "[Columns]\n"
                                                  "LocationPriRefAlias=Job\n"
                                                  "*LocationPriRefAlias=Matter\n"
                                                  "Count=42\n"
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
