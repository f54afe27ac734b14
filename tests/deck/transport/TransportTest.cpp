#include "deck/transport/Transport.h"
#include "korvasdk/suites/SMPTETimeFormat.h"

#include "tests/deck/transport/RecordingSink.h"

#include <gmock/gmock.h>

namespace deck::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using enum HostCallKind;

constexpr nanoseconds kStart = 1000s;

HostCall Call(HostCallKind kind)
{
    return HostCall{kind, {}, 0};
}

HostCall LocateCall(std::uint32_t format,
    std::uint8_t hours,
    std::uint8_t minutes,
    std::uint8_t seconds,
    std::uint8_t frames)
{
    return HostCall{Locate, {format, hours, minutes, seconds, frames, 0}, 0};
}

class TransportTest : public testing::Test {
protected:
    explicit TransportTest(TransportSettings settings = {})
        : mSink(settings.rate)
        , mTransport(settings, {&mSink})
    {
    }

    void Do(HostCallKind kind, nanoseconds at) { mTransport.Handle(Call(kind), at); }

    RecordingSink mSink;
    Transport mTransport;
};

TEST_F(TransportTest, StandsSilentAtItsStart)
{
    mTransport.Advance(kStart);
    mTransport.Advance(kStart + 1h);

    EXPECT_THAT(mSink.lines, IsEmpty());
    EXPECT_EQ(mTransport.NextDeadline(), std::nullopt);
    EXPECT_EQ(mTransport.State(), TransportState::Stopped);
}

TEST_F(TransportTest, ReportsTheFirstFrameAtOnceWhenItPlays)
{
    Do(Play, kStart);

    EXPECT_THAT(mSink.lines, ElementsAre("call Play", "state play", "at 00:00:00:00 x1"));
    EXPECT_EQ(mTransport.NextDeadline(), kStart + 40ms);
}

TEST_F(TransportTest, ReportsEachFrameOnceWithItsIdealTime)
{
    Do(Play, kStart);
    mTransport.Advance(kStart + 39999999ns);
    mTransport.Advance(kStart + 41ms);
    mTransport.Advance(kStart + 42ms);

    EXPECT_THAT(
        mSink.positions, ElementsAre(Position{0, kStart, 1}, Position{1, kStart + 40ms, 1}));
}

TEST_F(TransportTest, TakesAnotherWindSpeedForTheNextWind)
{
    Do(StartFastForward, kStart);
    mTransport.Tune(20, LocateRate::Deck);
    mTransport.Advance(kStart + 40ms);
    EXPECT_EQ(mTransport.Frame(), 10) << "this one goes on as it began";

    Do(StopFastForward, kStart + 41ms);
    Do(StartFastForward, kStart + 50ms);
    mTransport.Advance(kStart + 90ms);
    EXPECT_EQ(mTransport.Frame(), 10 + 20);

    mTransport.Handle(LocateCall(kSMPTETimeFormat30NonDrop, 0, 0, 1, 5), kStart + 1s);
    EXPECT_EQ(mTransport.Frame(), 30) << "by the deck's numbers, 25 a second";
}

TEST_F(TransportTest, RestsAtTheFrameThatShowsWhenItIsStopped)
{
    Do(Play, kStart);
    mSink.TakeLines();
    Do(Stop, kStart + 85ms);

    EXPECT_THAT(mSink.lines,
        ElementsAre("at 00:00:00:01 x1", "at 00:00:00:02 x1", "call Stop", "state stop",
            "at 00:00:00:02 x0"));
    EXPECT_EQ(mTransport.NextDeadline(), std::nullopt);
}

TEST_F(TransportTest, ReportsNoPositionForACommandThatMovesNothing)
{
    Do(Pause, kStart);
    Do(Stop, kStart + 1s);
    Do(Stop, kStart + 2s);

    EXPECT_THAT(mSink.lines,
        ElementsAre("call Pause", "state pause", "call Stop", "state stop", "call Stop"));
    EXPECT_EQ(mSink.outcomes.back(), CallOutcome::NoEffect);
}

TEST_F(TransportTest, PlaysOnFromWhereItRested)
{
    Do(Play, kStart);
    Do(Pause, kStart + 1s);
    Do(Play, kStart + 10s);
    Do(Stop, kStart + 11s);

    EXPECT_EQ(mTransport.Frame(), 50);
}

TEST_F(TransportTest, DoesNotBeginAnewWhenPlayComesWhilePlaying)
{
    Do(Play, kStart);
    Do(Play, kStart + 30ms);

    EXPECT_EQ(mTransport.NextDeadline(), kStart + 40ms);
    EXPECT_EQ(mSink.outcomes.back(), CallOutcome::NoEffect);
}

TEST_F(TransportTest, WindsOneReportAFrameTimeAtWindSpeed)
{
    Do(StartFastForward, kStart);
    mTransport.Advance(kStart + 80ms);
    Do(StopFastForward, kStart + 90ms);

    EXPECT_THAT(mSink.lines,
        ElementsAre("call StartFastForward", "state forward", "at 00:00:00:00 x10",
            "at 00:00:00:10 x10", "at 00:00:00:20 x10", "call StopFastForward", "state stop",
            "at 00:00:00:20 x0"));
}

TEST_F(TransportTest, StopsARewindAtTheStart)
{
    mTransport.Handle(LocateCall(3, 0, 0, 0, 15), kStart);
    mSink.TakeLines();
    Do(StartRewind, kStart);
    mTransport.Advance(kStart + 80ms);
    mTransport.Advance(kStart + 10s);

    EXPECT_THAT(mSink.lines,
        ElementsAre("call StartRewind", "state rewind", "at 00:00:00:15 x-10",
            "at 00:00:00:05 x-10", "state stop", "at 00:00:00:00 x0"));
}

TEST_F(TransportTest, StopsPlayingAtTheEndOfTheDay)
{
    mTransport.Handle(LocateCall(3, 23, 59, 59, 24), kStart);
    mSink.TakeLines();
    Do(Play, kStart);
    mTransport.Advance(kStart + 40ms);

    EXPECT_THAT(mSink.lines,
        ElementsAre(
            "call Play", "state play", "at 23:59:59:24 x1", "state stop", "at 23:59:59:24 x0"));
}

TEST_F(TransportTest, StopsAWindAtTheEndOfTheDay)
{
    mTransport.Handle(LocateCall(3, 23, 59, 59, 20), kStart);
    Do(StartFastForward, kStart);
    mTransport.Advance(kStart + 40ms);

    EXPECT_EQ(mSink.lines.back(), "at 23:59:59:24 x0");
    EXPECT_EQ(mTransport.State(), TransportState::Stopped);
}

TEST_F(TransportTest, IgnoresTheEndOfAWindThatIsOver)
{
    Do(StartRewind, kStart);
    Do(Play, kStart);
    Do(StopRewind, kStart);
    Do(StopFastForward, kStart);

    EXPECT_EQ(mTransport.State(), TransportState::Playing);
    EXPECT_EQ(mSink.outcomes.back(), CallOutcome::NoEffect);
}

TEST_F(TransportTest, TakesTheOtherWindWithoutAStopBetween)
{
    Do(StartRewind, kStart);
    Do(StartFastForward, kStart);

    EXPECT_EQ(mTransport.State(), TransportState::FastForwarding);
}

TEST_F(TransportTest, LocatesAtRest)
{
    mTransport.Handle(LocateCall(3, 1, 2, 3, 4), kStart);

    EXPECT_THAT(mSink.lines, ElementsAre("call LocateToSMPTETime", "located 01:02:03:04"));
    EXPECT_EQ(mTransport.State(), TransportState::Stopped);
}

TEST_F(TransportTest, LocatesAnewEvenWhereItStandsAlready)
{
    mTransport.Handle(LocateCall(3, 1, 2, 3, 4), kStart);
    mSink.TakeLines();
    mTransport.Handle(LocateCall(3, 1, 2, 3, 4), kStart);

    EXPECT_THAT(mSink.lines, ElementsAre("call LocateToSMPTETime", "located 01:02:03:04"));
}

TEST_F(TransportTest, PlaysOnFromTheTargetWhenItLocatesWhilePlaying)
{
    Do(Play, kStart);
    mSink.TakeLines();
    mTransport.Handle(LocateCall(3, 1, 0, 0, 0), kStart + 10ms);

    EXPECT_THAT(mSink.lines,
        ElementsAre("call LocateToSMPTETime", "located 01:00:00:00", "at 01:00:00:00 x1"));
    EXPECT_EQ(mTransport.NextDeadline(), kStart + 50ms);
}

TEST_F(TransportTest, EndsAWindWhenItLocates)
{
    Do(StartRewind, kStart);
    mSink.TakeLines();
    mTransport.Handle(LocateCall(3, 1, 0, 0, 0), kStart);

    EXPECT_THAT(
        mSink.lines, ElementsAre("call LocateToSMPTETime", "state stop", "located 01:00:00:00"));
}

TEST_F(TransportTest, RefusesALocateToATimeThatNoDayHas)
{
    mTransport.Handle(LocateCall(3, 24, 0, 0, 0), kStart);
    mTransport.Handle(LocateCall(3, 0, 60, 0, 0), kStart);
    mTransport.Handle(LocateCall(3, 0, 0, 60, 0), kStart);
    mTransport.Handle(LocateCall(9, 0, 0, 0, 0), kStart);

    EXPECT_THAT(mSink.outcomes, testing::Each(CallOutcome::NoSuchTime));
    EXPECT_EQ(mTransport.Frame(), 0);
}

TEST_F(TransportTest, MarksATakeWhileRolling)
{
    Do(Play, kStart);
    Do(Record, kStart + 400ms);
    Do(Stop, kStart + 1s);

    EXPECT_THAT(mSink.takes, ElementsAre(Take{1, 10, 10, true}, Take{1, 10, 25, false}));
    EXPECT_THAT(mTransport.Takes(), ElementsAre(Take{1, 10, 25, false}));
}

TEST_F(TransportTest, RollsWhenItRecordsAtRest)
{
    Do(Record, kStart);

    EXPECT_THAT(mSink.lines,
        ElementsAre("call Record", "state play rec", "take opens", "at 00:00:00:00 x1"));
}

TEST_F(TransportTest, KeepsTheTakeWhenRecordComesAgain)
{
    Do(Record, kStart);
    Do(Record, kStart + 1s);

    EXPECT_EQ(mTransport.Takes().size(), 1U);
    EXPECT_TRUE(mTransport.IsRecording());
}

TEST_F(TransportTest, PunchesOutAndRollsOnWhenPlayComesWhileRecording)
{
    Do(Record, kStart);
    Do(Play, kStart + 1s);

    EXPECT_EQ(mTransport.Takes().front().outFrame, 25);
    EXPECT_EQ(mTransport.State(), TransportState::Playing);
    EXPECT_EQ(mTransport.NextDeadline(), kStart + 1040ms) << "the roll was broken off";
}

TEST_F(TransportTest, EndsATakeWhereTheRollEnds)
{
    for (const HostCallKind end : {Stop, Pause, StartRewind, StartFastForward}) {
        Do(Record, kStart);
        Do(end, kStart);
        EXPECT_FALSE(mTransport.Takes().back().isOpen) << NameOf(end);
        EXPECT_FALSE(mTransport.IsRecording()) << NameOf(end);
    }
    Do(Record, kStart);
    mTransport.Handle(LocateCall(3, 1, 0, 0, 0), kStart);
    EXPECT_FALSE(mTransport.IsRecording()) << "locate";
    EXPECT_EQ(mTransport.State(), TransportState::Playing);
}

TEST_F(TransportTest, LeavesOutLateFramesInPairs)
{
    Do(Play, kStart);
    mSink.TakeLines();
    mTransport.Advance(kStart + 205ms); // frames 1 to 5 are due: 1 to 4 are left out

    EXPECT_THAT(mSink.lines, ElementsAre("at 00:00:00:05 x1"));
    EXPECT_EQ(mTransport.SkippedFrames(), 4);

    mSink.TakeLines();
    mTransport.Advance(kStart + 285ms); // frames 6 and 7 are due: one late, one in time
    EXPECT_THAT(mSink.lines, ElementsAre("at 00:00:00:06 x1", "at 00:00:00:07 x1"));
    EXPECT_EQ(mTransport.SkippedFrames(), 4);
}

TEST_F(TransportTest, SendsOneLateFrameWhereAnOddNumberIsLate)
{
    Do(Play, kStart);
    mSink.TakeLines();
    mTransport.Advance(kStart + 165ms); // frames 1 to 4 are due: 1 and 2 are left out

    EXPECT_THAT(mSink.lines, ElementsAre("at 00:00:00:03 x1", "at 00:00:00:04 x1"));
    EXPECT_EQ(mTransport.SkippedFrames(), 2);
}

TEST_F(TransportTest, RestsWithoutACommandWhenItIsHalted)
{
    Do(Record, kStart);
    mSink.TakeLines();
    mTransport.Halt(kStart + 40ms);
    mTransport.Halt(kStart + 80ms);

    EXPECT_THAT(mSink.lines,
        ElementsAre("at 00:00:00:01 x1", "take closes", "state stop", "at 00:00:00:01 x0"));
}

TEST_F(TransportTest, TellsOfASupersededLocateAndDoesNotCarryItOut)
{
    mTransport.Supersede(LocateCall(3, 1, 0, 0, 0));

    EXPECT_THAT(mSink.lines, ElementsAre("call LocateToSMPTETime"));
    EXPECT_THAT(mSink.outcomes, ElementsAre(CallOutcome::Superseded));
}

TEST(Transport, StandsAtTheStartThatItWasGiven)
{
    TransportSettings settings;
    settings.startFrame = 90000;

    EXPECT_EQ(Transport(settings, {}).Frame(), 90000);

    settings.lastFrame = 100;
    EXPECT_EQ(Transport(settings, {}).Frame(), 100) << "no further than the end";
}

std::string TestName(const testing::TestParamInfo<FrameRate>& rate)
{
    std::string name(rate.param.Name());
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

class EveryRate : public testing::TestWithParam<FrameRate> {};

// Counts what would be a million lines.
class CountingSink final : public TransportSink {
public:
    void OnPosition(const Position& position) override
    {
        last = position;
        ++count;
    }

    Position last;
    FrameNumber count = 0;
};

TEST_P(EveryRate, IsOnTheFrameAfterTenHours)
{
    TransportSettings settings;
    settings.rate = GetParam();
    CountingSink sink;
    Transport transport(settings, {&sink});
    transport.Handle(Call(Play), kStart);
    FrameNumber wrong = 0;

    for (auto due = transport.NextDeadline(); *due < kStart + 10h; due = transport.NextDeadline()) {
        transport.Advance(*due);
        const bool isRight = sink.last.frame == sink.count - 1
            && sink.last.time == kStart + FrameStart(sink.last.frame, settings.rate);
        wrong += isRight ? 0 : 1;
    }

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(transport.SkippedFrames(), 0);
    EXPECT_EQ(
        transport.Frame(), (36000 * settings.rate.Numerator() - 1) / settings.rate.Denominator());
}

INSTANTIATE_TEST_SUITE_P(Rates,
    EveryRate,
    testing::ValuesIn(FrameRate::All().begin(), FrameRate::All().end()),
    TestName);

std::string Target(const SenderTime& time, FrameRate rate)
{
    const auto frame = LocateTarget(time, rate);
    return frame ? FormatFrame(*frame, rate) : "none";
}

TEST(LocateTarget, TakesTheDecksNumbersWhateverTheSendersRateBitsSay)
{
    const SenderTime at24{kSMPTETimeFormat24, 1, 2, 3, 18, 0};

    const auto sender = LocateTarget(at24, FrameRate::k25, LocateRate::Sender);
    const auto deck = LocateTarget(at24, FrameRate::k25, LocateRate::Deck);
    const auto automatic = LocateTarget(at24, FrameRate::k25, LocateRate::Auto);

    EXPECT_EQ(FormatFrame(*sender, FrameRate::k25), "01:02:03:19");
    EXPECT_EQ(FormatFrame(*deck, FrameRate::k25), "01:02:03:18");
    EXPECT_EQ(automatic, deck);
}

TEST(LocateTarget, GoesByTheSendersRateWhereTheDecksHasNoSuchFrame)
{
    const SenderTime at30{kSMPTETimeFormat30NonDrop, 0, 0, 1, 27, 0};

    const auto automatic = LocateTarget(at30, FrameRate::k25, LocateRate::Auto);

    EXPECT_EQ(automatic, LocateTarget(at30, FrameRate::k25, LocateRate::Sender));
    EXPECT_EQ(FormatFrame(*automatic, FrameRate::k25), "00:00:01:22");
}

TEST(LocateTarget, TakesTheNumbersOfItsOwnRateAsTheyAre)
{
    EXPECT_EQ(Target({2, 1, 2, 3, 4, 0}, FrameRate::k24), "01:02:03:04");
    EXPECT_EQ(Target({2, 1, 2, 3, 4, 0}, FrameRate::k23976), "01:02:03:04");
    EXPECT_EQ(Target({3, 1, 2, 3, 4, 0}, FrameRate::k25), "01:02:03:04");
    EXPECT_EQ(Target({4, 1, 2, 3, 4, 0}, FrameRate::k2997Drop), "01:02:03;04");
    EXPECT_EQ(Target({4, 1, 2, 3, 4, 0}, FrameRate::k30Drop), "01:02:03;04");
    EXPECT_EQ(Target({5, 1, 2, 3, 4, 0}, FrameRate::k2997NonDrop), "01:02:03:04");
    EXPECT_EQ(Target({5, 1, 2, 3, 4, 0}, FrameRate::k30NonDrop), "01:02:03:04");
}

TEST(LocateTarget, ConvertsTheNumbersOfAnotherRateByRealTime)
{
    EXPECT_EQ(Target({2, 1, 0, 0, 18, 0}, FrameRate::k25), "01:00:00:19"); // 18.75 of 25
    EXPECT_EQ(Target({5, 0, 0, 1, 15, 0}, FrameRate::k24), "00:00:01:12");
    // 17984 frames of 1001/30000 s are 15001.65 of 1/25 s
    EXPECT_EQ(Target({4, 0, 10, 0, 2, 0}, FrameRate::k25), "00:10:00:02");
    // An hour of 29.97 drop is 3.6 ms short of an hour: nearer to the hour than to the frame before
    EXPECT_EQ(Target({4, 1, 0, 0, 0, 0}, FrameRate::k25), "01:00:00:00");
}

TEST(LocateTarget, TakesASenderAtAPulledDownDeckToBePulledDownToo)
{
    // 24 and 30 by the code are 23.976 and 29.97: one second of each is one second of the other
    EXPECT_EQ(Target({2, 1, 0, 0, 0, 0}, FrameRate::k2997NonDrop), "01:00:00:00");
    EXPECT_EQ(Target({5, 1, 0, 0, 0, 0}, FrameRate::k23976), "01:00:00:00");
}

TEST(LocateTarget, LetsAFrameNumberThatTheRateLacksRunOn)
{
    EXPECT_EQ(Target({2, 0, 0, 0, 29, 0}, FrameRate::k24), "00:00:01:05");
    EXPECT_EQ(Target({3, 0, 0, 59, 31, 0}, FrameRate::k25), "00:01:00:06");
}

TEST(LocateTarget, TakesADroppedNumberAsTheNextThatExists)
{
    EXPECT_EQ(Target({4, 0, 1, 0, 0, 0}, FrameRate::k2997Drop), "00:01:00;02");
}

} // namespace
} // namespace deck::test
