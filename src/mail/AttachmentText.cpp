#include "mail/AttachmentText.h"

#include "mail/EmailMetadataMessage.h"
#include "support/Trace.h"

#include <algorithm>
#include <chrono>
#include <cwctype>

namespace Kerf::QuireLib::AttachmentText {
namespace {

class Builder {
public:
    explicit Builder(const DocumentText::Limits& limits) : m_limits(limits) {}

    void addMessage(const CMessageAttachments& message) {
        for (std::size_t i = 0; i < message.attachments().size() && !full(); ++i) {
            const CAttachmentInfo& info = message.attachments()[i];
            add(info.name);
            m_text.push_back(kNameEnd);
            addNameWords(info.name);
            if (timeIsUp()) {
                // The name is all an attachment gives once the time is up.
            } else if (info.isMessage) {
                if (auto attached = message.openMessage(i))
                    addAttachedMessage(*attached);
            } else {
                addDocument(message, i, info);
            }
            m_text.push_back(kAttachmentEnd);
        }
    }

    std::wstring take() {
        if (m_text.size() > m_limits.maxChars)
            m_text.resize(m_limits.maxChars);
        return std::move(m_text);
    }

private:
    bool full() const { return m_text.size() >= m_limits.maxChars; }
    bool timeIsUp() const { return std::chrono::steady_clock::now() >= m_limits.until; }
    std::size_t left() const { return full() ? 0 : m_limits.maxChars - m_text.size(); }

    // Text from inside an attachment never carries the separators.
    void add(std::wstring_view text) {
        text = text.substr(0, left());
        const std::size_t start = m_text.size();
        m_text.append(text);
        std::replace_if(
            m_text.begin() + static_cast<std::ptrdiff_t>(start), m_text.end(),
            [](wchar_t c) { return c == kNameEnd || c == kAttachmentEnd; }, L' ');
    }

    // The analyzer keeps "plan.v2.pdf" as one word; its parts are words too.
    void addNameWords(const std::wstring& name) {
        std::wstring words = name;
        std::replace_if(
            words.begin(), words.end(), [](wchar_t c) { return !std::iswalnum(c); }, L' ');
        if (words != name) {
            add(words);
            add(L"\n");
        }
    }

    void addAttachedMessage(const CMessageAttachments& attached) {
        const CEmailMetadata_Message record(attached, /*CountAttachments=*/false);
        for (const wchar_t* key : {L"Subject", L"From", L"To", L"Cc", L"Bcc", L"Body"}) {
            if (record.HasValue(key)) {
                add(record.GetStringValue(key));
                add(L"\n");
            }
        }
        Builder inner(limitsLeft());
        inner.addMessage(attached);
        add(inner.take());
    }

    void addDocument(const CMessageAttachments& message, std::size_t index,
                     const CAttachmentInfo& info) {
        const DocumentText::Kind kind = DocumentText::kindOf(info.name, info.mimeType);
        if (kind == DocumentText::Kind::None || full())
            return;
        std::vector<std::uint8_t> data;
        if (!message.readData(index, data, kMaxDocumentBytes))
            return;
        add(DocumentText::extract(kind, data, message.codePage(), limitsLeft()));
    }

    DocumentText::Limits limitsLeft() const {
        DocumentText::Limits limits = m_limits;
        limits.maxChars = left();
        return limits;
    }

    const DocumentText::Limits m_limits;
    std::wstring m_text;
};

} // namespace

std::wstring build(const CMessageAttachments& message, DocumentText::Limits limits) {
    // One budget for the whole message: every reader below stops at its end.
    limits.until = std::min(limits.until, std::chrono::steady_clock::now() + limits.messageBudget);
    Builder builder(limits);
    try {
        builder.addMessage(message);
    } catch (const std::exception& e) {
        Trace::tracef("AttachmentText::build: %s\n", e.what());
    }
    if (std::chrono::steady_clock::now() >= limits.until)
        Trace::tracef("AttachmentText::build: the time for the attachments' text ran out; "
                      "the rest gave their names only.\n");
    return builder.take();
}

std::vector<std::wstring> namesOf(std::wstring_view fieldText) {
    std::vector<std::wstring> names;
    while (!fieldText.empty()) {
        const std::size_t end = fieldText.find(kAttachmentEnd);
        const std::wstring_view attachment = fieldText.substr(0, end);
        names.emplace_back(attachment.substr(0, attachment.find(kNameEnd)));
        if (end == std::wstring_view::npos)
            break;
        fieldText.remove_prefix(end + 1);
    }
    return names;
}

} // namespace Kerf::QuireLib::AttachmentText
