#include "DemoCorpus.h"

#include "DocumentWriter.h"
#include "MsgWriter.h"

#include <QString>

#include <random>

namespace QoMsg {
namespace {

// Messages written in other languages: the subject, a body line and the
// sender, and the code page an older mail client would have written them in
// (0: Unicode properties).
struct Foreign {
    const wchar_t* language;
    const wchar_t* subject;
    const wchar_t* body;
    const wchar_t* sender;
    std::uint32_t codePage;
    std::uint32_t localeId;
};

constexpr Foreign kForeign[] = {
    {L"German", L"Angebot für die Brückensanierung",
     L"Sehr geehrte Damen und Herren, anbei unser Angebot für die Sanierung der Brücke. "
     L"Mit freundlichen Grüßen",
     L"Jürgen Weiß", 1252, 1031},
    {L"French", L"Réunion de chantier : compte rendu",
     L"Bonjour, voici le compte rendu de la réunion de chantier de mardi. Cordialement",
     L"Hélène Côté", 0, 1036},
    {L"Polish", L"Harmonogram robót – zmiana terminu",
     L"Dzień dobry, przesyłam zmieniony harmonogram robót na przyszły tydzień. Pozdrawiam",
     L"Łukasz Wójcik", 1250, 1045},
    {L"Russian", L"Смета на ремонт набережной",
     L"Добрый день, направляем смету на ремонт набережной. С уважением", L"Ольга Смирнова", 1251,
     1049},
    {L"Greek", L"Προσφορά για τη γέφυρα",
     L"Καλημέρα σας, επισυνάπτουμε την προσφορά μας για τη γέφυρα. Με εκτίμηση",
     L"Νίκος Παπαδόπουλος", 1253, 1032},
    {L"Turkish", L"Şantiye toplantısı tutanağı",
     L"Merhaba, şantiye toplantısının tutanağını ekte bulabilirsiniz. Saygılarımla", L"Ayşe Yılmaz",
     1254, 1055},
    {L"Hebrew", L"הצעת מחיר לתיקון הרציף", L"שלום, מצורפת הצעת המחיר לתיקון הרציף. בברכה",
     L"דניאל כהן", 0, 1037},
    {L"Arabic", L"عرض سعر لإصلاح الرصيف", L"مرحبا، نرفق عرض السعر لإصلاح الرصيف. مع التحية",
     L"ليلى حسن", 0, 1025},
    {L"Chinese", L"码头维修报价", L"您好，附件是码头维修的报价单，请查收。谢谢", L"王伟", 936,
     2052},
    {L"Japanese", L"岸壁補修の見積書",
     L"お世話になっております。岸壁補修の見積書を添付いたします。", L"佐藤花子", 932, 1041},
    {L"Korean", L"부두 보수 견적서", L"안녕하세요, 부두 보수 견적서를 첨부합니다. 감사합니다",
     L"김민준", 0, 1042},
    {L"Hindi", L"घाट की मरम्मत का अनुमान", L"नमस्ते, घाट की मरम्मत का अनुमान संलग्न है। धन्यवाद",
     L"प्रिया शर्मा", 0, 1081},
};

std::string utf8(const std::wstring& text) {
    return QString::fromStdWString(text).toStdString();
}

std::vector<std::uint8_t> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

// Each message carries its body again as a document of the next kind, so
// that every kind is found by words in the message's own language.
MsgAttachment documentOf(const Foreign& f, int kind) {
    const std::string body = utf8(f.body);
    MsgAttachment attachment;
    const std::wstring name = std::wstring(f.language) + L" ";
    using Writer = std::vector<std::uint8_t> (*)(const std::vector<std::string>&);
    const std::pair<const wchar_t*, Writer> documents[] = {
        {L"quote.pdf", pdfDocument}, {L"quote.docx", docxDocument}, {L"quote.odt", odtDocument}};
    switch (kind % 6) {
    case 0:
    case 1:
    case 2: {
        const auto& [suffix, write] = documents[kind % 6];
        attachment.fileName = name + suffix;
        attachment.data = write({utf8(f.subject), body});
        break;
    }
    case 3:
        attachment.fileName = name + L"quote.html";
        attachment.data = bytesOf("<html><head><meta charset=\"utf-8\"></head><body><h1>" +
                                  utf8(f.subject) + "</h1><p>" + body + "</p></body></html>");
        break;
    case 4: {
        // RTF writes characters outside ASCII as \uN? escapes.
        std::string rtf = "{\\rtf1\\ansi\\deff0 ";
        for (const wchar_t c : std::wstring(f.subject) + L"\\par " + f.body)
            rtf += c < 0x80 ? std::string(1, static_cast<char>(c))
                            : "\\u" + std::to_string(static_cast<std::int16_t>(c)) + "?";
        attachment.fileName = name + L"quote.rtf";
        attachment.data = bytesOf(rtf + "}");
        break;
    }
    default:
        attachment.fileName = name + L"quote.txt";
        attachment.data = bytesOf("\xEF\xBB\xBF" + utf8(f.subject) + "\r\n" + body + "\r\n");
        break;
    }
    return attachment;
}

std::size_t writeForeignMessages(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    int day = 1;
    for (const Foreign& f : kForeign) {
        MsgMessage message;
        message.subject = f.subject;
        message.normalizedSubject = f.subject;
        message.senderName = f.sender;
        message.senderEmail = L"office@harbour-works.example";
        MsgRecipient recipient;
        recipient.displayName = L"Harbour Works";
        recipient.emailAddress = L"jobs@harbour-works.example";
        message.recipients.push_back(recipient);
        message.displayTo = L"Harbour Works";
        message.body = f.body;
        message.submitTime = fileTimeFromUtc(2024, 3, day, 9 + day % 8, 15, 0);
        message.unicode = f.codePage == 0;
        if (f.codePage != 0)
            message.textCodePage = f.codePage;
        message.codePage = f.codePage != 0 ? f.codePage : 65001;
        message.localeId = f.localeId;
        message.attachments.push_back(documentOf(f, day - 1));
        // The name as UTF-8 bytes: a wide name would go through the C locale.
        writeMsgFile(folder / utf8(std::wstring(f.language) + L" - " + f.subject + L".msg"),
                     message);
        ++day;
    }
    return std::size(kForeign);
}

} // namespace

std::vector<DemoFolder> writeDemoCorpus(const std::filesystem::path& root) {
    std::mt19937_64 rng(2024);
    const DocumentPool documents = documentPool(rng, 3);
    std::vector<DemoFolder> folders;
    const std::pair<const char*, std::size_t> generated[] = {
        {"Harbour Works/Correspondence", 120},
        {"School Extension/Mail", 120},
        {"Generated", 160},
    };
    std::uint64_t seed = 7;
    for (const auto& [name, count] : generated) {
        const auto path = root / name;
        folders.push_back({path, generateCorpus(path, count, seed++, &documents).size()});
    }
    const auto international = root / "Harbour Works/International";
    folders.push_back({international, writeForeignMessages(international)});
    return folders;
}

} // namespace QoMsg
