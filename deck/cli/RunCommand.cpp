#include "deck/cli/RunCommand.h"

#include "deck/cli/DeckMonitor.h"
#include "deck/cli/Display.h"
#include "deck/cli/ServiceStatus.h"
#include "deck/host/BundleLoader.h"
#include "deck/host/DeckSession.h"
#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"
#include "deck/host/SettingsFile.h"

namespace deck::cli {
namespace {

using namespace std::chrono_literals;
using Woken = StopSignals::Woken;

TransportSettings MakeTransportSettings(const RunOptions& options)
{
    TransportSettings settings;
    settings.rate = options.rate;
    settings.startFrame = options.startFrame;
    settings.windSpeed = options.windSpeed;
    return settings;
}

class Runner {
public:
    Runner(const RunOptions& options, const StopSignals& signals)
        : mOptions(options)
        , mSignals(signals)
        , mDisplay(MakeDisplay(options.json))
        , mSettings(options.settings)
        , mSession(options.bundle ? *options.bundle : host::FindBundle(),
              MakeTransportSettings(options),
              options.pacing)
    {
    }

    int Run()
    {
        if (!WaitForService()) {
            return kExitDone;
        }
        const std::string settings = TakeOverSettings();
        mSession.Connect(settings);
        mSettings.Save(mSession.Settings());
        DeckMonitor monitor(mSession, *mDisplay, mOptions.rate, mOptions.startFrame);
        monitor.SetPorts(host::ReadPortSettings(settings));
        SayWhatIsMissing(monitor.Status());
        return Loop(monitor);
    }

private:
    // False where the user ended the deck instead.
    bool WaitForService()
    {
        host::DeckEvents& events = mSession.Events();
        const host::MidiClient client("korva-deck", [&events] { events.Wake(); });
        bool isTold = false;
        for (ServiceStatus status = GetServiceStatus(); !status.IsRunning();
             status = GetServiceStatus()) {
            CheckMayWait("the MIDI service " + status.name + ": " + status.waitsFor);
            if (!isTold) {
                mDisplay->Tell("waiting", status.name + ": " + status.waitsFor);
                isTold = true;
            }
            if (mSignals.Wait({events.Descriptor()}, kServicePoll) == Woken::BySignal) {
                return false;
            }
            events.Clear();
        }
        return true;
    }

    void CheckMayWait(const std::string& what) const
    {
        if (mOptions.noWait) {
            throw HostError("not there: " + what, kExitNotThereYet);
        }
    }

    // The stored settings, with what the command line says about ports and MTC.
    std::string TakeOverSettings()
    {
        const std::string stored
            = mSettings.Load([this](const std::string& line) { mDisplay->Tell("warning", line); });
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

    static MIDIUniqueID Choose(host::PortDirection direction, const std::string& wanted)
    {
        return host::ChoosePort(host::ListPorts(direction), direction, wanted).id;
    }

    void SayWhatIsMissing(const DeckStatus& status)
    {
        if (!status.in.id || !status.out.id) {
            mDisplay->Tell("note",
                "no ports are chosen; `korva-deck ports` lists them, --in and --out choose two");
            return;
        }
        for (const PortStatus* const port : {&status.in, &status.out}) {
            if (!port->isThere) {
                const std::string text = "the port " + std::to_string(*port->id);
                CheckMayWait(text);
                mDisplay->Tell("waiting", text + " is not there yet; it is bound when it comes");
            }
        }
    }

    int Loop(DeckMonitor& monitor)
    {
        std::optional<std::chrono::milliseconds> interval;
        if (mOptions.statusInterval > 0) {
            interval = std::chrono::ceil<std::chrono::milliseconds>(
                std::chrono::duration<double>(mOptions.statusInterval));
        }
        auto due = std::chrono::steady_clock::now();
        Woken woken = Woken::ByTime;
        while (woken != Woken::BySignal) {
            const auto now = std::chrono::steady_clock::now();
            const bool isDue = interval && now >= due;
            if (isDue) {
                due = now + *interval;
            }
            monitor.Update(isDue);
            woken = mSignals.Wait({mSession.Events().Descriptor()}, Remaining(interval, due));
        }
        mDisplay->Tell("ended", "by a signal, everything released");
        return kExitDone;
    }

    static std::optional<std::chrono::milliseconds> Remaining(
        std::optional<std::chrono::milliseconds> interval,
        std::chrono::steady_clock::time_point due)
    {
        if (!interval) {
            return std::nullopt;
        }
        const auto left
            = std::chrono::ceil<std::chrono::milliseconds>(due - std::chrono::steady_clock::now());
        return std::max(left, 0ms);
    }

    // The service tells of a server that has come; this is for one that forgets to
    static constexpr std::chrono::milliseconds kServicePoll{1000};

    const RunOptions& mOptions;
    const StopSignals& mSignals;
    std::unique_ptr<Display> mDisplay;
    host::SettingsFile mSettings;
    host::DeckSession mSession;
};

} // namespace

int RunDeck(const RunOptions& options, const StopSignals& signals)
{
    return Runner(options, signals).Run();
}

} // namespace deck::cli
