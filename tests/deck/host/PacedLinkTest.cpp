// A deck's position on its way through the plug-in and the pacer onto the wire,
// while somebody tunes the pacer.

#include "deck/host/SurfaceLink.h"
#include "deck/protocol/MtcChecker.h"
#include "tests/deck/protocol/MtcWire.h"

#include <gmock/gmock.h>

namespace deck::host::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;
using Time = std::chrono::nanoseconds;

class SetClock final : public Clock {
public:
    Time Now() const noexcept override { return now; }
    void WaitUntil(std::optional<Time>) override {}
    void Wake() noexcept override {}

    Time now{1000s};
};

/// One thread is enough to see what comes when.
class PacedDeck {
public:
    static constexpr Time kLate{300'000}; // of the thread that tells the position

    PacedDeck(FrameRate rate, const MtcPacerOptions& options)
        : wire(1ns)
        , pacer(options, wire)
        , mRate(rate)
        , mLink(rate, mClock, &pacer)
    {
        mLink.Attach({&kTable, Handle()});
        mLink.OnCall(HostCall{HostCallKind::SetSMPTEActive, {}, 1});
    }

    /// Rolls on from where it is, on time but for a little.
    void Roll(Time duration)
    {
        for (const Time end = mClock.now + duration; mClock.now < end; ++mFrame) {
            const Time moment = MomentOf(mFrame);
            mClock.now = moment + kLate;
            wire.now = mClock.now;
            mLink.OnPosition({mFrame, moment, 1});
        }
    }
    void Stop()
    {
        mLink.OnPosition({mFrame, mClock.now, 0});
        mBegin = mClock.now - FrameStart(mFrame, mRate); // for the next roll
    }
    /// The plug-in is connected anew: it knows nothing of the half that it was in.
    void Reconnect()
    {
        mLink.Detach();
        mPlugin = Sender();
        mLink.Attach({&kTable, Handle()});
        mLink.OnCall(HostCall{HostCallKind::SetSMPTEActive, {}, 1});
    }

    Time MomentOf(FrameNumber frame) const { return mBegin + FrameStart(frame, mRate); }
    Time Now() const { return mClock.now; }
    Time FrameTime() const { return FrameStart(1, mRate); }

    /// What leaves from `begin` on, in the order of time.
    std::vector<TimedBytes> Sent(Time begin) const
    {
        std::vector<TimedBytes> sent;
        std::copy_if(wire.messages.begin(), wire.messages.end(), std::back_inserter(sent),
            [&](const TimedBytes& message) { return message.time >= begin; });
        std::stable_sort(sent.begin(), sent.end(),
            [](const TimedBytes& a, const TimedBytes& b) { return a.time < b.time; });
        return sent;
    }

    Wire wire;
    MtcPacer pacer;

private:
    using SMPTE = KORVASDK_ControlSurfaceSMPTE;

    SMPTE* Handle() { return reinterpret_cast<SMPTE*>(this); }
    static PacedDeck& From(SMPTE* handle) { return *reinterpret_cast<PacedDeck*>(handle); }

    static KORVASDK_Result Goto(
        SMPTE* handle, uint32_t, uint8_t h, uint8_t m, uint8_t s, uint8_t f, uint8_t)
    {
        return From(handle).SendFullFrame(h, m, s, f);
    }
    static KORVASDK_Result Transmit(SMPTE* handle,
        uint64_t,
        float speed,
        int32_t,
        uint8_t,
        uint8_t h,
        uint8_t m,
        uint8_t s,
        uint8_t f)
    {
        PacedDeck& deck = From(handle);
        if (speed != 1) {
            return deck.SendFullFrame(h, m, s, f);
        }
        for (const auto& message : deck.mPlugin.Play(deck.TimeOf(h, m, s, f))) {
            deck.pacer.OnMessage(message, deck.wire.now);
        }
        return kSuccess;
    }
    static constexpr KORVASDK_ControlSurfaceSMPTESuite kTable = {Goto, Transmit};

    KORVASDK_Result SendFullFrame(int h, int m, int s, int f)
    {
        pacer.OnMessage(mPlugin.Locate(TimeOf(h, m, s, f)), wire.now);
        return kSuccess;
    }
    MtcTime TimeOf(int h, int m, int s, int f) const
    {
        return MtcTimeOf(*ToFrame({static_cast<std::uint8_t>(h), static_cast<std::uint8_t>(m),
                                      static_cast<std::uint8_t>(s), static_cast<std::uint8_t>(f),
                                      mRate.IsDrop()},
                             mRate),
            mRate);
    }

    SetClock mClock;
    FrameRate mRate;
    Sender mPlugin;
    SurfaceLink mLink;
    FrameNumber mFrame = 0;
    Time mBegin{1000s};
};

bool IsQuarterFrame(const TimedBytes& message)
{
    return message.bytes[0] == kQuarterFrameStatus;
}

bool IsFullFrame(const TimedBytes& message)
{
    return !IsQuarterFrame(message);
}

bool IsPiece0(const TimedBytes& message)
{
    return IsQuarterFrame(message) && message.bytes[1] >> 4 == 0;
}

/// Defects, but for those that bursts are.
std::vector<std::string> Defects(const std::vector<TimedBytes>& sent)
{
    MtcChecker checker;
    for (const TimedBytes& message : sent) {
        checker.Feed(message.bytes, message.time);
    }
    std::vector<std::string> defects;
    for (const MtcFinding& finding : checker.Report().findings) {
        if (finding.defect != MtcDefect::kJitter && finding.defect != MtcDefect::kGap) {
            defects.push_back(std::string(NameOf(finding.defect)) + ": " + finding.text);
        }
    }
    return defects;
}

/// An offset, or nothing where the bursts pass as they are.
using Tuning = std::optional<std::chrono::milliseconds>;

const std::vector<Tuning> kTunings{0ms, 7ms, 40ms, 1000ms, -3ms, -40ms, -1000ms, std::nullopt};

MtcPacerOptions OptionsOf(const Tuning& tuning)
{
    MtcPacerOptions options;
    options.enabled = tuning.has_value();
    options.offset = tuning.value_or(0ms);
    return options;
}

class TunedMtc : public testing::TestWithParam<FrameRate> {
protected:
    /// Each tuning, then each tuning.
    template <typename Judge> void ForEach(Judge judge)
    {
        for (const Tuning& before : kTunings) {
            for (const Tuning& after : kTunings) {
                SCOPED_TRACE(testing::Message()
                    << before.value_or(9999ms).count() << " to " << after.value_or(9999ms).count());
                PacedDeck deck(GetParam(), OptionsOf(before));
                deck.Roll(3s);
                const Time tuned = deck.Now();
                deck.pacer.Tune(after.has_value(), after.value_or(0ms));
                deck.Roll(5s);
                judge(deck, before, after, tuned);
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(
    Rates, TunedMtc, testing::ValuesIn(FrameRate::All().begin(), FrameRate::All().end()));

TEST_P(TunedMtc, LosesNothingAndBeginsAnewWithAFullFrame)
{
    ForEach([](PacedDeck& deck, const Tuning& before, const Tuning& after, Time tuned) {
        const auto sent = deck.Sent(tuned);

        EXPECT_EQ(deck.wire.dropped, 0U);
        EXPECT_THAT(Defects(deck.Sent(0s)), IsEmpty());
        EXPECT_EQ(std::count_if(sent.begin(), sent.end(), IsFullFrame), before == after ? 0 : 1);
        EXPECT_EQ(deck.pacer.Counts().fullFramesAdded, 0U) << "it is the plug-in's own";
        EXPECT_EQ(deck.pacer.Counts().late, 0U);
    });
}

TEST_P(TunedMtc, FollowsThePictureAtTheNewOffset)
{
    ForEach([this](PacedDeck& deck, const Tuning&, const Tuning& after, Time) {
        MtcDecoder decoder;
        int cycles = 0;
        for (const TimedBytes& message : deck.Sent(deck.Now() - 1s)) {
            const auto reading = decoder.Feed(message.bytes);
            if (!reading || reading->isFullFrame) {
                continue;
            }
            const FrameNumber frame = *ToFrame(reading->time.timecode, GetParam());
            // Piece 7 comes seven quarters of a frame after the frame's moment, or with a burst
            const Time late = message.time - deck.MomentOf(frame);
            const Time due = after ? FrameStart(7, GetParam()) / 4 + *after
                                   : FrameStart(1, GetParam()) + PacedDeck::kLate;
            EXPECT_NEAR(static_cast<double>((late - due).count()), 0, 1e3);
            ++cycles;
        }
        EXPECT_GT(cycles, 8);
    });
}

TEST_P(TunedMtc, IsSilentForAMomentOnly)
{
    ForEach([](PacedDeck& deck, const Tuning& before, const Tuning& after, Time tuned) {
        Time longest{0};
        Time last = tuned;
        for (const TimedBytes& message : deck.Sent(tuned)) {
            if (IsQuarterFrame(message)) {
                longest = std::max(longest, message.time - last);
                last = message.time;
            }
        }
        // To a later offset is a silence by itself
        const Time shift = std::max<Time>(after.value_or(0ms) - before.value_or(0ms), Time(0));
        EXPECT_LE(longest, shift + 5 * deck.FrameTime());
    });
}

TEST(PacedLink, TakesTheTuningThatItWasGivenLast)
{
    PacedDeck deck(FrameRate::k25, {});
    deck.Roll(1s);
    deck.pacer.Tune(false, 0ms);
    deck.pacer.Tune(true, 20ms);
    deck.Roll(20ms);
    deck.pacer.Tune(true, 0ms); // as it was: before anything has come of the others

    deck.Roll(1s);

    EXPECT_EQ(std::count_if(deck.wire.messages.begin(), deck.wire.messages.end(), IsFullFrame), 1);
    EXPECT_THAT(Defects(deck.Sent(0s)), IsEmpty());
}

TEST(PacedLink, TakesATuningAtRestForTheNextRoll)
{
    PacedDeck deck(FrameRate::k25, {});
    deck.Roll(1s);
    deck.Stop();
    deck.pacer.Tune(true, 30ms);
    const Time stopped = deck.Now();
    deck.Roll(1s);

    const auto sent = deck.Sent(stopped + 1ms);
    const auto first = std::find_if(sent.begin(), sent.end(), IsPiece0);
    ASSERT_NE(first, sent.end());
    MtcDecoder decoder;
    for (const TimedBytes& message : sent) {
        if (const auto reading = decoder.Feed(message.bytes); reading && !reading->isFullFrame) {
            const FrameNumber frame = *ToFrame(reading->time.timecode, FrameRate::k25);
            EXPECT_EQ(message.time - 70ms - deck.MomentOf(frame), 30ms);
        }
    }
}

TEST(PacedLink, BeginsAnewForAPlugInThatIsConnectedWhileItRolls)
{
    for (const int frames : {50, 51, 52, 53}) {
        PacedDeck deck(FrameRate::k25, {});
        deck.Roll(frames * 40ms);
        const Time connected = deck.Now();
        deck.Reconnect();
        deck.Roll(1s);

        const auto sent = deck.Sent(connected + 1ms);
        ASSERT_FALSE(sent.empty());
        EXPECT_EQ(deck.pacer.Counts().unmatched, 0U);
        EXPECT_EQ(deck.pacer.Counts().orphaned, 0U);
        EXPECT_EQ(std::count_if(sent.begin(), sent.end(), IsFullFrame), 1);
        EXPECT_GT(std::count_if(sent.begin(), sent.end(), IsPiece0), 10);
        EXPECT_THAT(Defects(sent), IsEmpty()) << frames;
    }
}

} // namespace
} // namespace deck::host::test
