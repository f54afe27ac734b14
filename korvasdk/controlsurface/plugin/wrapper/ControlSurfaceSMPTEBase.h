// The host's position, for a surface that passes it on as time code.

#pragma once

#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "korvasdk/suites/SuitesSuite.h"

namespace korvasdk {

/// The interface behind "KORVASDK ControlSurface SMPTE Suite"; a `KORVASDK_ControlSurfaceSMPTE` is
/// the address of one. The order of the virtual operations is binding; both defaults are
/// `kErrorNotImplemented`. [host, one thread at a time]
class ControlSurfaceSMPTEBase {
public:
    ControlSurfaceSMPTEBase() = default;
    ControlSurfaceSMPTEBase(const ControlSurfaceSMPTEBase&) = delete;
    ControlSurfaceSMPTEBase& operator=(const ControlSurfaceSMPTEBase&) = delete;

    virtual ~ControlSurfaceSMPTEBase();

    /// The host has jumped to this position. `rateCode` is a code of SMPTETimeFormat.h.
    virtual KORVASDK_Result GotoSMPTETime(unsigned int rateCode,
        unsigned char hours,
        unsigned char minutes,
        unsigned char seconds,
        unsigned char frames,
        unsigned char subframes);

    /// The host is at this position `offsetNanos` nanoseconds after the present moment; `speed`
    /// 1.0 is normal play.
    virtual KORVASDK_Result TransmitFullFrame(unsigned long long offsetNanos,
        float speed,
        int framesPerSecond,
        bool dropFrame,
        unsigned char hours,
        unsigned char minutes,
        unsigned char seconds,
        unsigned char frames);

    /// Adds the suite's table as version 1; what the host answers is ignored.
    static void RegisterSuite(const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList);
};

inline KORVASDK_ControlSurfaceSMPTE* ToHandle(ControlSurfaceSMPTEBase* smpte) noexcept
{
    return reinterpret_cast<KORVASDK_ControlSurfaceSMPTE*>(smpte);
}
inline ControlSurfaceSMPTEBase* FromHandle(KORVASDK_ControlSurfaceSMPTE* handle) noexcept
{
    return reinterpret_cast<ControlSurfaceSMPTEBase*>(handle);
}

} // namespace korvasdk
