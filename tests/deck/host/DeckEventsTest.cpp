#include "deck/host/DeckEvents.h"

#include <gtest/gtest.h>

#include <poll.h>

namespace deck::host::test {
namespace {

bool IsReadable(const DeckEvents& events)
{
    pollfd polled{events.Descriptor(), POLLIN, 0};
    return poll(&polled, 1, 0) == 1;
}

TEST(DeckEvents, ComeOutInOrder)
{
    DeckEvents events;
    events.OnCall(HostCall{HostCallKind::Play, {}, 0});
    events.OnState(TransportState::Playing, true);

    const auto first = events.TryPop();
    const auto second = events.TryPop();

    ASSERT_TRUE(first && second);
    EXPECT_EQ(std::get<CallEvent>(first->what).call.kind, HostCallKind::Play);
    EXPECT_TRUE(std::get<StateEvent>(second->what).isRecording);
    EXPECT_LE(first->time, second->time);
    EXPECT_FALSE(events.TryPop());
}

TEST(DeckEvents, WakeUntilTheyAreCleared)
{
    DeckEvents events;
    EXPECT_FALSE(IsReadable(events));

    events.Push(TakeEvent{});
    events.Push(TakeEvent{});
    EXPECT_TRUE(IsReadable(events));

    events.Clear();
    EXPECT_FALSE(IsReadable(events));
    events.Wake();
    EXPECT_TRUE(IsReadable(events)) << "a wake after the clearing counts again";
}

TEST(DeckEvents, AreCountedWhereThereIsNoRoom)
{
    DeckEvents events;
    for (int i = 0; i < 4096; ++i) {
        events.Push(TakeEvent{});
    }
    EXPECT_EQ(events.Dropped(), 0U);

    events.Push(TakeEvent{});
    EXPECT_EQ(events.Dropped(), 1U);
}

} // namespace
} // namespace deck::host::test
