#pragma once
// One saved message read whole, for showing it as it was written: the
// record's header values and plain body, the HTML body where there is one,
// the attachments, and whether every part could be read. The message stays
// open, so that attachments can still be read from it while it is shown.

#include "mail/EmailMetadataMessage.h"
#include "msgfile/MessageAttachments.h"

#include <memory>
#include <string>

namespace Kerf::QuireLib {

class CMessageDocument : public CEmailMetadata_Message {
public:
    /// Reads the file; never throws. A file that is missing, not a message
    /// or damaged gives what could be read.
    explicit CMessageDocument(const std::wstring& path);
    /// Reads an attached message (see CMessageAttachments::openMessage).
    explicit CMessageDocument(std::shared_ptr<CMessageAttachments> message);

    /// Whether the data opened as a message at all.
    bool MessageRead() const { return m_bMessageRead; }
    /// Whether some part of the message could not be read: a property, a
    /// body or an attachment whose data is damaged.
    bool Damaged() const { return m_bDamaged; }

    /// The body's HTML; empty when the message has none (the record's
    /// "Body" then holds its text).
    const std::wstring& HtmlBody() const { return m_sHtml; }

    /// The open message with its attachments; null when it could not be opened.
    const std::shared_ptr<CMessageAttachments>& Message() const { return m_pMessage; }

private:
    void Read(unsigned complaintsBefore);

    std::shared_ptr<CMessageAttachments> m_pMessage;
    std::wstring m_sHtml;
    bool m_bMessageRead = false;
    bool m_bDamaged = false;
};

} // namespace Kerf::QuireLib
