// Sends to one destination, and knows when all of it has left.

#pragma once

#include "deck/host/MidiPorts.h"
#include "deck/protocol/MMC.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

namespace deck::host {

class MidiSender {
public:
    /// Throws HostError. [host, may block]
    explicit MidiSender(const MidiPort& destination);
    MidiSender(const MidiSender&) = delete;
    MidiSender& operator=(const MidiSender&) = delete;

    /// At once; `message` is at most 65535 bytes. Throws HostError where the port has gone or
    /// nothing more fits. [host, may block]
    void Send(ByteView message);

    /// Some of it is still on its way out. [host, may block]
    bool HasUnsent() const;
    /// Messages that were lost on their way: the port did not take them. [host]
    std::uint64_t Lost() const;

private:
    MidiPort mDestination;
    MidiClient mClient;
    MIDIPortRef mPort = 0;
    KorvaMIDIServiceCounters mBefore{};
    std::vector<std::uint8_t> mPackets;
};

} // namespace deck::host
