#include "mediaio/midiservice/src/PacketPool.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <thread>
#include <vector>

namespace midiservice::test {

namespace {

TEST(PacketPool, GivesEachPacketToOneTakerAndSaysNoWhenAllAreTaken)
{
    const auto pool = std::make_unique<PacketPool>();
    std::set<PacketIndex> taken;
    for (std::uint32_t count = 0; count < PacketPool::kCapacity; ++count)
        EXPECT_TRUE(taken.insert(pool->TryTake()).second);

    EXPECT_EQ(pool->TryTake(), kNoPacket);
    pool->Give(5);
    EXPECT_EQ(pool->TryTake(), 5U);
}

TEST(PacketPool, LosesNoPacketAmongThreads)
{
    const auto pool = std::make_unique<PacketPool>();
    std::vector<std::thread> threads;
    for (std::uint16_t number = 1; number <= 4; ++number)
        threads.emplace_back([&pool, number] {
            for (int round = 0; round < 20'000; ++round) {
                const PacketIndex first = pool->TryTake();
                const PacketIndex second = pool->TryTake();
                (*pool)[first].length = number;
                (*pool)[second].length = number;
                EXPECT_EQ((*pool)[first].length, number);
                pool->Give(first);
                EXPECT_EQ((*pool)[second].length, number);
                pool->Give(second);
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    std::set<PacketIndex> taken;
    for (std::uint32_t count = 0; count < PacketPool::kCapacity; ++count)
        taken.insert(pool->TryTake());
    EXPECT_EQ(taken.size(), PacketPool::kCapacity);
    EXPECT_EQ(taken.count(kNoPacket), 0U);
}

} // namespace

} // namespace midiservice::test
