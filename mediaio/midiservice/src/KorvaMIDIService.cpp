#include <KorvaMIDIService/KorvaMIDIService.h>

#include "mediaio/midiservice/src/SharedService.h"

#include <cstdio>

using namespace midiservice;

const char* KorvaMIDIServiceName()
{
    return SharedService().DriverName();
}

KorvaMIDIServiceStateCode KorvaMIDIServiceState(char* reason, ByteCount reasonSize)
{
    std::string text;
    const DriverState state = SharedService().State(text);
    if (reason != nullptr && reasonSize > 0)
        std::snprintf(reason, reasonSize, "%s", text.c_str());
    return state == DriverState::Running ? kKorvaMIDIServiceRunning : kKorvaMIDIServiceWaiting;
}

void KorvaMIDIServiceGetCounters(KorvaMIDIServiceCounters* counters)
{
    *counters = KorvaMIDIServiceCounters{};
    Service* service = RunningService();
    if (service == nullptr)
        return;
    const Counters& counted = service->GetCounters();
    counters->received = counted.received.load();
    counters->sent = counted.sent.load();
    counters->dropped = counted.dropped.load();
    counters->refused = counted.refused.load();
    counters->flushed = counted.flushed.load();
    counters->sysExSplit = counted.sysExSplit.load();
}

Boolean KorvaMIDIServiceHasUnsent()
{
    Service* service = RunningService();
    return service != nullptr && service->HasUnsent() ? 1 : 0;
}

Boolean KorvaMIDIServiceIsAmbiguous(MIDIEndpointRef endpoint)
{
    EndpointInfo info;
    return SharedService().GetEndpointInfo(endpoint, info) && info.isAmbiguous ? 1 : 0;
}

OSStatus KorvaMIDIServiceHide(MIDIEndpointRef endpoint)
{
    return Guarded([&] { return SharedService().Hide(endpoint); });
}

Boolean KorvaMIDIServiceIsHidden(MIDIEndpointRef endpoint)
{
    EndpointInfo info;
    return SharedService().GetEndpointInfo(endpoint, info) && info.isHidden ? 1 : 0;
}

OSStatus KorvaMIDIServiceSendFrom(MIDIEndpointRef source, const MIDIPacketList* packets)
{
    if (packets == nullptr)
        return kParameterError;
    Service* service = RunningService();
    return service != nullptr ? service->Received(source, *packets, Timing::WhenDue)
                              : kMIDIUnknownEndpoint;
}

OSStatus KorvaMIDIServiceFlushSource(MIDIEndpointRef source)
{
    Service* service = RunningService();
    return service != nullptr ? service->FlushSource(source) : kMIDIUnknownEndpoint;
}
