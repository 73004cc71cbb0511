// What the user types meets what a message holds as the index's one word analyzer decides on both
// sides: each row is a typed search, a message's text, and whether the search finds it.

#include "CycleTestSupport.h"
#include "SharedFiles.h"

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::QuireLib;

namespace {

enum class Where { Subject, Body, From, To, Cc, Bcc, Keywords, Attachment };

/// The criterion each row types into, in the order of Where.
constexpr std::wstring SearchCriteria::*kTypedInto[] = {
    &SearchCriteria::m_sSubject,  &SearchCriteria::m_sBody,      &SearchCriteria::m_sFrom,
    &SearchCriteria::m_sTo,       &SearchCriteria::m_sCc,        &SearchCriteria::m_sBcc,
    &SearchCriteria::m_sKeywords, &SearchCriteria::m_sAttachment};

/// "Name <address>" as a name and an address; either may be missing.
std::pair<std::wstring, std::wstring> nameAndAddress(const std::wstring& stored) {
    const auto open = stored.find(L'<');
    if (open == std::wstring::npos)
        return {stored, L""};
    std::wstring name = stored.substr(0, open);
    while (!name.empty() && name.back() == L' ')
        name.pop_back();
    return {name, stored.substr(open + 1, stored.find(L'>') - open - 1)};
}

/// A message holding the stored text where the row looks for it.
QoMsg::MsgMessage messageHolding(Where where, const std::wstring& stored) {
    QoMsg::MsgMessage message;
    message.subject = L"Filed message";
    message.body = L"Nothing to see.";
    message.senderName = L"Office";
    const auto [name, address] = nameAndAddress(stored);
    // Recipients of types 1 to 3, in the order of Where; an Exchange address has no SMTP one.
    const auto type = static_cast<std::int32_t>(where) - static_cast<std::int32_t>(Where::From);
    const bool exchange = address.starts_with(L"/");
    if (where == Where::Subject || where == Where::Keywords) {
        message.subject = stored;
    } else if (where == Where::Body) {
        message.body = stored;
    } else if (where == Where::From) {
        message.senderName = name;
        if (!address.empty())
            message.senderSmtpAddress = address;
    } else if (where == Where::Attachment) {
        message.attachments.push_back({1, stored, {'x'}, {}});
    } else {
        (type == 1 ? message.displayTo : type == 2 ? message.displayCc : message.displayBcc) = name;
        message.recipients.push_back({name, address, type, exchange ? L"EX" : L"SMTP",
                                      exchange ? std::optional<std::wstring>() : address});
    }
    return message;
}

class WordMatching : public CycleTest::SavedMail {
protected:
    /// Whether searching the folder as typed finds the file.
    bool finds(Where where, const std::wstring& typed, const fs::path& file) {
        SearchCriteria criteria;
        criteria.*kTypedInto[static_cast<int>(where)] = typed;
        return std::ranges::count(find({file.parent_path()}, criteria), Util::fromPath(file)) == 1;
    }
};

} // namespace

TEST_F(WordMatching, TypedWordsMeetStoredTextsAsTheAnalyzerSays) {
    const struct {
        Where where;
        const wchar_t* typed;
        const wchar_t* stored;
        bool meets;
    } rows[] = {
        // Case and accents, either way round, folded alike on both sides
        // (which letter folds to what is the word analyzer's own test).
        {Where::Subject, L"aeroport", L"Àéroport de Nice", true},
        {Where::Body, L"telephonique", L"un appel téléphonique", true},
        {Where::Subject, L"straße", L"STRASSE 5", true},
        {Where::Body, L"ЕЛКА", L"ёлка", true},
        {Where::Subject, L"Łódź", L"LODZ office", true},
        {Where::Subject, L"lodz", L"lods", false},
        // No stemming.
        {Where::Body, L"runs", L"he ran", false},
        // Chinese inside a longer run, in pairs; the reverse pair is another word.
        {Where::Subject, L"會議", L"東京會議室", true},
        {Where::Subject, L"議會", L"東京會議室", false},
        {Where::Body, L"會議室", L"東京會議室", true},
        // Phrases: the words in a row, not in another order.
        {Where::Subject, L"\"sujet bien\"", L"un sujet bien choisi", true},
        {Where::Subject, L"\"sujet bien\"", L"bien, un sujet", false},
        {Where::Subject, L"\"bien", L"bien", true},
        {Where::Attachment, L"\"annual plan\"", L"annual plan.pdf", true},
        {Where::Attachment, L"\"plan annual\"", L"annual plan.pdf", false},
        {Where::Keywords, L"\"sujet bien\"", L"bien sujet", false},
        {Where::Keywords, L"\"sujet bien\"", L"sujet bien", true},
        // Addresses whole and in parts, beside the names, in each field.
        {Where::From, L"ku@digitaldolphins.onmicrosoft.com",
         L"Travis Ferguson <ku@digitaldolphins.onmicrosoft.com>", true},
        {Where::From, L"digitaldolphins.onmicrosoft.com",
         L"Travis <ku@digitaldolphins.onmicrosoft.com>", true},
        {Where::From, L"travis ku", L"Travis Ferguson <ku@digitaldolphins.onmicrosoft.com>", true},
        {Where::To, L"neverland.com", L"Peter Pan <peter@neverland.com>", true},
        {Where::To, L"peter@neverland.com", L"Peter Pan <peter@neverland.com>", true},
        {Where::To, L"pan", L"Peter Pan <peter@neverland.com>", true},
        {Where::Cc, L"john.smith", L"John Smith <john.smith@firm.co.uk>", true},
        {Where::Cc, L"firm.co.uk", L"John Smith <john.smith@firm.co.uk>", true},
        {Where::Bcc, L"john.smith@firm.co.uk", L"J <john.smith@firm.co.uk>", true},
        {Where::Bcc, L"firm", L"J <john.smith@firm.co.uk>", true},
        {Where::Bcc, L"smith@firm.co.uk", L"J <john.smith@firm.co.uk>", false},
        {Where::To, L"\"peter pan\"", L"Pan <peter@neverland.com>", false},
        // An Exchange address is no words.
        {Where::To, L"exchange", L"Ann </O=FIRM/OU=EXCHANGE/CN=ANN>", false},
        // Keywords that are parser syntax are words (how each splits is the
        // word analyzer's own test); a lone backslash is no word at all.
        {Where::Keywords, L"re: plain! a:b \"quoted", L"Re: plain text, ratio a:b, quoted", true},
        {Where::Keywords, L"\\", L"anything", true},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i)
        save("row" + std::to_string(i) + ".msg", messageHolding(rows[i].where, rows[i].stored));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const auto& row = rows[i];
        try {
            EXPECT_EQ(finds(row.where, row.typed, mail / ("row" + std::to_string(i) + ".msg")),
                      row.meets)
                << Util::toNarrow(row.typed) << " / " << Util::toNarrow(row.stored);
        } catch (const CExceptionBase& e) {
            ADD_FAILURE() << Util::toNarrow(row.typed) << ": " << Util::toNarrow(e.getMessage());
        }
    }
}

// The addresses of real messages, where the sender's and recipients' tables hold them. (How their
// texts decode is the corpus test's, and how words of other scripts match is the table above's.)
QO_TESTS_READ_SHARED(Corpus, "WordMatching.RealMessagesAreFoundByTheirWords");
TEST_F(WordMatching, RealMessagesAreFoundByTheirWords) {
    const fs::path corpus = fs::path(QOSEARCH_CORPUS_DIR) / "msg";
    const struct {
        const char* file;
        Where where;
        const wchar_t* typed;
        bool meets;
    } rows[] = {
        {"poi_cyrillic_message.msg", Where::From, L"niips.ru", true},
        {"poi_simple_test_msg.msg", Where::From, L"travis@overwrittenstack.com", true},
        {"poi_example_sent_regular.msg", Where::To, L"alfresco.com", true},
        {"poi_example_sent_regular.msg", Where::Cc, L"nick.burch", true},
        {"poi_example_sent_regular.msg", Where::Bcc, L"jan.vonka@alfresco.com", true},
        {"poi_example_sent_regular.msg", Where::Bcc, L"vonka", true},
        {"poi_example_sent_regular.msg", Where::Bcc, L"burch", false},
        {"mr_A schedule.msg", Where::To, L"digitaldolphins.onmicrosoft.com", true},
        {"mr_A schedule.msg", Where::Keywords, L"exchangelabs", false},
    };
    fs::create_directories(mail);
    for (const auto& row : rows)
        if (!fs::exists(mail / row.file))
            fs::copy_file(corpus / row.file, mail / row.file);
    for (const auto& row : rows)
        EXPECT_EQ(finds(row.where, row.typed, mail / row.file), row.meets)
            << row.file << ": " << Util::toNarrow(row.typed);
}
