#pragma once
// The e-mail record of one saved message file. Construction does the whole
// job and never throws: a file that is missing, empty, unreadable, not a
// message or damaged still gives "Location", its size and whatever could be read.

#include "mail/EmailMetadataMessage.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Kerf::QuireLib {

class CEmailMetadata_File : public CEmailMetadata_Message {
public:
    /// `limits` bound the reading of the attachments' text.
    CEmailMetadata_File(const std::wstring& path, bool CountAttachments,
                        const DocumentText::Limits& limits = {});

    /// Whether the file opened as a message (its values may still be few).
    bool MessageRead() const { return m_bMessageRead; }

private:
    /// Opens the file's storage and reads the message; returns success.
    /// `fileSize` is set once the open file has been measured.
    bool RetrieveData(const std::wstring& path, std::optional<std::uint64_t>& fileSize);

    bool m_bMessageRead = false;
};

} // namespace Kerf::QuireLib
