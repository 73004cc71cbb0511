#include "mail/HtmlText.h"

#include <libxml/HTMLparser.h>
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>

namespace Kerf::Html {
namespace {

constexpr std::size_t kCharsetScanLength = 4096;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string toUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 4);
    for (wchar_t wc : text) {
        auto cp = static_cast<char32_t>(wc);
        if (cp == 0 || (cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF)
            cp = 0xFFFD;
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}

// Appends valid UTF-8 (as libxml2 hands it out) as wide characters.
void appendUtf8(std::wstring& out, const unsigned char* s) {
    while (*s != 0) {
        char32_t cp = *s;
        int extra = 0;
        if (cp >= 0xF0) {
            cp &= 0x07;
            extra = 3;
        } else if (cp >= 0xE0) {
            cp &= 0x0F;
            extra = 2;
        } else if (cp >= 0xC0) {
            cp &= 0x1F;
            extra = 1;
        }
        ++s;
        for (int i = 0; i < extra && (*s & 0xC0) == 0x80; ++i, ++s)
            cp = (cp << 6) | (*s & 0x3F);
        out.push_back(static_cast<wchar_t>(cp));
    }
}

bool isOneOf(const xmlChar* name, std::initializer_list<const char*> names) {
    for (const char* candidate : names)
        if (std::strcmp(reinterpret_cast<const char*>(name), candidate) == 0)
            return true;
    return false;
}

bool isSkipped(const xmlChar* name) {
    return isOneOf(name, {"script", "style", "head", "title", "noscript", "template", "xml"});
}

bool isBlock(const xmlChar* name) {
    return isOneOf(name, {"p",          "div",    "li",      "tr",     "h1",      "h2",
                          "h3",         "h4",     "h5",      "h6",     "table",   "blockquote",
                          "pre",        "hr",     "ul",      "ol",     "dl",      "dt",
                          "dd",         "center", "address", "form",   "section", "article",
                          "header",     "footer", "nav",     "aside",  "caption", "fieldset",
                          "figcaption", "figure", "main",    "option", "body",    "html"});
}

class TextWriter {
public:
    void text(const unsigned char* utf8) {
        std::wstring chunk;
        appendUtf8(chunk, utf8);
        for (wchar_t c : chunk) {
            if (m_iPreDepth > 0) {
                if (c == L'\r')
                    continue;
                if (c == L'\n')
                    lineBreak();
                else
                    put(c);
                continue;
            }
            if (c == L' ' || c == L'\t' || c == L'\n' || c == L'\r' || c == L'\f' || c == 0xA0) {
                m_bPendingSpace = true;
                continue;
            }
            if (m_bPendingSpace && !m_out.empty() && m_out.back() != L'\n')
                m_out.push_back(L' ');
            m_bPendingSpace = false;
            m_out.push_back(c);
        }
    }
    void lineBreak() {
        m_out += L"\r\n";
        m_bPendingSpace = false;
    }
    void blockBoundary() {
        if (!m_out.empty() && m_out.back() != L'\n')
            lineBreak();
        m_bPendingSpace = false;
    }
    void cellBoundary() {
        if (!m_out.empty() && m_out.back() != L'\n')
            m_bPendingSpace = true;
    }
    void enterPre() { ++m_iPreDepth; }
    void leavePre() { --m_iPreDepth; }

    std::wstring take() {
        while (!m_out.empty() &&
               (m_out.back() == L'\n' || m_out.back() == L'\r' || m_out.back() == L' '))
            m_out.pop_back();
        return std::move(m_out);
    }

private:
    void put(wchar_t c) {
        m_out.push_back(c);
        m_bPendingSpace = false;
    }

    std::wstring m_out;
    bool m_bPendingSpace = false;
    int m_iPreDepth = 0;
};

void enter(xmlNode* node, TextWriter& writer) {
    if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
        if (node->content != nullptr)
            writer.text(node->content);
        return;
    }
    if (node->type != XML_ELEMENT_NODE)
        return;
    if (isOneOf(node->name, {"br"}))
        writer.lineBreak();
    else if (isOneOf(node->name, {"td", "th"}))
        writer.cellBoundary();
    else if (isBlock(node->name))
        writer.blockBoundary();
    if (isOneOf(node->name, {"pre"}))
        writer.enterPre();
}

void leave(xmlNode* node, TextWriter& writer) {
    if (node->type != XML_ELEMENT_NODE)
        return;
    if (isOneOf(node->name, {"pre"}))
        writer.leavePre();
    if (isBlock(node->name))
        writer.blockBoundary();
}

bool descends(xmlNode* node) {
    return node->children != nullptr &&
           (node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE ||
            node->type == XML_HTML_DOCUMENT_NODE) &&
           !(node->type == XML_ELEMENT_NODE && isSkipped(node->name));
}

// The tree is walked without recursion: a deeply nested document must not
// exhaust the stack.
std::wstring render(xmlDoc* doc) {
    TextWriter writer;
    xmlNode* root = reinterpret_cast<xmlNode*>(doc);
    xmlNode* node = root->children;
    while (node != nullptr) {
        enter(node, writer);
        if (descends(node)) {
            node = node->children;
            continue;
        }
        leave(node, writer);
        while (node != nullptr && node->next == nullptr) {
            node = node->parent;
            if (node == nullptr || node == root)
                return writer.take();
            leave(node, writer);
        }
        if (node != nullptr)
            node = node->next;
    }
    return writer.take();
}

void ignoreStructuredError(void*, xmlErrorPtr) {}
void ignoreGenericError(void*, const char*, ...) {}

} // namespace

std::string declaredCharset(std::string_view bytes) {
    if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF")
        return "utf-8";
    if (bytes.size() >= 2 && bytes.substr(0, 2) == "\xFF\xFE")
        return "utf-16le";
    if (bytes.size() >= 2 && bytes.substr(0, 2) == "\xFE\xFF")
        return "utf-16be";
    std::string head(bytes.substr(0, kCharsetScanLength));
    for (char& c : head)
        c = lower(c);
    for (std::size_t pos = head.find("<meta"); pos != std::string::npos;
         pos = head.find("<meta", pos + 5)) {
        const std::size_t end = head.find('>', pos);
        const std::string tag = head.substr(pos, end == std::string::npos ? end : end - pos);
        std::size_t at = tag.find("charset");
        if (at == std::string::npos)
            continue;
        at += 7;
        while (at < tag.size() && (tag[at] == ' ' || tag[at] == '='))
            ++at;
        while (at < tag.size() && (tag[at] == '"' || tag[at] == '\''))
            ++at;
        std::string charset;
        while (at < tag.size() && charset.size() < 40 &&
               (std::isalnum(static_cast<unsigned char>(tag[at])) || tag[at] == '-' ||
                tag[at] == '_' || tag[at] == '.' || tag[at] == ':'))
            charset.push_back(tag[at++]);
        if (!charset.empty())
            return charset;
    }
    return {};
}

std::wstring toPlainText(std::wstring_view html) {
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });

    const std::string utf8 = toUtf8(html);
    if (utf8.empty() || utf8.size() > static_cast<std::size_t>(INT32_MAX))
        return {};

    // libxml2 keeps its error handlers per thread; keep this thread's as they were.
    xmlGenericErrorFunc savedGeneric = xmlGenericError;
    void* savedGenericContext = xmlGenericErrorContext;
    xmlSetGenericErrorFunc(nullptr, ignoreGenericError);

    std::wstring text;
    htmlParserCtxtPtr context = htmlNewParserCtxt();
    if (context != nullptr) {
        if (context->sax != nullptr)
            context->sax->serror = ignoreStructuredError;
        htmlDocPtr doc = htmlCtxtReadMemory(
            context, utf8.data(), static_cast<int>(utf8.size()), nullptr, "UTF-8",
            HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET |
                HTML_PARSE_IGNORE_ENC | HTML_PARSE_COMPACT);
        if (doc != nullptr) {
            text = render(doc);
            xmlFreeDoc(doc);
        }
        htmlFreeParserCtxt(context);
    }
    xmlSetGenericErrorFunc(savedGenericContext, savedGeneric);
    return text;
}

} // namespace Kerf::Html
