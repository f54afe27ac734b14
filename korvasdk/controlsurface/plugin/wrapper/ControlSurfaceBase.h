// What a control surface is to the host: where it is found in the configuration, and the way to
// its other interfaces.

#pragma once

#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "korvasdk/suites/SuitesSuite.h"

namespace korvasdk {

/// The interface behind "KORVASDK ControlSurface Suite"; a `KORVASDK_ControlSurface` is the address
/// of one. The order of the virtual operations is binding. The host calls all of them on its own
/// thread. [host, may block]
class ControlSurfaceBase {
public:
    ControlSurfaceBase() = default;
    ControlSurfaceBase(const ControlSurfaceBase&) = delete;
    ControlSurfaceBase& operator=(const ControlSurfaceBase&) = delete;

    virtual ~ControlSurfaceBase();

    /// Default: `kErrorNotImplemented`.
    virtual KORVASDK_Result GetConfigIdentifier(KORVASDK_String* out) const;
    /// Default: writes 0.
    virtual KORVASDK_Result GetControlSurfaceFlags(unsigned int* out) const;
    /// Each of the five defaults writes null.
    virtual KORVASDK_Result GetTransportRef(KORVASDK_ControlSurfaceTransport** out);
    virtual KORVASDK_Result GetMixerRef(KORVASDK_ControlSurfaceMixer** out);
    virtual KORVASDK_Result GetMarkerRef(KORVASDK_ControlSurfaceMarker** out);
    virtual KORVASDK_Result GetCommandRef(KORVASDK_ControlSurfaceCommand** out);
    virtual KORVASDK_Result GetTintoraRef(KORVASDK_ControlSurfaceTintora** out);
    /// Default: `kErrorNotImplemented`.
    virtual KORVASDK_Result Update();

    /// Adds the suite's one table as version 1 and as version 2; what the host answers is ignored.
    static void RegisterSuite(const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList);
};

inline KORVASDK_ControlSurface* ToHandle(ControlSurfaceBase* surface) noexcept
{
    return reinterpret_cast<KORVASDK_ControlSurface*>(surface);
}
inline ControlSurfaceBase* FromHandle(KORVASDK_ControlSurface* handle) noexcept
{
    return reinterpret_cast<ControlSurfaceBase*>(handle);
}

} // namespace korvasdk
