#include "CorpusGenerator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cwctype>
#include <string_view>

namespace QoMsg {
namespace {

constexpr std::array<std::wstring_view, 120> kWords = {
    L"the",       L"project",    L"meeting",  L"report",     L"budget",    L"schedule",
    L"client",    L"contract",   L"design",   L"review",     L"please",    L"attached",
    L"find",      L"update",     L"drawing",  L"revision",   L"site",      L"visit",
    L"planning",  L"approval",   L"council",  L"invoice",    L"payment",   L"fee",
    L"proposal",  L"scope",      L"works",    L"phase",      L"stage",     L"we",
    L"will",      L"need",       L"to",       L"confirm",    L"before",    L"after",
    L"Friday",    L"Monday",     L"next",     L"week",       L"and",       L"or",
    L"with",      L"from",       L"for",      L"on",         L"in",        L"at",
    L"by",        L"structural", L"engineer", L"architect",  L"surveyor",  L"tender",
    L"quote",     L"price",      L"delivery", L"programme",  L"minutes",   L"agenda",
    L"action",    L"items",      L"comments", L"feedback",   L"issue",     L"risk",
    L"register",  L"change",     L"request",  L"order",      L"variation", L"claim",
    L"extension", L"time",       L"cost",     L"quality",    L"safety",    L"health",
    L"access",    L"road",       L"drainage", L"foundation", L"steel",     L"concrete",
    L"timber",    L"roof",       L"facade",   L"window",     L"door",      L"floor",
    L"level",     L"plan",       L"section",  L"elevation",  L"detail",    L"specification",
    L"note",      L"is",         L"are",      L"was",        L"has",       L"have",
    L"been",      L"not",        L"yet",      L"agreed",     L"received",  L"issued",
    L"sent",      L"thanks",     L"regards",  L"kind",       L"best",      L"question",
    L"answer",    L"soon",       L"today",    L"tomorrow",   L"office",    L"team",
};

constexpr std::array<std::wstring_view, 24> kFirstNames = {
    L"Anna",  L"Ben",   L"Clara",  L"David", L"Emma",  L"Felix",  L"Grace", L"Henry",
    L"Irene", L"James", L"Katrin", L"Liam",  L"Maria", L"Noah",   L"Olga",  L"Peter",
    L"Rosa",  L"Simon", L"Tanja",  L"Umar",  L"Vera",  L"Walter", L"Xenia", L"Yusuf"};

constexpr std::array<std::wstring_view, 20> kLastNames = {
    L"Adams",  L"Brown",   L"Clarke", L"Dubois", L"Evans",   L"Fischer", L"Garcia",
    L"Hughes", L"Ivanova", L"Jones",  L"Keller", L"Lambert", L"Meyer",   L"Nowak",
    L"Owens",  L"Patel",   L"Quinn",  L"Rossi",  L"Schmidt", L"Taylor"};

template <class Container> auto pick(std::mt19937_64& rng, const Container& items) {
    return items[std::uniform_int_distribution<std::size_t>(0, items.size() - 1)(rng)];
}

int uniform(std::mt19937_64& rng, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(rng);
}

bool chance(std::mt19937_64& rng, double probability) {
    return std::bernoulli_distribution(probability)(rng);
}

std::wstring words(std::mt19937_64& rng, int count) {
    std::wstring text;
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            text += L' ';
        text += pick(rng, kWords);
    }
    return text;
}

std::wstring sentence(std::mt19937_64& rng) {
    std::wstring text = words(rng, uniform(rng, 5, 16));
    text[0] = static_cast<wchar_t>(std::towupper(text[0]));
    return text + L'.';
}

// Paragraphs of sentences up to about `length` characters.
std::vector<std::wstring> paragraphs(std::mt19937_64& rng, std::size_t length) {
    std::vector<std::wstring> result;
    std::size_t total = 0;
    while (total < length) {
        std::wstring paragraph;
        const int sentences = uniform(rng, 2, 6);
        for (int i = 0; i < sentences; ++i) {
            if (i > 0)
                paragraph += L' ';
            paragraph += sentence(rng);
        }
        total += paragraph.size() + 4;
        result.push_back(std::move(paragraph));
    }
    return result;
}

struct Person {
    std::wstring name;
    std::wstring email;
};

Person person(std::mt19937_64& rng) {
    const std::wstring first(pick(rng, kFirstNames));
    const std::wstring last(pick(rng, kLastNames));
    std::wstring email = first + L'.' + last + L"@example.com";
    std::transform(email.begin(), email.end(), email.begin(), ::towlower);
    return {first + L' ' + last, email};
}

std::string toUtf8(const std::wstring& text) {
    std::string out;
    for (wchar_t wc : text) {
        const auto c = static_cast<char32_t>(wc);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

std::string htmlOf(const std::vector<std::wstring>& body) {
    std::string html = "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; "
                       "charset=utf-8\"><style>p{margin:0}</style></head><body>";
    for (const std::wstring& paragraph : body)
        html += "<p class=MsoNormal>" + toUtf8(paragraph) + "</p>\r\n";
    return html + "</body></html>";
}

std::vector<std::uint8_t> randomBytes(std::mt19937_64& rng, std::size_t size) {
    std::vector<std::uint8_t> data(size);
    for (auto& b : data)
        b = static_cast<std::uint8_t>(rng());
    return data;
}

std::wstring joinNames(const std::vector<MsgRecipient>& recipients, std::int32_t type) {
    std::wstring text;
    for (const MsgRecipient& r : recipients) {
        if (r.type != type)
            continue;
        if (!text.empty())
            text += L"; ";
        text += r.displayName;
    }
    return text;
}

std::wstring fileSafe(const std::wstring& text) {
    std::wstring out;
    for (wchar_t c : text)
        out.push_back(c == L'/' || c == L'\\' || c == L':' ? L'_' : c);
    return out.substr(0, 60);
}

MsgAttachment documentAttachment(std::mt19937_64& rng, const DocumentPool& pool) {
    const auto& document = pool.documents[static_cast<std::size_t>(
        uniform(rng, 0, static_cast<int>(pool.documents.size()) - 1))];
    MsgAttachment attachment;
    attachment.fileName = words(rng, 2) + L"." + document.extension;
    attachment.data = document.bytes;
    return attachment;
}

} // namespace

std::wstring randomSentence(std::mt19937_64& rng) {
    return sentence(rng);
}

MsgMessage randomMessage(std::mt19937_64& rng, const DocumentPool* documents) {
    MsgMessage message;
    const std::wstring topic = words(rng, uniform(rng, 2, 7));
    const int prefix = uniform(rng, 0, 9);
    std::wstring normalized = topic;
    normalized[0] = static_cast<wchar_t>(std::towupper(normalized[0]));
    message.normalizedSubject = normalized;
    message.subject = prefix < 3   ? L"RE: " + normalized
                      : prefix < 4 ? L"FW: " + normalized
                                   : normalized;
    const Person sender = person(rng);
    message.senderName = sender.name;
    message.senderEmail = sender.email;
    message.senderAddressType = L"SMTP";
    message.senderSmtpAddress = sender.email;

    for (std::int32_t type = 1; type <= 3; ++type) {
        const int count = type == 1   ? uniform(rng, 1, 8)
                          : type == 2 ? uniform(rng, 0, 4)
                                      : (chance(rng, 0.1) ? 1 : 0);
        for (int i = 0; i < count; ++i) {
            const Person p = person(rng);
            message.recipients.push_back({p.name, p.email, type, L"SMTP", p.email});
        }
    }
    message.displayTo = joinNames(message.recipients, 1);
    message.displayCc = joinNames(message.recipients, 2);
    message.displayBcc = joinNames(message.recipients, 3);

    // Body lengths spread from a few hundred characters to about twenty thousand.
    const double scale = std::exp(std::uniform_real_distribution<double>(6.0, 9.9)(rng));
    const std::vector<std::wstring> body = paragraphs(rng, static_cast<std::size_t>(scale));
    const int bodyForm = uniform(rng, 0, 99);
    if (bodyForm >= 5) {
        std::wstring text = L"Dear colleagues,\r\n\r\n";
        for (const std::wstring& paragraph : body)
            text += paragraph + L"\r\n\r\n";
        message.body = text + L"Kind regards\r\n" + sender.name + L"\r\n";
    }
    if (bodyForm < 75)
        message.html = htmlOf(body);

    if (!chance(rng, 0.05))
        message.submitTime =
            fileTimeFromUtc(uniform(rng, 2005, 2024), uniform(rng, 1, 12), uniform(rng, 1, 28),
                            uniform(rng, 0, 23), uniform(rng, 0, 59), uniform(rng, 0, 59));
    message.codePage = 1252;
    message.internetCodePage = 65001;
    message.localeId = 2057;

    if (chance(rng, 0.25)) {
        const int count = uniform(rng, 1, 3);
        for (int i = 0; i < count; ++i) {
            MsgAttachment attachment;
            const int kind = uniform(rng, 0, 19);
            attachment.method = kind == 0 ? 6 : kind == 1 ? 5 : 1;
            attachment.fileName = words(rng, 2) + (kind == 1 ? L".msg" : L".pdf");
            if (attachment.method == 5) {
                MsgMessage inner;
                inner.subject = L"Attached: " + words(rng, 3);
                inner.senderName = person(rng).name;
                inner.body = sentence(rng);
                if (documents != nullptr && chance(rng, 0.5))
                    inner.attachments.push_back(documentAttachment(rng, *documents));
                attachment.embedded = std::make_shared<MsgMessage>(std::move(inner));
            } else if (documents != nullptr && attachment.method == 1) {
                attachment = documentAttachment(rng, *documents);
            } else {
                attachment.data =
                    randomBytes(rng, static_cast<std::size_t>(uniform(rng, 1024, 40 * 1024)));
            }
            message.attachments.push_back(std::move(attachment));
        }
    }
    return message;
}

std::vector<GeneratedMessage> generateCorpus(const std::filesystem::path& folder, std::size_t count,
                                             std::uint64_t seed, const DocumentPool* documents) {
    std::mt19937_64 rng(seed);
    std::vector<GeneratedMessage> written;
    written.reserve(count);
    std::filesystem::create_directories(folder);
    std::size_t projectNumber = 0;
    while (written.size() < count) {
        ++projectNumber;
        wchar_t name[32];
        std::swprintf(name, 32, L"P%05zu ", projectNumber);
        const std::filesystem::path project =
            folder / (std::wstring(name) + words(rng, uniform(rng, 1, 3)));
        std::filesystem::create_directories(project);
        const std::size_t inProject = std::min<std::size_t>(
            static_cast<std::size_t>(uniform(rng, 20, 60)), count - written.size());
        for (std::size_t i = 0; i < inProject; ++i) {
            const MsgMessage message = randomMessage(rng, documents);
            GeneratedMessage info;
            std::swprintf(name, 32, L"%04zu ", i + 1);
            info.path = project / (std::wstring(name) + fileSafe(*message.subject) + L".msg");
            info.subject = *message.subject;
            info.sender = *message.senderName;
            info.submitTime = message.submitTime;
            for (const MsgAttachment& a : message.attachments)
                (a.method == 6 ? info.embeddedAttachments : info.nonEmbeddedAttachments) += 1;
            writeMsgFile(info.path, message);
            written.push_back(std::move(info));
        }
    }
    return written;
}

} // namespace QoMsg
