#include "mediaio/midiservice/src/NotificationThread.h"

#include "tests/midiservice/Clients.h"

#include <future>
#include <optional>

namespace midiservice::test {

namespace {

/// What a client's callback does and is waited for.
struct Told {
    static void Callback(const MIDINotification* message, void* context)
    {
        auto* self = static_cast<Told*>(context);
        EXPECT_EQ(message->messageID, kMIDIMsgSetupChanged);
        EXPECT_EQ(message->messageSize, sizeof(MIDINotification));
        std::unique_lock lock(self->mutex);
        ++self->count;
        self->changed.notify_all();
        self->changed.wait_for(lock, kDeadline, [&] { return !self->isHeld; });
        lock.unlock();
        if (self->inside)
            self->inside();
        lock.lock();
        ++self->returned;
        self->changed.notify_all();
    }

    bool WaitFor(int wanted)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kDeadline, [&] { return count >= wanted; });
    }

    bool WaitForReturn(int wanted)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kDeadline, [&] { return returned >= wanted; });
    }

    void Hold(bool hold)
    {
        const std::lock_guard lock(mutex);
        isHeld = hold;
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
    int returned = 0;
    bool isHeld = false;
    std::function<void()> inside;
};

TEST(NotificationThread, TellsEveryClientOnceOfAChange)
{
    Told first;
    Told second;
    NotificationThread thread;
    thread.Add(1, &Told::Callback, &first);
    thread.Add(2, &Told::Callback, &second);

    thread.NotifySetupChanged();

    EXPECT_TRUE(first.WaitFor(1));
    EXPECT_TRUE(second.WaitForReturn(1));
    EXPECT_EQ(first.count, 1);
}

TEST(NotificationThread, MakesOneOfChangesThatFollowFasterThanClientsAreTold)
{
    Told told;
    Told last;
    NotificationThread thread;
    thread.Add(1, &Told::Callback, &told);
    told.Hold(true);
    thread.NotifySetupChanged();
    ASSERT_TRUE(told.WaitFor(1));
    for (int change = 0; change < 100; ++change)
        thread.NotifySetupChanged();

    thread.Add(2, &Told::Callback, &last);
    told.Hold(false);
    ASSERT_TRUE(told.WaitForReturn(2));
    thread.NotifySetupChanged();
    ASSERT_TRUE(last.WaitFor(1)); // told in the same pass as the third, or after it

    ASSERT_TRUE(told.WaitFor(3));
    EXPECT_EQ(told.count, 3);
    EXPECT_EQ(last.count, 1) << "told of nothing that was before it";
}

TEST(NotificationThread, IsSilentAfterAClientIsRemovedAndWaitsForACallUnderWay)
{
    Told told;
    NotificationThread thread;
    thread.Add(1, &Told::Callback, &told);
    told.Hold(true);
    thread.NotifySetupChanged();
    ASSERT_TRUE(told.WaitFor(1));

    auto removal = std::async(std::launch::async, [&] {
        thread.Remove(1, true);
        const std::lock_guard lock(told.mutex);
        return told.returned;
    });
    EXPECT_EQ(removal.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    told.Hold(false);

    EXPECT_EQ(removal.get(), 1) << "the callback had returned before the removal did";
}

TEST(NotificationThread, LetsAClientRemoveItselfFromWithinItsCallback)
{
    Told told;
    NotificationThread thread;
    told.inside = [&] { thread.Remove(1, true); };
    thread.Add(1, &Told::Callback, &told);

    thread.NotifySetupChanged();

    EXPECT_TRUE(told.WaitForReturn(1));
}

TEST(NotificationThread, LetsAClientRemoveAnotherFromWithinItsCallback)
{
    Told told;
    Told other;
    Told third;
    NotificationThread thread;
    told.inside = [&] { thread.Remove(2, true); };
    thread.Add(1, &Told::Callback, &told);
    thread.Add(2, &Told::Callback, &other);
    thread.Add(3, &Told::Callback, &third);

    thread.NotifySetupChanged();

    EXPECT_TRUE(third.WaitForReturn(1));
    EXPECT_EQ(other.count, 0);
}

TEST(NotificationThread, DoesNotWaitWhereItMustNot)
{
    Told told;
    NotificationThread thread;
    thread.Add(1, &Told::Callback, &told);
    told.Hold(true);
    thread.NotifySetupChanged();
    ASSERT_TRUE(told.WaitFor(1));

    thread.Remove(1, false);

    told.Hold(false);
    EXPECT_TRUE(told.WaitForReturn(1));
}

} // namespace

} // namespace midiservice::test
