// All storage for what is on its way: a fixed number of packets of up to 256 bytes, taken
// and given back by any thread without a lock.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <CoreMIDI/CoreMIDI.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace midiservice {

using PacketIndex = std::uint32_t;
constexpr PacketIndex kNoPacket = 0xFFFFFFFF;

/// Bytes on their way, and where from and to.
struct Packet {
    HostTime time = 0;             // when it is due; 0 is at once
    HostTime stamp = 0;            // what the receiver is told
    MIDIObjectRef origin = 0;      // an output port, or a virtual source
    MIDIObjectRef destination = 0; // 0 for what a virtual source sends
    std::uint32_t epoch = 0;       // of EndpointOf(*this), when it was sent
    PacketIndex next = kNoPacket;  // the rest of one call's packets
    std::uint16_t length = 0;
    Piece piece = Piece::Message;
    std::array<std::uint8_t, kMaxPieceBytes> bytes{};
};

/// The endpoint that the packet belongs to: where it goes, or whose it is.
inline MIDIEndpointRef EndpointOf(const Packet& packet) noexcept
{
    return packet.destination != 0 ? packet.destination : packet.origin;
}

class PacketPool {
public:
    static constexpr std::uint32_t kCapacity = 8192;

    PacketPool() noexcept
    {
        for (PacketIndex index = 0; index < kCapacity; ++index)
            mNextFree[index].store(index + 1 < kCapacity ? index + 1 : kNoPacket);
        mHead.store(0);
    }

    /// A packet of the caller's own, or kNoPacket when all are taken. [any thread, real-time]
    PacketIndex TryTake() noexcept
    {
        std::uint64_t head = mHead.load();
        while (IndexOf(head) != kNoPacket) {
            const PacketIndex next = mNextFree[IndexOf(head)].load();
            if (mHead.compare_exchange_weak(head, WithTag(next, head))) {
                mTaken.fetch_add(1);
                return IndexOf(head);
            }
        }
        return kNoPacket;
    }

    /// [any thread, real-time]
    void Give(PacketIndex packet) noexcept
    {
        std::uint64_t head = mHead.load();
        do
            mNextFree[packet].store(IndexOf(head));
        while (!mHead.compare_exchange_weak(head, WithTag(packet, head)));
        mTaken.fetch_sub(1);
    }

    /// [any thread, real-time]
    bool IsAnyTaken() const noexcept { return mTaken.load() != 0; }

    Packet& operator[](PacketIndex packet) noexcept { return mPackets[packet]; }

private:
    static PacketIndex IndexOf(std::uint64_t head) noexcept
    {
        return static_cast<PacketIndex>(head);
    }

    // The upper half counts changes, so that a head that went and came back is not mistaken
    // for one that never moved.
    static std::uint64_t WithTag(PacketIndex index, std::uint64_t old) noexcept
    {
        return (((old >> 32) + 1) << 32) | index;
    }

    std::array<Packet, kCapacity> mPackets{};
    std::array<std::atomic<PacketIndex>, kCapacity> mNextFree{};
    std::atomic<std::uint64_t> mHead{0};
    std::atomic<std::int32_t> mTaken{0}; // written by whoever takes or gives
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
};

} // namespace midiservice
