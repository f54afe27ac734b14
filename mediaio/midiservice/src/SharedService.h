// The process's one service: chosen by KEL_MIDI_SERVICE, started by the first use.

#pragma once

#include "mediaio/midiservice/src/Service.h"

namespace midiservice {

/// `programName` counts for the call that starts the service only; empty is the name of the
/// executable. [host, may block]
Service& SharedService(const std::string& programName = {});

/// The service if it runs, else null. [any thread, real-time]
Service* RunningService() noexcept;

/// Ends it; the next use starts another. Nobody may be using it. [host, may block]
void StopSharedService();

/// What `operation` answers, or the code of what it threw.
template <typename Operation> OSStatus Guarded(Operation operation) noexcept
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return kNoRoomError;
    } catch (const std::exception&) {
        return kMIDIServerStartErr;
    }
}

} // namespace midiservice
