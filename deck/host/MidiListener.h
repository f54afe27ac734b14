// Hears sources, one or all of them, as they come and go: what arrives waits in a
// queue for a thread that may take its time.

#pragma once

#include "deck/host/SourceConnection.h"
#include "deck/protocol/MMC.h"
#include "deck/transport/BoundedQueue.h"

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <memory>

namespace deck::host {

/// What came in from one source at one time; a longer packet comes in several.
struct HeardBytes {
    std::chrono::nanoseconds time{0}; // host time of arrival
    std::uint32_t source = 0;         // as Source() numbers them
    std::uint16_t length = 0;
    std::array<std::uint8_t, 256> bytes{};

    ByteView View() const noexcept { return ByteView(bytes.data(), length); }
};

class MidiListener {
public:
    /// Listens to the source of that ID, whether it is there or not, or to every source. Throws
    /// HostError. [host, may block]
    explicit MidiListener(std::optional<MIDIUniqueID> only = std::nullopt);
    MidiListener(const MidiListener&) = delete;
    MidiListener& operator=(const MidiListener&) = delete;

    struct Change {
        std::uint32_t source = 0;
        bool isThere = false;
    };
    /// Connects to what came and lets go of what went since the last call: what changed, new ones
    /// last and in the service's order. [host, may block]
    std::vector<Change> Update();

    /// Readable when there is something to take, or Update has something to do. [host]
    int Descriptor() const noexcept { return mEvent.descriptor; }
    /// Call it before Update and TryTake. [host]
    void Clear() noexcept;
    /// The next bytes in the order of their arrival. The times of one source never run backwards.
    /// [host]
    std::optional<HeardBytes> TryTake() noexcept;

    const MidiPort& Source(std::uint32_t source) const { return mSources.at(source).port; }
    /// Packets lost because nobody took them. [any thread]
    std::uint64_t Lost() const noexcept { return mLost.load(); }

private:
    struct Known {
        Known(std::uint32_t index, const MidiPort& source, MIDIPortRef input)
            : number(index)
            , port(source)
            , connection(input, this)
        {
        }
        Known(const Known&) = delete;
        Known& operator=(const Known&) = delete;

        const std::uint32_t number; // all that the receive thread reads
        MidiPort port;
        SourceConnection connection;
        std::chrono::nanoseconds last{0};
    };

    struct Event {
        Event();
        ~Event();
        Event(const Event&) = delete;
        Event& operator=(const Event&) = delete;
        int descriptor = -1;
    };

    static void OnPackets(const MIDIPacketList* packets, void* self, void* known);
    void Queue(const MIDIPacket& packet, std::uint32_t source) noexcept;
    void Wake() noexcept;
    Known& Know(const MidiPort& port);

    using PacketQueue = BoundedQueue<HeardBytes, 8192>;

    std::optional<MIDIUniqueID> mOnly;
    std::unique_ptr<PacketQueue> mQueue = std::make_unique<PacketQueue>();
    std::atomic<std::uint64_t> mLost{0}; // written by the receive thread
    std::atomic<bool> mIsWoken{false};   // set by whoever wakes, reset by Clear
    Event mEvent;
    std::deque<Known> mSources; // grows at its end only: none of them ever moves
    MidiClient mClient;         // after all that its callbacks use
    MIDIPortRef mPort = 0;
};

} // namespace deck::host
