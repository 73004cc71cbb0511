#pragma once
// Small real documents of the common types, for attaching to generated
// messages: PDF pages written with Qt's PDF writer (a QGuiApplication must
// exist), Office Open XML and OpenDocument text documents written as zip
// archives. Every function throws std::runtime_error when it cannot write.

#include "CorpusGenerator.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace QoMsg {

/// One PDF page per entry, each with that text in it.
std::vector<std::uint8_t> pdfDocument(const std::vector<std::string>& pages);

/// A small PDF that takes a reader long to get the text of: its page draws a
/// form that draws the form below it `fanOut` times, `levels` deep, so that
/// the reader works through fanOut^levels forms. It holds no text.
std::vector<std::uint8_t> slowPdfDocument(int levels = 12, int fanOut = 4);

/// A .docx document with one paragraph per entry.
std::vector<std::uint8_t> docxDocument(const std::vector<std::string>& paragraphs);

/// An .odt document with one paragraph per entry.
std::vector<std::uint8_t> odtDocument(const std::vector<std::string>& paragraphs);

/// `perKind` documents of each type (PDF of two to four pages, .docx, .odt,
/// text), written from the corpus's words.
DocumentPool documentPool(std::mt19937_64& rng, int perKind);

/// A zip archive of the named members, the first one stored, the others
/// compressed: for building damaged and hostile documents too.
std::vector<std::uint8_t>
zipArchive(const std::vector<std::pair<std::string, std::string>>& members);

} // namespace QoMsg
