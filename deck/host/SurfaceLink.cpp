#include "deck/host/SurfaceLink.h"

#include <utility>

namespace deck::host {

SurfaceLink::SurfaceLink(FrameRate rate, const Clock& clock, MtcPacer* pacer, std::uint8_t surface)
    : mRate(rate)
    , mClock(clock)
    , mSurface(surface)
    , mPacer(pacer)
{
}

void SurfaceLink::Attach(const SurfaceSMPTE& smpte)
{
    const std::lock_guard lock(mMutex);
    mSMPTE = smpte;
    mIsNew = true;
}

void SurfaceLink::Detach()
{
    const std::lock_guard lock(mMutex);
    mSMPTE = SurfaceSMPTE{};
    mWantsPositions = false;
}

void SurfaceLink::OnCall(const HostCall& call)
{
    if (call.kind == HostCallKind::SetSMPTEActive && call.surface == mSurface) {
        const std::lock_guard lock(mMutex);
        mWantsPositions = call.active != 0;
    }
}

void SurfaceLink::OnLocated(const Position& position)
{
    const std::lock_guard lock(mMutex);
    if (mPacer != nullptr) {
        mPacer->Restart();
    }
    if (CanTell()) {
        TellJump(position.frame);
    }
}

void SurfaceLink::TellJump(FrameNumber frame)
{
    const Timecode time = ToTimecode(frame, mRate);
    mIsNew = false;
    mSMPTE.table->GotoSMPTETime(
        mSMPTE.handle, mRate.SMPTEFormat(), time.hours, time.minutes, time.seconds, time.frames, 0);
}

void SurfaceLink::OnPosition(const Position& present)
{
    const std::lock_guard lock(mMutex);
    if (mPacer != nullptr && CanTell()) {
        BeginAnew(present);
    }
    const Position position = mPacer != nullptr ? Ahead(present) : present;
    if (!CanTell() || !IsToBeTold(position)) {
        return;
    }
    const Timecode time = ToTimecode(position.frame, mRate);
    // A moment that has just passed is an offset a little below zero, which the unsigned argument
    // carries as it is
    const auto offset = position.time - mClock.Now();
    mSMPTE.table->TransmitFullFrame(mSMPTE.handle, static_cast<std::uint64_t>(offset.count()),
        static_cast<float>(position.speed), mRate.NominalFps(), uint8_t{mRate.IsDrop()}, time.hours,
        time.minutes, time.seconds, time.frames);
}

/// A surface that has come while the transport rolls begins like after a locate, and so do quarter
/// frames that are paced in another way than before.
void SurfaceLink::BeginAnew(const Position& present)
{
    const bool isOtherwise = mPacer->TakeTuning(mClock.Now());
    const bool isNew = std::exchange(mIsNew, false);
    if (isNew) {
        mPacer->Restart(); // its quarter frames begin a cycle, whatever the last one's did
    }
    if (present.speed == 1 && (isNew || isOtherwise)) {
        TellJump(WrapToDay(Ahead(present).frame, mRate));
    }
}

/// At play speed what comes is known: the frame that the pacer wants to hear of by now.
Position SurfaceLink::Ahead(const Position& position) const noexcept
{
    if (position.speed != 1) {
        return position;
    }
    const auto frameTime = FrameStart(1, mRate);
    const FrameNumber frames
        = (mPacer->Lead() + frameTime - std::chrono::nanoseconds(1)) / frameTime;
    Position ahead = position;
    ahead.frame += frames;
    ahead.time += FrameStart(ahead.frame, mRate) - FrameStart(position.frame, mRate);
    return ahead;
}

bool SurfaceLink::IsToBeTold(const Position& position) noexcept
{
    if (mPacer == nullptr) {
        return true;
    }
    if (position.speed != 1) {
        mPacer->Restart();
        return true;
    }
    return mPacer->Report(WrapToDay(position.frame, mRate), mRate, position.time, mClock.Now());
}

bool SurfaceLink::CanTell() const noexcept
{
    return mWantsPositions && mSMPTE.table != nullptr && mSMPTE.handle != nullptr;
}

} // namespace deck::host
