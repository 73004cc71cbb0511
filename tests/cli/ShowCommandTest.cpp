// "qosearch-cli show" run on written messages: its JSON parses and carries every value exactly, the
// sent date in local time with its offset; the text form has one block per file.

#include "CommandLine.h"
#include "MsgTestFiles.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ctime>
#include <fstream>

using QoTest::runCli;

namespace {

// The local wall-clock time of a UTC moment with the zone's offset.
std::string localIso(std::time_t utc) {
    std::tm tm{};
    localtime_r(&utc, &tm);
    char text[64];
    std::strftime(text, sizeof text, "%FT%T%z", &tm);
    std::string iso = text;
    return iso.insert(iso.size() - 2, ":");
}

} // namespace

TEST(ShowCommand, JsonCarriesEveryValueExactly) {
    QoTest::MsgFiles files;
    QoMsg::MsgMessage tricky = QoTest::simpleMessage();
    tricky.subject = L"Quote \" backslash \\ tab\t bell\x07 \x00e9\x4e2d \x1F600";
    tricky.body = L"line one\r\nline two\r\n";
    tricky.submitTime = QoMsg::fileTimeFromUtc(2013, 7, 18, 8, 26, 24);
    tricky.attachments.push_back({6, L"ole.bin", {1}, nullptr});
    tricky.senderSmtpAddress = L"anna@example.com";
    tricky.recipients = {{L"Ben Clarke", L"ben@example.com", 1, L"SMTP", {}},
                         {L"Cy", L"/O=FIRM/CN=CY", 3, L"EX", L"cy@example.com"}};
    const auto first = files.write("tricky \"name\".msg", tricky);
    const auto second = files.write("plain.msg", QoMsg::MsgMessage{});
    const auto foreign = files.folder() / "foreign.msg";
    std::ofstream(foreign) << "not a message";
    const std::string missing = (files.folder() / "missing.msg").string();

    const QoTest::CommandResult result =
        runCli({"show", "--json", first.string(), second.string(), missing, foreign.string()});
    EXPECT_EQ(result.status, 1); // the missing and the foreign file
    const nlohmann::json records = nlohmann::json::parse(result.out);
    ASSERT_EQ(records.size(), 4u);

    const nlohmann::json& r = records[0];
    EXPECT_EQ(r["Location"], first.string());
    EXPECT_EQ(Kerf::Util::toWide(r["Subject"].get<std::string>()), *tricky.subject);
    EXPECT_EQ(r["Body"], "line one\r\nline two\r\n");
    EXPECT_EQ(r["Size"], std::filesystem::file_size(first));
    EXPECT_EQ(r["SentDate"], localIso(1374135984));
    EXPECT_EQ(r["EmbeddedAttachments"], 1);
    EXPECT_EQ(r["FromAddress"], "anna@example.com");
    EXPECT_EQ(r["ToAddresses"], nlohmann::json::array({"ben@example.com"}));
    EXPECT_EQ(r["CcAddresses"], nlohmann::json::array());
    EXPECT_EQ(r["BccAddresses"], nlohmann::json::array({"cy@example.com"}));

    EXPECT_FALSE(records[1].contains("Subject"));
    EXPECT_FALSE(records[1].contains("SentDate")); // never sent: no 1899-12-30
    EXPECT_EQ(records[2]["Location"], missing);
    EXPECT_EQ(records[3]["Location"], foreign.string());
    EXPECT_EQ(runCli({"show", first.string(), second.string()}).status, 0);
}

// A message can retitle or clear the terminal, or make a name read backwards, through what show and
// find print; every such character comes out escaped. The text form has one block per file.
TEST(ShowCommand, TextOutputHasOneBlockPerFileAndShowsControlCharactersAsEscapes) {
    QoTest::MsgFiles files;
    QoMsg::MsgMessage hostile = QoTest::simpleMessage();
    hostile.subject = L"Q3\x1B]0;owned\x07 report\x9B"
                      L"2J \x202E"
                      L"fdp.exe\x7F";
    hostile.body = L"line\x1B[2J\r\nnext\tcolumn\r\n";
    const auto path = files.write("evil\x1b[31m.msg", hostile);
    QoTest::TempDir user;
    QoTest::ScopedUserFolders folders{user.path()};
    const std::string index = (user / "index").string();
    const struct {
        const char* what;
        std::vector<std::string> args;
    } cases[] = {
        {"show", {"show", path.string()}},
        {"find", {"find", "--index-dir", index, "--folder", files.folder().string()}},
    };
    for (const auto& c : cases) {
        const QoTest::CommandResult result = runCli(c.args);
        ASSERT_EQ(result.status, 0) << c.what << ": " << result.err;
        for (const std::string& text : {result.out, result.err}) {
            const bool raw = std::any_of(text.begin(), text.end(), [](char c) {
                const auto b = static_cast<unsigned char>(c);
                return (b < 0x20 && b != '\t' && b != '\n') || b == 0x7F;
            });
            EXPECT_FALSE(raw) << c.what << ": " << text;
            EXPECT_EQ(text.find("\xC2\x9B"), std::string::npos) << c.what; // C1 CSI
            EXPECT_EQ(text.find("\xE2\x80\xAE"), std::string::npos) << c.what;
        }
        EXPECT_NE(result.out.find("Q3\\x1b]0;owned\\x07 report\\x9b2J \\u202efdp.exe\\x7f"),
                  std::string::npos)
            << c.what << ": " << result.out;
        EXPECT_NE(result.out.find("evil\\x1b[31m.msg"), std::string::npos) << c.what;
    }
    const std::string shown = runCli({"show", path.string(), path.string()}).out;
    const std::string block = shown.substr(0, shown.find("\n\n") + 1);
    EXPECT_EQ(block.rfind("Location: " + files.folder().string() + "/evil\\x1b[31m.msg\n", 0), 0u);
    EXPECT_NE(block.find("\nBody:\n  line\\x1b[2J\n  next\tcolumn\n"), std::string::npos);
    EXPECT_EQ(block.find("Bcc:"), std::string::npos);
    EXPECT_EQ(shown, block + "\n" + block);
}
