// One connection of the program to the system's MIDI service.

#pragma once

#include "kelcore/utility/RefCounted.h"
#include "kelcore/utility/UTF16String.h"

#include <boost/function.hpp>
#include <boost/intrusive_ptr.hpp>
#include <boost/thread/recursive_mutex.hpp>

namespace kelmidi {

class MidiHost : public kelcore::utility::RefCountedObject {
public:
    /// Replaces the function that is called when MIDI devices come or go; an empty one ends the
    /// calls. Waits for a call that runs on another thread, so that afterwards the old function no
    /// longer runs. The function may replace itself, and may not destroy the host.
    /// [host, may block]
    void SetMidiSetupChangedFunction(const boost::function<void()>& function);

    /// Calls the function, if there is one. [notification, may block]
    void NotifyMidiSetupChanged();

protected:
    MidiHost() = default;
    ~MidiHost() override = default;

private:
    boost::function<void()> mSetupChangedFunction; // guarded by mMutex
    boost::recursive_mutex mMutex;                 // held during the call
};

/// Opens a connection under the name `clientName`. What the service refuses goes unreported: ports
/// of such a host neither receive nor send. [host, may block]
boost::intrusive_ptr<MidiHost> MidiHostCreate(const kelcore::utility::UTF16String& clientName);

} // namespace kelmidi
