#include "kelcontrolsurface/plugins/common/midi/src/MIDIBasedControlSurface.h"

#include "mediaio/kelmidi/src/MidiPortEnumerator.h"

#include <boost/bind/bind.hpp>

#include <set>

namespace kelcontrolsurface {

using kelcore::utility::UTF16String;
using kelmidi::MidiMessage;
using BindingLock = boost::unique_lock<boost::recursive_mutex>;

namespace {

constexpr unsigned int kPortTag = 0;

template <typename T> std::set<UTF16String> UniqueIDsOf(const kelmidi::MidiPortList<T>& ports)
{
    std::set<UTF16String> ids;
    for (const T& port : ports.GetPorts()) {
        ids.insert(port->GetUniqueID());
    }
    return ids;
}

// What a setup change means for the surface.
struct SetupChange {
    bool lost = false;  // a bound port went
    bool found = false; // a configured port that is not bound is there
};

void Judge(const kelmidi::MidiPort* bound,
    const UTF16String& configuredID,
    const std::set<UTF16String>& present,
    SetupChange& change)
{
    if (bound != nullptr) {
        change.lost |= present.count(bound->GetUniqueID()) == 0;
    } else {
        change.found |= present.count(configuredID) != 0;
    }
}

} // namespace

MIDIBasedControlSurface::MIDIBasedControlSurface(const UTF16String& clientName)
    : mMidiHost(kelmidi::MidiHostCreate(clientName))
{
    if (mMidiHost) {
        mMidiHost->SetMidiSetupChangedFunction(
            boost::bind(&MIDIBasedControlSurface::OnMidiSetupChanged, this));
    }
}

MIDIBasedControlSurface::~MIDIBasedControlSurface()
{
    EndSetupNotices();
    MIDIBasedControlSurface::Disconnect();
}

void MIDIBasedControlSurface::Connect(const MIDIDeviceInfo& info)
{
    if (mConnected) {
        Disconnect();
    }
    mDeviceInfo = info;
    if (!mMidiHost) {
        return;
    }
    UnbindInput();
    UnbindOutput();
    BindConfiguredPorts();
    mConnected = true;
}

void MIDIBasedControlSurface::Disconnect()
{
    if (!mConnected) {
        return;
    }
    UnbindInput();
    mConnected = false;
    UnbindOutput();
}

void MIDIBasedControlSurface::BindConfiguredPorts()
{
    const UTF16String inputID = mDeviceInfo.GetInputPortID();
    const UTF16String outputID = mDeviceInfo.GetOutputPortID();
    if (inputID.empty()) {
        return;
    }
    const auto input = kelmidi::MidiInputPortCreate(mMidiHost, inputID, kPortTag);
    if (!input || outputID.empty()) {
        return;
    }
    const auto output = kelmidi::MidiOutputPortCreate(mMidiHost, outputID, kPortTag, true);
    if (!output) {
        return;
    }
    mInputPort = input;
    mOutputPort = output;
    try {
        mInputPort->Connect();
        mOutputPort->Connect();
        mInputPort->AddListener(this);
    } catch (...) {
        UnbindInput();
        UnbindOutput();
        throw;
    }
}

void MIDIBasedControlSurface::UnbindInput()
{
    if (mInputPort) {
        mInputPort->Disconnect();
        mInputPort->RemoveListener(this);
        mInputPort.reset();
    }
}

void MIDIBasedControlSurface::UnbindOutput()
{
    if (mOutputPort) {
        mOutputPort->Disconnect();
        mOutputPort.reset();
    }
}

void MIDIBasedControlSurface::Suspend()
{
    mSuspended = true;
}

void MIDIBasedControlSurface::Resume()
{
    mSuspended = false;
}

void MIDIBasedControlSurface::OnMidiSetupChanged()
{
    const BindingLock lock(mMutex);
    if (mSuspended) {
        return;
    }
    try {
        FollowSetup();
    } catch (...) {
        // The MIDI service, whose thread this is, has nobody to tell; the next change tries again.
    }
}

void MIDIBasedControlSurface::FollowSetup()
{
    const auto enumerator = kelmidi::MidiPortEnumeratorCreate(mMidiHost);
    if (!enumerator) {
        return;
    }
    const std::set<UTF16String> inputs = UniqueIDsOf(enumerator->EnumInputPorts());
    const std::set<UTF16String> outputs = UniqueIDsOf(enumerator->EnumOutputPorts());

    SetupChange change;
    Judge(mInputPort.get(), mDeviceInfo.GetInputPortID(), inputs, change);
    Judge(mOutputPort.get(), mDeviceInfo.GetOutputPortID(), outputs, change);
    if (change.lost) {
        Disconnect();
    } else if (change.found) {
        // Deliberate: also where nobody has asked for a connection yet, or one port is missing.
        Connect(mDeviceInfo);
    }
}

void MIDIBasedControlSurface::OutputMessage(const unsigned char* bytes, unsigned int length)
{
    Send(MidiMessage(bytes, length));
}

void MIDIBasedControlSurface::OutputMessage(
    const unsigned char* bytes, unsigned int length, unsigned long long timeStamp)
{
    Send(MidiMessage(bytes, length, timeStamp));
}

void MIDIBasedControlSurface::Send(const MidiMessage& message)
{
    const BindingLock lock(mMutex, boost::try_to_lock);
    if (lock && mOutputPort) {
        mOutputPort->SendMidiMessage(message);
    }
}

boost::unique_lock<boost::recursive_mutex> MIDIBasedControlSurface::LockBinding()
{
    return BindingLock(mMutex);
}

void MIDIBasedControlSurface::EndSetupNotices()
{
    if (mMidiHost) {
        mMidiHost->SetMidiSetupChangedFunction(boost::function<void()>());
    }
}

} // namespace kelcontrolsurface
