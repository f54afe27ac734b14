// The deck's transport as a state machine: what each command does, and which
// frame it is when. It has no thread and no clock; see TransportThread.

#pragma once

#include "deck/transport/TransportSink.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace deck {

/// Whose frame numbers count where the sender of a locate runs at another rate than the deck.
enum class LocateRate : std::uint8_t {
    Sender, // the sender's: the position in real time
    Deck,   // the deck's, whatever the sender's rate bits say
    Auto    // the deck's, unless the deck's rate has no such frame: many senders' bits are wrong
};

struct TransportSettings {
    FrameRate rate = FrameRate::k25;
    FrameNumber startFrame = 0;             // where the transport stands at first
    FrameNumber firstFrame = 0;             // where a rewind ends
    std::optional<FrameNumber> lastFrame{}; // where everything else ends; else the day's last
    int windSpeed = 10;                     // multiple of play speed, from 2 up
    LocateRate locateRate = LocateRate::Sender;
};

/// What a locate means here. The numbers of a sender at the deck's nominal rate are taken as they
/// are; others are the position in real time, at the nearest frame (of two, the earlier). 24 and 30
/// cannot be told from 23.976 and 29.97 by their codes: at a deck of 1000/1001 rates they are taken
/// to be such too. Nothing where the hours, minutes or seconds do not exist.
std::optional<FrameNumber> LocateTarget(const SenderTime& time,
    FrameRate deckRate,
    LocateRate locateRate = LocateRate::Sender) noexcept;

/// Decisions: a locate while playing plays on from there, one while winding ends the wind, any
/// locate ends a take; play while recording punches out and rolls on; record at rest starts to
/// play; the end of a wind that nobody winds has no effect.
/// Time is any monotonic time in nanoseconds; it must not run backwards from call to call.
class Transport {
public:
    Transport(const TransportSettings& settings, std::vector<TransportSink*> sinks);

    /// Carries the call out as of `now`.
    void Handle(const HostCall& call, std::chrono::nanoseconds now);
    /// Tells the sinks that the call was left out for the sake of a newer one.
    void Supersede(const HostCall& call);

    /// Brings the transport to rest, without a command.
    void Halt(std::chrono::nanoseconds now);

    /// Reports the frames whose time has come by `now`, each with its ideal time. When `now` is
    /// frames too late they are left out, in pairs, rather than sent in a burst: MTC takes two
    /// frames to tell one position.
    void Advance(std::chrono::nanoseconds now);
    /// When `Advance` next has something to report; nothing at rest.
    std::optional<std::chrono::nanoseconds> NextDeadline() const;

    /// From the next wind and the next locate on. [any thread, real-time]
    void Tune(int windSpeed, LocateRate locateRate) noexcept;

    TransportState State() const noexcept { return mState; }
    FrameNumber Frame() const noexcept { return mFrame; }
    bool IsRecording() const noexcept { return mIsRecording; }
    const std::vector<Take>& Takes() const noexcept { return mTakes; }
    /// Frames left out because `Advance` came too late.
    std::int64_t SkippedFrames() const noexcept { return mSkippedFrames; }

private:
    using Time = std::chrono::nanoseconds;

    CallOutcome Carry(const HostCall& call, Time now);
    CallOutcome Rest(TransportState state, Time now);
    CallOutcome StartWind(TransportState wind, int speed, Time now);
    CallOutcome StopWind(TransportState wind, Time now);
    CallOutcome Play(Time now);
    CallOutcome Record(Time now);
    CallOutcome Locate(const SenderTime& time, Time now);

    bool IsRolling() const noexcept { return mSpeed != 0; }
    void SkipLateTicks(std::int64_t dueTick);
    void ReportTick();
    void RestAtLimit(FrameNumber limit, Time time);
    void Anchor(FrameNumber frame, Time now);
    void SetState(TransportState state, int speed, bool isRecording);
    void PunchIn();
    void PunchOut(FrameNumber outFrame);
    template <typename Report> void Tell(Report report);

    FrameRate mRate;
    FrameNumber mFirstFrame;
    FrameNumber mLastFrame;
    std::atomic<int> mWindSpeed;         // written by whoever tunes, as the next
    std::atomic<LocateRate> mLocateRate; // each holds for itself
    std::vector<TransportSink*> mSinks;

    TransportState mState = TransportState::Stopped;
    int mSpeed = 0;
    bool mIsRecording = false;
    FrameNumber mFrame;
    // Positions are counted from here, never added up: no error accumulates.
    Time mAnchorTime{0};
    FrameNumber mAnchorFrame = 0;
    std::int64_t mNextTick = 0; // frames of play since the anchor
    std::vector<Take> mTakes;
    std::int64_t mSkippedFrames = 0;
};

} // namespace deck
