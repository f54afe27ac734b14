#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceBase.h"

#include "korvasdk/controlsurface/plugin/wrapper/SuiteGuard.h"

#include <cstdint>

namespace korvasdk {

namespace {

KORVASDK_Result ControlSurface_GetConfigIdentifier(
    KORVASDK_ControlSurface* surface, KORVASDK_String* out)
{
    return Guarded([&] { return FromHandle(surface)->GetConfigIdentifier(out); });
}

KORVASDK_Result ControlSurface_GetControlSurfaceFlags(
    KORVASDK_ControlSurface* surface, std::uint32_t* out)
{
    return Guarded([&] { return FromHandle(surface)->GetControlSurfaceFlags(out); });
}

KORVASDK_Result ControlSurface_GetTransportRef(
    KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceTransport** out)
{
    return Guarded([&] { return FromHandle(surface)->GetTransportRef(out); });
}

KORVASDK_Result ControlSurface_GetMixerRef(
    KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceMixer** out)
{
    return Guarded([&] { return FromHandle(surface)->GetMixerRef(out); });
}

KORVASDK_Result ControlSurface_GetMarkerRef(
    KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceMarker** out)
{
    return Guarded([&] { return FromHandle(surface)->GetMarkerRef(out); });
}

KORVASDK_Result ControlSurface_GetCommandRef(
    KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceCommand** out)
{
    return Guarded([&] { return FromHandle(surface)->GetCommandRef(out); });
}

KORVASDK_Result ControlSurface_Update(KORVASDK_ControlSurface* surface)
{
    return Guarded([&] { return FromHandle(surface)->Update(); });
}

KORVASDK_Result ControlSurface_GetTintoraRef(
    KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceTintora** out)
{
    return Guarded([&] { return FromHandle(surface)->GetTintoraRef(out); });
}

// Deliberate: Update comes before GetTintoraRef here, and after it in the class.
constexpr KORVASDK_ControlSurfaceSuite sControlSurfaceSuite = {
    ControlSurface_GetConfigIdentifier,
    ControlSurface_GetControlSurfaceFlags,
    ControlSurface_GetTransportRef,
    ControlSurface_GetMixerRef,
    ControlSurface_GetMarkerRef,
    ControlSurface_GetCommandRef,
    ControlSurface_Update,
    ControlSurface_GetTintoraRef,
};

} // namespace

ControlSurfaceBase::~ControlSurfaceBase() = default;

KORVASDK_Result ControlSurfaceBase::GetConfigIdentifier(KORVASDK_String*) const
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceBase::GetControlSurfaceFlags(unsigned int* out) const
{
    *out = 0;
    return kSuccess;
}

KORVASDK_Result ControlSurfaceBase::GetTransportRef(KORVASDK_ControlSurfaceTransport** out)
{
    *out = nullptr;
    return kSuccess;
}

KORVASDK_Result ControlSurfaceBase::GetMixerRef(KORVASDK_ControlSurfaceMixer** out)
{
    *out = nullptr;
    return kSuccess;
}

KORVASDK_Result ControlSurfaceBase::GetMarkerRef(KORVASDK_ControlSurfaceMarker** out)
{
    *out = nullptr;
    return kSuccess;
}

KORVASDK_Result ControlSurfaceBase::GetCommandRef(KORVASDK_ControlSurfaceCommand** out)
{
    *out = nullptr;
    return kSuccess;
}

KORVASDK_Result ControlSurfaceBase::GetTintoraRef(KORVASDK_ControlSurfaceTintora** out)
{
    *out = nullptr;
    return kSuccess;
}

KORVASDK_Result ControlSurfaceBase::Update()
{
    return kErrorNotImplemented;
}

void ControlSurfaceBase::RegisterSuite(const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList)
{
    QXSuite* ignored = nullptr;
    suitesSuite->AddSuite(suiteList, nullptr, kKORVASDKControlSurfaceSuite,
        kKORVASDKControlSurfaceSuiteVersion1, kKORVASDKControlSurfaceSuiteVersion1,
        &sControlSurfaceSuite, &ignored);
    suitesSuite->AddSuite(suiteList, nullptr, kKORVASDKControlSurfaceSuite,
        kKORVASDKControlSurfaceSuiteVersion2, kKORVASDKControlSurfaceSuiteVersion2,
        &sControlSurfaceSuite, &ignored);
}

} // namespace korvasdk
