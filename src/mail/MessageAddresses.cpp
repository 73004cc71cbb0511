#include "mail/MessageAddresses.h"

#include "support/Trace.h"

#include <array>
#include <cwctype>
#include <span>

namespace Kerf::QuireLib::MessageAddresses {
namespace {

using namespace Mapi;

constexpr ULONG PR_SENT_REPRESENTING_ADDRTYPE_W = 0x0064001F;
constexpr ULONG PR_SENT_REPRESENTING_EMAIL_ADDRESS_W = 0x0065001F;
constexpr ULONG PR_SENDER_ADDRTYPE_W = 0x0C1E001F;
constexpr ULONG PR_SENDER_EMAIL_ADDRESS_W = 0x0C1F001F;
constexpr ULONG PR_SENDER_SMTP_ADDRESS_W = 0x5D01001F;
constexpr ULONG PR_SENT_REPRESENTING_SMTP_ADDRESS_W = 0x5D02001F;
constexpr ULONG PR_ADDRTYPE_W = 0x3002001F;
constexpr ULONG PR_EMAIL_ADDRESS_W = 0x3003001F;
constexpr ULONG PR_SMTP_ADDRESS_W = 0x39FE001F;

/// Longer is no address (RFC 5321 allows 254 characters).
constexpr std::size_t kLongestAddress = 320;

std::wstring_view textOf(const SPropValue& value) {
    return PROP_TYPE(value.ulPropTag) == PT_UNICODE ? std::wstring_view(value.text)
                                                    : std::wstring_view();
}

bool isSmtp(const SPropValue& type) {
    const std::wstring_view text = textOf(type);
    if (text.size() != 4)
        return false;
    for (std::size_t i = 0; i < 4; ++i)
        if (std::towupper(static_cast<wint_t>(text[i])) != static_cast<wint_t>(L"SMTP"[i]))
            return false;
    return true;
}

/// The first usable address: the SMTP one, else the address of SMTP type.
std::wstring
firstUsable(std::initializer_list<std::pair<const SPropValue*, const SPropValue*>> candidates) {
    for (const auto& [address, type] : candidates) {
        if (type != nullptr && !isSmtp(*type))
            continue;
        std::wstring kept = usable(textOf(*address));
        if (!kept.empty())
            return kept;
    }
    return {};
}

void readSender(CMessage& message, CEmailMetadata& record) {
    // In order of preference, each read only when those before it give no
    // address: every text property is a stream of its own to open.
    const std::array<std::pair<ULONG, ULONG>, 4> candidates = {
        {{PR_SENDER_SMTP_ADDRESS_W, 0},
         {PR_SENT_REPRESENTING_SMTP_ADDRESS_W, 0},
         {PR_SENDER_EMAIL_ADDRESS_W, PR_SENDER_ADDRTYPE_W},
         {PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, PR_SENT_REPRESENTING_ADDRTYPE_W}}};
    for (const auto& [addressTag, typeTag] : candidates) {
        const ULONG both[] = {addressTag, typeTag};
        const std::size_t count = typeTag != 0 ? 2 : 1;
        std::vector<SPropValue> values;
        if (FAILED(message.GetProps(std::span(both, count), MAPI_UNICODE, values)) ||
            values.size() != count)
            continue;
        std::wstring address = firstUsable({{&values[0], count > 1 ? &values[1] : nullptr}});
        if (!address.empty()) {
            record.SetFromAddress(std::move(address));
            return;
        }
    }
}

void readRecipients(CMessage& message, CEmailMetadata& record) {
    std::unique_ptr<CTable> table;
    if (FAILED(message.GetRecipientTable(table)))
        return;
    // Each text property is a stream of its own in the file, and opening one
    // costs more than the rest of reading it: the address and its type are
    // read only for recipients without an SMTP address, which most have.
    const ULONG columns[] = {PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_SMTP_ADDRESS_W};
    std::vector<std::vector<SPropValue>> rows;
    if (FAILED(table->SetColumns(columns)) || FAILED(table->QueryRows(rows)))
        return;
    std::vector<std::wstring> addresses(rows.size());
    bool allFound = true;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        if (rows[r].size() == std::size(columns))
            addresses[r] = firstUsable({{&rows[r][2], nullptr}});
        allFound = allFound && !addresses[r].empty();
    }
    if (!allFound) {
        const ULONG typed[] = {PR_EMAIL_ADDRESS_W, PR_ADDRTYPE_W};
        std::vector<std::vector<SPropValue>> typedRows;
        if (!FAILED(table->SetColumns(typed)) && !FAILED(table->QueryRows(typedRows)) &&
            typedRows.size() == rows.size())
            for (std::size_t r = 0; r < rows.size(); ++r)
                if (addresses[r].empty() && typedRows[r].size() == std::size(typed))
                    addresses[r] = firstUsable({{&typedRows[r][0], &typedRows[r][1]}});
    }
    std::array<std::vector<MailRecipient>, 3> recipients;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const auto& row = rows[r];
        if (row.size() != std::size(columns) || row[0].ulPropTag != PR_RECIPIENT_TYPE)
            continue;
        const std::int32_t type = row[0].l();
        if (type < 1 || type > 3)
            continue;
        recipients[static_cast<std::size_t>(type - 1)].push_back(
            {std::wstring(textOf(row[1])), std::move(addresses[r])});
    }
    for (std::size_t i = 0; i < recipients.size(); ++i)
        record.SetRecipients(static_cast<RecipientKind>(i + 1), std::move(recipients[i]));
}

} // namespace

std::wstring usable(std::wstring_view address) {
    while (!address.empty() && std::iswspace(static_cast<wint_t>(address.front())))
        address.remove_prefix(1);
    while (!address.empty() && std::iswspace(static_cast<wint_t>(address.back())))
        address.remove_suffix(1);
    // An Exchange address ("/O=FIRM/OU=.../CN=...") is no Internet one.
    if (address.empty() || address.size() > kLongestAddress || address.front() == L'/' ||
        address.find(L'@') == std::wstring_view::npos)
        return {};
    return std::wstring(address);
}

void read(CMessage& message, CEmailMetadata& record) {
    try {
        readSender(message, record);
        readRecipients(message, record);
    } catch (const std::exception& e) {
        Trace::tracef("MessageAddresses::read: %s\n", e.what());
    }
}

} // namespace Kerf::QuireLib::MessageAddresses
