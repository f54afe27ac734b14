// What the service counts, for those who watch it.

#pragma once

#include <atomic>
#include <cstdint>

namespace midiservice {

struct Counters {
    std::atomic<std::uint64_t> received{0};   // packets handed to read callbacks
    std::atomic<std::uint64_t> sent{0};       // messages the driver took
    std::atomic<std::uint64_t> dropped{0};    // lost because there was no room
    std::atomic<std::uint64_t> refused{0};    // sent to what is gone or cannot take it
    std::atomic<std::uint64_t> flushed{0};    // dropped by MIDIFlushOutput
    std::atomic<std::uint64_t> sysExSplit{0}; // SysEx of more than 256 bytes
};

/// Relaxed: a count publishes nothing but itself. [any thread, real-time]
inline void Count(std::atomic<std::uint64_t>& counter, std::uint64_t more = 1) noexcept
{
    counter.fetch_add(more, std::memory_order_relaxed);
}

} // namespace midiservice
