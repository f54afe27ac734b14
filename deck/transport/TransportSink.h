// What the transport tells about itself, as it happens.

#pragma once

#include "deck/transport/HostCall.h"
#include "deck/transport/Timecode.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace deck {

enum class TransportState : std::uint8_t { Stopped, Playing, Paused, Rewinding, FastForwarding };

/// "stop", "play", "pause", "rewind", "forward".
std::string_view NameOf(TransportState state) noexcept;

/// Where the transport is. `time` is the ideal moment of the frame, on the transport's clock;
/// `speed` is in multiples of play speed, negative in reverse, 0 at rest.
struct Position {
    FrameNumber frame = 0;
    std::chrono::nanoseconds time{0};
    int speed = 0;

    bool operator==(const Position&) const = default;
};

/// From punch in to punch out; `outFrame` is the first frame that is no longer part of it.
struct Take {
    int number = 0; // from 1
    FrameNumber inFrame = 0;
    FrameNumber outFrame = 0;
    bool isOpen = true; // still being recorded; outFrame has no meaning yet

    bool operator==(const Take&) const = default;
};

/// What became of a host call.
enum class CallOutcome : std::uint8_t {
    Done,
    NoEffect,   // the transport was in that state already, or the wind was over
    Superseded, // a newer locate was waiting behind this one
    NoSuchTime  // a locate to a time outside the day
};

/// Every method is called on the transport's thread, in the order in which things happen, and
/// must not wait for MIDI.
class TransportSink {
public:
    virtual ~TransportSink() = default;

    /// Before anything that the call causes; OnOutcome comes after all of it.
    virtual void OnCall(const HostCall&) {}
    virtual void OnOutcome(const HostCall&, CallOutcome) {}
    virtual void OnState(TransportState, bool /*isRecording*/) {}
    /// After a locate, before any OnPosition from there.
    virtual void OnLocated(const Position&) {}
    /// Once a frame while rolling, and once when the transport comes to rest.
    virtual void OnPosition(const Position&) {}
    /// At punch in and at punch out.
    virtual void OnTake(const Take&) {}
};

} // namespace deck
