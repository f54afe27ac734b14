// Listens to MIDI sources until a signal or a time, for every tool that does.

#pragma once

#include "deck/cli/StopSignals.h"
#include "deck/host/MidiListener.h"

#include <functional>

namespace deck::cli {

/// The ID of the source that `wanted` means. Throws HostError, also where the service waits for
/// its server. [host, may block]
MIDIUniqueID ChooseSource(const std::string& wanted);

class ListenLoop {
public:
    using Handler = std::function<void(const host::HeardBytes& heard, const host::MidiPort& from)>;

    /// `onHeard` runs in Run. The arguments outlive the object.
    ListenLoop(host::MidiListener& listener, const StopSignals& signals, Handler onHeard);

    /// Tells on standard error which sources come and go. Returns after `duration`, after a
    /// signal, or when `isDone` says so after something was heard. Throws HostError where
    /// something was lost. [host, may block]
    void Run(std::optional<std::chrono::nanoseconds> duration, const std::function<bool()>& isDone);

private:
    void Update();

    host::MidiListener& mListener;
    const StopSignals& mSignals;
    Handler mOnHeard;
};

} // namespace deck::cli
