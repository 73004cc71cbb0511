#include "mail/EmailMetadataMessage.h"

#include "mail/AttachmentText.h"
#include "mail/MessageAddresses.h"
#include "msgfile/MessageAttachments.h"
#include "msgfile/MessageBody.h"
#include "msgfile/PropertyReader.h"
#include "support/DateTime.h"
#include "support/Trace.h"

#include <array>
#include <string>
#include <utility>

namespace Kerf::QuireLib {
namespace {

using namespace Mapi;

struct WantedProperty {
    ULONG tag;
    const wchar_t* key; // null for the submit time
};

// One GetProps round trip, in this order.
constexpr std::array<WantedProperty, 8> kWanted = {{
    {PR_SENDER_NAME_W, L"From"},
    {PR_DISPLAY_TO_W, L"To"},
    {PR_DISPLAY_CC_W, L"Cc"},
    {PR_DISPLAY_BCC_W, L"Bcc"},
    {PR_SUBJECT_W, L"Subject"},
    {PR_NORMALIZED_SUBJECT_W, L"Normalised_Subject"},
    {PR_BODY_W, L"Body"},
    {PR_CLIENT_SUBMIT_TIME, nullptr},
}};

} // namespace

CEmailMetadata_Message::CEmailMetadata_Message(bool CountAttachments)
    : m_bCountAttachments(CountAttachments) {}

CEmailMetadata_Message::CEmailMetadata_Message(std::span<const std::uint8_t> bytes,
                                               bool CountAttachments)
    : m_bCountAttachments(CountAttachments) {
    std::string error;
    std::shared_ptr<CStorage> storage = CStorage::openMemory(bytes.data(), bytes.size(), error);
    if (storage)
        ReadMessage(std::move(storage));
}

CEmailMetadata_Message::CEmailMetadata_Message(std::shared_ptr<CStorage> storage, MessageKind kind,
                                               bool CountAttachments)
    : m_bCountAttachments(CountAttachments) {
    if (storage)
        ReadMessage(std::move(storage), kind);
}

CEmailMetadata_Message::CEmailMetadata_Message(const CMessageAttachments& message,
                                               bool CountAttachments)
    : CEmailMetadata_Message(message.storage(), message.kind(), CountAttachments) {}

bool CEmailMetadata_Message::ReadMessage(std::shared_ptr<CStorage> storage, MessageKind kind) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CEmailMetadata_Message::ReadMessage");
    bool ok = false;
    try {
        if (!FAILED(CMessage::OpenIMsgOnIStg(std::move(storage), m_pMessage, kind))) {
            ok = true;
            m_bHasAttachments = m_pMessage->GetAttachmentCount() > 0;
            ReadProperties();
            MessageAddresses::read(*m_pMessage, *this);
            if (!HasValue(L"Body"))
                ReadBodyElsewhere();
            if (m_bCountAttachments)
                ReadAttachmentCounts();
        }
    } catch (const std::exception& e) {
        // Whatever was read so far stays in the record.
        m_bInterrupted = true;
        Trace::tracef("CEmailMetadata_Message::ReadMessage: %s\n", e.what());
    }
    m_pMessage.reset();
    return ok;
}

void CEmailMetadata_Message::ReadAttachments(std::shared_ptr<CStorage> storage) {
    if (!m_bHasAttachments)
        return;
    try {
        const CMessageAttachments message(std::move(storage), MessageKind::File, 0);
        if (message.attachments().empty())
            return;
        std::vector<std::wstring> names;
        for (const CAttachmentInfo& info : message.attachments())
            names.push_back(info.name);
        SetAttachmentNames(std::move(names));
        SetAttachmentText(AttachmentText::build(message, m_attachmentLimits));
    } catch (const std::exception& e) {
        Trace::tracef("CEmailMetadata_Message::ReadAttachments: %s\n", e.what());
    }
}

void CEmailMetadata_Message::ReadProperties() {
    std::array<ULONG, kWanted.size()> tags{};
    for (std::size_t i = 0; i < kWanted.size(); ++i)
        tags[i] = kWanted[i].tag;
    std::vector<SPropValue> values;
    const HRESULT hr = m_pMessage->GetProps(tags, MAPI_UNICODE, values);
    if (FAILED(hr) || values.size() != kWanted.size())
        return;

    for (std::size_t i = 0; i < kWanted.size(); ++i) {
        SPropValue& value = values[i];
        const ULONG type = PROP_TYPE(value.ulPropTag);
        if (type == PT_UNICODE && kWanted[i].key != nullptr) {
            SetStringValue(kWanted[i].key, std::move(value.text));
        } else if (type == PT_SYSTIME && kWanted[i].key == nullptr) {
            OleDate sent;
            sent.m_dt = Dates::oleDateFromFileTime(value.ft());
            SetSentDate(sent);
        } else if (type == PT_ERROR && kWanted[i].key != nullptr &&
                   value.err() == MAPI_E_NOT_ENOUGH_MEMORY) {
            // Too large for GetProps (a long body, a long recipient list):
            // read as a stream instead.
            std::wstring text;
            if (PropertyReader::getProperty(*m_pMessage, kWanted[i].tag, text, MAPI_UNICODE))
                SetStringValue(kWanted[i].key, std::move(text));
        }
    }
}

void CEmailMetadata_Message::ReadBodyElsewhere() {
    std::wstring body;
    if (MessageBody::fromHtml(*m_pMessage, body) || MessageBody::fromRtf(*m_pMessage, body))
        SetStringValue(L"Body", std::move(body));
}

void CEmailMetadata_Message::ReadAttachmentCounts() {
    std::unique_ptr<CTable> table;
    if (FAILED(m_pMessage->GetAttachmentTable(table)))
        return;
    const ULONG columns[] = {PR_ATTACH_METHOD};
    if (FAILED(table->SetColumns(columns)))
        return;
    std::vector<std::vector<SPropValue>> rows;
    if (FAILED(table->QueryRows(rows)))
        return;
    std::int32_t embedded = 0;
    std::int32_t nonEmbedded = 0;
    for (const auto& row : rows) {
        if (!row.empty() && row[0].ulPropTag == PR_ATTACH_METHOD && row[0].l() == ATTACH_OLE)
            ++embedded;
        else
            ++nonEmbedded;
    }
    SetEmbeddedAttachments(embedded);
    SetNonEmbeddedAttachments(nonEmbedded);
}

} // namespace Kerf::QuireLib
