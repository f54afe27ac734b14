// Packets that are not due yet, the earliest first; those due at the same time keep the
// order in which they came.

#pragma once

#include "mediaio/midiservice/src/PacketPool.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace midiservice {

/// Holds every packet of the pool at most, so it cannot be full. [receive, real-time]
class Schedule {
public:
    void Add(HostTime due, PacketIndex packet) noexcept
    {
        mEntries[mCount++] = {due, mArrivals++, packet};
        std::push_heap(mEntries.begin(), mEntries.begin() + mCount, IsLater);
    }

    bool IsEmpty() const noexcept { return mCount == 0; }
    HostTime FirstDue() const noexcept { return mEntries[0].due; }

    PacketIndex TakeFirst() noexcept
    {
        std::pop_heap(mEntries.begin(), mEntries.begin() + mCount, IsLater);
        return mEntries[--mCount].packet;
    }

    /// Takes out every packet for which `isGone` holds and hands it to `give`.
    template <typename IsGone, typename Give> void Remove(IsGone isGone, Give give) noexcept
    {
        const auto end = mEntries.begin() + mCount;
        const auto kept = std::stable_partition(
            mEntries.begin(), end, [&](const Entry& entry) { return !isGone(entry.packet); });
        for (auto entry = kept; entry != end; ++entry)
            give(entry->packet);
        mCount = kept - mEntries.begin();
        std::make_heap(mEntries.begin(), kept, IsLater);
    }

private:
    struct Entry {
        HostTime due = 0;
        std::uint64_t arrival = 0;
        PacketIndex packet = kNoPacket;
    };

    static bool IsLater(const Entry& a, const Entry& b) noexcept
    {
        return a.due != b.due ? a.due > b.due : a.arrival > b.arrival;
    }

    std::array<Entry, PacketPool::kCapacity> mEntries{};
    std::ptrdiff_t mCount = 0;
    std::uint64_t mArrivals = 0;
};

} // namespace midiservice
