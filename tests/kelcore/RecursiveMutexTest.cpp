#include "kelcore/threads/RecursiveMutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace kelcore::threads {
namespace {

TEST(RecursiveMutex, KeepsOtherThreadsOutUntilTheOutermostUnlock)
{
    RecursiveMutex mutex;
    int counter = 0;
    std::vector<std::thread> threads;

    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; ++i) {
                const ScopedRecursiveLock outer(mutex, "outer");
                mutex.Lock("inner");
                mutex.Unlock();
                ++counter;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(counter, 4 * 5000);
}

TEST(RecursiveMutex, TellsItsHolderTheInnermostLabel)
{
    RecursiveMutex mutex;
    EXPECT_EQ(mutex.Label(), nullptr);

    mutex.Lock("outer");
    EXPECT_STREQ(mutex.Label(), "outer");
    mutex.Lock("inner");
    EXPECT_STREQ(mutex.Label(), "inner");
    mutex.Unlock();
    EXPECT_STREQ(mutex.Label(), "outer");
    mutex.Unlock();

    EXPECT_EQ(mutex.Label(), nullptr);
}

TEST(RecursiveMutex, KeepsTheEighthLabelOfDeeperLocks)
{
    const std::vector<const char*> labels{"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"};
    RecursiveMutex mutex;

    for (const char* const label : labels) {
        mutex.Lock(label);
    }
    EXPECT_STREQ(mutex.Label(), "8");
    for (std::size_t depth = labels.size(); depth > 1; --depth) {
        mutex.Unlock();
    }

    EXPECT_STREQ(mutex.Label(), "1");
    mutex.Unlock();
}

} // namespace
} // namespace kelcore::threads
