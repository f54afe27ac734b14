#include "EchoDevice.h"

#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

namespace kelmidi::tests {

namespace {

kelcore::utility::UTF16String IDOf(MIDIEndpointRef endpoint)
{
    SInt32 id = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, &id);
    return kelcore::utility::AsciiToUTF16(std::to_string(id));
}

} // namespace

EchoDevice::EchoDevice(const char* name)
{
    const CFStringOwner platformName = KELtoMAC(kelcore::utility::UTF8to16(name));
    MIDIClientCreate(platformName.get(), nullptr, nullptr, &mClient);
    MIDISourceCreate(mClient, CFSTR("Keys"), &mSource);
    MIDIDestinationCreate(mClient, CFSTR("Synth"), &EchoDevice::Echo, this, &mDestination);
    mSourceID = IDOf(mSource);
    mDestinationID = IDOf(mDestination);
}

EchoDevice::~EchoDevice()
{
    MIDIEndpointDispose(mDestination);
    MIDIEndpointDispose(mSource);
    MIDIClientDispose(mClient);
}

void EchoDevice::Send(const std::vector<unsigned char>& bytes) const
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        MIDIPacketList list;
        const std::size_t count = std::min(bytes.size() - sent, sizeof(list.packet[0].data));
        list.numPackets = 1;
        list.packet[0].timeStamp = 0;
        list.packet[0].length = static_cast<UInt16>(count);
        std::memcpy(list.packet[0].data, bytes.data() + sent, count);
        MIDIReceived(mSource, &list);
        sent += count;
    }
}

void EchoDevice::Echo(const MIDIPacketList* packets, void* device, void*)
{
    MIDIReceived(static_cast<const EchoDevice*>(device)->mSource, packets);
}

void UseBuiltinService()
{
    constexpr int kReplace = 1;
    setenv("KEL_MIDI_SERVICE", "builtin", kReplace);
}

} // namespace kelmidi::tests
