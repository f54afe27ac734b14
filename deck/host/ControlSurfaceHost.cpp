#include "deck/host/ControlSurfaceHost.h"

namespace deck::host {
namespace {

KORVASDK_Result Post(TransportCommands& commands, const HostCall& call) noexcept
{
    return commands.TryPost(call) ? kSuccess : kErrorBadParameter;
}

template <HostCallKind kKind>
KORVASDK_Result Transport_Post(KORVASDK_ControlSurfaceHostTransport* transport) noexcept
{
    if (transport == nullptr) {
        return kErrorBadParameter;
    }
    return Post(transport->commands, HostCall{kKind, {}, 0});
}

KORVASDK_Result Host_GetTransportRef(
    KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostTransport** outTransport) noexcept
{
    if (host == nullptr || outTransport == nullptr) {
        return kErrorBadParameter;
    }
    *outTransport = &host->transport;
    return kSuccess;
}

KORVASDK_Result Internal_GetSMPTERef(
    KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostSMPTE** outSMPTE) noexcept
{
    if (host == nullptr || outSMPTE == nullptr) {
        return kErrorBadParameter;
    }
    *outSMPTE = &host->smpte;
    return kSuccess;
}

KORVASDK_Result SMPTE_Locate(KORVASDK_ControlSurfaceHostSMPTE* smpte,
    uint32_t timeFormat,
    uint8_t hours,
    uint8_t minutes,
    uint8_t seconds,
    uint8_t frames,
    uint8_t subframes) noexcept
{
    if (smpte == nullptr) {
        return kErrorBadParameter;
    }
    const SenderTime time{timeFormat, hours, minutes, seconds, frames, subframes};
    return Post(smpte->commands, HostCall{HostCallKind::Locate, time, 0});
}

KORVASDK_Result SMPTE_SetActive(KORVASDK_ControlSurfaceHostSMPTE* smpte, int32_t active) noexcept
{
    if (smpte == nullptr) {
        return kErrorBadParameter;
    }
    return Post(smpte->commands, HostCall{HostCallKind::SetSMPTEActive, {}, active});
}

constexpr KORVASDK_ControlSurfaceHostSuite kHostSuite
    = {nullptr, nullptr, nullptr, Host_GetTransportRef};
constexpr KORVASDK_ControlSurfaceHostTransportSuite kTransportSuite = {
    Transport_Post<HostCallKind::StartRewind>, Transport_Post<HostCallKind::StopRewind>,
    Transport_Post<HostCallKind::StartFastForward>, Transport_Post<HostCallKind::StopFastForward>,
    Transport_Post<HostCallKind::Stop>, Transport_Post<HostCallKind::Play>,
    Transport_Post<HostCallKind::Record>, Transport_Post<HostCallKind::Pause>};
constexpr KORVASDK_ControlSurfaceHostSMPTESuite kSMPTESuite = {SMPTE_Locate, SMPTE_SetActive};
constexpr KORVASDK_ControlSurfaceHostInternalSuite kInternalSuite = {Internal_GetSMPTERef};

} // namespace

const KORVASDK_ControlSurfaceHostSuite& ControlSurfaceHostSuiteTable() noexcept
{
    return kHostSuite;
}
const KORVASDK_ControlSurfaceHostTransportSuite& ControlSurfaceHostTransportSuiteTable() noexcept
{
    return kTransportSuite;
}
const KORVASDK_ControlSurfaceHostSMPTESuite& ControlSurfaceHostSMPTESuiteTable() noexcept
{
    return kSMPTESuite;
}
const KORVASDK_ControlSurfaceHostInternalSuite& ControlSurfaceHostInternalSuiteTable() noexcept
{
    return kInternalSuite;
}

} // namespace deck::host
