#include "deck/cli/DeckMonitor.h"

#include "deck/cli/ServiceStatus.h"

#include <algorithm>

namespace deck::cli {
namespace {

// What the surface made of the message that deafened it has happened by then
constexpr std::chrono::milliseconds kRevivalDelay{50};

/// The name is that of the port, not of the one before it.
void Choose(PortStatus& port, std::optional<MIDIUniqueID> id)
{
    if (port.id != id) {
        port = {id, "", false};
    }
}

void LookFor(PortStatus& port, const std::vector<host::MidiPort>& present)
{
    const auto found = std::find_if(present.begin(), present.end(),
        [&port](const host::MidiPort& candidate) { return port.id == candidate.id; });
    port.isThere = found != present.end();
    if (port.isThere) {
        port.name = found->name;
    }
}

} // namespace

DeckMonitor::DeckMonitor(
    host::DeckSession& session, Display& display, FrameRate rate, FrameNumber frame, bool revives)
    : mSession(session)
    , mDisplay(display)
    , mRevives(revives)
    , mClient("korva-deck monitor",
          [this] {
              mSetupChanged.store(true);
              mSession.Events().Wake();
          })
    , mWatch(mClient,
          [this](const host::RawMMC& message) {
              mSession.Events().Push(host::MMCEvent{message, host::kUsersSurface});
          })
    , mOwnWatch(mClient, [this](const host::RawMMC& message) {
        mSession.Events().Push(host::MMCEvent{message, host::kOwnSurface});
    })
{
    mStatus.rate = rate;
    mStatus.frame = frame;
    mStatus.hasOwnPorts = mSession.Own() != nullptr;
    if (mStatus.hasOwnPorts) {
        mOwnWatch.Follow(mSession.Own()->InputID());
    }
}

void DeckMonitor::SetPorts(const host::PortSettings& ports)
{
    Choose(mStatus.in, ports.in);
    Choose(mStatus.out, ports.out);
    mStatus.mtc = ports.transmitMTC.value_or(mStatus.hasOwnPorts);
    ForgetDeafness(); // they were given to a surface connected anew
    LookAtPorts();
}

void DeckMonitor::Update(bool isDue)
{
    if (mSetupChanged.exchange(false)) {
        LookAtPorts();
    }
    while (const auto event = mSession.Events().TryPop()) {
        Take(*event);
    }
    if (UntilRevival() == std::chrono::milliseconds(0)) {
        Revive();
    }
    mStatus.lost = mSession.RefusedCalls() + mSession.Events().Dropped() + CountLostMessages();
    mStatus.clock = mSession.Punctuality();
    mStatus.picture = mDisplay.Picture();
    mDisplay.Show(mStatus, isDue);
}

void DeckMonitor::LookAtPorts()
{
    const ServiceStatus service = GetServiceStatus();
    mStatus.service = service.name;
    mStatus.waitsFor = service.waitsFor;
    const PortLists ports{
        ListPorts(host::PortDirection::Source), ListPorts(host::PortDirection::Destination)};
    LookFor(mStatus.in, ports.sources);
    LookFor(mStatus.out, ports.destinations);
    mWatch.Follow(mStatus.in.id.value_or(0));
    mDisplay.ShowPorts(ports);
}

std::vector<host::MidiPort> DeckMonitor::ListPorts(host::PortDirection direction) const
{
    std::vector<host::MidiPort> ports = host::ListPorts(direction);
    if (const host::OwnPorts* const own = mSession.Own()) {
        std::erase_if(ports, [own](const host::MidiPort& port) { return own->Has(port.id); });
    }
    return ports;
}

void DeckMonitor::Take(const host::DeckEvent& event)
{
    std::visit([this](const auto& what) { On(what); }, event.what);
}

void DeckMonitor::On(const host::CallEvent& event)
{
    // The surface says so once, when it is connected; no machine asked for it
    const bool isOfAMachine
        = event.call.surface != host::kNoSurface && event.call.kind != HostCallKind::SetSMPTEActive;
    mStatus.calls += isOfAMachine ? 1 : 0;
}

void DeckMonitor::On(const host::OutcomeEvent& event)
{
    if (event.call.kind == HostCallKind::Locate && event.call.surface != host::kNoSurface) {
        NoteLocate(event.call);
    }
    mDisplay.ShowCall(event.call, event.outcome);
}

/// Many senders set the rate bits wrong: said once, since every locate of theirs is so.
void DeckMonitor::NoteLocate(const HostCall& call)
{
    const auto rate = FrameRate::FromSMPTEFormat(call.time.timeFormat);
    mStatus.senderRate = rate ? std::string(rate->Name()) : "unknown";
    mStatus.isSenderAtFault = call.time.timeFormat != mStatus.rate.SMPTEFormat()
        || call.time.frames >= mStatus.rate.NominalFps();
    if (mStatus.isSenderAtFault && !mMismatchIsTold) {
        mMismatchIsTold = true;
        mDisplay.Tell("note",
            "the sender locates at " + mStatus.senderRate + " fps, the deck runs at "
                + std::string(mStatus.rate.Name())
                + "; --locate-rate says whose frame numbers count");
    }
}

void DeckMonitor::On(const host::StateEvent& event)
{
    mStatus.state = event.state;
    mStatus.isRecording = event.isRecording;
    mSession.Notify(event.state, event.isRecording);
}

void DeckMonitor::On(const host::LocatedEvent& event)
{
    mStatus.frame = event.position.frame;
    mStatus.speed = event.position.speed;
    mDisplay.ShowPosition(event.position);
}

void DeckMonitor::On(const host::PositionEvent& event)
{
    mStatus.frame = event.position.frame;
    mStatus.speed = event.position.speed;
    mDisplay.ShowPosition(event.position);
}

void DeckMonitor::On(const host::TakeEvent& event)
{
    mStatus.takes = event.take.number;
    mDisplay.ShowTake(event.take, mStatus.rate);
}

void DeckMonitor::On(const host::MMCEvent& event)
{
    ++mStatus.mmc;
    const ByteView bytes(event.message.bytes.data(), event.message.length);
    PluginModel& plugin = mPlugins.at(event.surface);
    const PluginPrediction prediction = plugin.Feed(bytes);
    mDisplay.ShowMMC(event.message, prediction);
    if (plugin.IsDeaf() && mStatus.deaf.empty()) {
        NoteDeafness(plugin);
    }
}

void DeckMonitor::NoteDeafness(const PluginModel& plugin)
{
    mStatus.deaf = plugin.DeafReason();
    if (mRevives) {
        mReviveAt = std::chrono::steady_clock::now() + kRevivalDelay;
    } else {
        mDisplay.Tell("warning", "the plug-in obeys nothing any more: " + mStatus.deaf);
    }
}

std::optional<std::chrono::milliseconds> DeckMonitor::UntilRevival() const
{
    if (!mReviveAt) {
        return std::nullopt;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        *mReviveAt - std::chrono::steady_clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

void DeckMonitor::Revive()
{
    mSession.Connect(mSession.Settings());
    mDisplay.Tell(
        "warning", "the plug-in obeyed nothing any more and was connected anew: " + mStatus.deaf);
    ForgetDeafness();
}

void DeckMonitor::ForgetDeafness()
{
    for (PluginModel& plugin : mPlugins) {
        plugin.Reset();
    }
    mStatus.deaf.clear();
    mReviveAt.reset();
}

} // namespace deck::cli
