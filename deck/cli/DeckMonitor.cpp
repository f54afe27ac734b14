#include "deck/cli/DeckMonitor.h"

#include "deck/cli/ServiceStatus.h"

namespace deck::cli {

DeckMonitor::DeckMonitor(
    host::DeckSession& session, Display& display, FrameRate rate, FrameNumber frame)
    : mSession(session)
    , mDisplay(display)
    , mClient("korva-deck monitor",
          [this] {
              mSetupChanged.store(true);
              mSession.Events().Wake();
          })
    , mWatch(mClient,
          [this](const host::RawMMC& message) { mSession.Events().Push(host::MMCEvent{message}); })
{
    mStatus.rate = rate;
    mStatus.frame = frame;
}

void DeckMonitor::SetPorts(const host::PortSettings& ports)
{
    mStatus.in.id = ports.in;
    mStatus.out.id = ports.out;
    mStatus.mtc = ports.transmitMTC.value_or(false);
    LookAtPorts();
}

void DeckMonitor::Update(bool isDue)
{
    mSession.Events().Clear();
    if (mSetupChanged.exchange(false)) {
        LookAtPorts();
    }
    while (const auto event = mSession.Events().TryPop()) {
        Take(*event);
    }
    mStatus.lost = mSession.RefusedCalls() + mSession.Events().Dropped();
    mDisplay.Show(mStatus, isDue);
}

void DeckMonitor::LookAtPorts()
{
    const ServiceStatus service = GetServiceStatus();
    mStatus.service = service.name;
    mStatus.waitsFor = service.waitsFor;
    LookAtPort(mStatus.in, host::PortDirection::Source);
    LookAtPort(mStatus.out, host::PortDirection::Destination);
    mWatch.Follow(mStatus.in.id.value_or(0));
}

void DeckMonitor::LookAtPort(PortStatus& port, host::PortDirection direction)
{
    port.isThere = false;
    for (const host::MidiPort& present : host::ListPorts(direction)) {
        if (port.id == present.id) {
            port.name = present.name;
            port.isThere = true;
        }
    }
}

void DeckMonitor::Take(const host::DeckEvent& event)
{
    std::visit([this](const auto& what) { On(what); }, event.what);
}

void DeckMonitor::On(const host::CallEvent& event)
{
    // The surface says so once, when it is connected; no machine asked for it
    if (event.call.kind != HostCallKind::SetSMPTEActive) {
        ++mStatus.calls;
    }
}

void DeckMonitor::On(const host::OutcomeEvent& event)
{
    mDisplay.ShowCall(event.call, event.outcome);
}

void DeckMonitor::On(const host::StateEvent& event)
{
    mStatus.state = event.state;
    mStatus.isRecording = event.isRecording;
    mSession.Instance().Notify(event.state, event.isRecording);
}

void DeckMonitor::On(const host::LocatedEvent& event)
{
    mStatus.frame = event.position.frame;
    mStatus.speed = event.position.speed;
}

void DeckMonitor::On(const host::PositionEvent& event)
{
    mStatus.frame = event.position.frame;
    mStatus.speed = event.position.speed;
}

void DeckMonitor::On(const host::TakeEvent& event)
{
    mStatus.takes = event.take.number;
}

void DeckMonitor::On(const host::MMCEvent& event)
{
    ++mStatus.mmc;
    mDisplay.ShowMMC(event.message);
}

} // namespace deck::cli
