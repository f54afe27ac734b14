/* What CoreMIDI's interface does not tell about the service on Linux (which one
 * runs, how it fares, which endpoints it cannot tell apart), and what a program
 * with endpoints of its own needs there. */

#ifndef KORVA_MIDISERVICE_H
#define KORVA_MIDISERVICE_H

#include <CoreMIDI/CoreMIDI.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The service in use: "alsa", "jack" or "builtin". Starts it. */
CF_EXPORT const char* KorvaMIDIServiceName(void);

typedef SInt32 KorvaMIDIServiceStateCode;
enum {
    kKorvaMIDIServiceRunning = 0, /* and the endpoints that it has found are there */
    kKorvaMIDIServiceWaiting = 1  /* for its server, which is looked for all the time */
};

/* Starts the service. `reason` (may be null) receives one line for the user,
 * UTF-8, cut off to `reasonSize` bytes with the ending 0. */
CF_EXPORT KorvaMIDIServiceStateCode KorvaMIDIServiceState(char* reason, ByteCount reasonSize);

/* Counted since the service started. */
typedef struct KorvaMIDIServiceCounters {
    UInt64 received;   /* packets handed to read callbacks */
    UInt64 sent;       /* messages that left the process */
    UInt64 dropped;    /* lost because there was no room */
    UInt64 refused;    /* sent to what was gone or could not take it */
    UInt64 flushed;    /* dropped by MIDIFlushOutput */
    UInt64 sysExSplit; /* SysEx of more than 256 bytes, delivered in several packets */
} KorvaMIDIServiceCounters;

/* Any thread, real-time; all 0 while the service is not started. */
CF_EXPORT void KorvaMIDIServiceGetCounters(KorvaMIDIServiceCounters* counters);

/* Not 0 while something that was sent to another program has not left yet: it waits for its
 * time, for room or for its receiver. A program that ends meanwhile takes it along. */
CF_EXPORT Boolean KorvaMIDIServiceHasUnsent(void);

/* Not 0 when another endpoint cannot be told apart from this one, so that its
 * unique ID may mean the other one in the next run. */
CF_EXPORT Boolean KorvaMIDIServiceIsAmbiguous(MIDIEndpointRef endpoint);

/* Takes a virtual endpoint of this process out of other programs' sight; the
 * clients of this process see and use it as before. */
CF_EXPORT OSStatus KorvaMIDIServiceHide(MIDIEndpointRef endpoint);
CF_EXPORT Boolean KorvaMIDIServiceIsHidden(MIDIEndpointRef endpoint);

/* As MIDIReceived, but a packet whose time stamp lies ahead leaves at that time,
 * as with MIDISend. Listeners within the process may get it some milliseconds
 * earlier. Any thread, real-time. */
CF_EXPORT OSStatus KorvaMIDIServiceSendFrom(MIDIEndpointRef source, const MIDIPacketList* packets);

/* Drops what KorvaMIDIServiceSendFrom has scheduled and not sent yet. Any thread,
 * real-time. */
CF_EXPORT OSStatus KorvaMIDIServiceFlushSource(MIDIEndpointRef source);

#ifdef __cplusplus
}
#endif

#endif
