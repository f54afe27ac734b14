// Passes the transport's position on to a connected surface, which makes MIDI
// Time Code of it.

#pragma once

#include "deck/host/Plugin.h"
#include "deck/protocol/MtcPacer.h"
#include "deck/transport/Clock.h"
#include "deck/transport/TransportSink.h"

#include <mutex>

namespace deck::host {

/// Tells the surface nothing before it asked for positions (SetSMPTEActive).
class SurfaceLink final : public TransportSink {
public:
    /// `clock` is the transport's. With a `pacer` frames are told so far ahead that their quarter
    /// frames can leave on time. `surface` is the number in the surface's calls. [host]
    SurfaceLink(
        FrameRate rate, const Clock& clock, MtcPacer* pacer = nullptr, std::uint8_t surface = 0);

    /// From now on `smpte` is called. [host, may block]
    void Attach(const SurfaceSMPTE& smpte);
    /// On return no call is running and none will come: do this before the surface is
    /// disconnected. [host, may block]
    void Detach();

    void OnCall(const HostCall& call) override;
    void OnLocated(const Position& position) override;
    void OnPosition(const Position& position) override;

private:
    bool CanTell() const noexcept;
    Position Ahead(const Position& position) const noexcept;
    bool IsToBeTold(const Position& position) noexcept;
    void TellJump(FrameNumber frame);
    void BeginAnew(const Position& present);

    FrameRate mRate;
    const Clock& mClock;
    std::uint8_t mSurface;
    MtcPacer* mPacer; // null: the plug-in's bursts go out as they are
    // Held for a call of the SMPTE suite, which does not wait; contended only while a surface
    // comes or goes.
    std::mutex mMutex;
    SurfaceSMPTE mSMPTE;          // guarded by mMutex
    bool mWantsPositions = false; // guarded by mMutex
    bool mIsNew = false;          // nothing was told to mSMPTE yet; guarded by mMutex
};

} // namespace deck::host
