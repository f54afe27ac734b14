// A deck that runs, with everything of its own but the loop: `run` waits for
// signals, the window for its user.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/cli/DeckMonitor.h"
#include "deck/cli/StopSignals.h"
#include "deck/host/DeckSession.h"
#include "deck/host/SettingsFile.h"

namespace deck::cli {

class DeckRun {
public:
    /// Loads the plug-in. The arguments outlive the object. Throws HostError. [host, may block]
    DeckRun(const RunOptions& options, const StopSignals& signals, Display& display);
    DeckRun(const DeckRun&) = delete;
    DeckRun& operator=(const DeckRun&) = delete;

    /// Waits for the MIDI service, then connects the plug-in to the stored ports or to those of the
    /// command line. False where the user ended the deck meanwhile. Throws HostError.
    /// [host, may block]
    bool Start();

    /// After Start.
    DeckMonitor& Monitor() { return *mMonitor; }
    host::DeckSession& Session() noexcept { return mSession; }

    /// Binds other ports, and keeps them for the next time. Throws HostError. [host, may block]
    void ChoosePorts(const host::PortSettings& ports);

private:
    bool WaitForService();
    void CheckMayWait(const std::string& what) const;
    std::string TakeOverSettings();
    void SayWhatIsMissing();

    const RunOptions& mOptions;
    const StopSignals& mSignals;
    Display& mDisplay;
    host::SettingsFile mSettings;
    host::DeckSession mSession;
    std::optional<DeckMonitor> mMonitor;
};

} // namespace deck::cli
