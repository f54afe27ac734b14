// CoreMIDI's C functions: checks what comes from outside, and lets no exception out.

#include <CoreMIDI/CoreMIDI.h>

#include "mediaio/midiservice/src/SharedService.h"
#include "mediaio/midiservice/src/foundation/Objects.h"

#include <exception>
#include <new>

using namespace midiservice;

namespace {

constinit const __CFString sName{u"name"};
constinit const __CFString sDisplayName{u"displayName"};
constinit const __CFString sUniqueID{u"uniqueID"};

bool Is(CFStringRef property, const __CFString& known)
{
    return property->text == known.text;
}

} // namespace

constinit const CFStringRef kMIDIPropertyName = &sName;
constinit const CFStringRef kMIDIPropertyDisplayName = &sDisplayName;
constinit const CFStringRef kMIDIPropertyUniqueID = &sUniqueID;

OSStatus MIDIClientCreate(
    CFStringRef name, MIDINotifyProc notifyProc, void* notifyRefCon, MIDIClientRef* outClient)
{
    if (outClient == nullptr)
        return kParameterError;
    return Guarded([&] {
        const std::string text = ToUTF8(name);
        return SharedService(text).CreateClient(text, notifyProc, notifyRefCon, *outClient);
    });
}

OSStatus MIDIClientDispose(MIDIClientRef client)
{
    return Guarded([&] { return SharedService().DisposeClient(client); });
}

OSStatus MIDIInputPortCreate(MIDIClientRef client,
    CFStringRef portName,
    MIDIReadProc readProc,
    void* refCon,
    MIDIPortRef* outPort)
{
    if (readProc == nullptr || outPort == nullptr)
        return kParameterError;
    return Guarded([&] {
        return SharedService().CreateInputPort(
            client, ToUTF8(portName), readProc, refCon, *outPort);
    });
}

OSStatus MIDIOutputPortCreate(MIDIClientRef client, CFStringRef portName, MIDIPortRef* outPort)
{
    if (outPort == nullptr)
        return kParameterError;
    return Guarded(
        [&] { return SharedService().CreateOutputPort(client, ToUTF8(portName), *outPort); });
}

OSStatus MIDIPortDispose(MIDIPortRef port)
{
    return Guarded([&] { return SharedService().DisposePort(port); });
}

OSStatus MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, void* connRefCon)
{
    return Guarded([&] { return SharedService().ConnectSource(port, source, connRefCon); });
}

OSStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source)
{
    return Guarded([&] { return SharedService().DisconnectSource(port, source); });
}

ItemCount MIDIGetNumberOfSources()
{
    return SharedService().CountEndpoints(Direction::Source);
}

MIDIEndpointRef MIDIGetSource(ItemCount index)
{
    return SharedService().GetEndpoint(Direction::Source, index);
}

ItemCount MIDIGetNumberOfDestinations()
{
    return SharedService().CountEndpoints(Direction::Destination);
}

MIDIEndpointRef MIDIGetDestination(ItemCount index)
{
    return SharedService().GetEndpoint(Direction::Destination, index);
}

OSStatus MIDISourceCreate(MIDIClientRef client, CFStringRef name, MIDIEndpointRef* outSource)
{
    if (outSource == nullptr)
        return kParameterError;
    return Guarded(
        [&] { return SharedService().CreateVirtualSource(client, ToUTF8(name), *outSource); });
}

OSStatus MIDIDestinationCreate(MIDIClientRef client,
    CFStringRef name,
    MIDIReadProc readProc,
    void* refCon,
    MIDIEndpointRef* outDestination)
{
    if (readProc == nullptr || outDestination == nullptr)
        return kParameterError;
    return Guarded([&] {
        return SharedService().CreateVirtualDestination(
            client, ToUTF8(name), readProc, refCon, *outDestination);
    });
}

OSStatus MIDIEndpointDispose(MIDIEndpointRef endpoint)
{
    return Guarded([&] { return SharedService().DisposeEndpoint(endpoint); });
}

OSStatus MIDIReceived(MIDIEndpointRef source, const MIDIPacketList* packets)
{
    if (packets == nullptr)
        return kParameterError;
    Service* service = RunningService();
    return service != nullptr ? service->Received(source, *packets, Timing::AtOnce)
                              : kMIDIUnknownEndpoint;
}

OSStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList* packets)
{
    if (packets == nullptr)
        return kParameterError;
    Service* service = RunningService();
    return service != nullptr ? service->Send(port, destination, *packets) : kMIDIInvalidPort;
}

OSStatus MIDIFlushOutput(MIDIEndpointRef destination)
{
    return Guarded([&] { return SharedService().Flush(destination); });
}

OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, CFStringRef property, SInt32* outValue)
{
    if (property == nullptr || outValue == nullptr)
        return kParameterError;
    return Guarded([&]() -> OSStatus {
        EndpointInfo info;
        std::string name;
        const bool isEndpoint = SharedService().GetEndpointInfo(object, info);
        if (!isEndpoint && !SharedService().GetObjectName(object, name))
            return kMIDIObjectNotFound;
        if (Is(property, sName) || (isEndpoint && Is(property, sDisplayName)))
            return kMIDIWrongPropertyType;
        if (!isEndpoint || !Is(property, sUniqueID))
            return kMIDIUnknownProperty;
        *outValue = info.uniqueID;
        return kNoError;
    });
}

OSStatus MIDIObjectGetStringProperty(
    MIDIObjectRef object, CFStringRef property, CFStringRef* outString)
{
    if (property == nullptr || outString == nullptr)
        return kParameterError;
    return Guarded([&]() -> OSStatus {
        EndpointInfo info;
        const bool isEndpoint = SharedService().GetEndpointInfo(object, info);
        if (!isEndpoint && !SharedService().GetObjectName(object, info.name))
            return kMIDIObjectNotFound;
        if (isEndpoint && Is(property, sUniqueID))
            return kMIDIWrongPropertyType;
        const bool isDisplayName = isEndpoint && Is(property, sDisplayName);
        if (!isDisplayName && !Is(property, sName))
            return kMIDIUnknownProperty;
        *outString = MakeString(isDisplayName ? info.displayName : info.name);
        return kNoError;
    });
}

OSStatus MIDIObjectFindByUniqueID(
    MIDIUniqueID uniqueID, MIDIObjectRef* outObject, MIDIObjectType* outType)
{
    return Guarded([&]() -> OSStatus {
        const MIDIEndpointRef found = SharedService().FindEndpoint(uniqueID);
        if (found == 0)
            return kMIDIObjectNotFound;
        const bool isSource = HandleTable::KindOf(found) == HandleKind::Source;
        if (outObject != nullptr)
            *outObject = found;
        if (outType != nullptr)
            *outType = isSource ? kMIDIObjectType_Source : kMIDIObjectType_Destination;
        return kNoError;
    });
}
