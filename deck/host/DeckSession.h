// A whole deck: the plug-in, the transport that it drives, and the position that
// goes back to it.

#pragma once

#include "deck/host/DeckEvents.h"
#include "deck/host/HostSuites.h"
#include "deck/host/MtcRelay.h"
#include "deck/host/Plugin.h"
#include "deck/host/SurfaceLink.h"
#include "deck/transport/TransportThread.h"

#include <filesystem>
#include <string>

namespace deck::host {

class DeckSession {
public:
    /// Loads the plug-in, starts the transport. With `pacing` the plug-in sends its MTC to the
    /// deck, which sends it on in its rhythm; else it sends to the user's port itself. Throws
    /// HostError. [host, may block]
    DeckSession(const std::filesystem::path& bundle,
        const TransportSettings& settings,
        const std::optional<MtcPacerOptions>& pacing = std::nullopt);
    /// Brings the transport to rest, disconnects, shuts down. [host, may block]
    ~DeckSession();
    DeckSession(const DeckSession&) = delete;
    DeckSession& operator=(const DeckSession&) = delete;

    /// Gives the instance its settings, which name the user's ports, and connects it.
    /// [host, may block]
    void Connect(const std::string& settings);
    /// The instance's settings, with the user's ports. [host]
    std::string Settings() const;
    /// [host, may block]
    void Disconnect();

    /// Brings the transport to rest for good; its last events are told by then. [host, may block]
    void Stop() { mTransport.Stop(); }

    /// From the next wind and the next locate on. [any thread, real-time]
    void Tune(int windSpeed, LocateRate locateRate) noexcept
    {
        mTransport.Tune(windSpeed, locateRate);
    }

    PluginInstance& Instance() noexcept { return mInstance; }
    DeckEvents& Events() noexcept { return mEvents; }
    TransportCommands& Commands() noexcept { return mTransport; }
    /// Null where MTC is not paced.
    const MtcRelay* Relay() const noexcept { return mRelay.get(); }
    std::uint64_t RefusedCalls() const noexcept { return mTransport.RefusedCalls(); }

private:
    std::string WithRelay(const std::string& settings);

    // In order of need: what stands below uses what stands above.
    HostSuites mSuites;
    DeckEvents mEvents;
    std::unique_ptr<Clock> mClock;
    std::unique_ptr<MtcRelay> mRelay; // null where MTC is not paced
    std::optional<MIDIUniqueID> mUsersOutput;
    SurfaceLink mLink;
    TransportThread mTransport;
    Plugin mPlugin;
    PluginInstance mInstance;
};

} // namespace deck::host
