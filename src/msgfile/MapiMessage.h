#pragma once
// A saved message opened on its compound-file storage, with its attachment
// and recipient tables. The tables cover only this message's own
// "__attach_version1.0_#" and "__recip_version1.0_#" storages: an attached
// message keeps its own inside its attachment and is never read from here.

#include "msgfile/MapiObject.h"

#include <memory>
#include <span>
#include <vector>

namespace Mapi {

class CTable {
public:
    CTable(std::shared_ptr<CStorage> storage, std::vector<int> rows, int codePage);

    HRESULT SetColumns(std::span<const ULONG> columns);
    /// Every row, each with one value per column (errors for missing ones).
    HRESULT QueryRows(std::vector<std::vector<SPropValue>>& rows);

private:
    std::shared_ptr<CStorage> m_pStorage;
    std::vector<int> m_rows;
    std::vector<ULONG> m_columns;
    int m_iCodePage;
};

/// Where a message's storage lies: at the top of a file, or inside an
/// attachment of another message. The two lay out their property streams
/// with headers of different lengths.
enum class MessageKind { File, Attached };

/// One attachment of a message, on its "__attach_version1.0_#" storage.
class CAttach : public CMapiObject {
public:
    CAttach(std::shared_ptr<CStorage> storage, int codePage);

    /// The storage of the object held in PR_ATTACH_DATA_OBJ (an attached
    /// message or an OLE object); null when there is none.
    std::shared_ptr<CStorage> OpenDataObject() const;
};

class CMessage : public CMapiObject {
public:
    /// Opens the message stored at the top of `storage`. Fails with
    /// MAPI_E_CORRUPT_DATA when the storage holds no message properties at all.
    static HRESULT OpenIMsgOnIStg(std::shared_ptr<CStorage> storage,
                                  std::unique_ptr<CMessage>& message,
                                  MessageKind kind = MessageKind::File);

    HRESULT GetAttachmentTable(std::unique_ptr<CTable>& table);
    HRESULT GetRecipientTable(std::unique_ptr<CTable>& table);

    /// How many attachment storages the message holds.
    int GetAttachmentCount() const { return static_cast<int>(m_attachments.size()); }
    /// The attachment at `index` in the message's order.
    HRESULT OpenAttach(int index, std::unique_ptr<CAttach>& attach);

private:
    CMessage(std::shared_ptr<CStorage> storage, MessageKind kind);

    std::vector<int> m_attachments;
};

} // namespace Mapi
