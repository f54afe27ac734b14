// Ports of the deck's own, with names that never change: other programs, a patchbay
// or a session manager connect to them, whichever is started first.

#pragma once

#include "deck/host/MidiPorts.h"
#include "deck/protocol/MtcPacer.h"

#include <atomic>

namespace deck::host {

/// "MMC in" and "MTC out" of the client "korva-deck".
class OwnPorts final : public MtcOutput {
public:
    /// Throws HostError. [host, may block]
    OwnPorts();
    OwnPorts(const OwnPorts&) = delete;
    OwnPorts& operator=(const OwnPorts&) = delete;

    /// False where no other program could see them. Starts the service. [host, may block]
    static bool ArePossible();

    /// The source that the plug-in is to listen to; what comes into "MMC in" comes out of it.
    /// [host]
    MIDIUniqueID InputID() const;

    bool Has(MIDIUniqueID id) const;

    /// Messages handed to "MTC out", whoever listens. [any thread]
    std::uint64_t Sent() const noexcept { return mSent.load(); }

    // MtcOutput [receive, real-time]
    void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept override;
    void Flush() noexcept override;

private:
    static void OnPackets(const MIDIPacketList* packets, void* self, void*);

    std::atomic<std::uint64_t> mSent{0};
    MIDIEndpointRef mInput = 0;    // a source that only this process sees
    MIDIEndpointRef mTimecode = 0; // "MTC out"
    MIDIEndpointRef mCommands = 0; // "MMC in"
    MidiClient mClient;            // last: its callbacks use all of the above
};

} // namespace deck::host
