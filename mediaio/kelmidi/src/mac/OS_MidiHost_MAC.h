// The MIDI host on CoreMIDI's C interface.

#pragma once

#include "mediaio/kelmidi/src/MidiHost.h"

#include <CoreMIDI/CoreMIDI.h>

namespace kelmidi {

/// One client of the service with one port for all its sources and one for all its destinations.
/// Handles that the service refused are 0.
class OS_MidiHost : public MidiHost {
public:
    /// [host, may block]
    explicit OS_MidiHost(const kelcore::utility::UTF16String& clientName);

    /// [any thread, real-time]
    MIDIPortRef GetInPort() const noexcept { return mInPort; }
    MIDIPortRef GetOutPort() const noexcept { return mOutPort; }

private:
    ~OS_MidiHost() override;

    MIDIClientRef mClient = 0;
    MIDIPortRef mInPort = 0;
    MIDIPortRef mOutPort = 0;
};

} // namespace kelmidi
