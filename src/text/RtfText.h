#pragma once
// Text out of an RTF message body. RTF that was made from HTML carries the
// original HTML (in "\*\htmltag" groups and in text not marked "\htmlrtf");
// that HTML is given back. Any other RTF is reduced to its plain text.

#include <string>
#include <string_view>

namespace Kerf::Rtf {

struct Extracted {
    bool bHtml = false;
    std::wstring text;
};

/// `codePage` reads 8-bit text when the RTF names no code page of its own.
Extracted extract(std::string_view rtf, int codePage);

} // namespace Kerf::Rtf
