// Between the sequencer's events and the bytes of MIDI 1.0.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <alsa/asoundlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace midiservice::alsa {

/// For one thread at a time.
class EventCodec {
public:
    /// Throws std::bad_alloc.
    EventCodec();

    struct Bytes {
        const std::uint8_t* data = nullptr;
        std::size_t length = 0; // 0 for events that are no MIDI
    };

    /// The event's bytes, every message with its status byte; valid until the next call and
    /// as long as the event is. [receive, real-time]
    Bytes Decode(const snd_seq_event_t& event) noexcept;

    /// Fills in what the event carries. `bytes` is lent to the event. Bytes that are no whole
    /// message travel as they are, like a part of a SysEx. [receive, real-time]
    void Encode(const OutgoingMessage& message, snd_seq_event_t& event) noexcept;

private:
    struct Deleter {
        void operator()(snd_midi_event_t* it) const { snd_midi_event_free(it); }
    };

    std::unique_ptr<snd_midi_event_t, Deleter> mParser;
    std::array<std::uint8_t, 64> mBytes{}; // more than one event makes of messages
};

} // namespace midiservice::alsa
