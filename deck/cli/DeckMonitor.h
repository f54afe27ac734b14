// Follows a running deck and keeps its status: what the transport does, which
// ports are there, what came in.

#pragma once

#include "deck/cli/DeckStatus.h"
#include "deck/cli/Display.h"
#include "deck/host/DeckSession.h"
#include "deck/host/PortSettings.h"

#include <atomic>

namespace deck::cli {

class DeckMonitor {
public:
    /// Make it after the session has connected: notices of the MIDI service come in the order of
    /// their clients, so that the plug-in has bound its ports anew before the monitor says so.
    /// The session and the display outlive it. [host, may block]
    DeckMonitor(host::DeckSession& session, Display& display, FrameRate rate, FrameNumber frame);
    DeckMonitor(const DeckMonitor&) = delete;
    DeckMonitor& operator=(const DeckMonitor&) = delete;

    /// The ports that the plug-in was given. [host, may block]
    void SetPorts(const host::PortSettings& ports);

    /// Takes in what has happened, and shows it. [host, may block]
    void Update(bool isDue);

    const DeckStatus& Status() const noexcept { return mStatus; }

private:
    void LookAtPorts();
    void LookAtPort(PortStatus& port, host::PortDirection direction);
    void Take(const host::DeckEvent& event);

    void On(const host::CallEvent& event);
    void On(const host::OutcomeEvent& event);
    void On(const host::StateEvent& event);
    void On(const host::LocatedEvent& event);
    void On(const host::PositionEvent& event);
    void On(const host::TakeEvent& event);
    void On(const host::MMCEvent& event);
    void On(const host::MTCEvent&) {}

    host::DeckSession& mSession;
    Display& mDisplay;
    DeckStatus mStatus;
    std::atomic<bool> mSetupChanged{false}; // set by the notification thread
    host::MidiClient mClient;
    host::MMCWatch mWatch;
};

} // namespace deck::cli
