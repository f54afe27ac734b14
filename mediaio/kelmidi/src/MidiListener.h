#pragma once

#include "mediaio/kelmidi/src/MidiDataTypes.h"

namespace kelmidi {

/// Receives what arrives at an input port. Ports hold listeners by plain pointer and own none.
class MidiListener {
public:
    /// Returns true to keep `message` from the listeners after this one. `message` is valid during
    /// the call only. Never called twice at once for one port. [delivery]
    virtual bool HandleMidiMessage(const MidiMessage& message, unsigned int portTag) = 0;

    virtual ~MidiListener() = default;

protected:
    MidiListener() = default;
    MidiListener(const MidiListener&) = default;
    MidiListener& operator=(const MidiListener&) = default;
};

} // namespace kelmidi
