// CoreMIDI's C interface with a strict mock behind it, linked into this test program in place of
// the service: every call must be expected.

#pragma once

#include <CoreMIDI/CoreMIDI.h>
#include <gmock/gmock.h>

#include <string>

namespace kelmidi::tests {

class CoreMidiMock {
public:
    CoreMidiMock();
    ~CoreMidiMock();
    CoreMidiMock(const CoreMidiMock&) = delete;
    CoreMidiMock& operator=(const CoreMidiMock&) = delete;

    MOCK_METHOD(OSStatus,
        ClientCreate,
        (const std::u16string& name, MIDINotifyProc proc, void* context, MIDIClientRef* client));
    MOCK_METHOD(OSStatus, ClientDispose, (MIDIClientRef client));
    MOCK_METHOD(OSStatus,
        InputPortCreate,
        (MIDIClientRef client,
            const std::u16string& name,
            MIDIReadProc proc,
            void* context,
            MIDIPortRef* port));
    MOCK_METHOD(OSStatus,
        OutputPortCreate,
        (MIDIClientRef client, const std::u16string& name, MIDIPortRef* port));
    MOCK_METHOD(OSStatus, PortDispose, (MIDIPortRef port));
    MOCK_METHOD(
        OSStatus, PortConnectSource, (MIDIPortRef port, MIDIEndpointRef source, void* context));
    MOCK_METHOD(OSStatus, PortDisconnectSource, (MIDIPortRef port, MIDIEndpointRef source));
    MOCK_METHOD(ItemCount, GetNumberOfSources, ());
    MOCK_METHOD(MIDIEndpointRef, GetSource, (ItemCount index));
    MOCK_METHOD(ItemCount, GetNumberOfDestinations, ());
    MOCK_METHOD(MIDIEndpointRef, GetDestination, (ItemCount index));
    MOCK_METHOD(OSStatus,
        Send,
        (MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList* packets));
    MOCK_METHOD(OSStatus, FlushOutput, (MIDIEndpointRef destination));
    MOCK_METHOD(
        OSStatus, GetIntegerProperty, (MIDIObjectRef object, CFStringRef property, SInt32* value));
    MOCK_METHOD(OSStatus,
        GetStringProperty,
        (MIDIObjectRef object, CFStringRef property, CFStringRef* string));
    MOCK_METHOD(OSStatus,
        FindByUniqueID,
        (MIDIUniqueID uniqueID, MIDIObjectRef* object, MIDIObjectType* kind));
};

/// A platform string that its receiver must release.
CFStringRef MakePlatformString(const std::u16string& text);

/// How many platform strings were made and not released yet.
int LivePlatformStrings();

} // namespace kelmidi::tests
