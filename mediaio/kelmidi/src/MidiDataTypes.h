// The one value that carries MIDI bytes between ports and listeners, and the
// clock that its time stamps are taken from.

#pragma once

#include <cstddef>
#include <cstdint>

namespace kelmidi {

/// The most bytes that one message holds.
constexpr std::uint64_t kMaxMidiDataLength = 256;

/// Bytes of a message, all or nothing: what does not fit leaves the length 0 and is never cut.
/// No heap storage. [any thread, real-time]
struct MidiData {
    MidiData() noexcept
        : length(0)
    {
    }
    MidiData(const unsigned char* source, std::uint64_t sourceLength) noexcept
        : length(0)
    {
        Assign(source, sourceLength);
    }
    MidiData(const MidiData& other) noexcept
        : length(0)
    {
        Assign(other.bytes, other.length);
    }
    /// Copies the valid bytes only; the others stay what they were.
    MidiData& operator=(const MidiData& other) noexcept;
    ~MidiData() = default;

    unsigned char bytes[kMaxMidiDataLength]; // those from `length` on mean nothing
    std::uint64_t length;                    // 0 to 256

private:
    void Assign(const unsigned char* source, std::uint64_t sourceLength) noexcept;
};

/// One MIDI message, or several, or a piece of one: as many bytes as arrived or leave together.
/// [any thread, real-time]
struct MidiMessage {
    /// Empty. Not defaulted: `MidiMessage()` would then fill all the bytes with zeros.
    MidiMessage() noexcept {} // NOLINT(modernize-use-equals-default)
    /// Empty where `length` exceeds 256. `bytes` is not read where `length` is 0.
    MidiMessage(const unsigned char* bytes, unsigned long length) noexcept;
    MidiMessage(const unsigned char* bytes,
        unsigned long length,
        unsigned long long messageTimeStamp) noexcept;

    std::uint64_t timeStamp = 0; // host time units; 0: send at once
    MidiData data;
};

/// Now, in host time units. [any thread, real-time]
unsigned long long GetCurrentHostTime() noexcept;

/// `time` (host time units) moved by `nanoseconds`, back where they are negative. Wraps.
/// [any thread, real-time]
unsigned long long AddNanoSeconds(unsigned long long time, long long nanoseconds) noexcept;

} // namespace kelmidi
