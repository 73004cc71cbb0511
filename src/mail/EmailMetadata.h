#pragma once
// The e-mail record: the base record's text values plus the sent date and
// the attachments (counts, names and text), which live in typed fields
// rather than the map.

#include "search/Metadata.h"
#include "support/DateTime.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

/// One recipient as the message lists it: the name shown and the SMTP
/// address, either of which may be empty.
struct MailRecipient {
    std::wstring name;
    std::wstring address;

    friend bool operator==(const MailRecipient&, const MailRecipient&) = default;
};

/// The recipient types of a message.
enum class RecipientKind { To = 1, Cc = 2, Bcc = 3 };

class CEmailMetadata : public CMetadata {
public:
    /// The sender's SMTP address; empty when the message has none.
    const std::wstring& GetFromAddress() const { return m_sFromAddress; }
    void SetFromAddress(std::wstring address) { m_sFromAddress = std::move(address); }

    /// The recipients of one kind, in the message's order.
    const std::vector<MailRecipient>& GetRecipients(RecipientKind kind) const {
        return m_recipients[static_cast<std::size_t>(kind) - 1];
    }
    void SetRecipients(RecipientKind kind, std::vector<MailRecipient> recipients) {
        m_recipients[static_cast<std::size_t>(kind) - 1] = std::move(recipients);
    }

    const OleDate& GetSentDate() const { return m_sentDate; }
    void SetSentDate(const OleDate& date) { m_sentDate = date; }

    std::int32_t GetEmbeddedAttachments() const { return m_iEmbeddedAttachments; }
    void SetEmbeddedAttachments(std::int32_t count) { m_iEmbeddedAttachments = count; }

    std::int32_t GetNonEmbeddedAttachments() const { return m_iNonEmbeddedAttachments; }
    void SetNonEmbeddedAttachments(std::int32_t count) { m_iNonEmbeddedAttachments = count; }

    /// The attachments' names in the message's order.
    const std::vector<std::wstring>& GetAttachmentNames() const { return m_attachmentNames; }
    void SetAttachmentNames(std::vector<std::wstring> names) {
        m_attachmentNames = std::move(names);
    }

    /// What the attachments carry, as the "Attachments" field holds it
    /// (AttachmentText.h); empty for a message without attachments.
    const std::wstring& GetAttachmentText() const { return m_sAttachmentText; }
    void SetAttachmentText(std::wstring text) { m_sAttachmentText = std::move(text); }

private:
    std::wstring m_sFromAddress;
    std::array<std::vector<MailRecipient>, 3> m_recipients;
    OleDate m_sentDate;
    std::int32_t m_iEmbeddedAttachments = 0;
    std::int32_t m_iNonEmbeddedAttachments = 0;
    std::vector<std::wstring> m_attachmentNames;
    std::wstring m_sAttachmentText;
};

using CEmailMetadataPtr = std::shared_ptr<CEmailMetadata>;

} // namespace Kerf::QuireLib
