// Cuts a stream of MIDI bytes into messages, however it was chopped on its way,
// and says what was wrong with those that are not whole.

#pragma once

#include "deck/protocol/MMC.h"

#include <chrono>
#include <functional>

namespace deck {

/// One message, or bytes that make none.
struct MidiEvent {
    Bytes bytes; // with the status byte, also where the sender left it out (running status)
    std::chrono::nanoseconds time{0}; // of its first byte
    std::chrono::nanoseconds end{0};  // of its last byte
    std::string problem;              // empty for a whole message
};

/// Never fails and never holds more than one message: a SysEx longer than kMaxSysEx is cut.
/// [one thread at a time]
class MidiStream {
public:
    static constexpr std::size_t kMaxSysEx = 65536;

    using Receiver = std::function<void(const MidiEvent&)>;

    /// `receiver` must not feed this stream.
    explicit MidiStream(Receiver receiver);

    /// `time` is when the bytes came. Real-time bytes inside another message come before it.
    void Feed(ByteView bytes, std::chrono::nanoseconds time);
    /// The stream ends: what was begun comes out as not whole.
    void Flush();

private:
    void TakeRealTime(std::uint8_t byte, std::chrono::nanoseconds time);
    void TakeStatus(std::uint8_t byte, std::chrono::nanoseconds time);
    void TakeData(std::uint8_t byte, std::chrono::nanoseconds time);
    void Begin(std::uint8_t byte, std::chrono::nanoseconds time);
    void Append(std::uint8_t byte, std::chrono::nanoseconds time);
    void Emit(std::string problem);
    void EmitIncomplete(std::string_view why);

    Receiver mReceiver;
    MidiEvent mEvent;
    std::size_t mWanted = 0; // length of the message begun; 0 for a SysEx or none
    std::uint8_t mRunningStatus = 0;
    bool mSkipping = false; // the rest of a SysEx that was cut
};

} // namespace deck
