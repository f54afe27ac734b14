// The base of every surface that talks to its hardware over one MIDI input and
// one MIDI output, and follows devices that come and go.

#pragma once

#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceInfo.h"
#include "kelcore/utility/UTF16String.h"
#include "mediaio/kelmidi/src/MidiHost.h"
#include "mediaio/kelmidi/src/MidiListener.h"
#include "mediaio/kelmidi/src/MidiPort.h"

#include <boost/intrusive_ptr.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include <atomic>

namespace kelcontrolsurface {

/// Binds both configured ports or none, listens to the input port, and sends without ever waiting.
///
/// `Connect` and `Disconnect` do not lock by themselves: whoever calls them holds `LockBinding()`,
/// so that they never interleave with a setup change on the notification thread. A derived class
/// calls `EndSetupNotices()` and then `Disconnect()` first thing in its destructor, so that no
/// notice and no message meets a surface that is half gone.
class MIDIBasedControlSurface : public kelmidi::MidiListener {
public:
    /// Opens a MIDI host of its own under `clientName` and follows its setup changes.
    explicit MIDIBasedControlSurface(const kelcore::utility::UTF16String& clientName);
    /// Ends the setup notices and disconnects. An exception on the way ends the process.
    ~MIDIBasedControlSurface() override;

    MIDIBasedControlSurface(const MIDIBasedControlSurface&) = delete;
    MIDIBasedControlSurface& operator=(const MIDIBasedControlSurface&) = delete;

    /// Binds the two ports that `info` names, or none of them where one is not named or not there:
    /// the surface counts as connected all the same, and a later setup change may bind them.
    /// [host or notification, under LockBinding, may block]
    virtual void Connect(const MIDIDeviceInfo& info);

    /// Unbinds both ports. On return no message is being handled. Does nothing where the surface is
    /// not connected. [host or notification, under LockBinding, may block]
    virtual void Disconnect();

    /// Until `Resume`, setup changes are ignored; the ports stay as they are. [host]
    virtual void Suspend();
    virtual void Resume();

    /// Unbinds both ports where one of them went, and binds them (again) where one that is
    /// configured and not bound is there. Where that fails, for lack of memory say, neither is
    /// bound and the next change tries again. [notification, may block]
    virtual void OnMidiSetupChanged();

    /// [any thread, real-time]
    bool IsConnected() const noexcept { return mConnected; }

    /// Sends at once. Where the binding is being changed at this moment or no port is bound, the
    /// message is dropped. More than 256 bytes go out as an empty message. [any thread, never
    /// waits]
    void OutputMessage(const unsigned char* bytes, unsigned int length);

    /// The same with a time stamp, in host time units. [any thread, never waits]
    void OutputMessage(
        const unsigned char* bytes, unsigned int length, unsigned long long timeStamp);

    /// Keeps setup changes out for as long as the lock lives; recursive. Senders do not wait for
    /// it: their messages are dropped meanwhile. [host, may block]
    boost::unique_lock<boost::recursive_mutex> LockBinding();

    /// After it returns, no setup notice runs or will run. Not to be called while holding
    /// `LockBinding()`, for which a running notice may be waiting. [host, may block]
    void EndSetupNotices();

private:
    void FollowSetup();
    void BindConfiguredPorts();
    void UnbindInput();
    void UnbindOutput();
    void Send(const kelmidi::MidiMessage& message);

    boost::recursive_mutex mMutex; // guards the binding: host, ports and device info
    std::atomic<bool> mSuspended{false};
    std::atomic<bool> mConnected{false};
    boost::intrusive_ptr<kelmidi::MidiHost> mMidiHost; // fixed at construction; may be null
    boost::intrusive_ptr<kelmidi::MidiInputPort> mInputPort;
    boost::intrusive_ptr<kelmidi::MidiOutputPort> mOutputPort;
    MIDIDeviceInfo mDeviceInfo; // of the last Connect
};

} // namespace kelcontrolsurface
