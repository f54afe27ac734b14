// The host's notices of its own transport state: lamps on a hardware surface.

#pragma once

#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "korvasdk/suites/SuitesSuite.h"

namespace korvasdk {

/// The interface behind "KORVASDK ControlSurface Transport Suite"; a
/// `KORVASDK_ControlSurfaceTransport` is the address of one. Commands go the other way, through
/// the host's own transport suite. The order of the virtual operations is binding; every default
/// is `kErrorNotImplemented`. [host]
class ControlSurfaceTransportBase {
public:
    ControlSurfaceTransportBase() = default;
    ControlSurfaceTransportBase(const ControlSurfaceTransportBase&) = delete;
    ControlSurfaceTransportBase& operator=(const ControlSurfaceTransportBase&) = delete;

    virtual ~ControlSurfaceTransportBase();

    virtual KORVASDK_Result SetStopState(bool state);
    virtual KORVASDK_Result SetPlayState(bool state);
    virtual KORVASDK_Result SetRecordState(bool state);
    virtual KORVASDK_Result SetRewindState(bool state);
    virtual KORVASDK_Result SetForwardState(bool state);
    virtual KORVASDK_Result SetCycleState(bool state);
    virtual KORVASDK_Result SetPauseState(bool state);
    virtual KORVASDK_Result SetTimeDisplay(unsigned int format, const KORVASDK_String* text);

    /// Adds the suite's table as version 1; what the host answers is ignored.
    static void RegisterSuite(const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList);
};

inline KORVASDK_ControlSurfaceTransport* ToHandle(ControlSurfaceTransportBase* transport) noexcept
{
    return reinterpret_cast<KORVASDK_ControlSurfaceTransport*>(transport);
}
inline ControlSurfaceTransportBase* FromHandle(KORVASDK_ControlSurfaceTransport* handle) noexcept
{
    return reinterpret_cast<ControlSurfaceTransportBase*>(handle);
}

} // namespace korvasdk
