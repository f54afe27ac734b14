// The packets of a list, one by one.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

namespace deck::host {

/// Calls `onPacket` with each packet. [receive, real-time]
template <typename Handler> void ForEachPacket(const MIDIPacketList& packets, Handler onPacket)
{
    const MIDIPacket* packet = &packets.packet[0];
    for (UInt32 i = 0; i < packets.numPackets; ++i) {
        onPacket(*packet);
        packet = MIDIPacketNext(packet);
    }
}

} // namespace deck::host
