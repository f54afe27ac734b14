#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceSMPTEBase.h"

#include "korvasdk/controlsurface/plugin/wrapper/SuiteGuard.h"

#include <cstdint>

namespace korvasdk {

namespace {

// The one forwarding function that checks its handle.
KORVASDK_Result ControlSurface_GotoSMPTETime(KORVASDK_ControlSurfaceSMPTE* smpte,
    std::uint32_t timeFormat,
    std::uint8_t hours,
    std::uint8_t minutes,
    std::uint8_t seconds,
    std::uint8_t frames,
    std::uint8_t subframes)
{
    if (smpte == nullptr) {
        return kErrorBadParameter;
    }
    return Guarded([&] {
        return FromHandle(smpte)->GotoSMPTETime(
            timeFormat, hours, minutes, seconds, frames, subframes);
    });
}

KORVASDK_Result ControlSurface_TransmitFullFrame(KORVASDK_ControlSurfaceSMPTE* smpte,
    std::uint64_t offsetNanos,
    float speed,
    std::int32_t framesPerSecond,
    std::uint8_t dropFrame,
    std::uint8_t hours,
    std::uint8_t minutes,
    std::uint8_t seconds,
    std::uint8_t frames)
{
    return Guarded([&] {
        return FromHandle(smpte)->TransmitFullFrame(
            offsetNanos, speed, framesPerSecond, dropFrame != 0, hours, minutes, seconds, frames);
    });
}

constexpr KORVASDK_ControlSurfaceSMPTESuite sControlSurfaceSMPTESuite = {
    ControlSurface_GotoSMPTETime,
    ControlSurface_TransmitFullFrame,
};

} // namespace

ControlSurfaceSMPTEBase::~ControlSurfaceSMPTEBase() = default;

KORVASDK_Result ControlSurfaceSMPTEBase::GotoSMPTETime(
    unsigned int, unsigned char, unsigned char, unsigned char, unsigned char, unsigned char)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceSMPTEBase::TransmitFullFrame(unsigned long long,
    float,
    int,
    bool,
    unsigned char,
    unsigned char,
    unsigned char,
    unsigned char)
{
    return kErrorNotImplemented;
}

void ControlSurfaceSMPTEBase::RegisterSuite(
    const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList)
{
    QXSuite* ignored = nullptr;
    suitesSuite->AddSuite(suiteList, nullptr, kKORVASDKControlSurfaceSMPTESuite,
        kKORVASDKControlSurfaceSMPTESuiteVersion, kKORVASDKControlSurfaceSMPTESuiteVersion,
        &sControlSurfaceSMPTESuite, &ignored);
}

} // namespace korvasdk
