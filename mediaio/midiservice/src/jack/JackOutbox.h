// Messages on their way to JACK ports: the receive thread puts them in, the process callback
// writes each at its sample. Neither waits for the other, and nothing is allocated.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <boost/lockfree/spsc_queue.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace midiservice {

constexpr std::size_t kMaxJackOutputs = 256;

/// The port buffers of one cycle, as the process callback has them.
class JackCycle {
public:
    virtual ~JackCycle() = default;

    /// False when the output has been closed since, or another took its place.
    virtual bool HasOutput(std::uint32_t output, std::uint32_t serial) noexcept = 0;
    /// The longest event that still fits.
    virtual std::size_t Room(std::uint32_t output) noexcept = 0;
    virtual bool IsUntouched(std::uint32_t output) noexcept = 0;
    /// Room for an event, or null. Offsets never fall within a cycle.
    virtual std::uint8_t* Reserve(
        std::uint32_t output, std::uint32_t frame, std::size_t length) noexcept = 0;
    /// The frame at this time, 0 for what is past; beyond the cycle for what is not due in it.
    virtual std::uint64_t FrameAt(HostTime time) noexcept = 0;
    virtual std::uint32_t Frames() noexcept = 0;
};

class JackOutbox {
public:
    JackOutbox();

    /// Parts of one long SysEx are joined again, as far as a port buffer takes it: most JACK
    /// programs expect an event to be a whole message. [receive, real-time]
    SendResult Put(
        std::uint32_t output, std::uint32_t serial, const OutgoingMessage& message) noexcept;

    /// Writes what is due; what finds no room stays, in order, for the next cycle. Returns the
    /// number of messages dropped because they were flushed. [process callback, real-time]
    std::size_t Write(JackCycle& cycle) noexcept;

    /// True until the cycle in which the last of it was written is over. [any thread, real-time]
    bool HasUnsent() const noexcept { return mTaken.load() != mLeft.load(); }

private:
    using SlotIndex = std::uint32_t;
    static constexpr SlotIndex kNoSlot = 0xFFFFFFFF;
    static constexpr std::size_t kSlots = 4096;
    // The part of a port buffer that a joined SysEx may take: 16 KiB of the usual 32.
    static constexpr std::uint32_t kMaxJoinedSlots = 64;

    struct Slot {
        SlotIndex next = kNoSlot;
        std::uint16_t length = 0;
        std::array<std::uint8_t, kMaxPieceBytes> bytes{};
    };

    /// One or more slots that make one event.
    struct Item {
        HostTime time = 0;
        std::uint64_t arrival = 0;
        SlotIndex first = kNoSlot;
        std::uint32_t length = 0;
        std::uint32_t output = 0;
        std::uint32_t serial = 0;
        std::uint32_t epoch = 0;
        const std::atomic<std::uint32_t>* currentEpoch = nullptr;
    };

    /// A long SysEx of which more is to come.
    struct Join {
        Item item;
        SlotIndex last = kNoSlot;
        std::uint32_t slots = 0;
        PortKey port = 0;
        bool isOpen = false;
    };

    static bool IsLater(const Item& a, const Item& b) noexcept;
    SlotIndex TakeSlot() noexcept;
    bool ContinueJoin(Join& join, SlotIndex slot, const OutgoingMessage& message) noexcept;
    void Post(Item item) noexcept;
    bool WriteItem(JackCycle& cycle, Item& item) noexcept;
    bool WritePart(JackCycle& cycle, Item& item, std::uint32_t frame) noexcept;
    void CopyOut(Item& item, std::uint8_t* to, std::size_t length) noexcept;
    void GiveSlots(SlotIndex first) noexcept;

    std::array<Slot, kSlots> mSlots{};
    boost::lockfree::spsc_queue<SlotIndex, boost::lockfree::capacity<kSlots>> mFree;
    boost::lockfree::spsc_queue<Item, boost::lockfree::capacity<kSlots>> mPosted;

    std::atomic<std::uint64_t> mTaken{0}; // slots; written by the receive thread
    std::atomic<std::uint64_t> mLeft{0};  // slots; written by the process callback

    // The receive thread's.
    std::array<Join, kMaxJackOutputs> mJoins{};

    // The process callback's.
    std::array<Item, kSlots> mWaiting{}; // a heap, the first due on top
    std::size_t mWaitingCount = 0;
    std::array<Item, kSlots> mPutBack{};
    std::uint64_t mArrivals = 0;
    std::uint64_t mGiven = 0; // slots, this cycle's included
};

} // namespace midiservice
