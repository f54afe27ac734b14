/* The declarations of CoreMIDI's published C interface that this project uses,
 * and no more. Host time is CLOCK_MONOTONIC in nanoseconds. */

#ifndef KORVA_COREMIDI_H
#define KORVA_COREMIDI_H

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt32 MIDIObjectRef;
typedef MIDIObjectRef MIDIClientRef;
typedef MIDIObjectRef MIDIPortRef;
typedef MIDIObjectRef MIDIEndpointRef;
typedef UInt64 MIDITimeStamp;
typedef SInt32 MIDIUniqueID;

typedef SInt32 MIDIObjectType;
enum {
    kMIDIObjectType_Other = -1,
    kMIDIObjectType_Device = 0,
    kMIDIObjectType_Entity = 1,
    kMIDIObjectType_Source = 2,
    kMIDIObjectType_Destination = 3
};

enum {
    kMIDIInvalidClient = -10830,
    kMIDIInvalidPort = -10831,
    kMIDIWrongEndpointType = -10832,
    kMIDINoConnection = -10833,
    kMIDIUnknownEndpoint = -10834,
    kMIDIUnknownProperty = -10835,
    kMIDIWrongPropertyType = -10836,
    kMIDINoCurrentSetup = -10837,
    kMIDIMessageSendErr = -10838,
    kMIDIServerStartErr = -10839,
    kMIDISetupFormatErr = -10840,
    kMIDIWrongThread = -10841,
    kMIDIObjectNotFound = -10842,
    kMIDIIDNotUnique = -10843
};

typedef SInt32 MIDINotificationMessageID;
enum {
    kMIDIMsgSetupChanged = 1,
    kMIDIMsgObjectAdded = 2,
    kMIDIMsgObjectRemoved = 3,
    kMIDIMsgPropertyChanged = 4
};

typedef struct MIDINotification {
    MIDINotificationMessageID messageID;
    UInt32 messageSize;
} MIDINotification;

/* Packets stand at any address: nothing in them is aligned. */
#pragma pack(push, 1)

/* `data` holds `length` bytes, which may be more or fewer than declared here. */
typedef struct MIDIPacket {
    MIDITimeStamp timeStamp;
    UInt16 length;
    Byte data[256];
} MIDIPacket;

/* The packets follow each other without padding: use MIDIPacketNext. */
typedef struct MIDIPacketList {
    UInt32 numPackets;
    MIDIPacket packet[1];
} MIDIPacketList;

#pragma pack(pop)

static inline const MIDIPacket* MIDIPacketNext(const MIDIPacket* packet)
{
    return (const MIDIPacket*)(const void*)(packet->data + packet->length);
}

/* `message` is valid during the call only. Called on the service's one
 * notification thread. */
typedef void (*MIDINotifyProc)(const MIDINotification* message, void* refCon);
/* Called on the service's one receive thread; must not wait. */
typedef void (*MIDIReadProc)(
    const MIDIPacketList* packets, void* readProcRefCon, void* srcConnRefCon);

CF_EXPORT const CFStringRef kMIDIPropertyName;
CF_EXPORT const CFStringRef kMIDIPropertyDisplayName;
CF_EXPORT const CFStringRef kMIDIPropertyUniqueID;

CF_EXPORT OSStatus MIDIClientCreate(
    CFStringRef name, MIDINotifyProc notifyProc, void* notifyRefCon, MIDIClientRef* outClient);
/* On return no callback of the client is running or will run, unless the call
 * is made from inside one. */
CF_EXPORT OSStatus MIDIClientDispose(MIDIClientRef client);

CF_EXPORT OSStatus MIDIInputPortCreate(MIDIClientRef client,
    CFStringRef portName,
    MIDIReadProc readProc,
    void* refCon,
    MIDIPortRef* outPort);
CF_EXPORT OSStatus MIDIOutputPortCreate(
    MIDIClientRef client, CFStringRef portName, MIDIPortRef* outPort);
CF_EXPORT OSStatus MIDIPortDispose(MIDIPortRef port);
CF_EXPORT OSStatus MIDIPortConnectSource(
    MIDIPortRef port, MIDIEndpointRef source, void* connRefCon);
/* On return the read callback is not running for this connection and will not
 * run again, unless the call is made from inside it. */
CF_EXPORT OSStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source);

CF_EXPORT ItemCount MIDIGetNumberOfSources(void);
CF_EXPORT MIDIEndpointRef MIDIGetSource(ItemCount index);
CF_EXPORT ItemCount MIDIGetNumberOfDestinations(void);
CF_EXPORT MIDIEndpointRef MIDIGetDestination(ItemCount index);

/* Endpoints of this program, seen by every program of the service. */
CF_EXPORT OSStatus MIDISourceCreate(
    MIDIClientRef client, CFStringRef name, MIDIEndpointRef* outSource);
CF_EXPORT OSStatus MIDIDestinationCreate(MIDIClientRef client,
    CFStringRef name,
    MIDIReadProc readProc,
    void* refCon,
    MIDIEndpointRef* outDestination);
CF_EXPORT OSStatus MIDIEndpointDispose(MIDIEndpointRef endpoint);
/* Sends from a source of one's own to whoever is connected to it. */
CF_EXPORT OSStatus MIDIReceived(MIDIEndpointRef source, const MIDIPacketList* packets);

CF_EXPORT OSStatus MIDISend(
    MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList* packets);
/* Drops what is scheduled for the destination and not sent yet; 0 means every destination. */
CF_EXPORT OSStatus MIDIFlushOutput(MIDIEndpointRef destination);

CF_EXPORT OSStatus MIDIObjectGetIntegerProperty(
    MIDIObjectRef object, CFStringRef property, SInt32* outValue);
CF_EXPORT OSStatus MIDIObjectGetStringProperty(
    MIDIObjectRef object, CFStringRef property, CFStringRef* outString);
CF_EXPORT OSStatus MIDIObjectFindByUniqueID(
    MIDIUniqueID uniqueID, MIDIObjectRef* outObject, MIDIObjectType* outType);

#ifdef __cplusplus
}
#endif

#endif
