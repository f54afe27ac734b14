#include "deck/host/MtcRelay.h"

#include "deck/host/MidiPackets.h"
#include "kelcore/utility/HighPrecisionTime.h"

namespace deck::host {

using kelcore::utility::HighPrecisionTime;

MtcRelay::MtcRelay(const MtcPacerOptions& options, MtcOutput& output)
    : mOutput(output)
    , mPacer(options, output)
    , mClient("korva-deck MTC")
{
    mInlet = mClient.MakeDestination("MTC pacing", &MtcRelay::OnPackets, this);
    HideEndpoint(mInlet);
}

MtcRelay::~MtcRelay()
{
    MIDIEndpointDispose(mInlet); // nothing arrives any more, and nothing stays scheduled
    mOutput.Flush();
}

MIDIUniqueID MtcRelay::InletID() const
{
    return UniqueIDOf(mInlet);
}

void MtcRelay::OnPackets(const MIDIPacketList* packets, void* self, void*)
{
    const std::chrono::nanoseconds now(HighPrecisionTime::ConvertToNanos(
        static_cast<std::int64_t>(HighPrecisionTime::GetCurrentTime())));
    ForEachPacket(*packets, [&](const MIDIPacket& packet) {
        static_cast<MtcRelay*>(self)->mPacer.OnMessage({packet.data, packet.length}, now);
    });
}

} // namespace deck::host
