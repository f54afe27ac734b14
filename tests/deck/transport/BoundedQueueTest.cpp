#include "deck/transport/BoundedQueue.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace deck::test {
namespace {

TEST(BoundedQueue, GivesBackInOrder)
{
    BoundedQueue<int, 4> queue;

    EXPECT_TRUE(queue.TryPush(1));
    EXPECT_TRUE(queue.TryPush(2));
    EXPECT_EQ(queue.TryPop(), 1);
    EXPECT_EQ(queue.TryPop(), 2);
    EXPECT_EQ(queue.TryPop(), std::nullopt);
}

TEST(BoundedQueue, RefusesWhenFullAndAcceptsAgainWhenNot)
{
    BoundedQueue<int, 2> queue;
    EXPECT_TRUE(queue.TryPush(1));
    EXPECT_TRUE(queue.TryPush(2));

    EXPECT_FALSE(queue.TryPush(3));
    EXPECT_EQ(queue.TryPop(), 1);
    EXPECT_TRUE(queue.TryPush(3));
    EXPECT_EQ(queue.TryPop(), 2);
    EXPECT_EQ(queue.TryPop(), 3);
}

TEST(BoundedQueue, LosesNothingBetweenProducersAndAConsumer)
{
    constexpr int kProducers = 3;
    constexpr int kEach = 20000;
    BoundedQueue<int, 64> queue;
    std::vector<std::thread> producers;
    for (int producer = 0; producer < kProducers; ++producer) {
        producers.emplace_back([&queue, producer] {
            for (int i = 0; i < kEach; ++i) {
                while (!queue.TryPush(producer * kEach + i)) {
                    std::this_thread::yield();
                }
            }
        });
    }

    std::vector<int> next{0, kEach, 2 * kEach};
    for (int popped = 0; popped < kProducers * kEach;) {
        if (const auto value = queue.TryPop()) {
            ASSERT_EQ(*value, next[static_cast<std::size_t>(*value / kEach)]++);
            ++popped;
        } else {
            std::this_thread::yield();
        }
    }
    for (std::thread& producer : producers) {
        producer.join();
    }

    EXPECT_EQ(queue.TryPop(), std::nullopt);
}

} // namespace
} // namespace deck::test
