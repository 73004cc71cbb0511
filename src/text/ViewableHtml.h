#pragma once
// An HTML message body made fit to show: written by a stranger, it may name
// files and devices as pictures or style sheets, and its nesting can make a
// layout engine run for minutes or overflow the stack. libxml2's forgiving
// parser reads it (no tree is built), and a new document is written from
// what it finds: only elements and attributes that format text, no scripts,
// forms, frames or objects, links only to the web and to mail addresses,
// styles without url(), @import or outsized numbers. Every picture is
// renamed "<prefix>N"; the caller serves picture N from what the message
// carries, or an empty one, and nothing else is ever loaded.
//
// The layout engine lays out everything inside a table about twice for each
// table around it, so a body is measured as it will be laid out: each
// element and run of text costs 2^(tables around it). Past any limit the
// body is refused with a reason, and the caller shows its text instead.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::Html {

struct ViewLimits {
    /// Markup read at all.
    std::size_t maxInputBytes = 8u << 20;
    /// Markup kept, after scripts, comments and dropped styles are gone.
    std::size_t maxOutputBytes = 2u << 20;
    /// Elements open at once.
    int maxDepth = 400;
    /// Tables inside tables.
    int maxTableDepth = 12;
    std::size_t maxElements = 30000;
    std::size_t maxImages = 500;
    /// Sum over elements and runs of text of 2^(tables around them): about
    /// 7 microseconds each to lay out.
    std::uint64_t maxLayoutCost = 80000;
    /// Style rules kept; later ones are left out (not a refusal).
    std::size_t maxStyleRules = 300;
    /// How the pictures are named in the result.
    std::string imagePrefix = "image:";
};

struct ViewableHtml {
    /// The document to show, UTF-8; empty when refused.
    std::string html;
    /// Why the body cannot be shown as HTML; empty when it can.
    std::string refusal;
    /// The address each picture gave as its source, picture N at index N.
    std::vector<std::string> images;
};

/// The body (UTF-8) made fit to show, or refused with a reason.
ViewableHtml makeViewable(std::string_view html, const ViewLimits& limits = {});

/// The style declarations ("color: red; font-size: 9pt") that may be shown.
std::string filterDeclarations(std::string_view declarations);

/// A style sheet with only its plain rules, their declarations filtered;
/// at most `maxRules` of them.
std::string filterStyleSheet(std::string_view sheet, std::size_t maxRules);

} // namespace Kerf::Html
