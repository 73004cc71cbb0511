// libFuzzer target: an HTML body made fit for the viewer. Besides not
// crashing, what comes out must load nothing: no tag or style sheet holds
// url(), an import, a script or a frame, and every picture has the name the
// viewer serves.

#include "text/ViewableHtml.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

std::string lowered(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

// Names the broken rule and the output that broke it, so that a crash found
// by the smoke run can be read from its log alone.
void check(bool holds, const char* rule, std::string_view html) {
    if (holds)
        return;
    std::fprintf(stderr, "viewable HTML breaks the rule: %s\n--- output ---\n%.*s\n---\n", rule,
                 static_cast<int>(std::min<std::size_t>(html.size(), 4096)), html.data());
    std::abort();
}

bool holdsAny(std::string_view text, std::initializer_list<std::string_view> words) {
    for (std::string_view word : words)
        if (text.find(word) != std::string_view::npos)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Kerf::Html::ViewLimits limits;
    const Kerf::Html::ViewableHtml view = Kerf::Html::makeViewable(
        std::string_view(reinterpret_cast<const char*>(data), size), limits);
    check(view.refusal.empty() || view.html.empty(), "a refused body has no output", view.html);
    // Text and attribute values are escaped, so "<" and ">" bound the tags.
    const std::string html = lowered(view.html);
    std::size_t pictures = 0;
    for (std::size_t open = html.find('<'); open != std::string::npos;
         open = html.find('<', open + 1)) {
        const std::size_t close = html.find('>', open);
        check(close != std::string::npos, "every tag is closed", html);
        std::string tag(std::string_view(html).substr(open, close - open + 1));
        // A link's address is not loaded but opened outside on a click, so it
        // may hold any word; it must only name a page, an address or an anchor.
        if (const std::size_t href = tag.find(" href=\""); href != std::string::npos) {
            const std::size_t value = href + 7;
            const std::size_t end = tag.find('"', value);
            check(end != std::string::npos, "attribute values are quoted", tag);
            const std::string_view address = std::string_view(tag).substr(value, end - value);
            check(address.starts_with("http://") || address.starts_with("https://") ||
                      address.starts_with("mailto:") || address.starts_with('#'),
                  "links open only pages, addresses and anchors", tag);
            tag.erase(href, end + 1 - href);
        }
        // Values are quoted and their quotes escaped, so ` background="` is
        // the attribute; the same word inside a style value loads nothing.
        check(!holdsAny(tag, {"url(", "javascript:", "@import", "expression(", " background=\"",
                              "<script", "<link", "<iframe", "<object", "<base", "<meta"}),
              "no tag loads anything", tag);
        if (const std::size_t src = tag.find(" src=\""); src != std::string_view::npos) {
            check(tag.substr(src + 6, limits.imagePrefix.size()) == limits.imagePrefix,
                  "pictures come from the message", tag);
            ++pictures;
        }
        if (tag == "<style>") {
            const std::size_t end = html.find("</style>", close);
            check(end != std::string::npos, "a style sheet is closed", html);
            check(!holdsAny(std::string_view(html).substr(close, end - close),
                            {"url(", "@", "\\", "expression("}),
                  "a style sheet loads nothing", html);
        }
    }
    check(pictures == view.images.size(), "every picture is served", html);
    return 0;
}
