#include "CommandLine.h"
#include "TempDir.h"

#include "IndexCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace fs = std::filesystem;
using QoTest::runCli;

namespace {

/// A copy of the message corpus as a filing folder, with its own index.
class FindCommand : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(mail);
        for (const auto& entry : fs::directory_iterator(fs::path(QOSEARCH_CORPUS_DIR) / "msg"))
            fs::copy_file(entry.path(), mail / entry.path().filename());
    }

    QoTest::CommandResult find(std::vector<std::string> args) {
        std::vector<std::string> all = {"find", "--index-dir", indexDir.string(), "--folder",
                                        mail.string()};
        all.insert(all.end(), args.begin(), args.end());
        return runCli(all);
    }

    /// The file names of the rows, in the order they were printed.
    static std::multiset<std::string> names(const QoTest::CommandResult& result) {
        std::multiset<std::string> found;
        for (const auto& line : result.lines())
            found.insert(line.substr(line.rfind('\t') + 1));
        return found;
    }

    int documentsInIndex() const { return QoTest::documentsIn(indexDir); }

    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders{dir.path()};
    fs::path mail = dir / "Filing/Job 42";
    fs::path indexDir = dir / "Index/0.4";
};

using Names = std::multiset<std::string>;

} // namespace

TEST_F(FindCommand, SearchesByEachCriterionReturnExactlyTheMatchingFiles) {
    const auto bySubject = find({"--subject", "reseller"});
    ASSERT_EQ(bySubject.status, 0) << bySubject.err;
    EXPECT_EQ(names(bySubject), (Names{"poi_message_extra_hyphen_submission_chunk.msg",
                                       "poi_message_normal_submission_chunk.msg"}));
    EXPECT_NE(bySubject.err.find("2 matches found in "), std::string::npos) << bySubject.err;

    EXPECT_EQ(names(find({"--from", "alec milton", "--no-update"})),
              (Names{"poi_message_1979.msg", "poi_message_1980.msg", "poi_message_1981.msg"}));
    EXPECT_EQ(names(find({"--body", "historian", "--no-update"})),
              (Names{"poi_53784_fails.msg", "poi_53784_succeeds.msg"}));
    EXPECT_EQ(names(find({"--after", "1999-08-15", "--before", "2005-11-06", "--no-update"})),
              (Names{"poi_message_1979.msg", "poi_message_1980.msg", "poi_message_1981.msg",
                     "poi_logsat.com_signatures_valid.msg"}));
    // The day chosen for "sent after" is itself excluded.
    EXPECT_EQ(names(find({"--after", "1999-08-16", "--before", "2005-11-06", "--no-update"})),
              (Names{"poi_logsat.com_signatures_valid.msg"}));
    EXPECT_EQ(names(find({"--filename", "VOTE", "--no-update"})),
              (Names{"mr_voteItems.msg", "mr_voteNo.msg", "mr_voteYes.msg"}));
    EXPECT_EQ(names(find({"--attachment", "green.png", "--no-update"})),
              (Names{"mr_msgInMsg.msg", "mr_msgInMsgInMsg.msg"}));
    EXPECT_EQ(names(find({"--keywords", "inner", "--no-update"})), (Names{"mr_Outer mail.msg"}));
    EXPECT_EQ(names(find({"--keywords", "irradiant historian", "--no-update"})),
              (Names{"poi_53784_fails.msg", "poi_53784_succeeds.msg",
                     "poi_message_extra_hyphen_submission_chunk.msg",
                     "poi_message_normal_submission_chunk.msg"}));
}

TEST_F(FindCommand, RowsCarryTheResultColumns) {
    const auto result = find({"--subject", "option", "--filename", "1979"});
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(result.lines().size(), 1u);
    EXPECT_EQ(result.lines()[0],
              "alec milton\tGeorge Maurey\tOption 2 please\t1999-08-16\t0\t29696\t" +
                  mail.string() + "/\tpoi_message_1979.msg");
}

TEST_F(FindCommand, JsonRowsCarryTheRecordWithFolderAndFileName) {
    const auto result = find({"--json", "--from", "bloomfield"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.front(), '[');
    EXPECT_EQ(result.out.substr(result.out.size() - 2), "]\n");
    for (const char* text :
         {"\"Subject\": \"Reseller Irradiant - MM Build\"", "\"From\": \"Amanda Bloomfield\"",
          "\"Body\": \"", "\"Filename\": \"poi_message_normal_submission_chunk.msg\"",
          "\"SentDate\": \"2007-05-31T", "\"Attachments\": []"})
        EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n" << result.out;
    EXPECT_NE(result.out.find("\"Folder\": \"" + mail.string() + "/\""), std::string::npos);
}

TEST_F(FindCommand, AnUpToDateIndexIsNotWrittenAgainAndNewFilesAreFound) {
    ASSERT_EQ(find({"--subject", "nothing-matches-this"}).status, 0);
    const int indexed = documentsInIndex();
    EXPECT_EQ(indexed, 86);

    const auto again = find({"--subject", "option"});
    ASSERT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(documentsInIndex(), indexed);
    EXPECT_EQ(names(again).size(), 3u);

    fs::copy_file(mail / "poi_message_1979.msg", mail / "Copy of option.msg");
    const auto third = find({"--subject", "option"});
    EXPECT_EQ(documentsInIndex(), indexed + 1);
    EXPECT_EQ(names(third).count("Copy of option.msg"), 1u);

    const auto counted = runCli({"index", "--index-dir", indexDir.string(), mail.string()});
    EXPECT_EQ(counted.status, 0) << counted.err;
    EXPECT_NE(counted.out.find("Indexed 0 new, 0 changed, 0 removed messages"), std::string::npos)
        << counted.out;
}

TEST_F(FindCommand, BadQueriesAndFoldersGiveClearMessagesAndLoseNothing) {
    ASSERT_EQ(find({}).status, 0);
    const auto malformed = find({"--query", "Subject:(unclosed"});
    EXPECT_EQ(malformed.status, 1);
    EXPECT_NE(malformed.err.find("The query could not be understood"), std::string::npos)
        << malformed.err;
    const auto after = find({"--query", "Subject:reseller", "--no-update"});
    EXPECT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(names(after).size(), 2u);

    const auto missing =
        runCli({"find", "--index-dir", indexDir.string(), "--folder", (dir / "nowhere").string()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("does not exist"), std::string::npos) << missing.err;

    EXPECT_EQ(runCli({"find", "--folder"}).status, 2);
    EXPECT_EQ(runCli({"find", "--folder", mail.string(), "--after", "2024-02-30"}).status, 2);
}

TEST_F(FindCommand, NothingBesideTheNamedIndexIsTouched) {
    // The index named beside the mail itself, in a folder full of the user's files.
    const fs::path named = dir / "idx";
    QoTest::writeFile(dir / "notes.txt", "keep");
    QoTest::writeFile(dir / "Photos" / "a.jpg", "keep");
    const auto indexed = runCli({"index", "--index-dir", named.string(), mail.string()});
    ASSERT_EQ(indexed.status, 0) << indexed.err;
    EXPECT_NE(indexed.out.find("Indexed 86 new, 0 changed, 0 removed messages"), std::string::npos)
        << indexed.out;
    const auto found = runCli({"find", "--index-dir", named.string(), "--folder", mail.string(),
                               "--subject", "reseller"});
    ASSERT_EQ(found.status, 0) << found.err;
    EXPECT_EQ(names(found).size(), 2u);
    for (const fs::path& kept :
         {dir / "notes.txt", dir / "Photos" / "a.jpg", mail / "poi_message_1979.msg", dir / "data"})
        EXPECT_TRUE(fs::exists(kept)) << kept;
}
