#pragma once
// The e-mail record: the base record's text values plus the sent date and
// the attachments (counts, names and text), which live in typed fields
// rather than the map.

#include "search/Metadata.h"
#include "support/DateTime.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CEmailMetadata : public CMetadata {
public:
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
    OleDate m_sentDate;
    std::int32_t m_iEmbeddedAttachments = 0;
    std::int32_t m_iNonEmbeddedAttachments = 0;
    std::vector<std::wstring> m_attachmentNames;
    std::wstring m_sAttachmentText;
};

using CEmailMetadataPtr = std::shared_ptr<CEmailMetadata>;

} // namespace Kerf::QuireLib
