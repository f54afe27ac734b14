#include "deck/host/OwnPorts.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <string_view>

namespace deck::host {

OwnPorts::OwnPorts()
    : mClient("korva-deck")
{
    mInput = mClient.MakeSource("MMC relay");
    HideEndpoint(mInput);
    mTimecode = mClient.MakeSource("MTC out");
    mCommands = mClient.MakeDestination("MMC in", &OwnPorts::OnPackets, this);
}

bool OwnPorts::ArePossible()
{
    return std::string_view(KorvaMIDIServiceName()) != "builtin";
}

MIDIUniqueID OwnPorts::InputID() const
{
    return UniqueIDOf(mInput);
}

bool OwnPorts::Has(MIDIUniqueID id) const
{
    return id == UniqueIDOf(mTimecode) || id == UniqueIDOf(mCommands);
}

void OwnPorts::OnPackets(const MIDIPacketList* packets, void* self, void*)
{
    MIDIReceived(static_cast<OwnPorts*>(self)->mInput, packets);
}

void OwnPorts::Send(ByteView bytes, std::chrono::nanoseconds time) noexcept
{
    const MIDIPacketList packets = MakePacketList(bytes, time);
    if (KorvaMIDIServiceSendFrom(mTimecode, &packets) == 0) {
        mSent.fetch_add(1);
    }
}

void OwnPorts::Flush() noexcept
{
    KorvaMIDIServiceFlushSource(mTimecode);
}

} // namespace deck::host
