#include "mediaio/kelmidi/src/mac/OS_MidiHost_MAC.h"

#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"
#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

namespace kelmidi {

namespace {

// [notification, may block]
void MIDINotifyProc(const MIDINotification* notification, void* context)
{
    if (notification != nullptr && notification->messageID == kMIDIMsgSetupChanged) {
        static_cast<OS_MidiHost*>(context)->NotifyMidiSetupChanged();
    }
}

// [receive, real-time; allocates only to post a delivery pass]
void MidiInReadProcReadProc(const MIDIPacketList* packets, void*, void* connectionContext)
{
    // A release on another thread must not destroy the port meanwhile.
    const boost::intrusive_ptr<CoreMidiInputPort> port(
        static_cast<CoreMidiInputPort*>(connectionContext));
    if (!port) {
        return;
    }
    const MIDIPacket* packet = &packets->packet[0];
    for (UInt32 i = 0; i < packets->numPackets; ++i) {
        // The packet's time is not passed on: a received message carries none.
        port->HandleMessage(MidiMessage(packet->data, packet->length));
        packet = MIDIPacketNext(packet);
    }
}

} // namespace

OS_MidiHost::OS_MidiHost(const kelcore::utility::UTF16String& clientName)
{
    // A call that fails leaves its handle 0, and what uses that handle fails in turn.
    MIDIClientCreate(KELtoMAC(clientName).get(), &MIDINotifyProc, this, &mClient);
    MIDIInputPortCreate(mClient, CFSTR("Input port"), &MidiInReadProcReadProc, nullptr, &mInPort);
    MIDIOutputPortCreate(mClient, CFSTR("Output port"), &mOutPort);
}

OS_MidiHost::~OS_MidiHost()
{
    MIDIPortDispose(mOutPort);
    MIDIPortDispose(mInPort);
    MIDIClientDispose(mClient);
}

} // namespace kelmidi
