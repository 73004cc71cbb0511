#pragma once
// The filing of the demo that scripts/run opens: project folders of
// generated messages carrying real documents of every kind the program reads
// (PDF, Word and OpenDocument text, HTML, RTF, plain text), and a folder of
// messages in other scripts and languages, some of them in the 8-bit code
// pages mail clients wrote. Needs a QGuiApplication (for the PDF writer).

#include <filesystem>
#include <string>
#include <vector>

namespace QoMsg {

/// One folder of the demo and how many messages it holds.
struct DemoFolder {
    std::filesystem::path path;
    std::size_t messages = 0;
};

/// Writes the demo below `root`; the same files every time.
std::vector<DemoFolder> writeDemoCorpus(const std::filesystem::path& root);

} // namespace QoMsg
