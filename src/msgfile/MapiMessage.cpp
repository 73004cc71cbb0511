#include "msgfile/MapiMessage.h"

#include "text/CodePages.h"

#include <optional>

namespace Mapi {
namespace {

constexpr std::string_view kAttachmentPrefix = "__attach_version1.0_#";
constexpr std::string_view kRecipientPrefix = "__recip_version1.0_#";

} // namespace

CTable::CTable(std::shared_ptr<CStorage> storage, std::vector<int> rows, int codePage)
    : m_pStorage(std::move(storage)), m_rows(std::move(rows)), m_iCodePage(codePage) {}

HRESULT CTable::SetColumns(std::span<const ULONG> columns) {
    m_columns.assign(columns.begin(), columns.end());
    return S_OK;
}

HRESULT CTable::QueryRows(std::vector<std::vector<SPropValue>>& rows) {
    rows.clear();
    rows.reserve(m_rows.size());
    for (int child : m_rows) {
        std::vector<SPropValue> values;
        if (std::shared_ptr<CStorage> storage = m_pStorage->openStorage(child)) {
            CMapiObject row(std::move(storage), CMapiObject::kSubObjectHeaderSize, m_iCodePage);
            row.GetProps(m_columns, MAPI_UNICODE, values);
        } else {
            // A row whose storage cannot be opened still counts as a row.
            for (ULONG column : m_columns) {
                SPropValue value;
                value.ulPropTag = CHANGE_PROP_TYPE(column, PT_ERROR);
                value.raw = static_cast<std::uint32_t>(MAPI_E_CORRUPT_DATA);
                values.push_back(std::move(value));
            }
        }
        rows.push_back(std::move(values));
    }
    return S_OK;
}

CAttach::CAttach(std::shared_ptr<CStorage> storage, int codePage)
    : CMapiObject(std::move(storage), kSubObjectHeaderSize, codePage) {}

std::shared_ptr<CStorage> CAttach::OpenDataObject() const {
    const int child = findStream(PR_ATTACH_DATA_OBJ);
    return child >= 0 ? m_pStorage->openStorage(child) : nullptr;
}

CMessage::CMessage(std::shared_ptr<CStorage> storage, MessageKind kind)
    : CMapiObject(std::move(storage),
                  kind == MessageKind::File ? kMessageHeaderSize : kEmbeddedMessageHeaderSize,
                  1252),
      m_attachments(childStoragesNamed(kAttachmentPrefix)) {
    auto number = [this](ULONG tag) -> std::optional<std::uint32_t> {
        if (const FixedProp* prop = findFixed(tag))
            return static_cast<std::uint32_t>(prop->value & 0xFFFFFFFFu);
        return std::nullopt;
    };
    setCodePage(Kerf::CodePages::messageCodePage(
        number(PR_MESSAGE_CODEPAGE), number(PR_MESSAGE_LOCALE_ID), number(PR_INTERNET_CPID)));
}

HRESULT CMessage::OpenIMsgOnIStg(std::shared_ptr<CStorage> storage,
                                 std::unique_ptr<CMessage>& message, MessageKind kind) {
    message.reset();
    if (!storage)
        return E_INVALIDARG;
    std::unique_ptr<CMessage> opened(new CMessage(std::move(storage), kind));
    if (!opened->HasProperties())
        return MAPI_E_CORRUPT_DATA;
    message = std::move(opened);
    return S_OK;
}

HRESULT CMessage::GetAttachmentTable(std::unique_ptr<CTable>& table) {
    table = std::make_unique<CTable>(m_pStorage, m_attachments, codePage());
    return S_OK;
}

HRESULT CMessage::OpenAttach(int index, std::unique_ptr<CAttach>& attach) {
    attach.reset();
    if (index < 0 || index >= GetAttachmentCount())
        return E_INVALIDARG;
    std::shared_ptr<CStorage> storage = m_pStorage->openStorage(m_attachments[index]);
    if (!storage)
        return fail(MAPI_E_CORRUPT_DATA, L"The attachment cannot be opened.");
    attach = std::make_unique<CAttach>(std::move(storage), codePage());
    return S_OK;
}

HRESULT CMessage::GetRecipientTable(std::unique_ptr<CTable>& table) {
    table = std::make_unique<CTable>(m_pStorage, childStoragesNamed(kRecipientPrefix), codePage());
    return S_OK;
}

} // namespace Mapi
