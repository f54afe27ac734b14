#include "deck/protocol/MtcPacer.h"

#include <algorithm>

namespace deck {
namespace {

using Time = std::chrono::nanoseconds;

constexpr int kMaxRefusedStarts = 12;       // frames; half a second
constexpr Time kLongestStep{1'000'000'000}; // between two cycles of one run

static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

Time QuarterFrames(int count, FrameRate rate) noexcept
{
    return Time(count * 1'000'000'000LL * rate.Denominator() / (4 * rate.Numerator()));
}

/// True when `to` is where `from` leads at normal speed.
bool Leads(FrameNumber from, FrameNumber to, Time passed, FrameRate rate) noexcept
{
    const Time due = FrameStart(WrapToDay(to - from, rate), rate);
    const Time difference = due - passed;
    return std::max(difference, -difference) < QuarterFrames(2, rate);
}

void Count(std::atomic<std::uint64_t>& count) noexcept
{
    count.fetch_add(1, std::memory_order_relaxed); // a figure, it publishes nothing
}

} // namespace

MtcPacer::MtcPacer(const MtcPacerOptions& options, MtcOutput& output)
    : mOutputLatency(options.outputLatency)
    , mDelivery(options.delivery)
    , mOutput(output)
    , mWanted(MakeTuning(options.enabled, options.offset))
    , mTuning(mWanted.load())
{
}

MtcPacer::Tuning MtcPacer::MakeTuning(bool isEnabled, Time offset) noexcept
{
    return {isEnabled ? static_cast<std::int32_t>(offset.count()) : 0, isEnabled ? 1 : 0};
}

// Whoever reads the tuning hears of it by a later message too: it orders nothing else.
bool MtcPacer::IsEnabled() const noexcept
{
    return mTuning.load(std::memory_order_relaxed).isEnabled != 0;
}

MtcPacer::Time MtcPacer::Offset() const noexcept
{
    return Time(mTuning.load(std::memory_order_relaxed).offsetNanos);
}

std::chrono::nanoseconds MtcPacer::Lead() const noexcept
{
    if (!IsEnabled())
        return Time(0);
    return mOutputLatency + mDelivery + std::max(Time(0), -Offset());
}

void MtcPacer::Tune(bool isEnabled, std::chrono::nanoseconds offset) noexcept
{
    mWanted.store(MakeTuning(isEnabled, offset), std::memory_order_relaxed); // orders nothing else
}

bool MtcPacer::TakeTuning(std::chrono::nanoseconds now) noexcept
{
    if (!HoldsBack() || mWantsSecondHalf || (mIsRunning && now < mOutUntil))
        return false;
    mTuning.store(mWanted.load(std::memory_order_relaxed), std::memory_order_relaxed);
    const bool endsRun = mIsRunning;
    Restart();
    mComesAfterTuning = endsRun;
    return endsRun;
}

bool MtcPacer::HoldsBack() const noexcept
{
    return mWanted.load(std::memory_order_relaxed) != mTuning.load(std::memory_order_relaxed);
}

bool MtcPacer::Report(FrameNumber frame,
    FrameRate rate,
    std::chrono::nanoseconds moment,
    std::chrono::nanoseconds now) noexcept
{
    if (HoldsBack() && !mWantsSecondHalf)
        return false;
    const Cycle next{WrapToDay(frame, rate), rate, moment};
    if (mComesAfterTuning && GoesOnSeamlessly(next))
        return false;
    if (IsEnabled() && !MayPace(next, now))
        return false;
    mComesAfterTuning = false;
    mWantsSecondHalf = !mWantsSecondHalf;
    mIsRunning = true;
    mRefusedStarts = 0;
    mLastReport = next;
    mOutUntil = std::max(next.moment + Offset(), now) + QuarterFrames(3, rate) + mOutputLatency;
    return true;
}

/// A machine must see that the run before the tuning has ended.
bool MtcPacer::GoesOnSeamlessly(const Cycle& next) const noexcept
{
    return next.frame % 2 != 0 || next.frame == WrapToDay(mLastReport.frame + 1, next.rate);
}

bool MtcPacer::MayPace(const Cycle& next, Time now) noexcept
{
    mIsRunning = mIsRunning && ContinuesRun(next);
    if (!mIsRunning && !MayBegin(next, now))
        return false;
    const bool isSecondHalf = next.frame % 2 != 0;
    if (isSecondHalf != mWantsSecondHalf)
        return false;
    if (!isSecondHalf && !TryPush(next))
        return false;
    return true;
}

void MtcPacer::Restart() noexcept
{
    mIsRunning = false;
    mWantsSecondHalf = false;
    mComesAfterTuning = false;
}

bool MtcPacer::ContinuesRun(const Cycle& next) const noexcept
{
    return next.rate == mLastReport.rate
        && Leads(mLastReport.frame, next.frame, next.moment - mLastReport.moment, next.rate);
}

bool MtcPacer::MayBegin(const Cycle& first, Time now) noexcept
{
    const Time left = first.moment + Offset() - now;
    const bool isOnTime = left >= mOutputLatency + mDelivery / 2;
    if (isOnTime || mRefusedStarts >= kMaxRefusedStarts)
        return true;
    ++mRefusedStarts;
    return false;
}

bool MtcPacer::TryPush(const Cycle& cycle) noexcept
{
    const auto pushed = mPushed.load(std::memory_order_relaxed);       // our own
    if (pushed - mPopped.load(std::memory_order_acquire) == kCapacity) // slots are read out
        return false;
    mReports[pushed % kCapacity] = cycle;
    mPushed.store(pushed + 1, std::memory_order_release); // publishes the slot
    return true;
}

void MtcPacer::OnMessage(ByteView bytes, std::chrono::nanoseconds arrival) noexcept
{
    if (DecodeFullFrame(bytes))
        return OnFullFrame(bytes, arrival); // what it cancels may be of before a tuning
    if (bytes.size() == 2 && bytes[0] == kQuarterFrameStatus) {
        if (IsEnabled())
            return OnQuarterFrame(bytes, arrival);
        mHasFullFrame = false;
    }
    mOutput.Send(bytes, Time(0));
}

void MtcPacer::OnFullFrame(ByteView bytes, Time arrival) noexcept
{
    FlushScheduled(arrival);
    mOutput.Send(bytes, Time(0));
    mHasFullFrame = true;
    mPassesUnmatched = false;
    mCycle.reset();
}

void MtcPacer::OnQuarterFrame(ByteView bytes, Time arrival) noexcept
{
    const int piece = bytes[1] >> 4 & 7;
    const bool isMatched = IsOfCycle(piece, bytes[1])
        || (piece < kMtcPieces / 2 && TryBeginCycle(piece, bytes[1], arrival));
    mLastPiece = piece;
    if (isMatched)
        return SendAtItsTime(bytes, piece, arrival);
    mCycle.reset();
    // The second half of what nobody reported goes the way of its first half
    mPassesUnmatched = mPassesUnmatched || piece < kMtcPieces / 2;
    if (!mPassesUnmatched)
        return Count(mOrphaned);
    Count(mUnmatched);
    mOutput.Send(bytes, Time(0));
}

bool MtcPacer::IsOfCycle(int piece, std::uint8_t data) const noexcept
{
    return mCycle && piece > mLastPiece
        && EncodeQuarterFrame(MtcTimeOf(mCycle->frame, mCycle->rate), piece)[1] == data;
}

/// Looks for the newest reported frame that the piece can be of: what a locate left behind is
/// older, and frames less than 16 apart differ in piece 0.
bool MtcPacer::TryBeginCycle(int piece, std::uint8_t data, Time arrival) noexcept
{
    const auto popped = mPopped.load(std::memory_order_relaxed); // our own
    for (auto i = mPushed.load(std::memory_order_acquire); i != popped; --i) {
        const Cycle cycle = mReports[(i - 1) % kCapacity];
        if (EncodeQuarterFrame(MtcTimeOf(cycle.frame, cycle.rate), piece)[1] != data)
            continue;
        mPopped.store(i, std::memory_order_release); // the slots up to i are read out
        Introduce(cycle, arrival);
        mCycle = cycle;
        mLastCycle = cycle;
        mPassesUnmatched = false;
        return true;
    }
    return false;
}

/// Sends a full frame first where the cycle is not what the last one leads to and the plug-in's
/// own full frame was lost: a machine that gets none may roll at the wrong place.
void MtcPacer::Introduce(const Cycle& cycle, Time arrival) noexcept
{
    const Tuning tuning = mTuning.load(std::memory_order_relaxed); // see IsEnabled
    const bool continues = mLastCycle && mLastCycle->rate == cycle.rate && mLastTuning == tuning
        && cycle.moment - mLastCycle->moment < kLongestStep
        && Leads(mLastCycle->frame, cycle.frame, cycle.moment - mLastCycle->moment, cycle.rate);
    if (!continues && !mHasFullFrame) {
        FlushScheduled(arrival);
        mOutput.Send(EncodeFullFrame(MtcTimeOf(cycle.frame, cycle.rate)), Time(0));
        Count(mFullFramesAdded);
    }
    mHasFullFrame = false;
    mLastTuning = tuning;
}

void MtcPacer::SendAtItsTime(ByteView bytes, int piece, Time arrival) noexcept
{
    const Time ideal = mCycle->moment + Offset() + QuarterFrames(piece, mCycle->rate);
    // A deck that moves its clock back a little must not turn the order round
    const Time due = std::max(ideal, mScheduledUntil);
    // With its time stamp also when that has passed: it must not overtake the piece before it
    mOutput.Send(bytes, due);
    mScheduledUntil = due;
    if (due > arrival)
        return Count(mPaced);
    Count(mLate);
    const std::int64_t late = (arrival - due).count();
    if (late > mMostLate.load(std::memory_order_relaxed)) // written by this thread only
        mMostLate.store(late, std::memory_order_relaxed);
}

void MtcPacer::FlushScheduled(Time arrival) noexcept
{
    // What was due a moment ago may still be on its way out
    if (mScheduledUntil + mOutputLatency > arrival)
        mOutput.Flush();
    mScheduledUntil = std::min(mScheduledUntil, arrival);
}

MtcPacerCounts MtcPacer::Counts() const noexcept
{
    const auto read = [](const auto& count) { return count.load(std::memory_order_relaxed); };
    return {read(mPaced), read(mLate), read(mUnmatched), read(mOrphaned), read(mFullFramesAdded),
        Time(read(mMostLate))};
}

} // namespace deck
