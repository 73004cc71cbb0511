#pragma once
// A reproducible corpus of realistic saved messages: project folders of 20 to
// 60 messages each, word bodies of a few hundred bytes to tens of kilobytes,
// most with an HTML copy of the body, some HTML-only, some with attachments
// (files, OLE objects, attached messages; real documents when given a pool)
// and some without a sent date.

#include "MsgWriter.h"

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace QoMsg {

/// What a generated file holds, for benchmarks that look for it again.
struct GeneratedMessage {
    std::filesystem::path path;
    std::wstring subject;
    std::wstring sender;
    std::optional<std::uint64_t> submitTime;
    int embeddedAttachments = 0;
    int nonEmbeddedAttachments = 0;
};

/// Real documents to attach in place of random bytes, each with the file
/// extension of its type ("pdf", "docx", ...).
struct DocumentPool {
    struct Document {
        std::wstring extension;
        std::vector<std::uint8_t> bytes;
    };
    std::vector<Document> documents;
};

/// A sentence of the corpus's words.
std::wstring randomSentence(std::mt19937_64& rng);

/// One message drawn from `rng`. With `documents`, its file attachments are
/// documents from the pool and some attached messages carry one too;
/// without, the same seed gives the same messages as it always did.
MsgMessage randomMessage(std::mt19937_64& rng, const DocumentPool* documents = nullptr);

/// Writes `count` messages below `folder` (created when missing); the same
/// seed always gives the same files.
std::vector<GeneratedMessage> generateCorpus(const std::filesystem::path& folder, std::size_t count,
                                             std::uint64_t seed,
                                             const DocumentPool* documents = nullptr);

} // namespace QoMsg
