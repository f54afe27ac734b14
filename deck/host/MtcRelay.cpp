#include "deck/host/MtcRelay.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <algorithm>

namespace deck::host {

using kelcore::utility::HighPrecisionTime;

MtcRelay::MtcRelay(const MtcPacerOptions& options)
    : mPacer(options, *this)
    , mClient("korva-deck MTC", [this] { FindDestination(); })
{
    mPort = mClient.MakeOutputPort("MTC out");
    mInlet = mClient.MakeDestination("MTC pacing", &MtcRelay::OnPackets, this);
}

MtcRelay::~MtcRelay()
{
    MIDIEndpointDispose(mInlet); // nothing arrives any more, and nothing stays scheduled
    Flush();
}

MIDIUniqueID MtcRelay::InletID() const
{
    return UniqueIDOf(mInlet);
}

void MtcRelay::SetDestination(std::optional<MIDIUniqueID> id)
{
    mWanted.store(id ? *id : kNoPort);
    FindDestination();
}

void MtcRelay::FindDestination()
{
    const std::int64_t wanted = mWanted.load();
    const auto found = wanted == kNoPort
        ? std::nullopt
        : FindEndpoint(static_cast<MIDIUniqueID>(wanted), PortDirection::Destination);
    mDestination.store(found.value_or(0));
}

void MtcRelay::OnPackets(const MIDIPacketList* packets, void* self, void*)
{
    const std::chrono::nanoseconds now(HighPrecisionTime::ConvertToNanos(
        static_cast<std::int64_t>(HighPrecisionTime::GetCurrentTime())));
    const MIDIPacket* packet = &packets->packet[0];
    for (UInt32 i = 0; i < packets->numPackets; ++i) {
        static_cast<MtcRelay*>(self)->mPacer.OnMessage({packet->data, packet->length}, now);
        packet = MIDIPacketNext(packet);
    }
}

void MtcRelay::Send(ByteView bytes, std::chrono::nanoseconds time) noexcept
{
    const MIDIEndpointRef destination = mDestination.load();
    if (destination == 0) {
        return;
    }
    MIDIPacketList packets;
    packets.numPackets = 1;
    packets.packet[0].timeStamp
        = static_cast<MIDITimeStamp>(HighPrecisionTime::ConvertFromNanos(time.count()));
    packets.packet[0].length
        = static_cast<UInt16>(std::min(bytes.size(), sizeof packets.packet[0].data));
    std::copy_n(bytes.begin(), packets.packet[0].length, packets.packet[0].data);
    if (MIDISend(mPort, destination, &packets) == 0) {
        mSent.fetch_add(1);
    } else {
        mRefused.fetch_add(1);
    }
}

void MtcRelay::Flush() noexcept
{
    if (const MIDIEndpointRef destination = mDestination.load(); destination != 0) {
        MIDIFlushOutput(destination);
    }
}

} // namespace deck::host
