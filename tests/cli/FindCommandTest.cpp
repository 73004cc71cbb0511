#include "FilingFolder.h"
#include "SharedFiles.h"
#include "central/CentralTestSupport.h"

namespace fs = std::filesystem;
using QoTest::endedSaying;
using QoTest::runCli;

using FindCommand = QoTest::CorpusFolder;
using Names = std::multiset<std::string>;

QO_TESTS_READ_SHARED(Corpus, "FindCommand.*");

// Each criterion finds exactly its files in the per-user index. Where a
// PostgreSQL server runs, the central index finds the same files, for these
// and for a one-letter word, a word a language could drop, and a recipient.
TEST_F(FindCommand, SearchesByEachCriterionReturnExactlyTheMatchingFiles) {
    const auto server = QoTest::postgresServer();
    if (server) {
        Kerf::Central::CPgConnection(server->indexd).run("DROP SCHEMA IF EXISTS qosearch CASCADE");
        QoTest::runCentralRound(server->indexd, {mail.wstring()});
        QoTest::setCentralIndex(server->indexd, mail);
    }
    const struct {
        std::vector<std::string> criteria;
        Names files; // none: the two indexes are only compared
    } cases[] = {
        {{"--subject", "reseller"},
         {"poi_message_extra_hyphen_submission_chunk.msg",
          "poi_message_normal_submission_chunk.msg"}},
        {{"--from", "alec milton"},
         {"poi_message_1979.msg", "poi_message_1980.msg", "poi_message_1981.msg"}},
        {{"--body", "historian"}, {"poi_53784_fails.msg", "poi_53784_succeeds.msg"}},
        {{"--after", "1999-08-15", "--before", "2005-11-06"},
         {"poi_message_1979.msg", "poi_message_1980.msg", "poi_message_1981.msg",
          "poi_logsat.com_signatures_valid.msg"}},
        // The day chosen for "sent after" is itself excluded.
        {{"--after", "1999-08-16", "--before", "2005-11-06"},
         {"poi_logsat.com_signatures_valid.msg"}},
        {{"--filename", "VOTE"}, {"mr_voteItems.msg", "mr_voteNo.msg", "mr_voteYes.msg"}},
        {{"--attachment", "green.png"}, {"mr_msgInMsg.msg", "mr_msgInMsgInMsg.msg"}},
        {{"--keywords", "irradiant historian"},
         {"poi_53784_fails.msg", "poi_53784_succeeds.msg",
          "poi_message_extra_hyphen_submission_chunk.msg",
          "poi_message_normal_submission_chunk.msg"}},
        {{"--from", "a"}, {}},
        {{"--body", "the"}, {}},
        {{"--to", "ku"}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.criteria[0] + " " + c.criteria[1]);
        std::vector<std::string> args = c.criteria;
        args.push_back("--local-only");
        const auto local = find(args);
        if (!c.files.empty()) {
            EXPECT_TRUE(endedSaying(local, 0, std::to_string(c.files.size()) + " match"));
            EXPECT_EQ(local.fileNames(), c.files);
        }
        EXPECT_FALSE(local.fileNames().empty());
        if (!server)
            continue;
        args.back() = "--central";
        const auto central = find(args);
        EXPECT_EQ(central.fileNames(), local.fileNames());
        EXPECT_EQ(central.err.find("per-user index instead"), std::string::npos) << central.err;
    }
}

// A row as text carries the result columns (never sent: the Sent cell is
// empty, as in the window); as JSON, the record with folder and file name.
TEST_F(FindCommand, RowsCarryTheResultColumnsAsTextOrJson) {
    const struct {
        std::vector<std::string> criteria;
        std::vector<std::string> texts; // in order, from its start to its end
    } cases[] = {
        {{"--subject", "option", "--filename", "1979"},
         {"alec milton\tGeorge Maurey\tOption 2 please\t1999-08-16\t0\t29696\t" + mail.string() +
          "/\tpoi_message_1979.msg\n"}},
        {{"--filename", "poi_keywords"},
         {"\t\tTest Keywords\t\t0\t21504\t" + mail.string() + "/\tpoi_keywords.msg\n"}},
        {{"--json", "--from", "bloomfield"},
         {"[", "\"Body\": \"", "\"SentDate\": \"2007-05-31T", "\"Attachments\": []",
          "\"Folder\": \"" + mail.string() + "/\"",
          "\"Filename\": \"poi_message_normal_submission_chunk.msg\"", "]\n"}},
    };
    for (const auto& c : cases) {
        const auto result = find(c.criteria);
        ASSERT_EQ(result.status, 0) << result.err;
        std::size_t at = 0;
        for (const std::string& text : c.texts) {
            at = result.out.find(text, at);
            ASSERT_NE(at, std::string::npos) << text << "\n" << result.out;
            at += text.size();
        }
        EXPECT_TRUE(result.out.starts_with(c.texts.front())) << result.out;
        EXPECT_EQ(at, result.out.size()) << result.out;
    }
}

TEST_F(FindCommand, BadQueriesAndFoldersGiveClearMessagesAndLoseNothing) {
    ASSERT_EQ(find({}).status, 0);
    EXPECT_TRUE(endedSaying(find({"--query", "Subject:(unclosed"}), 1,
                            "The query could not be understood"));
    // Past its buffer CLucene's parser misreads the text, and may crash.
    const std::string manyWords = QByteArray("x ").repeated(20000).toStdString();
    EXPECT_TRUE(
        endedSaying(find({"--subject", manyWords, "--no-update"}), 1, "The search is too long"));
    const auto after = find({"--query", "Subject:reseller", "--no-update"});
    EXPECT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(after.fileNames().size(), 2u);

    EXPECT_TRUE(endedSaying(
        runCli({"find", "--index-dir", index.string(), "--folder", (dir / "nowhere").string()}), 1,
        "does not exist"));
    EXPECT_TRUE(endedSaying(runCli({"find", "--index-dir", index.string(), "--folder",
                                    (mail / "poi_message_1979.msg").string()}),
                            1, "is not a folder"));
    // CLucene removes files it takes for its own; an index is not made beside them.
    for (const std::string name : {"budget.cfs", "plan.nrm", "segments-old"}) {
        const fs::path papers = dir / ("papers " + name);
        QoTest::writeFile(papers / name, "the user's own");
        EXPECT_TRUE(
            endedSaying(runCli({"find", "--index-dir", papers.string(), "--folder", mail.string()}),
                        1, "not part of an index"))
            << name;
        EXPECT_TRUE(fs::exists(papers / name)) << name;
    }
}
