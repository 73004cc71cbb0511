#include "mail/MessageDocument.h"

#include "msgfile/GLibLogRouting.h"
#include "msgfile/MessageBody.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <array>
#include <sys/stat.h>

namespace Kerf::QuireLib {
namespace {

using namespace Mapi;

// The values shown in full: a damaged one among them is worth saying so.
constexpr std::array<ULONG, 9> kShownValues = {
    PR_SENDER_NAME_W, PR_DISPLAY_TO_W,       PR_DISPLAY_CC_W, PR_DISPLAY_BCC_W,  PR_SUBJECT_W,
    PR_BODY_W,        PR_CLIENT_SUBMIT_TIME, PR_HTML,         PR_RTF_COMPRESSED,
};

// Whether any of the storages and streams below fails to open: the sign of
// a compound file whose directory or allocation chains are broken.
// Attached messages are looked into as far as `depth` allows.
bool anyPartUnreadable(const CStorage& storage, int depth) {
    for (int i = 0; i < storage.childCount(); ++i) {
        if (storage.openStream(i))
            continue;
        const std::shared_ptr<CStorage> child = storage.openStorage(i);
        if (!child)
            return true;
        if (depth > 0 && anyPartUnreadable(*child, depth - 1))
            return true;
    }
    return false;
}

// Whether one of the shown values is present but cannot be read.
bool anyValueDamaged(CMapiObject& message) {
    std::vector<SPropValue> values;
    message.GetProps(kShownValues, MAPI_UNICODE, values);
    for (const SPropValue& value : values) {
        if (PROP_TYPE(value.ulPropTag) == PT_ERROR && value.err() == MAPI_E_CORRUPT_DATA)
            return true;
    }
    return false;
}

} // namespace

CMessageDocument::CMessageDocument(const std::wstring& path) : CEmailMetadata_Message(true) {
    SetStringValue(L"Location", path);
    struct stat info {};
    if (::stat(Util::toPath(path).c_str(), &info) == 0)
        SetSize(static_cast<std::int32_t>(static_cast<std::uint64_t>(info.st_size) & 0xFFFFFFFFu));
    initialiseCompoundFiles();
    const unsigned complaintsBefore = GLibLog::routedOnThisThread();
    std::string error;
    m_pMessage = CMessageAttachments::openFile(path, error);
    if (!m_pMessage) {
        Trace::tracef("CMessageDocument: \"%s\": %s\n", Util::toNarrow(path).c_str(),
                      error.c_str());
        return;
    }
    Read(complaintsBefore);
}

CMessageDocument::CMessageDocument(std::shared_ptr<CMessageAttachments> message)
    : CEmailMetadata_Message(true), m_pMessage(std::move(message)) {
    if (m_pMessage && m_pMessage->opened())
        Read(GLibLog::routedOnThisThread());
}

// The compound-file reader complains about broken chains and sectors past
// the end, and goes on with what it has: complaints since `complaintsBefore`
// mean damage.
void CMessageDocument::Read(unsigned complaintsBefore) {
    try {
        m_bMessageRead = ReadMessage(m_pMessage->storage(), m_pMessage->kind());
        m_bDamaged = ReadInterrupted();
        std::unique_ptr<CMessage> message;
        if (m_bMessageRead &&
            !FAILED(CMessage::OpenIMsgOnIStg(m_pMessage->storage(), message, m_pMessage->kind()))) {
            if (anyValueDamaged(*message) ||
                anyPartUnreadable(*m_pMessage->storage(), CMessageAttachments::kMaxDepth))
                m_bDamaged = true;
            MessageBody::htmlSource(*message, m_sHtml);
        }
    } catch (const std::exception& e) {
        m_bDamaged = true;
        Trace::tracef("CMessageDocument::Read: %s\n", e.what());
    }
    if (GLibLog::routedOnThisThread() != complaintsBefore)
        m_bDamaged = true;
}

} // namespace Kerf::QuireLib
