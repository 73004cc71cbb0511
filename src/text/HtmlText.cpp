#include "text/HtmlText.h"

#include "text/CodePages.h"
#include "text/HtmlEvents.h"

#include <cctype>
#include <cstdint>
#include <cstring>
#include <optional>
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

// The next code point of valid UTF-8, as libxml2 hands text out.
char32_t nextCodePoint(const unsigned char*& s, const unsigned char* end) {
    char32_t cp = *s++;
    if (cp < 0x80)
        return cp;
    int extra = 0;
    if (cp >= 0xF0) {
        cp &= 0x07;
        extra = 3;
    } else if (cp >= 0xE0) {
        cp &= 0x0F;
        extra = 2;
    } else {
        cp &= 0x1F;
        extra = 1;
    }
    for (int i = 0; i < extra && s < end && (*s & 0xC0) == 0x80; ++i, ++s)
        cp = (cp << 6) | (*s & 0x3F);
    return cp;
}

class TextWriter : public HtmlEvents {
public:
    void text(const unsigned char* utf8, std::size_t length) {
        if (m_iSkipDepth > 0)
            return;
        m_out.reserve(m_out.size() + length);
        const unsigned char* end = utf8 + length;
        while (utf8 < end) {
            const auto c = static_cast<wchar_t>(nextCodePoint(utf8, end));
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

    void startElement(const xmlChar* name) {
        if (m_iSkipDepth > 0 || isSkipped(name)) {
            ++m_iSkipDepth;
            return;
        }
        if (isOneOf(name, {"br"}))
            lineBreak();
        else if (isOneOf(name, {"td", "th"}))
            cellBoundary();
        else if (isBlock(name))
            blockBoundary();
        if (isOneOf(name, {"pre"}))
            ++m_iPreDepth;
    }

    void endElement(const xmlChar* name) {
        if (m_iSkipDepth > 0) {
            --m_iSkipDepth;
            return;
        }
        if (isOneOf(name, {"pre"}) && m_iPreDepth > 0)
            --m_iPreDepth;
        if (isBlock(name))
            blockBoundary();
    }

    std::wstring take() {
        while (!m_out.empty() &&
               (m_out.back() == L'\n' || m_out.back() == L'\r' || m_out.back() == L' '))
            m_out.pop_back();
        return std::move(m_out);
    }

private:
    void onStartElement(const xmlChar* name, const xmlChar**) override { startElement(name); }
    void onEndElement(const xmlChar* name) override { endElement(name); }
    void onCharacters(const xmlChar* utf8, std::size_t length) override { text(utf8, length); }

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
    void put(wchar_t c) {
        m_out.push_back(c);
        m_bPendingSpace = false;
    }

    std::wstring m_out;
    bool m_bPendingSpace = false;
    int m_iPreDepth = 0;
    int m_iSkipDepth = 0; // inside a script, style, head and the like
};

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
    TextWriter writer;
    writer.parse(toUtf8(html));
    return writer.take();
}

std::wstring decodeBytes(std::string_view bytes, int codePage) {
    const std::string charset = declaredCharset(bytes);
    std::optional<std::wstring> html;
    if (!charset.empty())
        html = CodePages::decodeCharset(bytes, charset);
    if (!html)
        html = CodePages::decode(bytes, codePage);
    return std::move(*html);
}

} // namespace Kerf::Html
