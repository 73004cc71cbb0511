#include "mail/PeopleText.h"

#include "support/Strings.h"

#include <algorithm>

namespace Kerf::QuireLib {
namespace {

std::wstring withAddress(const std::wstring& name, const std::wstring& address) {
    // A name that is the address already says it.
    if (address.empty() || Util::toLower(name) == Util::toLower(address))
        return name;
    return name.empty() ? address : name + L" <" + address + L">";
}

} // namespace

std::wstring peopleText(const CEmailMetadata& record, const std::wstring& key) {
    const std::wstring names = record.GetStringValue(key);
    if (key == L"From")
        return withAddress(names, record.GetFromAddress());
    const RecipientKind kind = key == L"To"   ? RecipientKind::To
                               : key == L"Cc" ? RecipientKind::Cc
                                              : RecipientKind::Bcc;
    const std::vector<MailRecipient>& recipients = record.GetRecipients(kind);
    if (std::none_of(recipients.begin(), recipients.end(),
                     [](const MailRecipient& r) { return !r.address.empty(); }))
        return names;
    std::wstring text;
    for (const MailRecipient& recipient : recipients)
        text += (text.empty() ? L"" : L"; ") + withAddress(recipient.name, recipient.address);
    return text;
}

} // namespace Kerf::QuireLib
