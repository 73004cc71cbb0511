// libFuzzer target: an HTML body made fit for the viewer. Besides not
// crashing, what comes out must load nothing: no tag or style sheet holds
// url(), an import, a script or a frame, and every picture has the name the
// viewer serves.

#include "text/ViewableHtml.h"

#include <cstddef>
#include <cstdint>
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

void check(bool holds) {
    if (!holds)
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
    check(view.refusal.empty() || view.html.empty());
    // Text and attribute values are escaped, so "<" and ">" bound the tags.
    const std::string html = lowered(view.html);
    std::size_t pictures = 0;
    for (std::size_t open = html.find('<'); open != std::string::npos;
         open = html.find('<', open + 1)) {
        const std::size_t close = html.find('>', open);
        check(close != std::string::npos);
        const std::string_view tag = std::string_view(html).substr(open, close - open + 1);
        check(!holdsAny(tag, {"url(", "javascript:", "@import", "expression", "background=",
                              "<script", "<link", "<iframe", "<object", "<base", "<meta"}));
        if (const std::size_t src = tag.find(" src=\""); src != std::string_view::npos) {
            check(tag.substr(src + 6, limits.imagePrefix.size()) == limits.imagePrefix);
            ++pictures;
        }
        if (tag == "<style>") {
            const std::size_t end = html.find("</style>", close);
            check(end != std::string::npos);
            check(!holdsAny(std::string_view(html).substr(close, end - close),
                            {"url(", "@", "\\", "expression"}));
        }
    }
    check(pictures == view.images.size());
    return 0;
}
