// Messages that the driver could not take yet, in order, for each endpoint.

#pragma once

#include "mediaio/midiservice/src/PacketPool.h"

#include <array>
#include <cstddef>

namespace midiservice {

/// [receive, real-time]
class Stalled {
public:
    bool IsEmpty() const noexcept { return mCount == 0; }

    /// Whether messages for this endpoint are waiting; later ones must wait behind them.
    bool Has(EndpointKey endpoint) const noexcept
    {
        for (std::size_t index = 0; index < mCount; ++index)
            if (mLines[index].endpoint == endpoint)
                return true;
        return false;
    }

    /// False when there is no place for another endpoint.
    bool Add(PacketPool& pool, EndpointKey endpoint, PacketIndex packet) noexcept
    {
        Line* line = Open(endpoint);
        if (line == nullptr)
            return false;
        pool[packet].next = kNoPacket;
        if (line->last != kNoPacket)
            pool[line->last].next = packet;
        else
            line->first = packet;
        line->last = packet;
        return true;
    }

    /// Offers the waiting packets to `offer(endpoint, packet)` until it returns false, for
    /// each endpoint; `offer` owns what it accepts.
    template <typename Offer> void Retry(PacketPool& pool, Offer offer) noexcept
    {
        for (std::size_t index = mCount; index-- > 0;) {
            Line& line = mLines[index];
            while (line.first != kNoPacket) {
                const PacketIndex next = pool[line.first].next;
                if (!offer(line.endpoint, line.first))
                    break;
                line.first = next;
            }
            if (line.first == kNoPacket)
                line = mLines[--mCount];
        }
    }

private:
    struct Line {
        EndpointKey endpoint = 0;
        PacketIndex first = kNoPacket;
        PacketIndex last = kNoPacket;
    };

    Line* Open(EndpointKey endpoint) noexcept
    {
        for (std::size_t index = 0; index < mCount; ++index)
            if (mLines[index].endpoint == endpoint)
                return &mLines[index];
        if (mCount == mLines.size())
            return nullptr;
        mLines[mCount] = Line{endpoint, kNoPacket, kNoPacket};
        return &mLines[mCount++];
    }

    std::array<Line, 512> mLines{};
    std::size_t mCount = 0;
};

} // namespace midiservice
