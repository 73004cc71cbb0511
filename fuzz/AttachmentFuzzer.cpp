// libFuzzer target: arbitrary bytes read as a saved message file, then its
// attachments listed, read, opened as attached messages and turned into the
// text the index holds. None of it may crash, hang or allocate without bound.

#include "mail/AttachmentText.h"
#include "mail/EmailMetadataMessage.h"

#include <cstddef>
#include <cstdint>

using namespace Kerf::QuireLib;

namespace {

std::size_t walk(const CMessageAttachments& message) {
    std::size_t total = 0;
    std::vector<std::uint8_t> data;
    for (std::size_t i = 0; i < message.attachments().size(); ++i) {
        total += message.attachments()[i].name.size() + message.attachments()[i].mimeType.size();
        if (message.readData(i, data, 1024 * 1024))
            total += data.size();
        if (auto attached = message.openMessage(i)) {
            total += CEmailMetadata_Message(*attached).GetKeys().size();
            total += walk(*attached);
        }
    }
    return total;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string error;
    auto message = CMessageAttachments::openBytes({data, size}, error);
    if (!message)
        return 0;
    DocumentText::Limits limits;
    limits.pdfDeadline = std::chrono::milliseconds(2000);
    const std::wstring text = AttachmentText::build(*message, limits);
    return walk(*message) + AttachmentText::namesOf(text).size() == static_cast<std::size_t>(-1)
               ? 1
               : 0;
}
