#include "deck/host/SurfaceLink.h"

namespace deck::host {

SurfaceLink::SurfaceLink(FrameRate rate, const Clock& clock)
    : mRate(rate)
    , mClock(clock)
{
}

void SurfaceLink::Attach(const SurfaceSMPTE& smpte)
{
    const std::lock_guard lock(mMutex);
    mSMPTE = smpte;
}

void SurfaceLink::Detach()
{
    const std::lock_guard lock(mMutex);
    mSMPTE = SurfaceSMPTE{};
    mWantsPositions = false;
}

void SurfaceLink::OnCall(const HostCall& call)
{
    if (call.kind == HostCallKind::SetSMPTEActive) {
        const std::lock_guard lock(mMutex);
        mWantsPositions = call.active != 0;
    }
}

void SurfaceLink::OnLocated(const Position& position)
{
    const Timecode time = ToTimecode(position.frame, mRate);
    const std::lock_guard lock(mMutex);
    if (CanTell()) {
        mSMPTE.table->GotoSMPTETime(mSMPTE.handle, mRate.SMPTEFormat(), time.hours, time.minutes,
            time.seconds, time.frames, 0);
    }
}

void SurfaceLink::OnPosition(const Position& position)
{
    const Timecode time = ToTimecode(position.frame, mRate);
    const std::lock_guard lock(mMutex);
    if (CanTell()) {
        // The moment of the frame has just passed, so the offset is a little below zero, which the
        // unsigned argument carries as it is
        const auto offset = position.time - mClock.Now();
        mSMPTE.table->TransmitFullFrame(mSMPTE.handle, static_cast<std::uint64_t>(offset.count()),
            static_cast<float>(position.speed), mRate.NominalFps(), uint8_t{mRate.IsDrop()},
            time.hours, time.minutes, time.seconds, time.frames);
    }
}

bool SurfaceLink::CanTell() const noexcept
{
    return mWantsPositions && mSMPTE.table != nullptr && mSMPTE.handle != nullptr;
}

} // namespace deck::host
