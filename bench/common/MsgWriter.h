#pragma once
// Writes saved message files (.msg) in the compound-file layout a mail client
// produces: "__properties_version1.0" streams, "__substg1.0_PPPPTTTT"
// streams, "__recip_version1.0_#" and "__attach_version1.0_#" storages and
// embedded messages, through libgsf's OLE2 writer. Used by the benchmarks to
// generate corpora and by the tests to build messages with known contents.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QoMsg {

struct MsgMessage;

struct MsgRecipient {
    std::wstring displayName;
    /// PR_EMAIL_ADDRESS, of the type PR_ADDRTYPE names.
    std::wstring emailAddress;
    /// 1 To, 2 Cc, 3 Bcc.
    std::int32_t type = 1;
    /// PR_ADDRTYPE: "SMTP", or "EX" for an address inside an Exchange
    /// organisation ("/O=...").
    std::wstring addressType = L"SMTP";
    /// PR_SMTP_ADDRESS, written only when set.
    std::optional<std::wstring> smtpAddress;
};

struct MsgAttachment {
    /// 1 by value, 5 embedded message, 6 OLE object.
    std::int32_t method = 1;
    std::wstring fileName{};
    std::vector<std::uint8_t> data{};
    /// The attached message, for method 5.
    std::shared_ptr<const MsgMessage> embedded{};
    /// PR_ATTACH_CONTENT_ID: how an HTML body names it ("cid:..."); none when empty.
    std::wstring contentId{};
};

struct MsgMessage {
    std::string messageClass = "IPM.Note";
    std::optional<std::wstring> subject;
    std::optional<std::wstring> normalizedSubject;
    std::optional<std::wstring> senderName;
    /// PR_SENDER_EMAIL_ADDRESS and its PR_SENDER_ADDRTYPE.
    std::optional<std::wstring> senderEmail;
    std::optional<std::wstring> senderAddressType;
    /// PR_SENDER_SMTP_ADDRESS and PR_SENT_REPRESENTING_SMTP_ADDRESS.
    std::optional<std::wstring> senderSmtpAddress;
    std::optional<std::wstring> representingSmtpAddress;
    std::optional<std::wstring> displayTo;
    std::optional<std::wstring> displayCc;
    std::optional<std::wstring> displayBcc;
    std::optional<std::wstring> body;
    /// PR_HTML as bytes, in whatever charset the document declares.
    std::optional<std::string> html;
    /// PR_RTF_COMPRESSED as stored.
    std::optional<std::vector<std::uint8_t>> compressedRtf;
    /// PR_CLIENT_SUBMIT_TIME: 100 ns ticks since 1601 UTC.
    std::optional<std::uint64_t> submitTime;

    /// Text properties as PT_UNICODE, or as PT_STRING8 in `textCodePage`.
    bool unicode = true;
    std::uint32_t textCodePage = 1252;
    /// PR_MESSAGE_CODEPAGE, PR_MESSAGE_LOCALE_ID and PR_INTERNET_CPID.
    std::optional<std::uint32_t> codePage;
    std::optional<std::uint32_t> localeId;
    std::optional<std::uint32_t> internetCodePage;

    std::vector<MsgRecipient> recipients;
    std::vector<MsgAttachment> attachments;
};

/// The message as the bytes of a .msg file. Throws std::runtime_error.
std::vector<std::uint8_t> writeMsgBytes(const MsgMessage& message);

/// The message written to a .msg file. Throws std::runtime_error.
void writeMsgFile(const std::filesystem::path& path, const MsgMessage& message);

/// A UTC calendar time as a FILETIME.
std::uint64_t fileTimeFromUtc(int year, int month, int day, int hour, int minute, int second);

/// A PR_RTF_COMPRESSED value holding `rtf`: in the "LZFu" form (made of
/// literal runs only) or, with `compress` false, in the stored "MELA" form.
std::vector<std::uint8_t> storedRtf(const std::string& rtf, bool compress);

} // namespace QoMsg
