#include "deck/transport/TransportThread.h"

#include "tests/deck/transport/FakeClock.h"
#include "tests/deck/transport/RecordingSink.h"

#include <gmock/gmock.h>

namespace deck::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using enum HostCallKind;

HostCall Call(HostCallKind kind)
{
    return HostCall{kind, {}, 0};
}

HostCall LocateCall(std::uint8_t hours)
{
    return HostCall{Locate, {3, hours, 0, 0, 0, 0}, 0};
}

class TransportThreadTest : public testing::Test {
protected:
    FakeClock mClock;
    RecordingSink mSink{FrameRate::k25};
    TransportThread mThread{TransportSettings{}, mClock, {&mSink}};
};

TEST_F(TransportThreadTest, CarriesOutWhatIsPosted)
{
    mThread.Start();
    mThread.TryPost(Call(Play));
    mClock.WaitForRest();
    mClock.AdvanceTo(mClock.Now() + 40ms);
    mThread.Stop();

    EXPECT_THAT(mSink.lines,
        ElementsAre("call Play", "state play", "at 00:00:00:00 x1", "at 00:00:00:01 x1",
            "state stop", "at 00:00:00:01 x0"));
}

TEST_F(TransportThreadTest, SleepsForGoodAtRest)
{
    mThread.Start();
    mClock.AdvanceTo(mClock.Now() + 10h);
    mThread.Stop();

    EXPECT_THAT(mSink.lines, IsEmpty());
    EXPECT_EQ(mThread.GetPunctuality().frames, 0U);
}

TEST_F(TransportThreadTest, CarriesOutOnlyTheNewestOfLocatesThatWait)
{
    for (const std::uint8_t hours : std::initializer_list<std::uint8_t>{1, 2, 3}) {
        mThread.TryPost(LocateCall(hours));
    }
    mThread.Start();
    mClock.WaitForRest();
    mThread.Stop();

    EXPECT_THAT(mSink.lines,
        ElementsAre("call LocateToSMPTETime", "call LocateToSMPTETime", "call LocateToSMPTETime",
            "located 03:00:00:00"));
    EXPECT_THAT(mSink.outcomes,
        ElementsAre(CallOutcome::Superseded, CallOutcome::Superseded, CallOutcome::Done));
}

TEST_F(TransportThreadTest, CarriesOutALocateThatACommandFollows)
{
    mThread.TryPost(Call(Stop));
    mThread.TryPost(LocateCall(1));
    mThread.TryPost(Call(Play));
    mThread.TryPost(LocateCall(2));
    mThread.Start();
    mClock.WaitForRest();
    mThread.Stop();

    EXPECT_THAT(mSink.lines,
        ElementsAre("call Stop", "call LocateToSMPTETime", "located 01:00:00:00", "call Play",
            "state play", "at 01:00:00:00 x1", "call LocateToSMPTETime", "located 02:00:00:00",
            "at 02:00:00:00 x1", "state stop", "at 02:00:00:00 x0"));
}

TEST_F(TransportThreadTest, RefusesWhenItsQueueIsFull)
{
    int accepted = 0;
    while (accepted < 100000 && mThread.TryPost(Call(Stop))) {
        ++accepted;
    }

    EXPECT_EQ(accepted, 1024);
    EXPECT_FALSE(mThread.TryPost(Call(Stop)));
    EXPECT_EQ(mThread.RefusedCalls(), 2U);
}

TEST_F(TransportThreadTest, MeasuresHowLateItWoke)
{
    mThread.Start();
    mThread.TryPost(Call(Play));
    mClock.WaitForRest();
    mClock.AdvanceTo(mClock.Now() + 43ms);
    mThread.Stop();

    EXPECT_EQ(mThread.GetPunctuality().frames, 1U);
    EXPECT_EQ(mThread.GetPunctuality().worst, 3ms);
}

TEST(TransportThread, KeepsTheRealClock)
{
    const auto clock = MakeMonotonicClock();
    RecordingSink sink(FrameRate::k25);
    TransportThread thread(TransportSettings{}, *clock, {&sink});
    const auto begun = clock->Now();
    thread.Start();
    thread.TryPost(Call(Play));
    while (clock->Now() < begun + 250ms) {
        std::this_thread::yield();
    }
    thread.TryPost(Call(Stop));
    thread.Stop();

    ASSERT_GE(sink.positions.size(), 2U);
    const Position& first = sink.positions.front();
    const Position& last = sink.positions.back();
    EXPECT_GE(first.time, begun);
    EXPECT_EQ(last.frame, FrameAt(last.time - first.time, FrameRate::k25));
    EXPECT_EQ(last.speed, 0);
}

} // namespace
} // namespace deck::test
