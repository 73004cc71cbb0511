#include "text/ViewableHtml.h"

#include "text/HtmlEvents.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace Kerf::Html {
namespace {

// Numbers in styles and sizes above these are not formatting but attacks
// on the layout (a 100,000-pixel font, a million-column span).
constexpr double kMaxLength = 4000;
constexpr double kMaxFontLength = 200;
constexpr long kMaxSpan = 50;
constexpr long kMaxSpacing = 100;
constexpr long kMaxListNumber = 100000;
constexpr std::size_t kMaxValueLength = 200;
constexpr std::size_t kMaxNameLength = 64;

bool equalsAny(std::string_view s, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), s) != names.end();
}

std::string lowered(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back())))
        s.remove_suffix(1);
    return s;
}

// What becomes of an element and what is inside it.
enum class Treatment {
    Keep,      // written out as it is, with its safe attributes
    Unwrap,    // left out, its content kept (unknown and layout-only tags)
    Drop,      // left out with everything inside (scripts, forms, frames...)
    Structure, // html, head and body: written once around the whole
    Style,     // a style sheet, filtered and moved to the head
};

Treatment treatmentOf(std::string_view name) {
    if (equalsAny(name, {"a",       "abbr",   "address", "b",    "big",   "blockquote", "br",
                         "caption", "center", "cite",    "code", "col",   "colgroup",   "dd",
                         "del",     "dfn",    "div",     "dl",   "dt",    "em",         "font",
                         "h1",      "h2",     "h3",      "h4",   "h5",    "h6",         "hr",
                         "i",       "img",    "ins",     "kbd",  "li",    "nobr",       "ol",
                         "p",       "pre",    "q",       "s",    "samp",  "small",      "span",
                         "strike",  "strong", "sub",     "sup",  "table", "tbody",      "td",
                         "tfoot",   "th",     "thead",   "tr",   "tt",    "u",          "ul",
                         "var"}))
        return Treatment::Keep;
    if (equalsAny(name, {"html", "head", "body"}))
        return Treatment::Structure;
    if (name == "style")
        return Treatment::Style;
    if (equalsAny(name, {"script",  "noscript", "template", "title",    "object", "embed",
                         "applet",  "iframe",   "frame",    "frameset", "xml",    "svg",
                         "math",    "select",   "textarea", "button",   "input",  "option",
                         "meta",    "link",     "base",     "audio",    "video",  "source",
                         "picture", "canvas",   "map",      "area",     "param"}))
        return Treatment::Drop;
    return Treatment::Unwrap;
}

bool isVoid(std::string_view name) {
    return equalsAny(name, {"br", "hr", "img", "col"});
}

bool isAllSpace(std::string_view s) {
    return std::all_of(s.begin(), s.end(),
                       [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; });
}

// A whole number, optionally in pixels or per cent, no larger than `max`.
bool isSize(std::string_view value, double max) {
    value = trimmed(value);
    std::size_t digits = 0;
    while (digits < value.size() &&
           (std::isdigit(static_cast<unsigned char>(value[digits])) || value[digits] == '.'))
        ++digits;
    if (digits == 0 || digits > 8)
        return false;
    const std::string_view unit = trimmed(value.substr(digits));
    if (!unit.empty() && unit != "%" && lowered(unit) != "px")
        return false;
    return std::strtod(std::string(value.substr(0, digits)).c_str(), nullptr) <= max;
}

bool isInteger(std::string_view value, long min, long max) {
    value = trimmed(value);
    if (value.empty() || value.size() > 8)
        return false;
    std::size_t i = value[0] == '-' || value[0] == '+' ? 1 : 0;
    if (i == value.size())
        return false;
    for (std::size_t j = i; j < value.size(); ++j)
        if (!std::isdigit(static_cast<unsigned char>(value[j])))
            return false;
    const long n = std::strtol(std::string(value).c_str(), nullptr, 10);
    return n >= min && n <= max;
}

// Letters, digits and a few marks: colours, alignments, class names.
bool isWord(std::string_view value, std::string_view marks, std::size_t maxLength) {
    return !value.empty() && value.size() <= maxLength &&
           std::all_of(value.begin(), value.end(), [marks](char c) {
               return std::isalnum(static_cast<unsigned char>(c)) ||
                      marks.find(c) != std::string_view::npos;
           });
}

bool isOpenableAddress(std::string_view href) {
    const std::string address = lowered(trimmed(href));
    for (std::string_view scheme : {"http://", "https://", "mailto:"})
        if (address.starts_with(scheme))
            return true;
    return address.starts_with('#') && isWord(address.substr(1), "_-.:", kMaxNameLength);
}

// Whether an attribute may stay as written.
bool attributeAllowed(std::string_view element, std::string_view name, std::string_view value) {
    if (equalsAny(name, {"width", "height"}))
        return isSize(value, value.find('%') != std::string_view::npos ? 100 : kMaxLength);
    if (equalsAny(name, {"colspan", "rowspan", "span"}))
        return isInteger(value, 0, kMaxSpan);
    if (equalsAny(name, {"cellpadding", "cellspacing", "border"}))
        return isInteger(value, 0, kMaxSpacing);
    if (equalsAny(name, {"start", "value"}))
        return isInteger(value, -kMaxListNumber, kMaxListNumber);
    if (name == "size")
        return isInteger(value, -7, 7);
    if (equalsAny(name, {"align", "valign", "dir", "type", "lang"}))
        return isWord(value, "-", 20);
    if (equalsAny(name, {"bgcolor", "color", "text", "link", "bordercolor"}))
        return isWord(value.starts_with('#') ? value.substr(1) : value, "", 20);
    if (name == "face")
        return isWord(value, " ,-_'\"", kMaxValueLength);
    if (equalsAny(name, {"class", "id"}))
        return isWord(value, " _-:", kMaxNameLength);
    if (name == "name")
        return element == "a" && isWord(value, "_-.:", kMaxNameLength);
    if (name == "href")
        return element == "a" && isOpenableAddress(value);
    if (name == "nowrap")
        return true;
    return false;
}

constexpr std::string_view kStyleProperties[] = {
    "background",
    "background-color",
    "border",
    "border-bottom",
    "border-collapse",
    "border-color",
    "border-left",
    "border-right",
    "border-spacing",
    "border-style",
    "border-top",
    "border-width",
    "border-bottom-color",
    "border-bottom-style",
    "border-bottom-width",
    "border-top-color",
    "border-top-style",
    "border-top-width",
    "border-left-style",
    "border-left-width",
    "border-right-style",
    "border-right-width",
    "color",
    "direction",
    "display",
    "float",
    "font",
    "font-family",
    "font-size",
    "font-style",
    "font-variant",
    "font-weight",
    "height",
    "letter-spacing",
    "line-height",
    "list-style-type",
    "margin",
    "margin-bottom",
    "margin-left",
    "margin-right",
    "margin-top",
    "max-width",
    "min-width",
    "padding",
    "padding-bottom",
    "padding-left",
    "padding-right",
    "padding-top",
    "text-align",
    "text-decoration",
    "text-indent",
    "vertical-align",
    "width",
};

// A declaration's value: plain words, colours and numbers of sensible size;
// no url(), no escapes, no functions but colours.
bool styleValueAllowed(std::string_view property, std::string_view value) {
    if (value.empty() || value.size() > kMaxValueLength)
        return false;
    const std::string v = lowered(value);
    for (char c : v)
        if (static_cast<unsigned char>(c) < 0x20 ||
            std::string_view("\\@<>{}`").find(c) != std::string_view::npos)
            return false;
    if (v.find("url") != std::string::npos || v.find("expression") != std::string::npos ||
        v.find("image") != std::string::npos)
        return false;
    for (std::size_t open = v.find('('); open != std::string::npos; open = v.find('(', open + 1)) {
        std::size_t start = open;
        while (start > 0 && std::isalpha(static_cast<unsigned char>(v[start - 1])))
            --start;
        if (!equalsAny(std::string_view(v).substr(start, open - start),
                       {"rgb", "rgba", "hsl", "hsla"}))
            return false;
    }
    const double limit =
        property.starts_with("font") || property == "line-height" || property.ends_with("spacing")
            ? kMaxFontLength
            : kMaxLength;
    for (std::size_t i = 0; i < v.size();) {
        if (v[i] == '#') { // a colour: hex digits, not a number
            while (i < v.size() && v[i] != ' ' && v[i] != ',')
                ++i;
            continue;
        }
        if (std::isdigit(static_cast<unsigned char>(v[i])) || v[i] == '.') {
            char* end = nullptr;
            const double number = std::strtod(v.c_str() + i, &end);
            if (!std::isfinite(number) || std::fabs(number) > limit)
                return false;
            i = std::max(i + 1, static_cast<std::size_t>(end - v.c_str()));
            continue;
        }
        ++i;
    }
    return true;
}

// Follows the quoted strings of a style text one character at a time.
class QuotedStrings {
public:
    /// Whether c is part of a quoted string, its quotes included.
    bool holds(char c) {
        if (m_quote != 0) {
            if (c == m_quote)
                m_quote = 0;
            return true;
        }
        if (c == '"' || c == '\'') {
            m_quote = c;
            return true;
        }
        return false;
    }

private:
    char m_quote = 0;
};

// Splits at `separator` outside quotes and brackets.
std::vector<std::string_view> splitOutside(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    QuotedStrings quoted;
    int brackets = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted.holds(c)) {
            continue;
        } else if (c == '(') {
            ++brackets;
        } else if (c == ')' && brackets > 0) {
            --brackets;
        } else if (c == separator && brackets == 0) {
            parts.push_back(text.substr(start, i - start));
            start = i + 1;
        }
    }
    parts.push_back(text.substr(start));
    return parts;
}

std::string withoutComments(std::string_view sheet) {
    std::string out;
    out.reserve(sheet.size());
    for (std::size_t i = 0; i < sheet.size();) {
        if (sheet.substr(i, 2) == "/*") {
            const std::size_t end = sheet.find("*/", i + 2);
            i = end == std::string_view::npos ? sheet.size() : end + 2;
            out.push_back(' ');
        } else if (sheet.substr(i, 4) == "<!--") {
            i += 4;
        } else if (sheet.substr(i, 3) == "-->") {
            i += 3;
        } else {
            out.push_back(sheet[i++]);
        }
    }
    return out;
}

// Where the block opened at `open` ends (its "}"), or the end of the text.
std::size_t blockEnd(std::string_view text, std::size_t open) {
    int depth = 0;
    QuotedStrings quoted;
    for (std::size_t i = open; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted.holds(c)) {
            continue;
        } else if (c == '{') {
            ++depth;
        } else if (c == '}' && --depth == 0) {
            return i;
        }
    }
    return text.size();
}

void escapeInto(std::string& out, std::string_view text) {
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out.push_back(c);
        }
    }
}

std::string_view view(const xmlChar* s) {
    return s == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(s));
}

class ViewWriter : public HtmlEvents {
public:
    explicit ViewWriter(const ViewLimits& limits) : m_limits(limits) {}

    void startElement(std::string_view rawName, const xmlChar** attributes) {
        m_bInText = false;
        if (!m_result.refusal.empty())
            return;
        const std::string name = lowered(rawName);
        if (m_iDropDepth > 0) {
            ++m_iDropDepth;
            m_open.push_back(Open::Dropped);
            return;
        }
        switch (treatmentOf(name)) {
        case Treatment::Drop:
            m_iDropDepth = 1;
            m_open.push_back(Open::Dropped);
            return;
        case Treatment::Style:
            m_iDropDepth = 1;
            m_bInStyle = true;
            m_open.push_back(Open::Dropped);
            return;
        case Treatment::Structure:
            if (name == "body" && !m_bBodySeen) {
                m_bBodySeen = true;
                writeAttributes(m_bodyAttributes, name, attributes);
            }
            m_open.push_back(Open::Unwrapped);
            return;
        case Treatment::Unwrap:
            m_open.push_back(Open::Unwrapped);
            return;
        case Treatment::Keep:
            break;
        }
        if (++m_iElements > m_limits.maxElements)
            return refuse("it has more than " + std::to_string(m_limits.maxElements) + " elements");
        if (m_iDepth + 1 > m_limits.maxDepth)
            return refuse("it nests more than " + std::to_string(m_limits.maxDepth) +
                          " elements deep");
        if (name == "table" && m_iTableDepth + 1 > m_limits.maxTableDepth)
            return refuse("it nests more than " + std::to_string(m_limits.maxTableDepth) +
                          " tables deep");
        if (!addCost())
            return;
        m_body += '<';
        m_body += name;
        if (name == "img") {
            if (m_result.images.size() >= m_limits.maxImages)
                return refuse("it has more than " + std::to_string(m_limits.maxImages) +
                              " pictures");
            m_body += " src=\"";
            escapeInto(m_body, m_limits.imagePrefix + std::to_string(m_result.images.size()));
            m_body += '"';
            m_result.images.emplace_back(sourceOf(attributes));
        }
        writeAttributes(m_body, name, attributes);
        m_body += '>';
        if (isVoid(name)) {
            m_open.push_back(Open::Void);
            return;
        }
        ++m_iDepth;
        if (name == "table")
            ++m_iTableDepth;
        m_open.push_back(Open::Kept);
        m_names.push_back(name);
        if (m_body.size() > m_limits.maxOutputBytes)
            refuse("it is larger than " + std::to_string(m_limits.maxOutputBytes >> 20) + " MB");
    }

    void endElement() {
        m_bInText = false;
        if (!m_result.refusal.empty() || m_open.empty())
            return;
        const Open open = m_open.back();
        m_open.pop_back();
        if (open == Open::Dropped) {
            if (--m_iDropDepth == 0 && m_bInStyle) {
                m_bInStyle = false;
                keepStyles();
            }
            return;
        }
        if (open != Open::Kept)
            return;
        m_body += "</";
        m_body += m_names.back();
        m_body += '>';
        if (m_names.back() == "table")
            --m_iTableDepth;
        m_names.pop_back();
        --m_iDepth;
    }

    void characters(std::string_view text) {
        if (!m_result.refusal.empty())
            return;
        if (m_iDropDepth > 0) {
            if (m_bInStyle && m_iDropDepth == 1 && m_styleText.size() < m_limits.maxOutputBytes)
                m_styleText += text;
            return;
        }
        if (!m_bInText && !isAllSpace(text)) {
            m_bInText = true;
            if (!addCost())
                return;
        }
        escapeInto(m_body, text);
        if (m_body.size() > m_limits.maxOutputBytes)
            refuse("it is larger than " + std::to_string(m_limits.maxOutputBytes >> 20) + " MB");
    }

    ViewableHtml take() {
        if (m_result.refusal.empty()) {
            std::string& html = m_result.html;
            html.reserve(m_body.size() + m_styles.size() + 64);
            html = "<html><head>";
            if (!m_styles.empty())
                html += "<style>" + m_styles + "</style>";
            html += "</head><body" + m_bodyAttributes + ">";
            html += m_body;
            html += "</body></html>";
        } else {
            m_result.images.clear();
        }
        return std::move(m_result);
    }

    void refuse(std::string reason) {
        if (!m_result.refusal.empty())
            return;
        m_result.refusal = std::move(reason);
        m_body.clear();
        stop();
    }

private:
    void onStartElement(const xmlChar* name, const xmlChar** attributes) override {
        startElement(view(name), attributes);
    }
    void onEndElement(const xmlChar*) override { endElement(); }
    void onCharacters(const xmlChar* text, std::size_t length) override {
        characters(std::string_view(reinterpret_cast<const char*>(text), length));
    }

    enum class Open { Kept, Void, Unwrapped, Dropped };

    // Charges one element or run of text, laid out once more for each
    // table around it.
    bool addCost() {
        m_iCost += std::uint64_t{1} << std::min(m_iTableDepth, 40);
        if (m_iCost <= m_limits.maxLayoutCost)
            return true;
        refuse("its layout would take too long (tables inside tables)");
        return false;
    }

    static std::string sourceOf(const xmlChar** attributes) {
        for (const xmlChar** a = attributes; a != nullptr && a[0] != nullptr; a += 2)
            if (lowered(view(a[0])) == "src")
                return std::string(trimmed(view(a[1])).substr(0, 2048));
        return {};
    }

    static void writeAttributes(std::string& out, std::string_view element,
                                const xmlChar** attributes) {
        for (const xmlChar** a = attributes; a != nullptr && a[0] != nullptr; a += 2) {
            const std::string name = lowered(view(a[0]));
            const std::string_view value = view(a[1]);
            if (name == "style") {
                const std::string style = filterDeclarations(value);
                if (!style.empty()) {
                    out += " style=\"";
                    escapeInto(out, style);
                    out += '"';
                }
                continue;
            }
            if (!attributeAllowed(element, name, value))
                continue;
            out += ' ';
            out += name;
            if (a[1] != nullptr) {
                out += "=\"";
                escapeInto(out, trimmed(value));
                out += '"';
            }
        }
    }

    void keepStyles() {
        if (m_iStyleRules < m_limits.maxStyleRules) {
            std::string sheet =
                filterStyleSheet(m_styleText, m_limits.maxStyleRules - m_iStyleRules);
            m_iStyleRules += static_cast<std::size_t>(std::count(sheet.begin(), sheet.end(), '}'));
            m_styles += sheet;
        }
        m_styleText.clear();
    }

    const ViewLimits& m_limits;
    ViewableHtml m_result;
    std::string m_body;
    std::string m_bodyAttributes;
    std::string m_styles;
    std::string m_styleText;
    std::vector<Open> m_open;         // one for each element libxml2 has open
    std::vector<std::string> m_names; // the kept ones among them
    std::size_t m_iElements = 0;
    std::size_t m_iStyleRules = 0;
    std::uint64_t m_iCost = 0;
    int m_iDepth = 0;
    int m_iTableDepth = 0;
    int m_iDropDepth = 0;
    bool m_bInStyle = false;
    bool m_bInText = false;
    bool m_bBodySeen = false;
};

} // namespace

std::string filterDeclarations(std::string_view declarations) {
    std::string out;
    for (std::string_view declaration : splitOutside(declarations, ';')) {
        const std::size_t colon = declaration.find(':');
        if (colon == std::string_view::npos)
            continue;
        const std::string property = lowered(trimmed(declaration.substr(0, colon)));
        const std::string_view value = trimmed(declaration.substr(colon + 1));
        if (std::find(std::begin(kStyleProperties), std::end(kStyleProperties), property) ==
                std::end(kStyleProperties) ||
            !styleValueAllowed(property, value))
            continue;
        out += property;
        out += ':';
        out += value;
        out += ';';
    }
    return out;
}

std::string filterStyleSheet(std::string_view rawSheet, std::size_t maxRules) {
    const std::string sheet = withoutComments(rawSheet);
    const std::string_view text(sheet);
    std::string out;
    std::size_t rules = 0;
    for (std::size_t i = 0; i < text.size() && rules < maxRules;) {
        const std::size_t open = text.find_first_of("{;}", i);
        if (open == std::string_view::npos)
            break;
        if (text[open] != '{') { // a statement such as @import, or a stray brace
            i = open + 1;
            continue;
        }
        const std::size_t close = blockEnd(text, open);
        const std::string_view selector = trimmed(text.substr(i, open - i));
        const std::string_view block = text.substr(open + 1, close - open - 1);
        i = close + 1;
        if (selector.starts_with('@') || block.find('{') != std::string_view::npos ||
            !isWord(selector, " \t\r\n_.#,:*>+~-", kMaxValueLength))
            continue;
        const std::string declarations = filterDeclarations(block);
        if (declarations.empty())
            continue;
        out.append(selector);
        out += '{';
        out += declarations;
        out += "}\n";
        ++rules;
    }
    return out;
}

ViewableHtml makeViewable(std::string_view html, const ViewLimits& limits) {
    if (html.size() > limits.maxInputBytes) {
        ViewableHtml refused;
        refused.refusal = "it is larger than " + std::to_string(limits.maxInputBytes >> 20) + " MB";
        return refused;
    }
    ViewWriter writer(limits);
    writer.parse(html);
    return writer.take();
}

} // namespace Kerf::Html
