// The MIDI service may be there later than the deck: its server starts late, or
// is restarted.

#pragma once

#include <cstdint>
#include <string>

namespace deck::cli {

struct ServiceStatus {
    std::string name;     // "alsa", "jack" or "builtin"
    std::string waitsFor; // one line; empty where the service runs

    bool IsRunning() const noexcept { return waitsFor.empty(); }
};

/// Starts the service where it is not started yet. [host, may block]
ServiceStatus GetServiceStatus();

/// The service that runs. Throws HostError where it waits for its server. [host, may block]
ServiceStatus RequireService();

/// How many messages the service has lost: no room for them, or nobody there who could take them.
/// [any]
std::uint64_t CountLostMessages();

} // namespace deck::cli
