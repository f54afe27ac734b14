// A host whose every suite slot is a strict mock: a call too many, too few or out of order fails.

#pragma once

#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/StringSuite.h"
#include "korvasdk/suites/SuitesSuite.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>

namespace mmc::tests {

class MockHost {
public:
    MockHost();
    ~MockHost();
    MockHost(const MockHost&) = delete;
    MockHost& operator=(const MockHost&) = delete;

    static const QXBasicSuite* BasicSuite();
    static const KORVASDK_StringSuite* StringSuite();
    static const QXSuitesSuite* SuitesSuite();
    static const KORVASDK_ControlSurfaceHostSuite* HostSuite();
    static const KORVASDK_ControlSurfaceHostTransportSuite* TransportSuite();
    static const KORVASDK_ControlSurfaceHostSMPTESuite* SMPTESuite();
    static const KORVASDK_ControlSurfaceHostInternalSuite* InternalSuite();

    KORVASDK_ControlSurfaceHost* HostRef();
    KORVASDK_ControlSurfaceHostTransport* TransportRef();
    KORVASDK_ControlSurfaceHostSMPTE* SMPTERef();
    KORVASDK_String* StringRef();
    QXSuiteList* SuiteListRef();

    /// Expects that a surface takes the whole host, in the one right order. The host gives all.
    void ExpectHostTaken();

    MOCK_METHOD(KORVASDK_Result,
        AcquireSuite,
        (const std::string& name, int version, const void** outSuite));
    MOCK_METHOD(KORVASDK_Result, ReleaseSuite, (const std::string& name, int version));

    MOCK_METHOD(KORVASDK_Result, AllocateSuiteList, (void*, void*, QXSuiteList** outSuiteList));
    MOCK_METHOD(KORVASDK_Result, FreeSuiteList, (QXSuiteList * suiteList));
    MOCK_METHOD(KORVASDK_Result,
        AddSuite,
        (QXSuiteList * suiteList,
            void* owner,
            const std::string& name,
            int apiVersion,
            int internalVersion,
            const void* functions));

    MOCK_METHOD(
        KORVASDK_Result, MakeString, (const std::u16string& text, KORVASDK_String* outString));
    MOCK_METHOD(KORVASDK_Result,
        CopyString,
        (const KORVASDK_String* string, char16_t* buffer, std::uint32_t* length));

    MOCK_METHOD(KORVASDK_Result,
        GetTransportRef,
        (KORVASDK_ControlSurfaceHost * host, KORVASDK_ControlSurfaceHostTransport** outTransport));
    MOCK_METHOD(KORVASDK_Result,
        GetSMPTERef,
        (KORVASDK_ControlSurfaceHost * host, KORVASDK_ControlSurfaceHostSMPTE** outSMPTE));

    MOCK_METHOD(KORVASDK_Result, StartRewind, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, StopRewind, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, StartFastForward, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, StopFastForward, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, Stop, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, Play, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, Record, (KORVASDK_ControlSurfaceHostTransport*));
    MOCK_METHOD(KORVASDK_Result, Pause, (KORVASDK_ControlSurfaceHostTransport*));

    MOCK_METHOD(KORVASDK_Result,
        LocateToSMPTETime,
        (KORVASDK_ControlSurfaceHostSMPTE * smpte,
            std::uint32_t timeFormat,
            int hours,
            int minutes,
            int seconds,
            int frames,
            int subframes));
    MOCK_METHOD(
        KORVASDK_Result, SetSMPTEActive, (KORVASDK_ControlSurfaceHostSMPTE * smpte, int active));

private:
    int mReferences[5] = {}; // their addresses are the references
};

using StrictHost = testing::StrictMock<MockHost>;

/// What AcquireSuite does to hand out `table`.
inline auto Gives(const void* table)
{
    return testing::DoAll(testing::SetArgPointee<2>(table), testing::Return(kSuccess));
}

} // namespace mmc::tests
