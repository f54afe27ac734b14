// A deck that runs, with everything of its own but the loop: `run` waits for
// signals, the window for its user.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/cli/DeckMonitor.h"
#include "deck/cli/OptionsReader.h"
#include "deck/cli/ReloadSignal.h"
#include "deck/cli/RunDisplay.h"
#include "deck/cli/ServiceStatus.h"
#include "deck/cli/StopSignals.h"
#include "deck/host/DeckSession.h"
#include "deck/host/SettingsFile.h"

#include <atomic>

namespace deck::cli {

class DeckRun {
public:
    /// Loads the plug-in. `signals`, `reload` and `display` outlive the object. Throws HostError.
    /// [host, may block]
    DeckRun(const PlayOptions& options,
        const StopSignals& signals,
        ReloadSignal& reload,
        Display& display);
    DeckRun(const DeckRun&) = delete;
    DeckRun& operator=(const DeckRun&) = delete;

    /// Waits for the MIDI service, then connects the plug-in to the stored ports or to those of the
    /// command line. False where the user, or the terminal's end, ended the deck meanwhile. Throws
    /// HostError. [host, may block]
    bool Start();

    /// The same for who cannot wait: false where the service is not there yet. Call it again when
    /// the session's events wake, or after a while. [host, may block]
    bool TryStart();
    bool IsStarted() const noexcept { return mIsStarted; }
    /// The configuration names ports that are not there. [host]
    bool WaitsForPorts() const noexcept { return mPortWatch.has_value(); }

    /// Takes in what has happened, and shows it. After the signal to reload it has the
    /// configuration read anew; once that is done it does what can be done while the deck runs, and
    /// tells what it did, or in one line why nothing changes. After Start. [host, may block]
    void Update(bool isDue);

    /// As they hold now.
    const RunOptions& Options() const noexcept { return mOptions.run; }

    /// After Start.
    DeckMonitor& Monitor() { return *mMonitor; }
    /// Before Start, too.
    const DeckStatus& Status() const noexcept { return mMonitor ? mMonitor->Status() : mBefore; }
    host::DeckSession& Session() noexcept { return mSession; }

    /// Brings the transport to rest and takes in the last of it, a take's end among it.
    /// [host, may block]
    void End();

    /// Binds other ports, and keeps them for the next time. Throws HostError. [host, may block]
    void ChoosePorts(const host::PortSettings& ports);

private:
    bool IsServiceThere();
    void Serve();
    void ShowService(const ServiceStatus& service);
    void CheckMayWait(const std::string& what) const;
    std::string TakeOverSettings();
    void FindPorts(const RunOptions& options, host::PortSettings& ports);
    void TakeReloaded();
    void TakeOver(const PlayOptions& next);
    void WaitForPorts(const std::string& why);
    void LookForPorts();
    void ReloadPorts(const RunOptions& next);
    void SayWhatIsMissing();

    PlayOptions mOptions;
    const StopSignals& mSignals;
    ReloadSignal& mReload;
    host::SettingsFile mSettings;
    TakeKeeper mTakes;
    StatusBoard mBoard;
    RunDisplay mDisplay;
    std::optional<StatusServer> mServer; // nothing where it cannot listen
    host::DeckSession mSession;
    std::optional<host::MidiClient> mServiceWatch; // while the service is not there
    DeckStatus mBefore;                            // until there is a monitor
    std::optional<DeckMonitor> mMonitor;
    bool mIsStarted = false;
    // While ports that the configuration names are not there
    std::atomic<bool> mPortsChanged{false}; // set by the notification thread
    std::optional<host::MidiClient> mPortWatch;
    OptionsReader mReader; // last: its thread uses the session
};

} // namespace deck::cli
