#include "search/BoundedQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

using Kerf::Search::BoundedQueue;
using namespace std::chrono_literals;

TEST(BoundedQueue, HandsOverInOrderAndEndsWhenTheProducerHasFinished) {
    BoundedQueue<int> queue(8);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(queue.push(i));
    queue.finish();
    EXPECT_EQ(queue.pop(), 0);
    EXPECT_EQ(queue.pop(), 1);
    EXPECT_EQ(queue.pop(), 2);
    EXPECT_EQ(queue.pop(), std::nullopt);
}

TEST(BoundedQueue, AFullQueueHoldsItsProducerUntilTheConsumerTakes) {
    BoundedQueue<int> queue(2);
    std::atomic<int> pushed{0};
    auto producer = std::async(std::launch::async, [&] {
        for (int i = 0; i < 5; ++i) {
            queue.push(i);
            ++pushed;
        }
    });
    // The producer gets two items in and is then held on the third.
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (pushed < 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(1ms);
    ASSERT_EQ(producer.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(pushed, 2);
    EXPECT_EQ(queue.size(), 2u);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(queue.pop(), i);
    EXPECT_EQ(producer.wait_for(60s), std::future_status::ready);
}

TEST(BoundedQueue, ClosingReleasesWaitersOnBothSidesAndDropsTheContents) {
    BoundedQueue<int> full(1), empty(1);
    ASSERT_TRUE(full.push(1));
    auto producer = std::async(std::launch::async, [&] { return full.push(2); });
    auto consumer = std::async(std::launch::async, [&] { return empty.pop(); });
    full.close();
    empty.close();
    ASSERT_EQ(producer.wait_for(60s), std::future_status::ready);
    ASSERT_EQ(consumer.wait_for(60s), std::future_status::ready);
    EXPECT_FALSE(producer.get());
    EXPECT_EQ(consumer.get(), std::nullopt);
    EXPECT_EQ(full.size(), 0u);
    EXPECT_EQ(full.pop(), std::nullopt);

    full.reset();
    EXPECT_TRUE(full.push(3));
    EXPECT_EQ(full.pop(), 3);
}
