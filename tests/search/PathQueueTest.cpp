#include "EngineTestSupport.h"

#include "search/PathQueue.h"

#include <future>

using EngineTest::waitFor;
using Kerf::Search::CPathQueue;

namespace {

std::vector<std::wstring> drain(CPathQueue& queue) {
    queue.finish();
    std::vector<std::wstring> paths;
    while (std::optional<std::wstring> path = queue.pop())
        paths.push_back(*path);
    return paths;
}

} // namespace

TEST(PathQueue, PathsOfAnyLengthComeOutWholeAndInOrder) {
    // Each entry takes four bytes of length before the path.
    const std::size_t block = CPathQueue::kBlockSize;
    // Fills the first block to one byte short of its end, so that the next
    // path starts a block; then one longer than a block, and a name with a
    // byte that is not UTF-8, which must come back as it went in.
    const std::vector<std::wstring> paths = {
        L"/a", std::wstring(block - 6 - 4 - 1, L'x'), L"/b", std::wstring(3 * block, L'y'),
        L"/c", L"/Post/Gr\u00fc\u00dfe/\xDC80.msg",   L""};
    CPathQueue queue(16 * block);
    for (const auto& path : paths)
        ASSERT_TRUE(queue.push(path));
    EXPECT_EQ(queue.size(), paths.size());
    EXPECT_EQ(drain(queue), paths);

    // Taken as soon as queued, the one block is filled again from its start;
    // a longer path then goes behind it.
    CPathQueue lapping(16 * block);
    std::vector<std::wstring> taken, expected;
    for (const auto& path : paths) {
        lapping.push(path);
        lapping.push(L"/after");
        taken.push_back(*lapping.pop());
        taken.push_back(*lapping.pop());
        expected.insert(expected.end(), {path, L"/after"});
    }
    EXPECT_EQ(taken, expected);
    EXPECT_EQ(lapping.bytes(), 0u);
}

TEST(PathQueue, TheWalkWaitsAtTheByteCapResumesWhenPathsAreTakenAndCloseReleasesIt) {
    // Two short paths fill it; a path longer than the whole capacity is
    // taken once the queue is empty, so it can never wait forever.
    CPathQueue queue(2 * (4 + 3));
    const std::wstring longPath(100, L'l');
    const std::vector<std::wstring> paths = {L"/p0", L"/p1", L"/p2", longPath, L"/p3", L"/p4"};
    auto producer = std::async(std::launch::async, [&] {
        bool all = true;
        for (const auto& path : paths)
            all = queue.push(path) && all;
        return all;
    });
    ASSERT_TRUE(waitFor([&] { return queue.size() == 2; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(queue.size(), 2u);

    std::vector<std::wstring> taken;
    taken.push_back(*queue.pop());
    ASSERT_TRUE(waitFor([&] { return queue.size() == 2; })); // /p1 and /p2
    taken.push_back(*queue.pop());
    taken.push_back(*queue.pop());
    ASSERT_TRUE(waitFor([&] { return queue.bytes() == 4 + longPath.size(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(queue.size(), 1u);
    taken.push_back(*queue.pop());
    ASSERT_EQ(producer.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_TRUE(producer.get());
    taken.push_back(*queue.pop());
    taken.push_back(*queue.pop());
    EXPECT_EQ(taken, paths);

    // A walk waiting on the full queue is let go by a close, which drops the
    // queue's contents; a reset makes the queue usable again.
    ASSERT_TRUE(queue.push(L"/q0"));
    ASSERT_TRUE(queue.push(L"/q1"));
    auto waiting = std::async(std::launch::async, [&] { return queue.push(L"/q2"); });
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    queue.close();
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_FALSE(waiting.get());
    EXPECT_FALSE(queue.pop());
    EXPECT_EQ(queue.size(), 0u);
    queue.reset();
    ASSERT_TRUE(queue.push(L"/r"));
    EXPECT_EQ(drain(queue), std::vector<std::wstring>{L"/r"});
}
