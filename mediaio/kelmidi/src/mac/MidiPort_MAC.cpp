#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"

#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

#include <cstdio>
#include <cstring>

namespace kelmidi {

using kelcore::utility::UTF16String;

namespace {

constexpr OSStatus kNoError = 0;

UTF16String GetDisplayNameProperty(MIDIEndpointRef endpoint)
{
    CFStringRef name = nullptr;
    MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, &name);
    const CFStringOwner owner(name);
    return owner ? MACtoKEL(owner.get()) : UTF16String();
}

UTF16String GetUniqueIDProperty(MIDIEndpointRef endpoint)
{
    SInt32 uniqueID = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, &uniqueID);
    char text[16]; // a 32-bit number takes 11 characters at most
    std::snprintf(text, sizeof(text), "%i", static_cast<int>(uniqueID));
    return kelcore::utility::AsciiToUTF16(text);
}

MIDIPacketList MakePacketList(const MidiData& data) noexcept
{
    MIDIPacketList list;
    list.numPackets = 1;
    list.packet[0].timeStamp = 0;
    list.packet[0].length = static_cast<UInt16>(data.length);
    std::memcpy(list.packet[0].data, data.bytes, data.length);
    return list;
}

} // namespace

CoreMidiInputPort::CoreMidiInputPort(
    MIDIPortRef inPort, MIDIEndpointRef source, std::uint32_t portTag)
    // Braces: the name is asked for before the ID.
    : MidiInputPort{GetDisplayNameProperty(source), GetUniqueIDProperty(source), portTag}
    , mInPort(inPort)
    , mSource(source)
{
}

CoreMidiInputPort::~CoreMidiInputPort()
{
    CoreMidiInputPort::Disconnect();
}

bool CoreMidiInputPort::Connect()
{
    const bool connected = MIDIPortConnectSource(mInPort, mSource, this) == kNoError;
    mConnected = connected;
    return connected;
}

void CoreMidiInputPort::Disconnect()
{
    if (mConnected) {
        MIDIPortDisconnectSource(mInPort, mSource);
        mConnected = false;
    }
}

CoreMidiOutputPort::CoreMidiOutputPort(
    MIDIPortRef outPort, MIDIEndpointRef destination, std::uint32_t portTag)
    : MidiOutputPort{GetDisplayNameProperty(destination), GetUniqueIDProperty(destination), portTag}
    , mOutPort(outPort)
    , mDestination(destination)
{
}

bool CoreMidiOutputPort::Connect()
{
    mConnected = true;
    return true;
}

void CoreMidiOutputPort::Disconnect()
{
    if (mConnected) {
        MIDIFlushOutput(mDestination);
        mConnected = false;
    }
}

bool CoreMidiOutputPort::SendMidiMessage(const MidiMessage& message)
{
    if (message.data.length > kMaxMidiDataLength) {
        return false;
    }
    const MIDIPacketList list = MakePacketList(message.data);
    return MIDISend(mOutPort, mDestination, &list) == kNoError;
}

} // namespace kelmidi
