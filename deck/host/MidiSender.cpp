#include "deck/host/MidiSender.h"

#include "deck/host/HostError.h"

#include <cassert>
#include <cstring>
#include <limits>

namespace deck::host {

MidiSender::MidiSender(const MidiPort& destination)
    : mDestination(destination)
    , mClient("korva-deck send")
    , mPort(mClient.MakeOutputPort("out"))
{
    KorvaMIDIServiceGetCounters(&mBefore);
}

void MidiSender::Send(ByteView message)
{
    assert(message.size() <= std::numeric_limits<UInt16>::max());
    const auto endpoint = FindEndpoint(mDestination.id, PortDirection::Destination);
    if (!endpoint) {
        throw HostError(mDestination.name + " has gone; what follows was not sent", kExitFailed);
    }
    mPackets.assign(sizeof(MIDIPacketList) + message.size(), 0);
    // Packed: it may stand at any address
    auto* const packets = reinterpret_cast<MIDIPacketList*>(mPackets.data());
    packets->numPackets = 1;
    packets->packet[0].length = static_cast<UInt16>(message.size());
    std::memcpy(&mPackets[offsetof(MIDIPacketList, packet) + offsetof(MIDIPacket, data)],
        message.data(), message.size());
    if (MIDISend(mPort, *endpoint, packets) != 0) {
        throw HostError(
            "the MIDI service did not take the message: too much is waiting already", kExitFailed);
    }
}

bool MidiSender::HasUnsent() const
{
    return KorvaMIDIServiceHasUnsent() != 0;
}

std::uint64_t MidiSender::Lost() const
{
    KorvaMIDIServiceCounters now{};
    KorvaMIDIServiceGetCounters(&now);
    return now.dropped - mBefore.dropped + now.refused - mBefore.refused;
}

} // namespace deck::host
