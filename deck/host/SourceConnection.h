// What listens to a source that comes and goes: MMCWatch tells of commands among
// the deck's other events, in one order with the calls that they cause; MidiListener
// keeps every byte of many sources for a thread that may take its time.

#pragma once

#include "deck/host/MidiPorts.h"

namespace deck::host {

/// One input port's connection to one source. It ends with the port.
class SourceConnection {
public:
    /// `context` comes with what arrives.
    SourceConnection(MIDIPortRef port, void* context)
        : mPort(port)
        , mContext(context)
    {
    }

    /// Connects to the source of that ID where it is there, and to nothing where it is not; true
    /// where that is a change. `whileApart` is called in between, when nothing arrives. Call it
    /// again after each setup change. [host, may block]
    bool Follow(
        MIDIUniqueID id, const std::function<void()>& whileApart = [] {});
    bool IsThere() const noexcept { return mSource != 0; }

private:
    MIDIPortRef mPort;
    void* mContext;
    MIDIEndpointRef mSource = 0; // 0 while it is away
};

} // namespace deck::host
