// Which ports count as endpoints, and under which keys: what the service is told.

#pragma once

#include "mediaio/midiservice/src/Driver.h"
#include "mediaio/midiservice/src/alsa/CardFacts.h"
#include "mediaio/midiservice/src/alsa/PortScan.h"

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace midiservice::alsa {

/// Filled by the watching thread; IsPresent and KeyOfSource may be asked by any.
class PortTable {
public:
    using ReadCard = std::function<CardFacts(int card)>;

    /// How long a port whose card udev is at work on is held back at most.
    static constexpr HostTime kLongestWait = 2 * kNanosPerSecond;

    PortTable();

    /// The port, or every port of the client, has gone. Whatever is found there later is
    /// another one, even under the same number and name.
    void OnPortGone(Address address);
    void OnClientGone(std::uint8_t client);
    void OnAnyGone();

    /// Takes over what a scan has found and returns all endpoints that are present.
    std::vector<EndpointFacts> Update(
        const std::vector<ScannedPort>& ports, const ReadCard& readCard, HostTime now);

    /// When the longest-held port is to be let through, if any is held back.
    std::optional<HostTime> Deadline() const;

    /// False when the key's endpoint has gone, even if another is in its place.
    /// [any thread, real-time]
    bool IsPresent(EndpointKey key) const noexcept;

    /// 0 when no endpoint is known there. [any thread, real-time]
    EndpointKey KeyOfSource(Address address) const noexcept;

    static Address AddressOf(EndpointKey key) noexcept
    {
        return Address::Unpacked(static_cast<std::uint16_t>(key));
    }

private:
    struct Entry {
        ScannedPort port;
        HostTime firstSeen = 0;
        std::uint32_t appearance = 0; // 0 while the port is held back
        HardwareFacts hardware;
    };

    static constexpr std::size_t kAddresses = 65536;

    void RemoveMissing(const std::vector<ScannedPort>& ports);
    void Remove(std::map<std::uint16_t, Entry>::iterator entry);
    void Admit(Entry& entry, const std::function<const CardFacts&(int)>& readCard, HostTime now);

    std::map<std::uint16_t, Entry> mEntries; // by packed address
    std::uint32_t mAppearances = 0;
    // The current appearance at each address, 0 for none; written by the watching thread only.
    std::unique_ptr<std::array<std::atomic<std::uint32_t>, kAddresses>> mCurrent;
};

/// How the endpoint of a port is recognised and shown.
IdentityFacts PortIdentity(
    const ScannedPort& port, const HardwareFacts& hardware, Direction direction);
std::string DisplayName(const ScannedPort& port);

} // namespace midiservice::alsa
