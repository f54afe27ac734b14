#include "deck/cli/ServiceStatus.h"

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

std::uint64_t CountLostMessages()
{
    KorvaMIDIServiceCounters counters{};
    KorvaMIDIServiceGetCounters(&counters);
    return counters.dropped + counters.refused;
}

} // namespace deck::cli
