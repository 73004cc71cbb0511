// Office Open XML and OpenDocument files are zip archives of XML parts; the
// text lives in a few known parts. Members are decompressed only up to a cap
// whatever their headers claim, so a zip bomb costs at most the cap.

#include "text/DocumentText.h"

#include <libxml/parser.h>
#include <libxml/xmlreader.h>
#include <zip.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Kerf::QuireLib::DocumentText {
namespace {

struct ZipCloser {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct ZipFileCloser {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};
struct ReaderFreer {
    void operator()(xmlTextReaderPtr reader) const { xmlFreeTextReader(reader); }
};

// The parts holding the text, in reading order: a sheet or slide number
// orders numerically ("slide2" before "slide10").
struct Part {
    int group;
    long number;
    zip_uint64_t index;
};

bool partOf(Kind kind, std::string_view name, Part& part) {
    auto numbered = [&](std::string_view prefix, int group) {
        if (name.substr(0, prefix.size()) != prefix || name.size() < prefix.size() + 5 ||
            name.substr(name.size() - 4) != ".xml")
            return false;
        const std::string_view digits = name.substr(prefix.size(), name.size() - prefix.size() - 4);
        if (digits.empty() || digits.size() > 9 ||
            !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
            return false;
        part.group = group;
        part.number = std::strtol(std::string(digits).c_str(), nullptr, 10);
        return true;
    };
    if (kind == Kind::OpenDocument) {
        part.group = 0;
        part.number = 0;
        return name == "content.xml";
    }
    if (name == "word/document.xml" || name == "xl/sharedStrings.xml") {
        part.group = 0;
        part.number = 0;
        return true;
    }
    return numbered("xl/worksheets/sheet", 1) || numbered("ppt/slides/slide", 2);
}

// Elements after which words do not run on: paragraphs, cells, breaks, tabs.
bool separates(std::string_view localName) {
    static constexpr std::string_view kNames[] = {
        "p", "h", "tab", "br", "cr", "s", "tc", "c", "si", "is", "line-break", "table-cell", "row"};
    return std::find(std::begin(kNames), std::end(kNames), localName) != std::end(kNames);
}

void ignoreXmlError(void*, const char*, xmlParserSeverities, xmlTextReaderLocatorPtr) {}

// Appends the text of one XML part to `out` (UTF-8) until it holds `maxBytes`.
// In Office Open XML only text elements ("t") carry document text; in
// OpenDocument every text node does.
void appendXmlText(Kind kind, const std::string& xml, std::string& out, std::size_t maxBytes) {
    std::unique_ptr<xmlTextReader, ReaderFreer> reader(
        xmlReaderForMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!reader)
        return;
    xmlTextReaderSetErrorHandler(reader.get(), ignoreXmlError, nullptr);
    int insideText = 0;
    while (out.size() < maxBytes && xmlTextReaderRead(reader.get()) == 1) {
        const int type = xmlTextReaderNodeType(reader.get());
        const xmlChar* raw = xmlTextReaderConstLocalName(reader.get());
        const std::string_view name = raw != nullptr ? reinterpret_cast<const char*>(raw) : "";
        if (type == XML_READER_TYPE_ELEMENT) {
            const bool empty = xmlTextReaderIsEmptyElement(reader.get()) == 1;
            if (name == "t" && !empty)
                ++insideText;
            if (empty && separates(name))
                out.push_back(' ');
        } else if (type == XML_READER_TYPE_END_ELEMENT) {
            if (name == "t" && insideText > 0)
                --insideText;
            if (separates(name))
                out.push_back(' ');
        } else if (type == XML_READER_TYPE_TEXT || type == XML_READER_TYPE_CDATA ||
                   type == XML_READER_TYPE_SIGNIFICANT_WHITESPACE) {
            if (kind == Kind::OpenDocument || insideText > 0) {
                if (const xmlChar* value = xmlTextReaderConstValue(reader.get()))
                    out.append(reinterpret_cast<const char*>(value));
            }
        }
    }
}

// The member's bytes into `bytes`, reading at most `cap` of them. Returns how
// many were decompressed; `whole` says whether that was the whole member (a
// part cut short would mostly fail to parse, so it is not read).
std::uint64_t readMember(zip_t* archive, zip_uint64_t index, std::uint64_t cap, std::string& bytes,
                         bool& whole) {
    bytes.clear();
    whole = false;
    std::unique_ptr<zip_file_t, ZipFileCloser> file(zip_fopen_index(archive, index, 0));
    if (!file)
        return 0;
    char buffer[64 * 1024];
    for (;;) {
        const zip_int64_t n = zip_fread(file.get(), buffer, sizeof buffer);
        if (n < 0)
            return bytes.size();
        if (n == 0) {
            whole = true;
            return bytes.size();
        }
        if (bytes.size() + static_cast<std::uint64_t>(n) > cap)
            return cap;
        bytes.append(buffer, static_cast<std::size_t>(n));
    }
}

} // namespace

std::wstring zipDocumentText(Kind kind, std::span<const std::uint8_t> bytes, const Limits& limits) {
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
    if (bytes.empty())
        return {};
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
    if (source == nullptr) {
        zip_error_fini(&error);
        return {};
    }
    std::unique_ptr<zip_t, ZipCloser> archive(zip_open_from_source(source, ZIP_RDONLY, &error));
    zip_error_fini(&error);
    if (!archive) {
        zip_source_free(source);
        return {};
    }

    std::vector<Part> parts;
    const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
    for (zip_int64_t i = 0; i < count && static_cast<int>(parts.size()) < limits.maxZipMembers;
         ++i) {
        const char* name = zip_get_name(archive.get(), static_cast<zip_uint64_t>(i), 0);
        Part part{};
        if (name != nullptr && partOf(kind, name, part)) {
            part.index = static_cast<zip_uint64_t>(i);
            parts.push_back(part);
        }
    }
    std::stable_sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) {
        return a.group != b.group ? a.group < b.group : a.number < b.number;
    });

    const std::size_t maxBytes = limits.maxChars * 4;
    std::uint64_t budget = limits.maxZipTotalBytes;
    std::string text;
    std::string xml;
    for (const Part& part : parts) {
        if (text.size() >= maxBytes || budget == 0)
            break;
        const std::uint64_t cap = std::min(limits.maxZipMemberBytes, budget);
        bool whole = false;
        budget -= std::min(budget, readMember(archive.get(), part.index, cap, xml, whole));
        if (!whole)
            continue;
        appendXmlText(kind, xml, text, maxBytes);
        text.push_back('\n');
    }
    return fromUtf8(text, limits.maxChars);
}

} // namespace Kerf::QuireLib::DocumentText
