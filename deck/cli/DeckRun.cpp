#include "deck/cli/DeckRun.h"

#include "deck/cli/Display.h"
#include "deck/cli/ServiceStatus.h"
#include "deck/host/BundleLoader.h"
#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"

namespace deck::cli {
namespace {

// The service tells of a server that has come; this is for one that forgets to
constexpr std::chrono::milliseconds kServicePoll{1000};

TransportSettings MakeTransportSettings(const RunOptions& options)
{
    TransportSettings settings;
    settings.rate = options.rate;
    settings.startFrame = options.startFrame;
    settings.firstFrame = options.firstFrame;
    settings.lastFrame = options.lastFrame;
    settings.windSpeed = options.windSpeed;
    settings.locateRate = options.locateRate;
    return settings;
}

MIDIUniqueID Choose(host::PortDirection direction, const std::string& wanted)
{
    return host::ChoosePort(host::ListPorts(direction), direction, wanted).id;
}

} // namespace

DeckRun::DeckRun(const RunOptions& options, const StopSignals& signals, Display& display)
    : mOptions(options)
    , mSignals(signals)
    , mDisplay(display)
    , mSettings(options.settings)
    , mSession(options.bundle ? *options.bundle : host::FindBundle(),
          {MakeTransportSettings(options), options.pacing, options.ownPorts, display.WantsMTC()})
{
}

bool DeckRun::Start()
{
    if (!WaitForService()) {
        return false;
    }
    const std::string settings = TakeOverSettings();
    mSession.Connect(settings);
    mSettings.Save(mSession.Settings());
    mMonitor.emplace(mSession, mDisplay, mOptions.rate, mOptions.startFrame, mOptions.revive);
    mMonitor->SetPorts(host::ReadPortSettings(settings));
    SayWhatIsMissing();
    return true;
}

void DeckRun::ChoosePorts(const host::PortSettings& ports)
{
    mSession.Connect(host::WithPortSettings(mSession.Settings(), ports));
    mSettings.Save(mSession.Settings());
    mMonitor->SetPorts(ports);
}

bool DeckRun::WaitForService()
{
    host::DeckEvents& events = mSession.Events();
    const host::MidiClient client("korva-deck", [&events] { events.Wake(); });
    bool isTold = false;
    for (ServiceStatus status = GetServiceStatus(); !status.IsRunning();
         status = GetServiceStatus()) {
        CheckMayWait("the MIDI service " + status.name + ": " + status.waitsFor);
        if (!isTold) {
            mDisplay.Tell("waiting", status.name + ": " + status.waitsFor);
            isTold = true;
        }
        if (mSignals.Wait({events.Descriptor()}, kServicePoll) == StopSignals::Woken::BySignal) {
            return false;
        }
        events.Clear();
    }
    return true;
}

void DeckRun::CheckMayWait(const std::string& what) const
{
    if (mOptions.noWait) {
        throw HostError("not there: " + what, kExitNotThereYet);
    }
}

/// The stored settings, with what the command line says about ports and MTC.
std::string DeckRun::TakeOverSettings()
{
    const std::string stored
        = mSettings.Load([this](const std::string& line) { mDisplay.Tell("warning", line); });
    host::PortSettings ports = host::ReadPortSettings(stored);
    if (mOptions.in) {
        ports.in = Choose(host::PortDirection::Source, *mOptions.in);
        ports.out = Choose(host::PortDirection::Destination, *mOptions.out);
        // Who names an output wants something to come out of it
        ports.transmitMTC = ports.transmitMTC.value_or(true);
    }
    if (mOptions.mtc) {
        ports.transmitMTC = mOptions.mtc;
    }
    return host::WithPortSettings(stored, ports);
}

void DeckRun::SayWhatIsMissing()
{
    const DeckStatus& status = mMonitor->Status();
    if (!status.in.id || !status.out.id) {
        mDisplay.Tell("note",
            std::string(
                "no ports are chosen; `korva-deck ports` lists them, --in and --out choose ")
                + "two"
                + (status.hasOwnPorts ? ", or connect the deck's own \"MMC in\" and \"MTC out\""
                                      : ""));
        return;
    }
    for (const PortStatus* const port : {&status.in, &status.out}) {
        if (!port->isThere) {
            const std::string text = "the port " + std::to_string(*port->id);
            CheckMayWait(text);
            mDisplay.Tell("waiting", text + " is not there yet; it is bound when it comes");
        }
    }
}

} // namespace deck::cli
