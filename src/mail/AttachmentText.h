#pragma once
// The text of a message's attachments as the index holds it in one field:
// for each attachment in order, its name, then the text it carries (an
// attached message's subject, sender, recipients, body and, by the same
// rules, its own attachments; a common document's text), each part ended by
// a control character the analyzer drops, so that the names can be read back
// from the stored text.

#include "msgfile/MessageAttachments.h"
#include "text/DocumentText.h"

#include <string>
#include <string_view>
#include <vector>

namespace Kerf::QuireLib::AttachmentText {

constexpr wchar_t kNameEnd = L'\x1F';
constexpr wchar_t kAttachmentEnd = L'\x1E';

/// Attachments longer than this are not read for text; they give their name.
constexpr std::uint64_t kMaxDocumentBytes = 32ull * 1024 * 1024;

/// The field text; at most `limits.maxChars` characters in all, read within
/// `limits.messageBudget`: once it is spent, the attachments left give their
/// names only, so that one message cannot hold up indexing for long.
std::wstring build(const CMessageAttachments& message, DocumentText::Limits limits);

/// The names of the top-level attachments in a field text, in order.
std::vector<std::wstring> namesOf(std::wstring_view fieldText);

} // namespace Kerf::QuireLib::AttachmentText
