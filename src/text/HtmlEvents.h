#pragma once
// One pass of libxml2's forgiving HTML parser over UTF-8 text that reports
// elements and text and builds no tree, with the parser's complaints
// silenced. The plain text of a body and the form the viewer shows are both
// written from these events.

#include <libxml/HTMLparser.h>

#include <cstddef>
#include <string_view>

namespace Kerf::Html {

class HtmlEvents {
public:
    virtual ~HtmlEvents() = default;

    /// Parses the text, reporting its events in document order.
    void parse(std::string_view utf8);

protected:
    virtual void onStartElement(const xmlChar* name, const xmlChar** attributes) = 0;
    virtual void onEndElement(const xmlChar* name) = 0;
    virtual void onCharacters(const xmlChar* text, std::size_t length) = 0;

    /// Ends the parse after the event being reported.
    void stop();

private:
    static void startElement(void* context, const xmlChar* name, const xmlChar** attributes);
    static void endElement(void* context, const xmlChar* name);
    static void characters(void* context, const xmlChar* text, int length);

    htmlParserCtxtPtr m_context = nullptr;
};

} // namespace Kerf::Html
