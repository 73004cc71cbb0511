#include "search/PathQueue.h"

#include <gtest/gtest.h>

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

TEST(PathQueue, PathsOfAnyLengthComeOutWholeAndInOrderAndAResetQueueIsUsableAgain) {
    // Each entry takes four bytes of length before the path.
    const std::size_t block = CPathQueue::kBlockSize;
    // Fills the first block to one byte short of its end, so the next path starts a block; then one
    // longer than a block, and a name with a byte not UTF-8, which must come back as it went in.
    const std::vector<std::wstring> paths = {
        L"/a", std::wstring(block - 6 - 4 - 1, L'x'), L"/b", std::wstring(3 * block, L'y'),
        L"/c", L"/Post/Gr\u00fc\u00dfe/\xDC80.msg",   L""};
    CPathQueue queue(16 * block);
    for (const auto& path : paths)
        ASSERT_TRUE(queue.push(path));
    EXPECT_EQ(queue.size(), paths.size());
    EXPECT_EQ(drain(queue), paths);

    // Taken at once, the one block fills again from its start; a longer path then goes behind it.
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

    // A closed queue takes nothing; a reset makes it usable again. (Waiting at the byte cap, and a
    // close letting the walk go, are the indexer's StopReleasesStagesWaitingOnFullQueues.)
    lapping.close();
    EXPECT_FALSE(lapping.push(L"/closed"));
    lapping.reset();
    ASSERT_TRUE(lapping.push(L"/r"));
    EXPECT_EQ(drain(lapping), std::vector<std::wstring>{L"/r"});
}
