// The words the central index keeps, and who may read a folder.

#include "TempDir.h"

#include "central/FolderReaders.h"
#include "central/TextVectors.h"

#include <QString>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/acl.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;
using namespace Kerf::Central;

TEST(CentralWords, TextBecomesVectorAndQueryText) {
    struct Case {
        std::wstring text;
        std::string vector, prefix, phrase;
    };
    const Case cases[] = {
        {L"Annual report, ANNUAL Café", "'annual':1,3 'cafe':4 'report':2",
         "'annual':* & 'report':* & 'annual':* & 'cafe':*",
         "'annual' & 'report' & 'annual' & 'cafe'"},
        // A typed address is looked for whole; a quoted phrase word by word.
        {L"\"annual report\" ku@dolphins.jp",
         "'annual':1 'dolphins':4 'dolphins.jp':4 'jp':5 'ku':3 'ku@dolphins.jp':3 'report':2",
         "('annual' <1> 'report') & 'ku@dolphins.jp':*",
         "('annual' <1> 'report') & 'ku@dolphins.jp'"},
        {L"東京 x", "'x':2 '東京':1", "'東京':* & 'x':*", "'東京' & 'x'"},
        // A longer run of ideographs is found whole, its last pair no prefix.
        {L"東京都", "'京都':2 '東京':1", "('東京' <1> '京都')", "('東京' <1> '京都')"},
        {L" -- ", "", "", ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(toTsVectorText(c.text), c.vector);
        EXPECT_EQ(toPrefixQueryText(c.text), c.prefix);
        EXPECT_EQ(toPhraseQueryText(c.text), c.phrase);
    }
    // Names and addresses of one field: the second text starts well after
    // the first, so a phrase never spans the two.
    EXPECT_EQ(toTsVectorText({L"Ku Lee", L"ku@x.jp"}),
              "'jp':105 'ku':1,103 'ku@x.jp':103 'lee':2 'x':104 'x.jp':104");
    // A word said more often than a vector holds keeps its first positions.
    const std::string vector = toTsVectorText(QString("go ").repeated(20000).toStdWString());
    EXPECT_EQ(std::count(vector.begin(), vector.end(), ','), kMaxPositionsPerWord - 1);
}

TEST(CentralWords, FolderReadersFollowModeAndAcl) {
    QoTest::TempDir temp;
    const passwd* self = getpwuid(geteuid());
    ASSERT_NE(self, nullptr);
    const std::string me = self->pw_name;
    struct Case {
        const char* acl;
        std::vector<std::string> readers;
    };
    const Case cases[] = {
        {"u::rwx,g::---,o::---", {me}},
        {"u::rw-,g::---,o::---", {}}, // no search right: cannot open the files
        {"u::rwx,g::---,o::r-x", {me, "public"}},
        {"u::rwx,g::---,o::---,u:daemon:r-x,m::r-x", {"daemon", me}},
        {"u::rwx,g::---,o::---,u:daemon:r-x,m::r--", {me}}, // the mask takes search away
    };
    int n = 0;
    for (const Case& c : cases) {
        const fs::path folder = temp / std::to_string(n++);
        fs::create_directory(folder);
        acl_t acl = acl_from_text(c.acl);
        ASSERT_NE(acl, nullptr) << c.acl;
        const int set = acl_set_file(folder.c_str(), ACL_TYPE_ACCESS, acl);
        acl_free(acl);
        if (set != 0)
            GTEST_SKIP() << "the temporary folder's file system keeps no ACLs";
        auto expected = c.readers;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(folderReaders(folder.string()), expected) << c.acl;
    }
    EXPECT_EQ(folderReaders((temp / "missing").string()), std::nullopt);

    using Roles = std::vector<std::string>;
    EXPECT_EQ(readersWithin({"a", "b"}, {"b", "c"}), Roles{"b"});
    EXPECT_EQ(readersWithin({"public"}, {"b"}), Roles{"b"});
    EXPECT_EQ(readersWithin({"a"}, {"public"}), Roles{"a"});
}
