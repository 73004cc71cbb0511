#pragma once
// What the mail indexer's and the search cycle's tests share: a temporary
// folder with an index place and a queue for the indexer's events, and
// folders of copies of one corpus message.

#include "TempDir.h"

#include "mail/RecursiveMailIndexer.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace QoTest {

inline const std::filesystem::path kSample =
    std::filesystem::path(QOSEARCH_CORPUS_DIR) / "msg" / "poi_message_1979.msg";

/// A folder of copies of the sample message (links to one copy).
inline std::filesystem::path copiesOfTheSample(const std::filesystem::path& dir, int count) {
    const std::filesystem::path mail = dir / "mail";
    std::filesystem::create_directories(mail);
    std::filesystem::copy_file(kSample, dir / "sample.msg");
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
