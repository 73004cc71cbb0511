#include "mail/AddressFields.h"

#include <array>

namespace Kerf::QuireLib::AddressFields {
namespace {

struct Kind {
    RecipientKind kind;
    const wchar_t* nameField;
    const wchar_t* storedField;
};

constexpr std::array<Kind, 3> kKinds = {{{RecipientKind::To, L"To", L"ToAddresses"},
                                         {RecipientKind::Cc, L"Cc", L"CcAddresses"},
                                         {RecipientKind::Bcc, L"Bcc", L"BccAddresses"}}};

constexpr const wchar_t* kFromStored = L"FromAddress";

// Each recipient is stored as "address<TAB>name<LF>"; neither holds a tab or
// a line feed once these are made spaces.
std::wstring plain(std::wstring text) {
    for (wchar_t& c : text)
        if (c == L'\t' || c == L'\n')
            c = L' ';
    return text;
}

} // namespace

void add(Search::Document& document, const CEmailMetadata& record) {
    using Search::FieldIndex;
    if (!record.GetFromAddress().empty()) {
        Search::Writer::add(document, L"From", record.GetFromAddress(),
                            FieldIndex::TokenizedUnstored);
        Search::Writer::add(document, kFromStored, record.GetFromAddress(), FieldIndex::StoredOnly);
    }
    for (const Kind& kind : kKinds) {
        std::wstring indexed;
        std::wstring stored;
        bool anyAddress = false;
        for (const MailRecipient& recipient : record.GetRecipients(kind.kind)) {
            anyAddress = anyAddress || !recipient.address.empty();
            if (!recipient.address.empty())
                indexed += recipient.address + L" ";
            stored += plain(recipient.address) + L"\t" + plain(recipient.name) + L"\n";
        }
        if (!anyAddress)
            continue;
        Search::Writer::add(document, kind.nameField, indexed, FieldIndex::TokenizedUnstored);
        Search::Writer::add(document, kind.storedField, stored, FieldIndex::StoredOnly);
    }
}

void read(Search::Document& document, CEmailMetadata& record) {
    record.SetFromAddress(Search::Searcher::getAsString(document, kFromStored));
    for (const Kind& kind : kKinds) {
        const std::wstring stored = Search::Searcher::getAsString(document, kind.storedField);
        std::vector<MailRecipient> recipients;
        std::size_t start = 0;
        while (start < stored.size()) {
            std::size_t end = stored.find(L'\n', start);
            if (end == std::wstring::npos)
                end = stored.size();
            const std::wstring line = stored.substr(start, end - start);
            const std::size_t tab = line.find(L'\t');
            if (tab != std::wstring::npos)
                recipients.push_back({line.substr(tab + 1), line.substr(0, tab)});
            start = end + 1;
        }
        if (!recipients.empty())
            record.SetRecipients(kind.kind, std::move(recipients));
    }
}

} // namespace Kerf::QuireLib::AddressFields
