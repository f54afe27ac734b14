#include "deck/cli/ServiceStatus.h"

#include "deck/host/HostError.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <array>

namespace deck::cli {

ServiceStatus GetServiceStatus()
{
    std::array<char, 256> reason{};
    ServiceStatus status{KorvaMIDIServiceName(), {}};
    if (KorvaMIDIServiceState(reason.data(), reason.size()) != kKorvaMIDIServiceRunning) {
        status.waitsFor = reason[0] != '\0' ? reason.data() : "waiting for its server";
    }
    return status;
}

ServiceStatus RequireService()
{
    ServiceStatus service = GetServiceStatus();
    if (!service.IsRunning()) {
        throw HostError("the MIDI service " + service.name + " is not there: " + service.waitsFor
                + "; start it, or choose another with KEL_MIDI_SERVICE",
            kExitNotThereYet);
    }
    return service;
}

std::uint64_t CountLostMessages()
{
    KorvaMIDIServiceCounters counters{};
    KorvaMIDIServiceGetCounters(&counters);
    return counters.dropped + counters.refused;
}

} // namespace deck::cli
