#include "mail/EmailMetadataFile.h"

#include "msgfile/MessageFile.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <sys/stat.h>

namespace Kerf::QuireLib {
namespace {

std::int32_t lowBits(std::uint64_t size) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(size & 0xFFFFFFFFu));
}

} // namespace

CEmailMetadata_File::CEmailMetadata_File(const std::wstring& path, bool CountAttachments,
                                         const DocumentText::Limits& limits)
    : CEmailMetadata_Message(CountAttachments) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CEmailMetadata_File::CEmailMetadata_File");
    SetAttachmentLimits(limits);
    SetStringValue(L"Location", path);
    std::optional<std::uint64_t> size;
    try {
        m_bMessageRead = RetrieveData(path, size);
    } catch (const std::exception& e) {
        Trace::tracef("CEmailMetadata_File: \"%s\": %s\n", Util::toNarrow(path).c_str(), e.what());
    }
    if (!size) {
        // The file could not be opened; it may still be there to measure.
        struct stat info {};
        if (::stat(Util::toPath(path).c_str(), &info) == 0)
            size = static_cast<std::uint64_t>(info.st_size);
    }
    SetSize(lowBits(size.value_or(0)));
}

bool CEmailMetadata_File::RetrieveData(const std::wstring& path,
                                       std::optional<std::uint64_t>& fileSize) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CEmailMetadata_File::RetrieveData");
    const std::string narrow = Util::toPath(path).string();
    const Mapi::CMessageFile file(narrow);
    fileSize = file.size();
    if (!file.storage()) {
        if (!file.error().empty())
            Trace::tracef("CEmailMetadata_File::RetrieveData: \"%s\": %s\n", narrow.c_str(),
                          file.error().c_str());
        return false;
    }
    if (!ReadMessage(file.storage())) {
        Trace::tracef("CEmailMetadata_File::RetrieveData: \"%s\" holds no message\n",
                      narrow.c_str());
        return false;
    }
    if (CountAttachments())
        ReadAttachments(file.storage());
    return true;
}

} // namespace Kerf::QuireLib
