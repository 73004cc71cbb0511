// libFuzzer target: arbitrary bytes read as a saved message file. Reading
// must never crash, hang, leak or allocate without bound, whatever the bytes.

#include "mail/EmailMetadataMessage.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Kerf::QuireLib::CEmailMetadata_Message record({data, size}, true);
    // Touch every value so that a bad one is noticed by the sanitizers.
    std::size_t total = 0;
    for (const std::wstring& key : record.GetKeys())
        total += record.GetStringValue(key).size();
    total += static_cast<std::size_t>(record.GetEmbeddedAttachments()) +
             static_cast<std::size_t>(record.GetNonEmbeddedAttachments());
    return total == static_cast<std::size_t>(-1) && record.GetSentDate().m_dt == 0.0 ? 1 : 0;
}
