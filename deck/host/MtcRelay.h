// An output of the deck's own for the plug-in, inside the process: what arrives
// there goes on to an output, each quarter frame at its moment.

#pragma once

#include "deck/host/MidiPorts.h"
#include "deck/protocol/MtcPacer.h"

namespace deck::host {

class MtcRelay {
public:
    /// `output` outlives the relay. Throws HostError. [host, may block]
    MtcRelay(const MtcPacerOptions& options, MtcOutput& output);
    /// [host, may block]
    ~MtcRelay();
    MtcRelay(const MtcRelay&) = delete;
    MtcRelay& operator=(const MtcRelay&) = delete;

    /// What the plug-in is to send to. [host]
    MIDIUniqueID InletID() const;

    MtcPacer& Pacer() noexcept { return mPacer; }

private:
    static void OnPackets(const MIDIPacketList* packets, void* self, void*);

    MtcOutput& mOutput;
    MtcPacer mPacer;
    MIDIEndpointRef mInlet = 0;
    MidiClient mClient; // last: its callbacks use all of the above
};

} // namespace deck::host
