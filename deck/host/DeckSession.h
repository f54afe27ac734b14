// A whole deck: the plug-in, the transport that it drives, and the position that
// goes back to it.

#pragma once

#include "deck/host/DeckEvents.h"
#include "deck/host/HostSuites.h"
#include "deck/host/MtcRelay.h"
#include "deck/host/OwnPorts.h"
#include "deck/host/Plugin.h"
#include "deck/host/PortSettings.h"
#include "deck/host/SurfaceLink.h"
#include "deck/host/UserPort.h"
#include "deck/transport/TransportThread.h"

#include <filesystem>
#include <string>
#include <vector>

namespace deck::host {

/// The numbers of the surfaces: the one that serves the user's ports, and the one of the deck's
/// own.
inline constexpr std::uint8_t kUsersSurface = 0;
inline constexpr std::uint8_t kOwnSurface = 1;
inline constexpr std::size_t kSurfaces = 2;
/// Of calls that no machine asked for, but the deck's own user.
inline constexpr std::uint8_t kNoSurface = 0xFF;

struct DeckSessionOptions {
    TransportSettings transport;
    /// The plug-in sends its MTC to the deck, which sends it on, in its rhythm or as it is.
    MtcPacerOptions pacing;
    /// Offers ports of the deck's own, where others can see them. They are served by a second
    /// instance of the plug-in, so that what comes in there and what comes in at the user's port
    /// stay two streams.
    bool hasOwnPorts = false;
    /// MTC that goes out is told as an event: to the user's port, or where none is chosen to the
    /// deck's own.
    bool tellsMTC = false;
};

class DeckSession {
public:
    /// Loads the plug-in, starts the transport. Throws HostError. [host, may block]
    DeckSession(const std::filesystem::path& bundle, const DeckSessionOptions& options);
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

    /// The instance that serves the user's ports.
    PluginInstance& Instance() noexcept { return *mUsers.instance; }
    /// Tells the surfaces what the transport does. [host]
    void Notify(TransportState state, bool isRecording);

    /// Brings the transport to rest for good; its last events are told by then. [host, may block]
    void Stop() { mTransport.Stop(); }

    /// Takes over the wind speed, the locate rate and how MTC is paced: from the next wind and the
    /// next locate on, and once the quarter frames that are scheduled are out. [any thread,
    /// real-time]
    void Tune(const TransportSettings& transport, const MtcPacerOptions& pacing) noexcept;

    DeckEvents& Events() noexcept { return mEvents; }
    TransportCommands& Commands() noexcept { return mTransport; }
    /// Null where the deck has none.
    const OwnPorts* Own() const noexcept { return mOwnPorts.get(); }
    /// MTC messages handed to the user's port and to the deck's own. [any thread]
    std::uint64_t SentMTC() const noexcept;
    /// Of the transport's clock. [any thread]
    deck::Punctuality Punctuality() const noexcept { return mTransport.GetPunctuality(); }
    std::uint64_t RefusedCalls() const noexcept { return mTransport.RefusedCalls(); }

private:
    /// Marks the calls of a surface, and sends them on.
    class MarkedCommands final : public TransportCommands {
    public:
        MarkedCommands(TransportCommands& commands, std::uint8_t surface)
            : mCommands(commands)
            , mSurface(surface)
        {
        }
        bool TryPost(const HostCall& call) noexcept override;

    private:
        TransportCommands& mCommands;
        std::uint8_t mSurface;
    };

    /// Tells of what it sends on.
    class HeardOutput final : public MtcOutput {
    public:
        HeardOutput(MtcOutput& output, DeckEvents& events)
            : mOutput(output)
            , mEvents(events)
        {
        }
        void BeHeard(bool isHeard) noexcept { mIsHeard.store(isHeard); }
        void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept override;
        void Flush() noexcept override { mOutput.Flush(); }

    private:
        MtcOutput& mOutput;
        DeckEvents& mEvents;
        std::atomic<bool> mIsHeard{false};
    };

    /// A surface and what it is connected to.
    struct Surface {
        Surface(DeckSession& session,
            const DeckSessionOptions& options,
            MtcOutput& outlet,
            std::uint8_t number);

        void Connect(const std::string& settings);
        void Disconnect();

        HeardOutput output;
        MtcRelay relay;
        SurfaceLink link;
        MarkedCommands commands;
        std::optional<PluginInstance> instance;
    };

    std::vector<TransportSink*> Sinks();
    void ConnectOwn(const PortSettings& users);

    // In order of need: what stands below uses what stands above.
    bool mTellsMTC;
    HostSuites mSuites;
    DeckEvents mEvents;
    std::unique_ptr<Clock> mClock;
    std::unique_ptr<OwnPorts> mOwnPorts; // null where the deck has none
    UserPort mUserPort;
    Surface mUsers;
    std::unique_ptr<Surface> mOwn; // null where the deck has no own ports
    TransportThread mTransport;
    Plugin mPlugin;
};

} // namespace deck::host
