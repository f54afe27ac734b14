// A whole deck: the plug-in, the transport that it drives, and the position that
// goes back to it.

#pragma once

#include "deck/host/DeckEvents.h"
#include "deck/host/HostSuites.h"
#include "deck/host/Plugin.h"
#include "deck/host/SurfaceLink.h"
#include "deck/transport/TransportThread.h"

#include <filesystem>
#include <string>

namespace deck::host {

class DeckSession {
public:
    /// Loads the plug-in, starts the transport. Throws HostError. [host, may block]
    DeckSession(const std::filesystem::path& bundle, const TransportSettings& settings);
    /// Brings the transport to rest, disconnects, shuts down. [host, may block]
    ~DeckSession();
    DeckSession(const DeckSession&) = delete;
    DeckSession& operator=(const DeckSession&) = delete;

    /// Gives the instance its settings and connects it. [host, may block]
    void Connect(const std::string& settings);
    /// [host, may block]
    void Disconnect();

    PluginInstance& Instance() noexcept { return mInstance; }
    DeckEvents& Events() noexcept { return mEvents; }
    TransportCommands& Commands() noexcept { return mTransport; }
    std::uint64_t RefusedCalls() const noexcept { return mTransport.RefusedCalls(); }

private:
    // In order of need: what stands below uses what stands above.
    HostSuites mSuites;
    DeckEvents mEvents;
    std::unique_ptr<Clock> mClock;
    SurfaceLink mLink;
    TransportThread mTransport;
    Plugin mPlugin;
    PluginInstance mInstance;
};

} // namespace deck::host
