#include "cli/RecordJson.h"

#include "support/DateTime.h"
#include "support/Strings.h"

#include <cstdio>
#include <ctime>

namespace QoCli {

std::string jsonString(const std::wstring& text) {
    std::string out = "\"";
    for (wchar_t wc : text) {
        const auto c = static_cast<char32_t>(wc);
        char buffer[16];
        switch (c) {
        case U'"':
            out += "\\\"";
            break;
        case U'\\':
            out += "\\\\";
            break;
        case U'\n':
            out += "\\n";
            break;
        case U'\r':
            out += "\\r";
            break;
        case U'\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20 || (c >= 0xD800 && c <= 0xDFFF)) {
                std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
                out += buffer;
            } else {
                out += Kerf::Util::toNarrow(std::wstring(1, wc));
            }
        }
    }
    return out + "\"";
}

std::string isoLocalTime(const Kerf::OleDate& date) {
    const Kerf::DateTime local = Kerf::Dates::fromOleDate(date.m_dt);
    const std::time_t moment = static_cast<std::time_t>(Kerf::Dates::toUnixLocal(local));
    std::tm tm{};
    long offset = 0;
    if (localtime_r(&moment, &tm) != nullptr)
        offset = tm.tm_gmtoff;
    const char sign = offset < 0 ? '-' : '+';
    if (offset < 0)
        offset = -offset;
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d%c%02ld:%02ld", local.year,
                  local.month, local.day, local.hour, local.minute, local.second, sign,
                  offset / 3600, (offset / 60) % 60);
    return buffer;
}

bool hasSentDate(const Kerf::QuireLib::CEmailMetadata& record) {
    return !Kerf::Dates::isNoDate(Kerf::Dates::fromOleDate(record.GetSentDate().m_dt));
}

void writeRecordJson(std::ostream& out, const Kerf::QuireLib::CEmailMetadata& record,
                     const std::vector<std::pair<std::string, std::wstring>>& extra) {
    out << "{";
    bool first = true;
    auto key = [&](const std::string& name) {
        out << (first ? "" : ", ") << jsonString(Kerf::Util::toWide(name)) << ": ";
        first = false;
    };
    for (const char* name :
         {"Location", "Subject", "Normalised_Subject", "Body", "From", "To", "Cc", "Bcc"}) {
        const std::wstring wide = Kerf::Util::toWide(name);
        if (!record.HasValue(wide))
            continue;
        key(name);
        out << jsonString(record.GetStringValue(wide));
    }
    key("Size");
    out << record.GetSize();
    if (hasSentDate(record)) {
        key("SentDate");
        out << '"' << isoLocalTime(record.GetSentDate()) << '"';
    }
    key("EmbeddedAttachments");
    out << record.GetEmbeddedAttachments();
    key("NonEmbeddedAttachments");
    out << record.GetNonEmbeddedAttachments();
    key("Attachments");
    out << "[";
    for (std::size_t i = 0; i < record.GetAttachmentNames().size(); ++i)
        out << (i == 0 ? "" : ", ") << jsonString(record.GetAttachmentNames()[i]);
    out << "]";
    if (!record.GetFromAddress().empty()) {
        key("FromAddress");
        out << jsonString(record.GetFromAddress());
    }
    using Kerf::QuireLib::RecipientKind;
    for (const auto& [name, kind] :
         {std::pair{"ToAddresses", RecipientKind::To}, std::pair{"CcAddresses", RecipientKind::Cc},
          std::pair{"BccAddresses", RecipientKind::Bcc}}) {
        key(name);
        out << "[";
        bool firstAddress = true;
        for (const auto& recipient : record.GetRecipients(kind)) {
            if (recipient.address.empty())
                continue;
            out << (firstAddress ? "" : ", ") << jsonString(recipient.address);
            firstAddress = false;
        }
        out << "]";
    }
    for (const auto& [name, value] : extra) {
        key(name);
        out << jsonString(value);
    }
    out << "}";
}

} // namespace QoCli
