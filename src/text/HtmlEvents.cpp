#include "text/HtmlEvents.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>
#include <mutex>
#include <string>

namespace Kerf::Html {
namespace {

void ignoreStructuredError(void*, xmlErrorPtr) {}
void ignoreMessage(void*, const char*, ...) {}

// Mail from word processors wraps list numbers and the like in
// "<![if !supportLists]>" ... "<![endif]>": markers that browsers drop while
// showing what lies between them. The parser would report them as text.
std::string withoutRevealedConditionals(std::string_view html) {
    constexpr std::size_t kMaxMarker = 256;
    const auto startsWithNoCase = [](std::string_view text, std::string_view prefix) {
        return text.size() >= prefix.size() &&
               std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
                   return a == std::tolower(static_cast<unsigned char>(b));
               });
    };
    // The length of the marker at the text's start, or 0. A marker is
    // "<![endif]>" or "<![if CONDITION]>" with no "]", "<" or ">" inside the
    // condition, so that the end of a comment ("<![endif]-->") stays.
    const auto markerLength = [&](std::string_view text) -> std::size_t {
        if (startsWithNoCase(text, "<![endif]>"))
            return 10;
        if (!startsWithNoCase(text, "<![if") || text.size() < 6 ||
            !std::isspace(static_cast<unsigned char>(text[5])))
            return 0;
        const std::size_t close = text.substr(0, kMaxMarker).find_first_of("]<>", 5);
        return close != std::string_view::npos && text[close] == ']' && close + 1 < text.size() &&
                       text[close + 1] == '>'
                   ? close + 2
                   : 0;
    };
    std::string out;
    out.reserve(html.size());
    std::size_t from = 0;
    for (std::size_t at = html.find("<!["); at != std::string_view::npos;
         at = html.find("<![", from)) {
        const std::size_t length = markerLength(html.substr(at));
        out.append(html.substr(from, at - from + (length == 0 ? 3 : 0)));
        from = at + (length == 0 ? 3 : length);
    }
    out.append(html.substr(from));
    return out;
}

// The events ride on the context, which libxml2 hands every callback.
HtmlEvents& eventsOf(void* context) {
    return *static_cast<HtmlEvents*>(static_cast<htmlParserCtxtPtr>(context)->_private);
}

} // namespace

void HtmlEvents::startElement(void* context, const xmlChar* name, const xmlChar** attributes) {
    eventsOf(context).onStartElement(name, attributes);
}

void HtmlEvents::endElement(void* context, const xmlChar* name) {
    eventsOf(context).onEndElement(name);
}

void HtmlEvents::characters(void* context, const xmlChar* text, int length) {
    if (length > 0)
        eventsOf(context).onCharacters(text, static_cast<std::size_t>(length));
}

void HtmlEvents::stop() {
    if (m_context != nullptr)
        xmlStopParser(m_context);
}

void HtmlEvents::parse(std::string_view html) {
    // Most bodies hold no marker; they are parsed as they are, not copied.
    std::string cleaned;
    const bool marked = html.find("<![") != std::string_view::npos;
    if (marked)
        cleaned = withoutRevealedConditionals(html);
    const std::string_view utf8 = marked ? std::string_view(cleaned) : html;
    if (utf8.empty() || utf8.size() > static_cast<std::size_t>(INT_MAX))
        return;
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
    // libxml2 keeps its error handlers per thread; keep this thread's as they were.
    xmlGenericErrorFunc savedGeneric = xmlGenericError;
    void* savedGenericContext = xmlGenericErrorContext;
    xmlSetGenericErrorFunc(nullptr, ignoreMessage);
    m_context = htmlNewParserCtxt();
    if (m_context != nullptr && m_context->sax != nullptr) {
        // Nothing but the events: every callback that would build the tree
        // is left out.
        htmlSAXHandler& sax = *m_context->sax;
        std::memset(&sax, 0, sizeof sax);
        sax.initialized = 1;
        sax.startElement = startElement;
        sax.endElement = endElement;
        sax.characters = characters;
        sax.cdataBlock = characters;
        sax.warning = ignoreMessage;
        sax.error = ignoreMessage;
        sax.fatalError = ignoreMessage;
        sax.serror = ignoreStructuredError;
        m_context->_private = this;
        htmlDocPtr doc = htmlCtxtReadMemory(
            m_context, utf8.data(), static_cast<int>(utf8.size()), nullptr, "UTF-8",
            HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET |
                HTML_PARSE_IGNORE_ENC | HTML_PARSE_COMPACT);
        if (doc != nullptr)
            xmlFreeDoc(doc);
    }
    if (m_context != nullptr)
        htmlFreeParserCtxt(m_context);
    m_context = nullptr;
    xmlSetGenericErrorFunc(savedGenericContext, savedGeneric);
}

} // namespace Kerf::Html
