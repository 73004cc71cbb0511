#include "mail/PeopleText.h"

#include "support/Strings.h"

#include <algorithm>

namespace Kerf::QuireLib {
namespace {

// The name without the quotes a sender may have put around it.
std::wstring unquoted(const std::wstring& name) {
    if (name.size() >= 2 && (name.front() == L'\'' || name.front() == L'"') &&
        name.back() == name.front())
        return name.substr(1, name.size() - 2);
    return name;
}

std::wstring withAddress(const std::wstring& name, const std::wstring& address) {
    // A name that is the address already, quoted or not, says it.
    if (address.empty())
        return name;
    if (Util::toLower(unquoted(name)) == Util::toLower(address))
        return address;
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
