#pragma once
// The e-mail record read from an open message: the text keys, the sent date
// and the attachment counts.

#include "mail/EmailMetadata.h"
#include "msgfile/MapiMessage.h"
#include "msgfile/MessageAttachments.h"
#include "text/DocumentText.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace Kerf::QuireLib {

class CEmailMetadata_Message : public CEmailMetadata {
public:
    /// Reads a message file's bytes already in memory. The record gets no
    /// "Location" and no size; whatever cannot be read stays absent.
    CEmailMetadata_Message(std::span<const std::uint8_t> bytes, bool CountAttachments);
    /// Reads the message at the top of an open storage, such as an attached
    /// message (see MessageAttachments.h). The storage may be shared.
    CEmailMetadata_Message(std::shared_ptr<Mapi::CStorage> storage, Mapi::MessageKind kind,
                           bool CountAttachments);
    /// Reads an opened message, such as one CMessageAttachments::openMessage
    /// gave: its values as a file's record has them, without "Location" and size.
    explicit CEmailMetadata_Message(const CMessageAttachments& message,
                                    bool CountAttachments = true);

protected:
    explicit CEmailMetadata_Message(bool CountAttachments);

    /// Opens the message on the storage and reads every value from it; false
    /// when the storage holds no message. Never throws.
    bool ReadMessage(std::shared_ptr<Mapi::CStorage> storage,
                     Mapi::MessageKind kind = Mapi::MessageKind::File);

    bool CountAttachments() const { return m_bCountAttachments; }
    /// Whether reading stopped early on an error (what was read stays).
    bool ReadInterrupted() const { return m_bInterrupted; }

    /// The attachments' names and text (AttachmentText.h), read from the
    /// message at the top of `storage` within the attachment limits. Never
    /// throws.
    void ReadAttachments(std::shared_ptr<Mapi::CStorage> storage);
    void SetAttachmentLimits(const DocumentText::Limits& limits) { m_attachmentLimits = limits; }

    /// Present only while the values are read.
    std::unique_ptr<Mapi::CMessage> m_pMessage;

private:
    void ReadProperties();
    void ReadBodyElsewhere();
    void ReadAttachmentCounts();

    bool m_bCountAttachments;
    // Whether the message read last has attachment storages: most have none,
    // and listing them would read the message's properties a second time.
    bool m_bHasAttachments = false;
    bool m_bInterrupted = false;
    DocumentText::Limits m_attachmentLimits;
};

} // namespace Kerf::QuireLib
