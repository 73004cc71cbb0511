#pragma once
// Text from messages, file names and store lists as the terminal is given
// it. Such text is written by strangers: an escape character in a subject
// could retitle or clear the terminal, a right-to-left override could make a
// name read as another. Every control character (C0 but the tab, DEL, C1)
// and every bidirectional control comes out as a visible escape ("\x1b",
// "\u202e"); a byte of a file name that is not UTF-8 as "\xHH".

#include <string>
#include <string_view>

namespace QoCli {

std::string terminalText(std::wstring_view text);

} // namespace QoCli
