// Every file of the shared corpus read into a record, and read whole, and
// compared with the values an independent reader found in it.

#include "SharedFiles.h"
#include "TempDir.h"

#include "mail/EmailMetadataFile.h"
#include "mail/MessageDocument.h"
#include "msgfile/CompoundStorage.h"
#include "msgfile/CompressedRtf.h"
#include "msgfile/MapiMessage.h"
#include "msgfile/PropertyReader.h"
#include "support/DateTime.h"
#include "support/Strings.h"
#include "text/ViewableHtml.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <thread>

using namespace Kerf;
using namespace Kerf::QuireLib;

namespace {

// The shared message corpus and the values expected from each of its files.
const std::filesystem::path kCorpus = QOSEARCH_CORPUS_DIR;

const nlohmann::json& corpusExpectations() {
    static const nlohmann::json expected = [] {
        std::ifstream in(kCorpus / "expected.json");
        return nlohmann::json::parse(in);
    }();
    return expected;
}

/// Every message file of the corpus, by name, in name order; none without
/// the corpus (its tests are then left out, see SharedFiles.h).
std::vector<std::string> corpusFileNames() {
    std::vector<std::string> names;
    std::error_code ec;
    for (auto it = std::filesystem::directory_iterator(kCorpus / "msg", ec);
         !ec && it != std::filesystem::directory_iterator(); it.increment(ec))
        names.push_back(it->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// The record's local sent date in UTC, as digits only.
std::string sentDateUtc(const OleDate& date) {
    const std::int64_t seconds = Dates::toUnixLocal(Dates::fromOleDate(date.m_dt));
    // The Unix epoch is day 25569 of the OLE day count, which knows no zones.
    return Dates::toIndexText(Dates::fromOleDate(25569.0 + seconds / 86400.0));
}

std::string digitsOf(std::string text) {
    std::erase_if(text, [](char c) { return !std::isdigit(static_cast<unsigned char>(c)); });
    return text;
}

// Names of every attachment, those of attached messages indented below them.
std::string outline(const CMessageAttachments& message, const std::string& indent = "") {
    std::string text;
    for (std::size_t i = 0; i < message.attachments().size(); ++i) {
        text += indent + Util::toNarrow(message.attachments()[i].name) + "\n";
        if (auto inner = message.openMessage(i))
            text += outline(*inner, indent + "  ");
    }
    return text;
}

class MessageCorpus : public testing::TestWithParam<std::string> {
protected:
    std::filesystem::path path() const { return kCorpus / "msg" / GetParam(); }
    const nlohmann::json& expected() const { return corpusExpectations().at(GetParam()); }
    /// The property's stream, when the file opens at the MAPI layer and has it.
    std::unique_ptr<Mapi::CStream> stream(Mapi::ULONG tag) {
        std::unique_ptr<Mapi::CStream> opened;
        Mapi::ULONG storedType = 0;
        if (message)
            message->OpenProperty(tag, opened, storedType);
        return opened;
    }

    const std::string bytes = QoTest::readFile(path());
    std::unique_ptr<Mapi::CMessage> message = [this] {
        std::string error;
        std::unique_ptr<Mapi::CMessage> opened;
        if (auto storage = Mapi::CStorage::openMemory(
                reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), error))
            Mapi::CMessage::OpenIMsgOnIStg(storage, opened);
        return opened;
    }();
};

} // namespace

QO_TESTS_READ_SHARED(Corpus, "*MessageCorpus.*");
QO_TESTS_READ_SHARED(Corpus, "DamagedCorpusFiles.*");
QO_TESTS_READ_SHARED(Corpus, "MessageCorpusThreads.*");

// Each file read into a record for the index and read whole for showing: opened at the MAPI layer,
// its attachments listed, its compressed RTF body unpacked, not a word on the terminal.
TEST_P(MessageCorpus, ReadsAsItsExpectedValuesSay) {
    const nlohmann::json& want = expected();
    testing::internal::CaptureStderr();
    const CEmailMetadata_File record(Util::fromPath(path()), true);
    const CMessageDocument document(Util::fromPath(path()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    EXPECT_EQ(record.GetStringValue(L"Location"), Util::fromPath(path()));
    EXPECT_EQ(record.GetSize(), want.at("Size").get<std::int32_t>());
    EXPECT_TRUE(document.MessageRead());
    if (want.value("damaged", false))
        return; // a damaged file must only come back, which it did
    EXPECT_TRUE(record.MessageRead());

    // An HTML or RTF body gives the record's body when there is no plain-text one.
    const bool bodyFromElsewhere =
        !want.contains("Body") &&
        (want.contains("BodyContains") || stream(Mapi::PR_HTML) || stream(Mapi::PR_RTF_COMPRESSED));
    CMetadata::Keys keys{L"Location"};
    if (bodyFromElsewhere)
        keys.insert(L"Body");
    for (const char* key : {"Subject", "Normalised_Subject", "From", "To", "Cc", "Bcc", "Body"}) {
        if (!want.contains(key))
            continue;
        keys.insert(Util::toWide(key));
        EXPECT_EQ(record.GetStringValue(Util::toWide(key)),
                  Util::toWide(want[key].get<std::string>()))
            << key;
    }
    EXPECT_EQ(record.GetKeys(), keys);
    for (const auto& text : want.value("BodyContains", nlohmann::json::array()))
        EXPECT_NE(record.GetStringValue(L"Body").find(Util::toWide(text.get<std::string>())),
                  std::wstring::npos)
            << Util::toNarrow(record.GetStringValue(L"Body"));

    if (want.contains("SentDate"))
        EXPECT_EQ(sentDateUtc(record.GetSentDate()), digitsOf(want["SentDate"]));
    else
        EXPECT_EQ(record.GetSentDate().m_dt, 0.0);
    EXPECT_EQ(record.GetSentDate().GetStatus(), OleDate::valid);
    EXPECT_EQ(record.GetEmbeddedAttachments(), want.at("EmbeddedAttachments").get<int>());
    EXPECT_EQ(record.GetNonEmbeddedAttachments(), want.at("NonEmbeddedAttachments").get<int>());

    // A false alarm would put a warning over a good message; the viewer's
    // limits leave real mail alone, showing every HTML body as HTML.
    EXPECT_FALSE(document.Damaged());
    EXPECT_EQ(Html::makeViewable(Util::toNarrow(document.HtmlBody())).refusal, "");
    const std::shared_ptr<CMessageAttachments>& attachments = document.Message();
    ASSERT_TRUE(attachments);
    EXPECT_EQ(attachments->attachments().size(),
              want.at("EmbeddedAttachments").get<std::size_t>() +
                  want.at("NonEmbeddedAttachments").get<std::size_t>());
    for (std::size_t i = 0; i < attachments->attachments().size(); ++i)
        EXPECT_EQ(bool(attachments->openMessage(i)), attachments->attachments()[i].isMessage) << i;
    // Some files' attachments in order and nested, and one file's data.
    const std::map<std::string, std::string> outlines = {
        {"mr_attachmentsOrder.msg", "A.docx\nB.docx\nC.docx\nD.docx\n"},
        {"mr_Outer mail.msg",
         "OUTER 1.pdf\nOUTER 2.pdf\nInner mail\n  INNER 1.pdf\n  INNER 2.pdf\n"},
        {"mr_msgInMsgInMsg.msg", "I have attachments!\n  Microsoft Outlook テスト メッセージ\n"
                                 "  green.png\nblue.png\n"},
        {"mr_attachmentFiles.msg", "jpg.jpg\npng.png\ntif.tif\n"},
    };
    if (outlines.contains(GetParam())) {
        EXPECT_EQ(outline(*attachments), outlines.at(GetParam()));
    }
    if (GetParam() == "mr_attachmentFiles.msg") {
        EXPECT_EQ(attachments->attachments()[1].mimeType, L"image/png");
        EXPECT_EQ(attachments->attachments()[1].size, 134u);
        std::vector<std::uint8_t> png;
        ASSERT_TRUE(attachments->readData(1, png));
        ASSERT_EQ(png.size(), 134u);
        EXPECT_EQ(std::string(png.begin() + 1, png.begin() + 4), "PNG");
    }

    ASSERT_TRUE(message);
    EXPECT_EQ(message->codePage(), want.at("MessageCodepage").get<int>());
    // Real compressed RTF, with back references: it unpacks to exactly its stated size and is RTF.
    const auto rtfStream = stream(Mapi::PR_RTF_COMPRESSED);
    if (!rtfStream)
        return;
    std::vector<std::uint8_t> data;
    Mapi::PropertyReader::getStreamData_Throw(*message, *rtfStream, data);
    ASSERT_GE(data.size(), 16u);
    const std::uint32_t rawSize = data[4] | data[5] << 8 | data[6] << 16 | data[7] << 24;
    const auto rtf = Rtf::decompress(data.data(), data.size());
    ASSERT_TRUE(rtf);
    EXPECT_EQ(rtf->size(), rawSize);
    EXPECT_EQ(rtf->substr(0, 5), "{\\rtf");
}

TEST(DamagedCorpusFiles, ACutShortFileIsReadWholeAsFarAsItGoesAndSaysSo) {
    QoTest::TempDir dir;
    const std::string bytes = QoTest::readFile(kCorpus / "msg" / "poi_quick.msg");
    QoTest::writeFile(dir / "cut.msg", bytes.substr(0, bytes.size() * 7 / 10));
    const CMessageDocument shortened(Util::fromPath(dir / "cut.msg"));
    EXPECT_TRUE(shortened.MessageRead());
    EXPECT_TRUE(shortened.Damaged());
    EXPECT_EQ(shortened.GetStringValue(L"Subject"), L"Test the content transformer");
}

// The indexer reads messages on several threads at once; each reader must
// come to the same record as a reader on its own.
TEST(MessageCorpusThreads, ReadersOnSeveralThreadsAgree) {
    const std::vector<std::string> names = corpusFileNames();
    // The record of the i-th file, round the list, as text.
    const auto describe = [&](std::size_t i) {
        const CEmailMetadata_File record(Util::fromPath(kCorpus / "msg" / names[i % names.size()]),
                                         true);
        std::wstring text;
        for (const std::wstring& key : record.GetKeys())
            text += key + L"=" + record.GetStringValue(key) + L"\n";
        return text + std::to_wstring(record.GetSize()) + L" " +
               std::to_wstring(record.GetSentDate().m_dt) + L" " +
               std::to_wstring(record.GetEmbeddedAttachments()) + L" " +
               std::to_wstring(record.GetNonEmbeddedAttachments());
    };
    std::vector<std::wstring> alone;
    for (std::size_t i = 0; i < names.size(); ++i)
        alone.push_back(describe(i));
    // Each thread starts at a different file so that they overlap.
    std::vector<std::thread> threads;
    for (std::size_t start = 17; start <= 4 * 17; start += 17)
        threads.emplace_back([&, start] {
            for (std::size_t i = start; i < start + names.size(); ++i)
                EXPECT_EQ(describe(i), alone[i % names.size()]) << names[i % names.size()];
        });
    for (std::thread& thread : threads)
        thread.join();
}

// Each case is named with the letters and digits of its file's name.
INSTANTIATE_TEST_SUITE_P(AllFiles, MessageCorpus, testing::ValuesIn(corpusFileNames()),
                         [](const auto& info) {
                             std::string name = info.param.substr(0, info.param.rfind('.'));
                             for (char& c : name)
                                 c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });
// Without the corpus there are no files to make cases of.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(MessageCorpus);
