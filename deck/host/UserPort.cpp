#include "deck/host/UserPort.h"

namespace deck::host {

UserPort::UserPort()
    : mClient("korva-deck output", [this] { Find(); })
{
    mPort = mClient.MakeOutputPort("MTC out");
}

void UserPort::Choose(std::optional<MIDIUniqueID> id)
{
    mWanted.store(id ? *id : kNoPort);
    Find();
}

std::optional<MIDIUniqueID> UserPort::Chosen() const
{
    const std::int64_t wanted = mWanted.load();
    return wanted == kNoPort ? std::nullopt : std::optional(static_cast<MIDIUniqueID>(wanted));
}

void UserPort::Find()
{
    const auto wanted = Chosen();
    const auto found = wanted ? FindEndpoint(*wanted, PortDirection::Destination) : std::nullopt;
    mDestination.store(found.value_or(0));
}

void UserPort::Send(ByteView bytes, std::chrono::nanoseconds time) noexcept
{
    const MIDIEndpointRef destination = mDestination.load();
    if (destination == 0) {
        return;
    }
    const MIDIPacketList packets = MakePacketList(bytes, time);
    if (MIDISend(mPort, destination, &packets) == 0) {
        mSent.fetch_add(1);
    }
}

void UserPort::Flush() noexcept
{
    if (const MIDIEndpointRef destination = mDestination.load(); destination != 0) {
        MIDIFlushOutput(destination);
    }
}

} // namespace deck::host
