// Ports on CoreMIDI's C interface. They keep the handles that they need, not their host.

#pragma once

#include "mediaio/kelmidi/src/MidiPort.h"

#include <CoreMIDI/CoreMIDI.h>

#include <atomic>

namespace kelmidi {

/// A source of the service, received through the host's input port.
class CoreMidiInputPort final : public MidiInputPort {
public:
    /// [host, may block]
    CoreMidiInputPort(MIDIPortRef inPort, MIDIEndpointRef source, std::uint32_t portTag);

    /// Asks the service each time. [host, may block]
    bool Connect() override;
    /// On return the service no longer calls us. [host, may block]
    void Disconnect() override;
    bool IsConnected() const override { return mConnected; }

private:
    ~CoreMidiInputPort() override;

    const MIDIPortRef mInPort;
    const MIDIEndpointRef mSource;
    std::atomic<bool> mConnected{false};
};

/// A destination of the service, sent to through the host's output port.
class CoreMidiOutputPort final : public MidiOutputPort {
public:
    /// [host, may block]
    CoreMidiOutputPort(MIDIPortRef outPort, MIDIEndpointRef destination, std::uint32_t portTag);

    /// Always succeeds, and asks nobody. [host]
    bool Connect() override;
    /// Drops what the service still holds for the destination. [host, may block]
    void Disconnect() override;
    bool IsConnected() const override { return mConnected; }

    /// Sends at once, whatever the message's time stamp says and whether connected or not:
    /// deliberate. Returns false for more than 256 bytes or where the service refuses.
    /// [any thread]
    bool SendMidiMessage(const MidiMessage& message) override;
    bool CanUseTimeStamp() const override { return true; }

private:
    ~CoreMidiOutputPort() override = default;

    const MIDIPortRef mOutPort;
    const MIDIEndpointRef mDestination;
    std::atomic<bool> mConnected{false};
};

} // namespace kelmidi
