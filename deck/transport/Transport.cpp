#include "deck/transport/Transport.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace deck {
namespace {

constexpr unsigned kHoursADay = 24;
constexpr unsigned kSixty = 60;

bool IsPulledDown(FrameRate rate) noexcept
{
    return rate.Denominator() != 1;
}

// The sender's rate as the code tells it and, where that is open, as the deck runs.
std::optional<FrameRate> SenderRate(std::uint32_t format, FrameRate deckRate) noexcept
{
    if (format == deckRate.SMPTEFormat()) {
        return deckRate;
    }
    const std::optional<FrameRate> told = FrameRate::FromSMPTEFormat(format);
    if (told == FrameRate::k24 && IsPulledDown(deckRate)) {
        return FrameRate::k23976;
    }
    if (told == FrameRate::k30NonDrop && IsPulledDown(deckRate)) {
        return FrameRate::k2997NonDrop;
    }
    return told;
}

// Frame numbers that the sender's rate does not have run on into the next second.
FrameNumber FrameOf(const SenderTime& time, FrameRate rate) noexcept
{
    const Timecode second{time.hours, time.minutes, time.seconds, 0, rate.IsDrop()};
    if (time.frames < rate.NominalFps()) {
        Timecode exact = second;
        exact.frames = time.frames;
        return ToNearestFrame(exact, rate);
    }
    return ToNearestFrame(second, rate) + time.frames;
}

FrameNumber NearestFrame(FrameNumber frame, FrameRate from, FrameRate to) noexcept
{
    const FrameNumber shown = ConvertFrame(frame, from, to);
    const auto time = FrameStart(frame, from);
    const bool nextIsNearer = FrameStart(shown + 1, to) - time < time - FrameStart(shown, to);
    return nextIsNearer ? shown + 1 : shown;
}

} // namespace

std::string_view NameOf(TransportState state) noexcept
{
    static constexpr std::array<std::string_view, 5> kNames
        = {"stop", "play", "pause", "rewind", "forward"};
    return kNames[static_cast<std::size_t>(state)];
}

std::optional<FrameNumber> LocateTarget(
    const SenderTime& time, FrameRate deckRate, LocateRate locateRate) noexcept
{
    const bool isDecks = locateRate == LocateRate::Deck
        || (locateRate == LocateRate::Auto && time.frames < deckRate.NominalFps());
    const std::optional<FrameRate> senderRate
        = isDecks ? deckRate : SenderRate(time.timeFormat, deckRate);
    if (!senderRate || time.hours >= kHoursADay || time.minutes >= kSixty
        || time.seconds >= kSixty) {
        return std::nullopt;
    }
    const FrameNumber frame = FrameOf(time, *senderRate);
    return *senderRate == deckRate ? frame : NearestFrame(frame, *senderRate, deckRate);
}

Transport::Transport(const TransportSettings& settings, std::vector<TransportSink*> sinks)
    : mRate(settings.rate)
    , mFirstFrame(settings.firstFrame)
    , mLastFrame(settings.lastFrame.value_or(settings.rate.FramesPerDay() - 1))
    , mWindSpeed(settings.windSpeed)
    , mLocateRate(settings.locateRate)
    , mSinks(std::move(sinks))
    , mFrame(std::clamp(settings.startFrame, mFirstFrame, mLastFrame))
{
}

void Transport::Handle(const HostCall& call, Time now)
{
    Advance(now);
    Tell([&](TransportSink& sink) { sink.OnCall(call); });
    const CallOutcome outcome = Carry(call, now);
    Tell([&](TransportSink& sink) { sink.OnOutcome(call, outcome); });
    Advance(now);
}

void Transport::Supersede(const HostCall& call)
{
    Tell([&](TransportSink& sink) {
        sink.OnCall(call);
        sink.OnOutcome(call, CallOutcome::Superseded);
    });
}

void Transport::Tune(int windSpeed, LocateRate locateRate) noexcept
{
    mWindSpeed.store(windSpeed, std::memory_order_relaxed);   // orders nothing else
    mLocateRate.store(locateRate, std::memory_order_relaxed); // neither does this
}

void Transport::Halt(Time now)
{
    Advance(now);
    if (IsRolling()) {
        Rest(TransportState::Stopped, now);
    }
}

void Transport::Advance(Time now)
{
    if (!IsRolling()) {
        return;
    }
    const std::int64_t dueTick = FrameAt(now - mAnchorTime, mRate);
    SkipLateTicks(dueTick);
    while (IsRolling() && mNextTick <= dueTick) {
        ReportTick();
    }
}

std::optional<Transport::Time> Transport::NextDeadline() const
{
    if (!IsRolling()) {
        return std::nullopt;
    }
    return mAnchorTime + FrameStart(mNextTick, mRate);
}

CallOutcome Transport::Carry(const HostCall& call, Time now)
{
    switch (call.kind) {
    case HostCallKind::StartRewind:
        return StartWind(TransportState::Rewinding, -mWindSpeed, now);
    case HostCallKind::StopRewind:
        return StopWind(TransportState::Rewinding, now);
    case HostCallKind::StartFastForward:
        return StartWind(TransportState::FastForwarding, mWindSpeed, now);
    case HostCallKind::StopFastForward:
        return StopWind(TransportState::FastForwarding, now);
    case HostCallKind::Stop:
        return Rest(TransportState::Stopped, now);
    case HostCallKind::Play:
        return Play(now);
    case HostCallKind::Record:
        return Record(now);
    case HostCallKind::Pause:
        return Rest(TransportState::Paused, now);
    case HostCallKind::Locate:
        return Locate(call.time, now);
    case HostCallKind::SetSMPTEActive:
        return CallOutcome::Done;
    }
    return CallOutcome::NoEffect;
}

CallOutcome Transport::Rest(TransportState state, Time now)
{
    if (mState == state) {
        return CallOutcome::NoEffect;
    }
    const bool wasRolling = IsRolling();
    PunchOut(mFrame);
    SetState(state, 0, false);
    if (wasRolling) {
        Tell([&](TransportSink& sink) { sink.OnPosition({mFrame, now, 0}); });
    }
    return CallOutcome::Done;
}

CallOutcome Transport::StartWind(TransportState wind, int speed, Time now)
{
    if (mState == wind) {
        return CallOutcome::NoEffect;
    }
    PunchOut(mFrame);
    Anchor(mFrame, now);
    SetState(wind, speed, false);
    return CallOutcome::Done;
}

CallOutcome Transport::StopWind(TransportState wind, Time now)
{
    return mState == wind ? Rest(TransportState::Stopped, now) : CallOutcome::NoEffect;
}

CallOutcome Transport::Play(Time now)
{
    if (mState == TransportState::Playing && !mIsRecording) {
        return CallOutcome::NoEffect;
    }
    PunchOut(mFrame);
    if (mState != TransportState::Playing) {
        Anchor(mFrame, now);
    }
    SetState(TransportState::Playing, 1, false);
    return CallOutcome::Done;
}

CallOutcome Transport::Record(Time now)
{
    if (mIsRecording) {
        return CallOutcome::NoEffect;
    }
    if (mState != TransportState::Playing) {
        Anchor(mFrame, now);
    }
    SetState(TransportState::Playing, 1, true);
    PunchIn();
    return CallOutcome::Done;
}

CallOutcome Transport::Locate(const SenderTime& time, Time now)
{
    const std::optional<FrameNumber> target = LocateTarget(time, mRate, mLocateRate);
    if (!target) {
        return CallOutcome::NoSuchTime;
    }
    const bool wasWinding = IsRolling() && mState != TransportState::Playing;
    const bool wasRecording = mIsRecording;
    PunchOut(mFrame);
    Anchor(std::clamp(*target, mFirstFrame, mLastFrame), now);
    if (wasWinding) {
        SetState(TransportState::Stopped, 0, false);
    } else if (wasRecording) {
        SetState(TransportState::Playing, 1, false);
    }
    Tell([&](TransportSink& sink) { sink.OnLocated({mFrame, now, mSpeed}); });
    return CallOutcome::Done;
}

void Transport::SkipLateTicks(std::int64_t dueTick)
{
    const std::int64_t late = dueTick - mNextTick;
    if (late >= 2) {
        mNextTick += late - late % 2;
        mSkippedFrames += late - late % 2;
    }
}

void Transport::ReportTick()
{
    const Time time = mAnchorTime + FrameStart(mNextTick, mRate);
    const FrameNumber frame = mAnchorFrame + mSpeed * mNextTick;
    if (frame > mLastFrame) {
        RestAtLimit(mLastFrame, time);
    } else if (frame < mFirstFrame) {
        RestAtLimit(mFirstFrame, time);
    } else {
        mFrame = frame;
        ++mNextTick;
        Tell([&](TransportSink& sink) { sink.OnPosition({frame, time, mSpeed}); });
    }
}

void Transport::RestAtLimit(FrameNumber limit, Time time)
{
    mFrame = limit;
    PunchOut(limit + 1);
    SetState(TransportState::Stopped, 0, false);
    Tell([&](TransportSink& sink) { sink.OnPosition({limit, time, 0}); });
}

void Transport::Anchor(FrameNumber frame, Time now)
{
    mFrame = frame;
    mAnchorFrame = frame;
    mAnchorTime = now;
    mNextTick = 0;
}

void Transport::SetState(TransportState state, int speed, bool isRecording)
{
    mState = state;
    mSpeed = speed;
    mIsRecording = isRecording;
    Tell([&](TransportSink& sink) { sink.OnState(state, isRecording); });
}

void Transport::PunchIn()
{
    const int number = static_cast<int>(mTakes.size()) + 1;
    mTakes.push_back({number, mFrame, mFrame, true});
    Tell([&](TransportSink& sink) { sink.OnTake(mTakes.back()); });
}

void Transport::PunchOut(FrameNumber outFrame)
{
    if (!mIsRecording) {
        return;
    }
    Take& take = mTakes.back();
    take.outFrame = outFrame;
    take.isOpen = false;
    Tell([&](TransportSink& sink) { sink.OnTake(take); });
}

template <typename Report> void Transport::Tell(Report report)
{
    for (TransportSink* const sink : mSinks) {
        report(*sink);
    }
}

} // namespace deck
