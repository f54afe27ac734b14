#include "deck/protocol/MtcPacer.h"

#include "MtcWire.h"
#include "deck/protocol/MtcChecker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>
#include <tuple>

namespace deck {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using Time = std::chrono::nanoseconds;

constexpr FrameNumber kStart = 108000;

struct Conditions {
    Time period{0};
    Time tickJitter{1ms};
    Time deliveryJitter{2ms};
    bool usesLead = true;
    double lossRate = 0; // of quarter frames, on the way to the pacer
};

/// A deck, its plug-in and its output in virtual time.
class Rig {
public:
    Rig(FrameRate rate, const Conditions& conditions, MtcPacerOptions options = {})
        : mRate(rate)
        , mConditions(conditions)
        , mOptions(Complete(options, conditions))
        , wire(conditions.period)
        , pacer(mOptions, wire)
    {
    }

    void Locate(FrameNumber frame)
    {
        pacer.Restart();
        Deliver(mSender.Locate(MtcTimeOf(frame, mRate)));
        mStandsAt = frame;
    }

    /// Plays from where it stands and ends with a full frame, as a stop does.
    void Play(Time duration)
    {
        Roll(duration);
        Locate(mStandsAt + FrameAt(duration, mRate));
    }

    /// As Play, but without the end: something else comes in between.
    void Roll(Time duration)
    {
        const Time begin = now;
        mAnchorTime = now;
        mAnchorFrame = mStandsAt;
        const Time lead = mConditions.usesLead ? pacer.Lead() : Time(0);
        for (FrameNumber frame = mAnchorFrame;; ++frame) {
            const Time moment = MomentOf(frame);
            now = std::max(moment - lead, now) + Jitter(mConditions.tickJitter);
            if (now >= begin + duration)
                break;
            if (!pacer.Report(frame, mRate, moment, now))
                continue;
            for (const auto& message : mSender.Play(MtcTimeOf(frame, mRate)))
                DeliverUnlessLost(message);
        }
        now = begin + duration;
    }

    Time MomentOf(FrameNumber frame) const
    {
        return mAnchorTime + FrameStart(frame, mRate) - FrameStart(mAnchorFrame, mRate);
    }

    FrameRate Rate() const { return mRate; }
    const std::vector<TimedBytes>& Sent()
    {
        std::stable_sort(wire.messages.begin(), wire.messages.end(),
            [](const TimedBytes& a, const TimedBytes& b) { return a.time < b.time; });
        return wire.messages;
    }

    MtcReport Check()
    {
        MtcChecker checker;
        for (const auto& message : Sent())
            checker.Feed(message.bytes, message.time);
        return checker.Report();
    }

    Time now{1s};

private:
    static MtcPacerOptions Complete(MtcPacerOptions options, const Conditions& conditions)
    {
        options.outputLatency = conditions.period + 1ms;
        return options;
    }

    void DeliverUnlessLost(ByteView message)
    {
        if (std::generate_canonical<double, 20>(mRandom) >= mConditions.lossRate)
            Deliver(message);
    }

    void Deliver(ByteView message)
    {
        mArrival = std::max(mArrival, now + Jitter(mConditions.deliveryJitter));
        wire.now = mArrival;
        pacer.OnMessage(message, mArrival);
    }

    Time Jitter(Time most)
    {
        return most.count() == 0 ? most : Time(static_cast<std::int64_t>(mRandom()) % most.count());
    }

    FrameRate mRate;
    Conditions mConditions;
    MtcPacerOptions mOptions;
    Sender mSender;
    std::mt19937 mRandom{42};
    FrameNumber mStandsAt = 0;
    FrameNumber mAnchorFrame = 0; // of the last run
    Time mAnchorTime{0};
    Time mArrival{0};

public:
    Wire wire;
    MtcPacer pacer;
};

struct ChaseErrors {
    double mean = 0; // in milliseconds, positive is late
    double worst = 0;
    int count = 0;
};

/// What a machine that follows takes as the moment of a frame, against the deck's: it knows the
/// position when piece 7 has come, and that seven quarter frames have passed since.
ChaseErrors Chase(Rig& rig)
{
    MtcDecoder decoder;
    ChaseErrors errors;
    const MtcStream quarters(rig.Rate());
    for (const auto& message : rig.Sent()) {
        const auto reading = decoder.Feed(message.bytes);
        if (!reading || reading->isFullFrame)
            continue;
        const FrameNumber frame = *ToFrame(reading->time.timecode, rig.Rate());
        const Time takenAs = message.time - quarters.Quarters(7);
        const double error = static_cast<double>((takenAs - rig.MomentOf(frame)).count()) / 1e6;
        errors.mean += error;
        errors.worst = std::max(errors.worst, std::abs(error));
        ++errors.count;
    }
    errors.mean /= std::max(errors.count, 1);
    return errors;
}

std::vector<std::string> Defects(const MtcReport& report)
{
    std::vector<std::string> names;
    for (const auto& finding : report.findings)
        names.push_back(std::string(NameOf(finding.defect)) + ": " + finding.text);
    return names;
}

/// The rate, the server's period and the jitter of the ticks.
class MtcPacerEverywhere : public testing::TestWithParam<std::tuple<FrameRate, int, int>> {
protected:
    FrameRate Rate() const { return std::get<0>(GetParam()); }
    Conditions Made() const
    {
        Conditions conditions;
        conditions.period = std::chrono::microseconds(std::get<1>(GetParam()));
        conditions.tickJitter = std::chrono::microseconds(std::get<2>(GetParam()));
        return conditions;
    }
};

INSTANTIATE_TEST_SUITE_P(Rates,
    MtcPacerEverywhere,
    testing::Combine(testing::ValuesIn(FrameRate::All().begin(), FrameRate::All().end()),
        testing::Values(1, 1333, 5333, 21333, 42667),
        testing::Values(1, 3000)));

TEST_P(MtcPacerEverywhere, KeepsAFollowerWithThePicture)
{
    Rig rig(Rate(), Made());
    rig.Locate(kStart);
    rig.now += 200ms;
    rig.Play(20s);

    const auto errors = Chase(rig);
    EXPECT_GT(errors.count, 200);
    EXPECT_LT(std::abs(errors.mean), 0.01);
    EXPECT_LT(errors.worst, 0.01);
    const auto report = rig.Check();
    EXPECT_THAT(Defects(report), IsEmpty());
    EXPECT_LT(report.jitterMax, 20us);
    EXPECT_EQ(rig.pacer.Counts().late, 0u);
    EXPECT_EQ(rig.pacer.Counts().fullFramesAdded, 0u);
}

TEST_P(MtcPacerEverywhere, StaysSoundThroughLocatesAndStops)
{
    Rig rig(Rate(), Made());
    std::mt19937 random(3);
    for (int i = 0; i < 40; ++i) {
        rig.Locate(static_cast<FrameNumber>(random() % 2000000));
        rig.now += std::chrono::milliseconds(random() % 700);
        const Time duration = 700ms + std::chrono::milliseconds(random() % 900);
        if (i % 2 == 0)
            rig.Play(duration);
        else
            rig.Roll(duration); // the next locate comes while it rolls
    }
    const auto report = rig.Check();
    EXPECT_THAT(Defects(report), IsEmpty());
    EXPECT_GT(report.cycles, 200u);
    EXPECT_EQ(rig.pacer.Counts().fullFramesAdded, 0u);
}

TEST_P(MtcPacerEverywhere, BeginsSoon)
{
    Rig rig(Rate(), Made());
    rig.Locate(kStart + 1);
    const Time begin = rig.now;
    rig.Play(2s);

    const auto& sent = rig.Sent();
    const auto first = std::find_if(
        sent.begin(), sent.end(), [](const auto& message) { return message.bytes[0] == 0xF1; });
    ASSERT_NE(first, sent.end());
    const Time twoFrames = FrameStart(2, Rate());
    EXPECT_LE(first->time - begin, rig.pacer.Lead() + 2 * twoFrames);
}

TEST_P(MtcPacerEverywhere, LeavesBurstsAsTheyAreWhenOff)
{
    Conditions conditions = Made();
    conditions.deliveryJitter = 0ns;
    Rig rig(Rate(), conditions, {.enabled = false});
    rig.Locate(kStart);
    rig.now += 200ms;
    rig.Play(20s);

    EXPECT_EQ(rig.pacer.Lead(), 0ns);
    EXPECT_EQ(rig.wire.flushes, 0);
    const auto report = rig.Check();
    ASSERT_EQ(report.findingCount,
        report.defects[static_cast<std::size_t>(MtcDefect::kJitter)]
            + report.defects[static_cast<std::size_t>(MtcDefect::kGap)]);
    EXPECT_GT(report.jitterP99, 15ms);
    EXPECT_GT(Chase(rig).worst, 5);
}

TEST(MtcPacer, ShiftsByTheOffset)
{
    for (const Time offset : {-40ms, -3ms, 7ms, 100ms}) {
        Rig rig(FrameRate::k25, {.period = 5ms}, {.offset = offset});
        rig.Locate(kStart);
        rig.now += 200ms;
        rig.Play(10s);

        EXPECT_NEAR(Chase(rig).mean, static_cast<double>(offset.count()) / 1e6, 0.01);
        EXPECT_THAT(Defects(rig.Check()), IsEmpty());
        EXPECT_EQ(rig.pacer.Lead(), 6ms + 10ms + std::max(Time(0), -offset));
    }
}

/// Judges what is sent at once, so that a long run needs no memory.
class JudgingOutput : public MtcOutput {
public:
    void Send(ByteView bytes, Time time) noexcept override { checker.Feed(bytes, time); }
    void Flush() noexcept override {}

    MtcChecker checker;
};

TEST(MtcPacer, StaysSoundForHoursAndOverMidnight)
{
    constexpr FrameRate kRate = FrameRate::k2997Drop;
    JudgingOutput output;
    MtcPacer pacer({}, output);
    Sender sender;
    const FrameNumber start = kRate.FramesPerDay() - FrameNumber{3600} * 30;
    const FrameNumber end = start + FrameNumber{2} * 3600 * 30;

    for (FrameNumber frame = start; frame < end; ++frame) {
        const Time moment = 1s + FrameStart(frame, kRate) - FrameStart(start, kRate);
        const Time now = moment - pacer.Lead();
        ASSERT_TRUE(pacer.Report(frame, kRate, moment, now));
        for (const auto& message : sender.Play(MtcTimeOf(frame, kRate)))
            pacer.OnMessage(message, now);
    }

    const auto report = output.checker.Report();
    EXPECT_THAT(Defects(report), IsEmpty());
    EXPECT_EQ(report.cycles, 108000u);
    EXPECT_LT(report.jitterMax, 1us);
    EXPECT_EQ(report.last, MtcTimeOf(end - 2, kRate));
}

TEST(MtcPacer, KeepsTheOrderWhenTheDeckMovesItsClockBack)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    Time moment = 1000ms;
    for (FrameNumber frame = 0; frame < 100; ++frame) {
        moment += frame % 10 == 0 ? 25ms : 40ms;
        if (!pacer.Report(frame, FrameRate::k25, moment, moment - 20ms))
            continue;
        wire.now = moment - 20ms;
        for (const auto& message : sender.Play(MtcTimeOf(frame, FrameRate::k25)))
            pacer.OnMessage(message, wire.now);
    }
    ASSERT_GT(wire.messages.size(), 390u);
    EXPECT_TRUE(std::is_sorted(wire.messages.begin() + 1, wire.messages.end(),
        [](const TimedBytes& a, const TimedBytes& b) { return a.time < b.time; }));
}

TEST(MtcPacer, SendsAFullFrameAtOnceAndCancelsWhatIsScheduled)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    ASSERT_TRUE(pacer.Report(0, FrameRate::k25, 1000ms, 985ms));
    wire.now = 986ms;
    for (const auto& message : sender.Play(MtcTimeOf(0, FrameRate::k25)))
        pacer.OnMessage(message, wire.now);
    ASSERT_EQ(wire.messages.size(), 5u);

    wire.now = 1001ms;
    pacer.OnMessage(sender.Locate(MtcTimeOf(500, FrameRate::k25)), wire.now);

    EXPECT_EQ(wire.flushes, 1);
    ASSERT_EQ(wire.messages.size(), 3u);
    EXPECT_EQ(wire.messages[1].bytes, (Bytes{0xF1, 0x00}));
    EXPECT_EQ(wire.messages[1].time, 1000ms);
    EXPECT_EQ(wire.messages[2].bytes, sender.Locate(MtcTimeOf(500, FrameRate::k25)));
    EXPECT_EQ(wire.messages[2].time, 1001ms);
}

TEST(MtcPacer, StampsEachPieceAQuarterOfAFrameApart)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    for (FrameNumber frame = 0; frame < 2; ++frame) {
        ASSERT_TRUE(pacer.Report(frame, FrameRate::k25, 1000ms + frame * 40ms, 900ms));
        for (const auto& message : sender.Play(MtcTimeOf(frame, FrameRate::k25)))
            pacer.OnMessage(message, 900ms);
    }

    ASSERT_EQ(wire.messages.size(), 9u);
    for (std::int64_t piece = 0; piece < kMtcPieces; ++piece)
        EXPECT_EQ(wire.messages[static_cast<std::size_t>(piece) + 1].time, 1000ms + piece * 10ms);
}

TEST(MtcPacer, AddsTheFullFrameThatWasLost)
{
    Rig rig(FrameRate::k25, {.period = 5ms});
    rig.Roll(2s); // nothing announced it
    EXPECT_EQ(rig.pacer.Counts().fullFramesAdded, 1u);
    EXPECT_EQ(rig.Sent().front().bytes[0], 0xF0);
    EXPECT_THAT(Defects(rig.Check()), IsEmpty());
}

TEST(MtcPacer, AddsAFullFrameWhereALocateLostItsOwn)
{
    Wire wire(1ms);
    MtcPacer pacer({}, wire);
    Sender sender;
    const auto play = [&](FrameNumber frame, Time moment) {
        wire.now = moment - pacer.Lead();
        if (pacer.Report(frame, FrameRate::k25, moment, wire.now)) {
            for (const auto& message : sender.Play(MtcTimeOf(frame, FrameRate::k25)))
                pacer.OnMessage(message, wire.now);
        }
    };
    for (FrameNumber frame = 0; frame < 50; ++frame)
        play(frame, 1s + frame * 40ms);
    pacer.Restart();
    sender.Locate(MtcTimeOf(1000, FrameRate::k25)); // never arrives
    for (FrameNumber frame = 1000; frame < 1050; ++frame)
        play(frame, 4s + (frame - 1000) * 40ms);

    EXPECT_EQ(pacer.Counts().fullFramesAdded, 2u) << "one for each run";
    MtcChecker checker;
    for (const auto& message : wire.messages)
        checker.Feed(message.bytes, message.time);
    EXPECT_THAT(Defects(checker.Report()), IsEmpty());
}

TEST(MtcPacer, KeepsTheRestInTimeWhenMessagesAreLost)
{
    for (const FrameRate rate : FrameRate::All()) {
        Rig rig(rate, {.period = 5ms, .lossRate = 0.02});
        rig.Locate(kStart);
        rig.now += 200ms;
        rig.Play(60s);

        const auto errors = Chase(rig);
        EXPECT_GT(errors.count, 300);
        EXPECT_LT(errors.worst, 0.01);
        EXPECT_EQ(rig.pacer.Counts().unmatched, 0u);
        EXPECT_EQ(rig.pacer.Counts().fullFramesAdded, 0u);
    }
}

TEST(MtcPacer, DropsTheSecondHalfOfACycleWhoseFirstHalfWasLost)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    for (FrameNumber frame = 0; frame < 4; ++frame) {
        ASSERT_TRUE(pacer.Report(frame, FrameRate::k25, 1000ms + frame * 40ms, 900ms));
        const auto messages = sender.Play(MtcTimeOf(frame, FrameRate::k25));
        for (const auto& message : messages) {
            if (frame != 2)
                pacer.OnMessage(message, 900ms);
        }
    }
    EXPECT_EQ(pacer.Counts().orphaned, 4u);
    EXPECT_EQ(wire.messages.size(), 9u);
}

TEST(MtcPacer, PassesWhatNobodyReported)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    wire.now = 5ms;
    for (FrameNumber frame = 0; frame < 2; ++frame) {
        for (const auto& message : sender.Play(MtcTimeOf(frame, FrameRate::k25)))
            pacer.OnMessage(message, wire.now);
    }
    pacer.OnMessage(Bytes{0x90, 0x3C, 0x40}, wire.now);
    EXPECT_EQ(pacer.Counts().unmatched, 8u);
    EXPECT_EQ(wire.messages.size(), 9u);
    EXPECT_EQ(wire.messages.back().time, 5ms);
}

TEST(MtcPacer, BeginsLateRatherThanNeverWithoutALead)
{
    Rig rig(FrameRate::k25, {.period = 5ms, .usesLead = false});
    rig.Locate(kStart);
    rig.Play(4s);
    EXPECT_GT(rig.pacer.Counts().late, 40u);
    EXPECT_GT(rig.pacer.Counts().mostLate, 0ns);
    EXPECT_GT(rig.Check().cycles, 30u);
}

TEST(MtcPacer, RefusesFramesThatWouldBreakTheHalves)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    const auto report = [&](FrameNumber frame) {
        const Time moment = 1000ms + frame * 40ms;
        return pacer.Report(frame, FrameRate::k25, moment, moment - pacer.Lead());
    };
    EXPECT_FALSE(report(1)) << "a run begins on an even frame";
    EXPECT_TRUE(report(2));
    EXPECT_TRUE(report(3));
    EXPECT_FALSE(report(5)) << "the plug-in would send the first half of an odd frame";
    EXPECT_TRUE(report(6));
    EXPECT_FALSE(report(6)) << "once is enough";
    EXPECT_TRUE(report(7));
    pacer.Restart();
    EXPECT_FALSE(report(9));
    EXPECT_TRUE(report(10));
}

TEST(MtcPacer, FindsTheNewestReportOfAFrameThatWasLeftBehind)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    ASSERT_TRUE(pacer.Report(0, FrameRate::k25, 1000ms, 900ms)); // its burst was lost
    pacer.Restart();
    ASSERT_TRUE(pacer.Report(0, FrameRate::k25, 3000ms, 2900ms));
    pacer.OnMessage(sender.Locate(MtcTimeOf(0, FrameRate::k25)), 2900ms);
    for (const auto& message : sender.Play(MtcTimeOf(0, FrameRate::k25)))
        pacer.OnMessage(message, 2900ms);
    ASSERT_EQ(wire.messages.size(), 5u);
    EXPECT_EQ(wire.messages[1].time, 3000ms);
}

TEST(MtcPacer, RefusesReportsThatNobodyTakesAway)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    int accepted = 0;
    for (FrameNumber frame = 0; frame < 1000; ++frame) {
        const Time moment = 1000ms + frame * 40ms;
        accepted += pacer.Report(frame, FrameRate::k25, moment, moment - pacer.Lead());
    }
    EXPECT_EQ(accepted, 2 * 64);
}

TEST(MtcPacer, TakesReportsOnOneThreadAndMessagesOnAnother)
{
    constexpr FrameNumber kFrames = 20000;
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    std::atomic<FrameNumber> reported{0};
    std::atomic<FrameNumber> handled{0};
    std::thread receiver([&] {
        Sender sender;
        for (FrameNumber frame = 0; frame < kFrames; ++frame) {
            reported.wait(frame);
            for (const auto& message : sender.Play(MtcTimeOf(frame, FrameRate::k25)))
                pacer.OnMessage(message, Time(0));
            handled = frame + 1;
            handled.notify_one();
        }
    });
    for (FrameNumber frame = 0; frame < kFrames; ++frame) {
        for (FrameNumber done = handled; frame - done > 10; done = handled)
            handled.wait(done);
        const Time moment = 1000ms + frame * 40ms;
        ASSERT_TRUE(pacer.Report(frame, FrameRate::k25, moment, moment - pacer.Lead()));
        reported = frame + 1;
        reported.notify_one();
    }
    receiver.join();

    EXPECT_EQ(pacer.Counts().unmatched, 0u);
    EXPECT_EQ(pacer.Counts().paced, 4u * kFrames);
}

TEST(MtcPacer, AddsTheFullFrameThatATuningLost)
{
    Wire wire(1ns);
    MtcPacer pacer({}, wire);
    Sender sender;
    const auto play = [&](FrameNumber frame) {
        const Time moment = 1s + frame * 40ms;
        wire.now = moment - pacer.Lead();
        if (pacer.TakeTuning(wire.now))
            sender.Locate(MtcTimeOf(frame, FrameRate::k25)); // never arrives
        if (pacer.Report(frame, FrameRate::k25, moment, wire.now)) {
            for (const auto& message : sender.Play(MtcTimeOf(frame, FrameRate::k25)))
                pacer.OnMessage(message, wire.now);
        }
    };
    for (FrameNumber frame = 0; frame < 10; ++frame)
        play(frame);
    pacer.Tune(true, 7ms);
    for (FrameNumber frame = 10; frame < 50; ++frame)
        play(frame);

    EXPECT_EQ(pacer.Counts().fullFramesAdded, 2U) << "one for the beginning";
    MtcChecker checker;
    for (const auto& message : wire.messages)
        checker.Feed(message.bytes, message.time);
    EXPECT_THAT(Defects(checker.Report()), IsEmpty());
}

TEST(MtcPacer, CancelsWhatIsScheduledAlsoWhenItPacesNoMore)
{
    Wire wire(1ns);
    MtcPacer pacer({.offset = 100ms}, wire);
    Sender sender;
    ASSERT_TRUE(pacer.Report(0, FrameRate::k25, 1000ms, 985ms));
    wire.now = 986ms;
    for (const auto& message : sender.Play(MtcTimeOf(0, FrameRate::k25)))
        pacer.OnMessage(message, wire.now);
    const auto located = sender.Locate(MtcTimeOf(500, FrameRate::k25));

    pacer.Tune(false, 0ms);
    pacer.Restart(); // for a locate, which goes before everything
    EXPECT_FALSE(pacer.TakeTuning(wire.now)) << "the locate has its own full frame";
    pacer.OnMessage(located, wire.now);

    EXPECT_EQ(wire.dropped, 4U);
    EXPECT_EQ(wire.messages.back().bytes, located);
}

/// Counts what is sent, on the receiving thread.
class CountingOutput : public MtcOutput {
public:
    void Send(ByteView bytes, Time) noexcept override { ++(bytes.size() == 2 ? quarters : full); }
    void Flush() noexcept override {}

    std::int64_t quarters = 0;
    std::int64_t full = 0;
};

TEST(MtcPacer, IsTunedByAThirdThreadWhileItRuns)
{
    constexpr FrameNumber kFrames = 20000;
    CountingOutput output;
    MtcPacer pacer({}, output);
    std::atomic<std::int64_t> next{0}; // twice the frame, and 1 where a full frame goes before it
    std::atomic<FrameNumber> handled{0};
    std::atomic<bool> ends{false};
    std::thread tuner([&] {
        for (int i = 0; !ends; ++i) {
            pacer.Tune(i % 3 != 0, std::chrono::milliseconds(i % 50));
            std::this_thread::yield();
        }
    });
    std::int64_t accepted = 0;
    std::int64_t tunings = 0;
    std::thread receiver([&] {
        Sender sender;
        for (std::int64_t seen = 0; seen != -1;) {
            next.wait(seen);
            seen = next;
            const auto time = MtcTimeOf(seen / 2, FrameRate::k25);
            if (seen % 2 != 0)
                pacer.OnMessage(sender.Locate(time), Time(0));
            if (seen != -1) {
                for (const auto& message : sender.Play(time))
                    pacer.OnMessage(message, Time(0));
                handled = seen / 2;
                handled.notify_one();
            }
        }
    });
    bool isTuned = false;
    for (FrameNumber frame = 1; frame < kFrames; ++frame) {
        const Time moment = 1s + frame * 40ms;
        const Time now = moment - 2s;
        if (pacer.TakeTuning(moment)) {
            isTuned = true;
            ++tunings;
        }
        if (!pacer.Report(frame, FrameRate::k25, moment, now))
            continue;
        ++accepted;
        next = 2 * frame + (std::exchange(isTuned, false) ? 1 : 0);
        next.notify_one();
        for (FrameNumber done = handled; done != frame; done = handled)
            handled.wait(done);
    }
    next = -1;
    next.notify_one();
    receiver.join();
    ends = true;
    tuner.join();

    EXPECT_GT(tunings, 100);
    EXPECT_EQ(output.quarters, 4 * accepted);
    EXPECT_EQ(pacer.Counts().orphaned, 0U);
    EXPECT_EQ(pacer.Counts().unmatched, 0U);
}

} // namespace
} // namespace deck
