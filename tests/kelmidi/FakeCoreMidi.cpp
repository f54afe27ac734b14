#include "FakeCoreMidi.h"

#include <atomic>
#include <map>

struct __CFString {
    std::u16string text;
};

namespace kelmidi::tests {

namespace {

CoreMidiMock* sMock = nullptr;
std::atomic<int> sLiveStrings{0};

const __CFString sNameKey{u"name"};
const __CFString sDisplayNameKey{u"displayName"};
const __CFString sUniqueIDKey{u"uniqueID"};

std::u16string TextOf(CFStringRef string)
{
    return string != nullptr ? string->text : u"(null)";
}

} // namespace

CoreMidiMock::CoreMidiMock()
{
    sMock = this;
}

CoreMidiMock::~CoreMidiMock()
{
    sMock = nullptr;
}

CFStringRef MakePlatformString(const std::u16string& text)
{
    ++sLiveStrings;
    return new __CFString{text};
}

int LivePlatformStrings()
{
    return sLiveStrings;
}

} // namespace kelmidi::tests

using namespace kelmidi::tests;

extern "C" {

const CFStringRef kMIDIPropertyName = &sNameKey;
const CFStringRef kMIDIPropertyDisplayName = &sDisplayNameKey;
const CFStringRef kMIDIPropertyUniqueID = &sUniqueIDKey;

void CFRelease(CFTypeRef object)
{
    --sLiveStrings;
    delete static_cast<CFStringRef>(object);
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* characters, CFIndex count)
{
    return MakePlatformString(std::u16string(characters, characters + count));
}

CFIndex CFStringGetLength(CFStringRef string)
{
    return static_cast<CFIndex>(string->text.size());
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer)
{
    for (CFIndex i = 0; i < range.length; ++i) {
        buffer[i] = string->text[static_cast<std::size_t>(range.location + i)];
    }
}

CFStringRef __CFStringMakeConstantString(const char* text)
{
    static std::map<std::string, __CFString> sConstants;
    const std::string ascii(text);
    return &sConstants.try_emplace(ascii, __CFString{{ascii.begin(), ascii.end()}}).first->second;
}

OSStatus MIDIClientCreate(
    CFStringRef name, MIDINotifyProc proc, void* context, MIDIClientRef* client)
{
    return sMock->ClientCreate(TextOf(name), proc, context, client);
}

OSStatus MIDIClientDispose(MIDIClientRef client)
{
    return sMock->ClientDispose(client);
}

OSStatus MIDIInputPortCreate(
    MIDIClientRef client, CFStringRef name, MIDIReadProc proc, void* context, MIDIPortRef* port)
{
    return sMock->InputPortCreate(client, TextOf(name), proc, context, port);
}

OSStatus MIDIOutputPortCreate(MIDIClientRef client, CFStringRef name, MIDIPortRef* port)
{
    return sMock->OutputPortCreate(client, TextOf(name), port);
}

OSStatus MIDIPortDispose(MIDIPortRef port)
{
    return sMock->PortDispose(port);
}

OSStatus MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, void* context)
{
    return sMock->PortConnectSource(port, source, context);
}

OSStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source)
{
    return sMock->PortDisconnectSource(port, source);
}

ItemCount MIDIGetNumberOfSources(void)
{
    return sMock->GetNumberOfSources();
}

MIDIEndpointRef MIDIGetSource(ItemCount index)
{
    return sMock->GetSource(index);
}

ItemCount MIDIGetNumberOfDestinations(void)
{
    return sMock->GetNumberOfDestinations();
}

MIDIEndpointRef MIDIGetDestination(ItemCount index)
{
    return sMock->GetDestination(index);
}

OSStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList* packets)
{
    return sMock->Send(port, destination, packets);
}

OSStatus MIDIFlushOutput(MIDIEndpointRef destination)
{
    return sMock->FlushOutput(destination);
}

OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, CFStringRef property, SInt32* value)
{
    return sMock->GetIntegerProperty(object, property, value);
}

OSStatus MIDIObjectGetStringProperty(
    MIDIObjectRef object, CFStringRef property, CFStringRef* string)
{
    return sMock->GetStringProperty(object, property, string);
}

OSStatus MIDIObjectFindByUniqueID(
    MIDIUniqueID uniqueID, MIDIObjectRef* object, MIDIObjectType* kind)
{
    return sMock->FindByUniqueID(uniqueID, object, kind);
}
}
