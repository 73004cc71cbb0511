#pragma once
// What the mail indexer's and the search cycle's tests share: a temporary folder with an index
// place and a queue for the indexer's events, and folders of copies of one message.

#include "SampleMessage.h"
#include "TempDir.h"

#include "mail/RecursiveMailIndexer.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace QoTest {

/// A small message, written once by the project's message writer: these
/// tests need any message at all, not one of the shared corpus.
inline const std::filesystem::path& sampleMessage() {
    static const TempDir dir;
    static const std::filesystem::path path = [] {
        QoMsg::writeMsgFile(dir / "sample.msg", simpleMessage());
        return dir / "sample.msg";
    }();
    return path;
}

/// A folder of copies of the sample message (links to one copy).
inline std::filesystem::path copiesOfTheSample(const std::filesystem::path& dir, int count) {
    const std::filesystem::path mail = dir / "mail";
    std::filesystem::create_directories(mail);
    std::filesystem::copy_file(sampleMessage(), dir / "sample.msg");
    for (int i = 0; i < count; ++i)
        std::filesystem::create_hard_link(dir / "sample.msg",
                                          mail / ("m" + std::to_string(i) + ".msg"));
    return mail;
}

/// A temporary folder with an index place and a queue for the indexer's events.
class IndexFolder : public ::testing::Test {
protected:
    TempDir dir;
    const Kerf::QuireLib::CRecursiveMailIndexer::IndexPlace place{
        Kerf::Util::fromPath(dir / "Index"), Kerf::Util::fromPath(dir / "Index/0.4")};
    std::shared_ptr<Kerf::Search::CQueuedEventSink> sink =
        std::make_shared<Kerf::Search::CQueuedEventSink>();
};

} // namespace QoTest
