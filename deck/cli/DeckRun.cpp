#include "deck/cli/DeckRun.h"

#include "deck/cli/DeckReload.h"
#include "deck/cli/Display.h"
#include "deck/host/BundleLoader.h"
#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"

namespace deck::cli {
namespace {

// The service tells of a server that has come; this is for one that forgets to
constexpr std::chrono::milliseconds kServicePoll{1000};

MIDIUniqueID Choose(host::PortDirection direction, const std::string& wanted)
{
    return host::ChoosePort(host::ListPorts(direction), direction, wanted).id;
}

} // namespace

DeckRun::DeckRun(
    const PlayOptions& options, const StopSignals& signals, ReloadSignal& reload, Display& display)
    : mOptions(options)
    , mSignals(signals)
    , mReload(reload)
    , mSettings(Options().settings)
    , mTakes(Options().takes, Options().reel, display)
    , mBoard({Options().command, mSettings.Path(), Options().takes})
    , mDisplay(display, mTakes, mBoard)
    , mSession(Options().bundle ? *Options().bundle : host::FindBundle(),
          {Options().transport, Options().pacing, Options().ownPorts, display.WantsMTC()})
    , mReader(Options().arguments, [this] { mSession.Events().Wake(); })
{
    ShowService({});
    Serve();
}

/// Whoever holds the settings file holds the socket's name too.
void DeckRun::Serve()
{
    try {
        mServer.emplace(StatusSocketPath(mSettings.Path()), [this] { return mBoard.Answer(); });
    } catch (const HostError& error) {
        mDisplay.Tell("warning", error.what());
    }
}

/// How the deck is before it has a monitor.
void DeckRun::ShowService(const ServiceStatus& service)
{
    mBefore.rate = Options().transport.rate;
    mBefore.frame = Options().transport.startFrame;
    mBefore.service = service.name;
    mBefore.waitsFor = service.waitsFor;
    mBoard.Post(mBefore);
}

bool DeckRun::Start()
{
    while (!TryStart()) {
        host::DeckEvents& events = mSession.Events();
        const auto woken = mSignals.Wait({events.Descriptor()}, kServicePoll);
        if (woken == StopSignals::Woken::BySignal || mReload.HasLostTerminal()) {
            return false;
        }
        events.Clear();
    }
    return true;
}

bool DeckRun::TryStart()
{
    if (!IsServiceThere()) {
        return false;
    }
    const std::string settings = TakeOverSettings();
    mSession.Connect(settings);
    if (!mPortWatch) {
        mSettings.Save(mSession.Settings());
    }
    mMonitor.emplace(mSession, mDisplay, Options().transport.rate, Options().transport.startFrame,
        Options().revive);
    mMonitor->SetPorts(host::ReadPortSettings(settings));
    SayWhatIsMissing();
    mIsStarted = true;
    return true;
}

void DeckRun::End()
{
    mSession.Stop();
    if (mMonitor) {
        mMonitor->Update(false);
    }
}

void DeckRun::ChoosePorts(const host::PortSettings& ports)
{
    mSession.Connect(host::WithPortSettings(mSession.Settings(), ports));
    mSettings.Save(mSession.Settings());
    mMonitor->SetPorts(ports);
}

bool DeckRun::IsServiceThere()
{
    const bool isFirst = !mServiceWatch;
    if (isFirst) { // opening a client starts the service
        mServiceWatch.emplace("korva-deck", [this] { mSession.Events().Wake(); });
    }
    const ServiceStatus status = GetServiceStatus();
    if (status.IsRunning()) {
        mServiceWatch.reset();
        return true;
    }
    CheckMayWait("the MIDI service " + status.name + ": " + status.waitsFor);
    if (isFirst) {
        ShowService(status);
        mDisplay.Tell("waiting", status.name + ": " + status.waitsFor);
    }
    return false;
}

void DeckRun::CheckMayWait(const std::string& what) const
{
    if (Options().noWait) {
        throw HostError("not there: " + what, kExitNotThereYet);
    }
}

/// The stored settings, with what the command line says about ports and MTC.
std::string DeckRun::TakeOverSettings()
{
    const std::string stored
        = mSettings.Load([this](const std::string& line) { mDisplay.Tell("warning", line); });
    host::PortSettings ports = host::ReadPortSettings(stored);
    try {
        FindPorts(Options(), ports);
    } catch (const HostError& error) {
        if (!Options().portsMayCome) {
            throw;
        }
        CheckMayWait(error.what());
        WaitForPorts(error.what());
        ports.in.reset();
        ports.out.reset();
    }
    return host::WithPortSettings(stored, ports);
}

/// What `options` say about ports and MTC. Throws HostError where a port is not there.
void DeckRun::FindPorts(const RunOptions& options, host::PortSettings& ports)
{
    if (options.in) {
        ports.in = Choose(host::PortDirection::Source, *options.in);
        ports.out = Choose(host::PortDirection::Destination, *options.out);
        // Who names an output wants something to come out of it
        ports.transmitMTC = ports.transmitMTC.value_or(true);
    }
    if (options.mtc) {
        ports.transmitMTC = options.mtc;
    }
}

/// A machine in a rack starts before what it is connected to.
void DeckRun::WaitForPorts(const std::string& why)
{
    mDisplay.Tell("waiting", why.substr(0, why.find('\n')) + " (taken when it comes)");
    if (!mPortWatch) {
        mPortsChanged.store(true); // it may have come since
        mPortWatch.emplace("korva-deck ports", [this] {
            mPortsChanged.store(true);
            mSession.Events().Wake();
        });
    }
}

void DeckRun::LookForPorts()
{
    if (!mPortWatch || !mPortsChanged.exchange(false)) {
        return;
    }
    host::PortSettings ports = host::ReadPortSettings(mSession.Settings());
    try {
        FindPorts(Options(), ports);
    } catch (const HostError&) {
        return; // not yet
    }
    mPortWatch.reset();
    ChoosePorts(ports);
    mDisplay.Tell("note", "the ports that the configuration names are there and taken");
}

void DeckRun::Update(bool isDue)
{
    mSession.Events().Clear(); // before anything is looked at that may have woken it
    if (mReload.TryTake()) {
        mReader.Begin();
    }
    TakeReloaded();
    LookForPorts();
    mMonitor->Update(isDue);
}

void DeckRun::TakeReloaded()
{
    try {
        if (const auto next = mReader.TryTake()) {
            TakeOver(*next);
        }
    } catch (const HostError& error) {
        const std::string why = error.what();
        mDisplay.Tell("warning", "not reloaded, nothing changes: " + why.substr(0, why.find('\n')));
    }
}

void DeckRun::TakeOver(const PlayOptions& next)
{
    const Changes changes = Compare(mOptions, next);
    if (changes.ports) {
        ReloadPorts(next.run);
    }
    mSession.Tune(next.run.transport, next.run.pacing);
    mMonitor->SetRevives(next.run.revive);
    TakeChanges(mOptions, next);
    mDisplay.Tell("reloaded", Describe(changes));
}

void DeckRun::ReloadPorts(const RunOptions& next)
{
    host::PortSettings ports = host::ReadPortSettings(mSession.Settings());
    try {
        FindPorts(next, ports);
        mPortWatch.reset();
        ChoosePorts(ports);
    } catch (const HostError& error) {
        if (!next.portsMayCome) {
            throw;
        }
        WaitForPorts(error.what()); // those of before stay until then
    }
}

void DeckRun::SayWhatIsMissing()
{
    const DeckStatus& status = mMonitor->Status();
    if (mPortWatch) {
        return; // said already
    }
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
