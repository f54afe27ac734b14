// Where the deck's status goes: a terminal, a log, or a program that reads JSON.

#pragma once

#include "deck/cli/DeckStatus.h"
#include "deck/host/DeckEvents.h"
#include "deck/host/MidiPorts.h"
#include "deck/protocol/PluginModel.h"

#include <chrono>
#include <memory>
#include <vector>

namespace deck::cli {

/// Those of the MIDI service, but for the deck's own.
struct PortLists {
    std::vector<host::MidiPort> sources;
    std::vector<host::MidiPort> destinations;

    bool operator==(const PortLists&) const = default;
};

class Display {
public:
    virtual ~Display() = default;

    /// Something that the user should know, in one line: "warning", "waiting", "started".
    virtual void Tell(const std::string& event, const std::string& text) = 0;
    /// Called whenever something may have changed; `isDue` asks for a line in any case.
    virtual void Show(const DeckStatus& status, bool isDue) = 0;
    /// Once at first, then whenever the MIDI service says that they may have changed.
    virtual void ShowPorts(const PortLists&) {}
    virtual void ShowCall(const HostCall&, CallOutcome) {}
    virtual void ShowMMC(const host::RawMMC&, const PluginPrediction&) {}
    /// Every message of MTC that goes out, where somebody wants to see it.
    virtual bool WantsMTC() const { return false; }
    virtual void ShowMTC(const host::MTCEvent&) {}
    /// At punch in and at punch out.
    virtual void ShowTake(const Take&, FrameRate) {}
    /// Every frame that the transport reports.
    virtual void ShowPosition(const Position&) {}
    /// How the picture follows, where there is one.
    virtual std::optional<VideoStatus> Picture() const { return std::nullopt; }
};

/// JSON lines where `json`; else, on a terminal one line that is rewritten, and a line a change
/// elsewhere. Writes to standard output, warnings to standard error.
std::unique_ptr<Display> MakeDisplay(bool json);

} // namespace deck::cli
