// What the receive thread needs to send from one port of this process.

#pragma once

#include "mediaio/midiservice/src/Driver.h"
#include "mediaio/midiservice/src/alsa/PortTable.h"
#include "mediaio/midiservice/src/alsa/Sequencer.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace midiservice::alsa {

/// A MIDI client of this process, as a client of the sequencer.
struct Client {
    ClientKey key = 0;
    std::string name;
    std::unique_ptr<Sequencer> sequencer; // null while there is no sequencer
    // By port number: the input port or virtual destination that receives there, 0 for none.
    std::array<std::atomic<std::uint64_t>, 256> targets{};
};

/// An output port's subscriptions to destinations. A hardware port takes nothing from those
/// who are not subscribed, and subscribing may take a while: the receive thread only asks for
/// it, another thread does it.
class Links {
public:
    enum class State : std::uint8_t { Wanted, Ready };

    /// Whether the destination can be written to now; if not, it is noted as wanted.
    /// `isPresent(key)` tells which places can be given away. [receive, real-time]
    template <typename IsPresent> bool IsReady(EndpointKey endpoint, IsPresent isPresent) noexcept
    {
        std::size_t place = mLinks.size();
        for (std::size_t index = 0; index < mLinks.size(); ++index) {
            const std::uint64_t value = mLinks[index].load();
            if (value >> 1 == endpoint)
                return value == Pack(endpoint, State::Ready);
            if (place == mLinks.size() && (value == 0 || !isPresent(value >> 1)))
                place = index;
        }
        if (place < mLinks.size()) {
            mFullSince[place] = 0;
            mLinks[place].store(Pack(endpoint, State::Wanted));
        }
        return false;
    }

    /// When the destination was first found to have no room, or 0; for those that are ready.
    /// [receive, real-time]
    HostTime& FullSince(EndpointKey endpoint) noexcept
    {
        for (std::size_t index = 0; index < mLinks.size(); ++index)
            if (mLinks[index].load() >> 1 == endpoint)
                return mFullSince[index];
        return mFullSince[0];
    }

    /// The subscription has turned out to be gone. [receive, real-time]
    void Forget(EndpointKey endpoint) noexcept
    {
        for (auto& link : mLinks)
            if (link.load() == Pack(endpoint, State::Ready))
                link.store(0);
    }

    /// Calls `subscribe(key)` for each that is wanted. [driver, may block]
    template <typename Subscribe> bool Fulfil(Subscribe subscribe)
    {
        bool any = false;
        for (auto& link : mLinks) {
            std::uint64_t value = link.load();
            const EndpointKey endpoint = value >> 1;
            if (value == 0 || value != Pack(endpoint, State::Wanted))
                continue;
            subscribe(endpoint);
            // Ready even when refused: the write then fails, and tells why.
            link.compare_exchange_strong(value, Pack(endpoint, State::Ready));
            any = true;
        }
        return any;
    }

private:
    static std::uint64_t Pack(EndpointKey endpoint, State state) noexcept
    {
        return endpoint << 1 | static_cast<std::uint64_t>(state);
    }

    static constexpr std::size_t kCapacity = 64;

    std::array<std::atomic<std::uint64_t>, kCapacity> mLinks{};
    std::array<HostTime, kCapacity> mFullSince{}; // the receive thread's
};

struct Outlet {
    std::uint64_t key = 0; // an output port's, or a virtual source's
    std::shared_ptr<Client> client;
    int port = -1; // of the sequencer's client
    Links links;
    HostTime fullSince = 0; // of a virtual source's subscribers; the receive thread's
};

} // namespace midiservice::alsa
