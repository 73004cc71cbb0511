#pragma once
// The e-mail record: the base record's text values plus the sent date and
// the two attachment counts, which live in typed fields rather than the map.

#include "search/Metadata.h"
#include "support/DateTime.h"

#include <cstdint>
#include <memory>

namespace Kerf::QuireLib {

class CEmailMetadata : public CMetadata {
public:
    const OleDate& GetSentDate() const { return m_sentDate; }
    void SetSentDate(const OleDate& date) { m_sentDate = date; }

    std::int32_t GetEmbeddedAttachments() const { return m_iEmbeddedAttachments; }
    void SetEmbeddedAttachments(std::int32_t count) { m_iEmbeddedAttachments = count; }

    std::int32_t GetNonEmbeddedAttachments() const { return m_iNonEmbeddedAttachments; }
    void SetNonEmbeddedAttachments(std::int32_t count) { m_iNonEmbeddedAttachments = count; }

private:
    OleDate m_sentDate;
    std::int32_t m_iEmbeddedAttachments = 0;
    std::int32_t m_iNonEmbeddedAttachments = 0;
};

using CEmailMetadataPtr = std::shared_ptr<CEmailMetadata>;

} // namespace Kerf::QuireLib
