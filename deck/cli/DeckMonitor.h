// Follows a running deck and keeps its status: what the transport does, which
// ports are there, what came in.

#pragma once

#include "deck/cli/DeckStatus.h"
#include "deck/cli/Display.h"
#include "deck/host/DeckSession.h"
#include "deck/host/PortSettings.h"
#include "deck/protocol/PluginModel.h"

#include <atomic>
#include <chrono>
#include <optional>

namespace deck::cli {

class DeckMonitor {
public:
    /// Make it after the session has connected: notices of the MIDI service come in the order of
    /// their clients, so that the plug-in has bound its ports anew before the monitor says so.
    /// The session and the display outlive it. [host, may block]
    /// With `revives` it connects a surface anew that can hear nothing any more.
    DeckMonitor(host::DeckSession& session,
        Display& display,
        FrameRate rate,
        FrameNumber frame,
        bool revives);
    DeckMonitor(const DeckMonitor&) = delete;
    DeckMonitor& operator=(const DeckMonitor&) = delete;

    /// The ports that the plug-in was given. [host, may block]
    void SetPorts(const host::PortSettings& ports);

    /// Whether a surface that hears nothing any more is connected anew. [host]
    void SetRevives(bool revives) noexcept { mRevives = revives; }

    /// Takes in what has happened, and shows it. After Clear of the session's events.
    /// [host, may block]
    void Update(bool isDue);

    const DeckStatus& Status() const noexcept { return mStatus; }

    /// When Update is wanted for a revival, or nothing. [host]
    std::optional<std::chrono::milliseconds> UntilRevival() const;

private:
    void LookAtPorts();
    std::vector<host::MidiPort> ListPorts(host::PortDirection direction) const;
    void Take(const host::DeckEvent& event);

    void On(const host::CallEvent& event);
    void On(const host::OutcomeEvent& event);
    void On(const host::StateEvent& event);
    void On(const host::LocatedEvent& event);
    void On(const host::PositionEvent& event);
    void On(const host::TakeEvent& event);
    void On(const host::MMCEvent& event);
    void On(const host::MTCEvent& event) { mDisplay.ShowMTC(event); }
    void NoteLocate(const HostCall& call);
    void NoteDeafness(const PluginModel& plugin);
    void ForgetDeafness();
    void Revive();

    host::DeckSession& mSession;
    Display& mDisplay;
    DeckStatus mStatus;
    std::array<PluginModel, host::kSurfaces> mPlugins; // what each surface makes of the bytes
    bool mRevives;
    std::optional<std::chrono::steady_clock::time_point> mReviveAt;
    bool mMismatchIsTold = false;
    std::atomic<bool> mSetupChanged{false}; // set by the notification thread
    host::MidiClient mClient;
    host::MMCWatch mWatch;
    host::MMCWatch mOwnWatch; // follows the deck's own port, where there is one
};

} // namespace deck::cli
