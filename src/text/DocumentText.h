#pragma once
// The searchable text of a document carried as an attachment: plain text and
// CSV, HTML, RTF, PDF, Office Open XML (.docx, .xlsx, .pptx) and
// OpenDocument (.odt, .ods, .odp). Other types have no text here.
//
// Every reader is bounded: it gives at most `maxChars` characters, zip
// members are read only up to a decompressed-size cap, and a PDF is read by
// a helper program that is killed at a deadline (or when the process that
// started it dies). Damaged or hostile input
// gives no text (or what came before the damage), never a crash or a hang.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Kerf::QuireLib::DocumentText {

enum class Kind { None, Plain, Html, Rtf, Pdf, OfficeOpenXml, OpenDocument };

/// The kind by the file name's extension, else by the MIME type.
Kind kindOf(std::wstring_view fileName, std::wstring_view mimeType);

struct Limits {
    /// Most characters of text given back.
    std::size_t maxChars = 1024 * 1024;
    /// Most bytes decompressed from any one zip member, and from all together.
    std::uint64_t maxZipMemberBytes = 16ull * 1024 * 1024;
    std::uint64_t maxZipTotalBytes = 48ull * 1024 * 1024;
    /// Zip members read at most (sheets, slides).
    int maxZipMembers = 1000;
    /// A PDF is read page by page up to this many pages, and all of it within
    /// the deadline; past the deadline it gives no text at all.
    int maxPdfPages = 500;
    std::chrono::milliseconds pdfDeadline{10000};
    /// A PDF reading process may use this much processor time, a little more
    /// than the deadline allows; then the kernel ends it, whatever happens to
    /// the process that waits for it.
    std::chrono::seconds pdfProcessorTime() const {
        return std::chrono::ceil<std::chrono::seconds>(pdfDeadline) + std::chrono::seconds(1);
    }
    /// Time the text of one message's attachments may take in all, attached
    /// messages and their attachments included; past it the attachments left
    /// give their names only.
    std::chrono::milliseconds messageBudget{15000};
    /// No reading goes on past this moment; AttachmentText sets it from its
    /// budget for the message being read.
    std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max();
    /// Memory a PDF reading process may take.
    std::uint64_t maxPdfMemoryBytes = 1024ull * 1024 * 1024;
};

/// The text of `bytes` read as `kind`; `codePage` reads 8-bit text that
/// declares no encoding of its own. Empty when there is none.
std::wstring extract(Kind kind, std::span<const std::uint8_t> bytes, int codePage,
                     const Limits& limits);

/// The readers one by one, for the fuzz targets and tests.
std::wstring plainText(std::span<const std::uint8_t> bytes, int codePage, std::size_t maxChars);
std::wstring zipDocumentText(Kind kind, std::span<const std::uint8_t> bytes, const Limits& limits);
/// In this process, without the deadline: the PDF reader's own work.
std::wstring pdfTextInProcess(std::span<const std::uint8_t> bytes, const Limits& limits);
/// By the helper program qosearch-pdf-text, with the deadline and the memory cap.
std::wstring pdfText(std::span<const std::uint8_t> bytes, const Limits& limits);

/// Text in `utf8` (as libraries hand it out) to wide text, at most `maxChars`.
std::wstring fromUtf8(std::string_view utf8, std::size_t maxChars);

} // namespace Kerf::QuireLib::DocumentText
