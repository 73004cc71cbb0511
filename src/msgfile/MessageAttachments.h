#pragma once
// The attachments of a saved message: what each one is called, what it holds,
// and the messages attached to it, down to a fixed depth.
//
// Usage:
//   std::string error;
//   auto message = CMessageAttachments::openFile(L"/mail/a.msg", error);
//   if (!message) { /* error says why */ }
//   for (std::size_t i = 0; i < message->attachments().size(); ++i) {
//       const CAttachmentInfo& info = message->attachments()[i];
//       std::vector<std::uint8_t> bytes;
//       if (!info.isMessage && message->readData(i, bytes)) { /* the file's content */ }
//       if (auto inner = message->openMessage(i)) {
//           inner->attachments(); // its own attachments, one level deeper
//       }
//   }
//
// An object and everything opened from it read one compound file and share
// it: use them from one thread at a time. Each keeps what it needs of the
// file alive, so an attached message may outlive the message it came from.
// Nothing here throws for a damaged file: what cannot be read is missing.

#include "msgfile/MapiMessage.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

struct CAttachmentInfo {
    /// The long file name, else the short one, else the display name; may be empty.
    std::wstring name;
    /// PR_ATTACH_MIME_TAG when the attachment gives one.
    std::wstring mimeType;
    /// PR_ATTACH_CONTENT_ID: the name an HTML body gives it ("cid:" addresses).
    std::wstring contentId;
    /// Length of the content in bytes: the data of a file attachment, else
    /// PR_ATTACH_SIZE as the attachment states it (0 when it does not).
    std::uint64_t size = 0;
    /// Whether it holds an attached message that openMessage opens.
    bool isMessage = false;
    /// PR_ATTACH_METHOD (1 by value, 5 attached message, 6 OLE object, ...);
    /// 0 when the attachment does not say.
    std::int32_t method = 0;
};

class CMessageAttachments {
public:
    /// Attached messages are opened down to this depth: a file's own
    /// attachments are at depth 1, those of a message attached there at 2.
    static constexpr int kMaxDepth = 3;
    /// readData refuses content longer than this unless told otherwise.
    static constexpr std::uint64_t kDefaultDataLimit = 64ull * 1024 * 1024;

    /// The message in a saved message file; null and a reason when the file
    /// cannot be read or holds no message.
    static std::shared_ptr<CMessageAttachments> openFile(const std::wstring& path,
                                                         std::string& error);
    /// The message in the bytes of a saved message file (copied).
    static std::shared_ptr<CMessageAttachments> openBytes(std::span<const std::uint8_t> bytes,
                                                          std::string& error);

    /// The message at the top of `storage`; `depth` is 0 for a file and n
    /// for a message attached n levels down. Check opened().
    CMessageAttachments(std::shared_ptr<Mapi::CStorage> storage, Mapi::MessageKind kind, int depth);

    bool opened() const { return m_pMessage != nullptr; }
    const std::shared_ptr<Mapi::CStorage>& storage() const { return m_pStorage; }
    Mapi::MessageKind kind() const { return m_kind; }

    /// Every attachment in the message's order.
    const std::vector<CAttachmentInfo>& attachments() const { return m_attachments; }

    /// The content of a file attachment (PR_ATTACH_DATA_BIN). False when it
    /// has none, cannot be read or is longer than `limit`.
    bool readData(std::size_t index, std::vector<std::uint8_t>& data,
                  std::uint64_t limit = kDefaultDataLimit) const;

    /// Hands the content of a file attachment to `sink` a piece at a time,
    /// whatever its size, so that it is never held whole. False when it has
    /// none, cannot be read to its end, or `sink` returns false.
    bool copyData(std::size_t index,
                  const std::function<bool(std::span<const std::uint8_t>)>& sink) const;

    /// The message attached at `index`; null when it is not a message, cannot
    /// be read, or would lie deeper than kMaxDepth.
    std::shared_ptr<CMessageAttachments> openMessage(std::size_t index) const;
    /// The message attached at `index` as the bytes of a saved message file
    /// of its own, which opens as this reader opens any file. False and a
    /// reason when it is no message or cannot be read whole.
    bool messageFileBytes(std::size_t index, std::vector<std::uint8_t>& bytes,
                          std::string& error) const;

    /// The code page the message's 8-bit text is in.
    int codePage() const;

private:
    void listAttachments();

    std::shared_ptr<Mapi::CStorage> m_pStorage;
    Mapi::MessageKind m_kind;
    int m_iDepth;
    std::unique_ptr<Mapi::CMessage> m_pMessage;
    std::vector<CAttachmentInfo> m_attachments;
    /// The file's map of named properties, which its attached messages use too.
    std::shared_ptr<Mapi::CStorage> m_pNameIds;
};

} // namespace Kerf::QuireLib
