// Cuts a run of bytes outside SysEx into whole messages with a status byte each, as services
// want them whose unit is the message (MIDI 1.0, "Running Status").

#pragma once

#include "mediaio/midiservice/src/SysExAssembler.h"

namespace midiservice {

/// The state of one origin's stream. Data bytes that belong to no message are passed on as
/// Loose: nothing is lost. [receive, real-time]
class MessageSplitter {
public:
    void Feed(
        HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept;

    /// A SysEx ends running status. What was begun is passed on as it is.
    void OnSysEx(HostTime time, PieceSink& sink) noexcept;

    bool IsIdle() const noexcept { return mRunning == 0 && mCount == 0; }

private:
    void OnStatus(HostTime time, std::uint8_t status, PieceSink& sink) noexcept;
    void OnData(HostTime time, std::uint8_t data, PieceSink& sink) noexcept;
    void PassUnfinished(HostTime time, PieceSink& sink) noexcept;

    std::array<std::uint8_t, 3> mBytes{};
    std::size_t mCount = 0;
    std::size_t mWanted = 0;   // bytes of the message that mBytes is collecting
    std::uint8_t mRunning = 0; // the channel message that data bytes repeat, or 0
};

} // namespace midiservice
