// What a control surface asks of the deck's transport.

#pragma once

#include <cstdint>
#include <string_view>

namespace deck {

enum class HostCallKind : std::uint8_t {
    StartRewind,
    StopRewind,
    StartFastForward,
    StopFastForward,
    Stop,
    Play,
    Record,
    Pause,
    Locate,
    SetSMPTEActive
};

/// A locate's position as the sender wrote it: unchecked, in the sender's rate.
struct SenderTime {
    std::uint32_t timeFormat = 0; // a code of SMPTETimeFormat.h
    std::uint8_t hours = 0;
    std::uint8_t minutes = 0;
    std::uint8_t seconds = 0;
    std::uint8_t frames = 0;
    std::uint8_t subframes = 0;

    bool operator==(const SenderTime&) const = default;
};

/// One call on the host's tables; `time` is Locate's, `active` SetSMPTEActive's.
struct HostCall {
    HostCallKind kind = HostCallKind::Stop;
    SenderTime time{};
    std::int32_t active = 0;
    std::uint8_t surface = 0; // which of the deck's surfaces asks

    bool operator==(const HostCall&) const = default;
};

/// The name of the table's slot.
std::string_view NameOf(HostCallKind kind) noexcept;

/// Where the calls go.
class TransportCommands {
public:
    virtual ~TransportCommands() = default;

    /// Takes the call over for the transport's own thread; false where it had to be refused.
    /// [any thread, real-time]
    virtual bool TryPost(const HostCall& call) noexcept = 0;
};

} // namespace deck
