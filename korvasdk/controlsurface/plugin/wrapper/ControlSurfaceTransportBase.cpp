#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceTransportBase.h"

#include "korvasdk/controlsurface/plugin/wrapper/SuiteGuard.h"

#include <cstdint>

namespace korvasdk {

namespace {

KORVASDK_Result ControlSurface_SetStopState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetStopState(state != 0); });
}

KORVASDK_Result ControlSurface_SetPlayState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetPlayState(state != 0); });
}

KORVASDK_Result ControlSurface_SetRecordState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetRecordState(state != 0); });
}

KORVASDK_Result ControlSurface_SetRewindState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetRewindState(state != 0); });
}

KORVASDK_Result ControlSurface_SetForwardState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetForwardState(state != 0); });
}

KORVASDK_Result ControlSurface_SetCycleState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetCycleState(state != 0); });
}

KORVASDK_Result ControlSurface_SetPauseState(
    KORVASDK_ControlSurfaceTransport* transport, std::uint8_t state)
{
    return Guarded([&] { return FromHandle(transport)->SetPauseState(state != 0); });
}

KORVASDK_Result ControlSurface_SetTimeDisplay(
    KORVASDK_ControlSurfaceTransport* transport, std::uint32_t format, const KORVASDK_String* text)
{
    return Guarded([&] { return FromHandle(transport)->SetTimeDisplay(format, text); });
}

constexpr KORVASDK_ControlSurfaceTransportSuite sControlSurfaceTransportSuite = {
    ControlSurface_SetStopState,
    ControlSurface_SetPlayState,
    ControlSurface_SetRecordState,
    ControlSurface_SetRewindState,
    ControlSurface_SetForwardState,
    ControlSurface_SetCycleState,
    ControlSurface_SetPauseState,
    ControlSurface_SetTimeDisplay,
};

} // namespace

ControlSurfaceTransportBase::~ControlSurfaceTransportBase() = default;

KORVASDK_Result ControlSurfaceTransportBase::SetStopState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetPlayState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetRecordState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetRewindState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetForwardState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetCycleState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetPauseState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceTransportBase::SetTimeDisplay(unsigned int, const KORVASDK_String*)
{
    return kErrorNotImplemented;
}

void ControlSurfaceTransportBase::RegisterSuite(
    const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList)
{
    QXSuite* ignored = nullptr;
    suitesSuite->AddSuite(suiteList, nullptr, kKORVASDKControlSurfaceTransportSuite,
        kKORVASDKControlSurfaceTransportSuiteVersion, kKORVASDKControlSurfaceTransportSuiteVersion,
        &sControlSurfaceTransportSuite, &ignored);
}

} // namespace korvasdk
