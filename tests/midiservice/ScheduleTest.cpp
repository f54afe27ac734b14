#include "mediaio/midiservice/src/Schedule.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace midiservice::test {

namespace {

class ScheduleTest : public testing::Test {
protected:
    std::vector<PacketIndex> TakeAll()
    {
        std::vector<PacketIndex> taken;
        while (!mSchedule->IsEmpty())
            taken.push_back(mSchedule->TakeFirst());
        return taken;
    }

    std::unique_ptr<Schedule> mSchedule = std::make_unique<Schedule>();
};

TEST_F(ScheduleTest, HandsPacketsOutByTime)
{
    mSchedule->Add(30, 3);
    mSchedule->Add(10, 1);
    mSchedule->Add(20, 2);

    EXPECT_EQ(mSchedule->FirstDue(), 10U);
    EXPECT_EQ(TakeAll(), (std::vector<PacketIndex>{1, 2, 3}));
}

TEST_F(ScheduleTest, KeepsTheOrderOfEqualTimes)
{
    std::vector<PacketIndex> expected;
    for (PacketIndex packet = 0; packet < 500; ++packet) {
        mSchedule->Add(packet % 2 == 0 ? 10 : 20, packet);
        if (packet % 2 == 0)
            expected.push_back(packet);
    }
    for (PacketIndex packet = 1; packet < 500; packet += 2)
        expected.push_back(packet);

    EXPECT_EQ(TakeAll(), expected);
}

TEST_F(ScheduleTest, HoldsEveryPacketOfThePool)
{
    for (PacketIndex packet = 0; packet < PacketPool::kCapacity; ++packet)
        mSchedule->Add(PacketPool::kCapacity - packet, packet);

    EXPECT_EQ(TakeAll().size(), PacketPool::kCapacity);
}

TEST_F(ScheduleTest, RemovesWhatIsNotWantedAndKeepsTheOrderOfTheRest)
{
    for (PacketIndex packet = 0; packet < 100; ++packet)
        mSchedule->Add(5, packet);
    std::vector<PacketIndex> removed;

    mSchedule->Remove([](PacketIndex packet) { return packet % 2 == 0; },
        [&](PacketIndex packet) { removed.push_back(packet); });

    EXPECT_EQ(removed.size(), 50U);
    std::vector<PacketIndex> expected;
    for (PacketIndex packet = 1; packet < 100; packet += 2)
        expected.push_back(packet);
    EXPECT_EQ(TakeAll(), expected);
}

} // namespace

} // namespace midiservice::test
