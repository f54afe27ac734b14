// A host without any ceremony, for tests of many messages, refused allocations and speed: it counts
// the uses of its suites and keeps what it is told to do.

#pragma once

#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/StringSuite.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace mmc::tests {

/// A call on the host's transport or SMPTE suite, in one number.
using HostCall = std::uint64_t;

enum HostCallKind : HostCall {
    kStartRewind = 1,
    kStopRewind,
    kStartFastForward,
    kStopFastForward,
    kStop,
    kPlay,
    kRecord,
    kPause,
    kLocate,
};

inline HostCall LocateCall(std::uint32_t timeFormat, const std::array<std::uint8_t, 5>& time)
{
    HostCall call = kLocate << 8U | timeFormat;
    for (const std::uint8_t part : time) {
        call = call << 8U | part;
    }
    return call;
}

/// One at a time. Allocates nothing while it is used, unless more calls come than it has room for.
class PlainHost {
public:
    PlainHost()
    {
        sHost = this;
        mCalls.reserve(4096);
    }
    ~PlainHost() { sHost = nullptr; }
    PlainHost(const PlainHost&) = delete;
    PlainHost& operator=(const PlainHost&) = delete;

    const QXBasicSuite* BasicSuite() const { return &mBasicSuite; }
    KORVASDK_ControlSurfaceHost* HostRef()
    {
        return reinterpret_cast<KORVASDK_ControlSurfaceHost*>(this);
    }
    std::vector<HostCall>& Calls() { return mCalls; }

    /// Uses of the suite `name` that were not given back.
    int Uses(const char* name) const
    {
        for (const Offer& offer : mOffers) {
            if (std::strcmp(offer.name, name) == 0) {
                return offer.uses;
            }
        }
        return 0;
    }

private:
    struct Offer {
        const char* name;
        const void* table;
        int uses = 0;
    };

    template <HostCall kKind> static KORVASDK_Result Note(KORVASDK_ControlSurfaceHostTransport*)
    {
        sHost->mCalls.push_back(kKind);
        return kSuccess;
    }
    static KORVASDK_Result Locate(KORVASDK_ControlSurfaceHostSMPTE*,
        std::uint32_t timeFormat,
        std::uint8_t hours,
        std::uint8_t minutes,
        std::uint8_t seconds,
        std::uint8_t frames,
        std::uint8_t subframes)
    {
        sHost->mCalls.push_back(
            LocateCall(timeFormat, {hours, minutes, seconds, frames, subframes}));
        return kSuccess;
    }
    static KORVASDK_Result SetActive(KORVASDK_ControlSurfaceHostSMPTE*, std::int32_t)
    {
        return kSuccess;
    }
    static KORVASDK_Result GetTransportRef(
        KORVASDK_ControlSurfaceHost*, KORVASDK_ControlSurfaceHostTransport** out)
    {
        *out = reinterpret_cast<KORVASDK_ControlSurfaceHostTransport*>(sHost);
        return kSuccess;
    }
    static KORVASDK_Result GetSMPTERef(
        KORVASDK_ControlSurfaceHost*, KORVASDK_ControlSurfaceHostSMPTE** out)
    {
        *out = reinterpret_cast<KORVASDK_ControlSurfaceHostSMPTE*>(sHost);
        return kSuccess;
    }
    static KORVASDK_Result Acquire(const char* name, std::int32_t, const void** outSuite)
    {
        for (Offer& offer : sHost->mOffers) {
            if (std::strcmp(offer.name, name) == 0) {
                ++offer.uses;
                *outSuite = offer.table;
                return kSuccess;
            }
        }
        return kErrorBadParameter;
    }
    static KORVASDK_Result Release(const char* name, std::int32_t)
    {
        for (Offer& offer : sHost->mOffers) {
            offer.uses -= std::strcmp(offer.name, name) == 0 ? 1 : 0;
        }
        return kSuccess;
    }

    inline static PlainHost* sHost = nullptr;

    QXBasicSuite mBasicSuite{Acquire, Release};
    KORVASDK_StringSuite mStringSuite{};
    KORVASDK_ControlSurfaceHostSuite mHostSuite{nullptr, nullptr, nullptr, GetTransportRef};
    KORVASDK_ControlSurfaceHostTransportSuite mTransportSuite{Note<kStartRewind>, Note<kStopRewind>,
        Note<kStartFastForward>, Note<kStopFastForward>, Note<kStop>, Note<kPlay>, Note<kRecord>,
        Note<kPause>};
    KORVASDK_ControlSurfaceHostSMPTESuite mSMPTESuite{Locate, SetActive};
    KORVASDK_ControlSurfaceHostInternalSuite mInternalSuite{GetSMPTERef};
    std::array<Offer, 5> mOffers{
        {{kKORVASDKStringSuite, &mStringSuite}, {kKORVASDKControlSurfaceHostSuite, &mHostSuite},
            {kKORVASDKControlSurfaceHostTransportSuite, &mTransportSuite},
            {kKORVASDKControlSurfaceHostSMPTESuite, &mSMPTESuite},
            {kKORVASDKControlSurfaceHostInternalSuite, &mInternalSuite}}};
    std::vector<HostCall> mCalls;
};

} // namespace mmc::tests
