/* What a control surface offers the host: notices of the host's transport
 * state, and the position that it passes on as time code. */

#ifndef KORVASDK_SUITES_CONTROLSURFACESUITES_H
#define KORVASDK_SUITES_CONTROLSURFACESUITES_H

#include "korvasdk/suites/ControlSurfaceHandles.h"
#include "korvasdk/suites/Result.h"
#include "korvasdk/suites/SMPTETimeFormat.h"
#include "korvasdk/suites/StringSuite.h"

/* Registered as version 1 and as version 2, with one table. */
#define kKORVASDKControlSurfaceSuite "KORVASDK ControlSurface Suite"
#define kKORVASDKControlSurfaceSuiteVersion1 1
#define kKORVASDKControlSurfaceSuiteVersion2 2

typedef struct KORVASDK_ControlSurfaceSuite {
    KORVASDK_Result (*GetConfigIdentifier)(
        KORVASDK_ControlSurface* surface, KORVASDK_String* outIdentifier);
    KORVASDK_Result (*GetControlSurfaceFlags)(KORVASDK_ControlSurface* surface, uint32_t* outFlags);
    KORVASDK_Result (*GetTransportRef)(
        KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceTransport** outTransport);
    KORVASDK_Result (*GetMixerRef)(
        KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceMixer** outMixer);
    KORVASDK_Result (*GetMarkerRef)(
        KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceMarker** outMarker);
    KORVASDK_Result (*GetCommandRef)(
        KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceCommand** outCommand);
    KORVASDK_Result (*Update)(KORVASDK_ControlSurface* surface);
    KORVASDK_Result (*GetTintoraRef)(
        KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceTintora** outTintora);
} KORVASDK_ControlSurfaceSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetConfigIdentifier, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetControlSurfaceFlags, 1);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetTransportRef, 2);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetMixerRef, 3);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetMarkerRef, 4);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetCommandRef, 5);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, Update, 6);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSuite, GetTintoraRef, 7);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceSuite, 8);

#define kKORVASDKControlSurfaceTransportSuite "KORVASDK ControlSurface Transport Suite"
#define kKORVASDKControlSurfaceTransportSuiteVersion 1

/* A state is on where its byte is not zero. */
typedef struct KORVASDK_ControlSurfaceTransportSuite {
    KORVASDK_Result (*SetStopState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetPlayState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetRecordState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetRewindState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetForwardState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetCycleState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetPauseState)(KORVASDK_ControlSurfaceTransport* transport, uint8_t state);
    KORVASDK_Result (*SetTimeDisplay)(
        KORVASDK_ControlSurfaceTransport* transport, uint32_t format, const KORVASDK_String* text);
} KORVASDK_ControlSurfaceTransportSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetStopState, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetPlayState, 1);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetRecordState, 2);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetRewindState, 3);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetForwardState, 4);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetCycleState, 5);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetPauseState, 6);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceTransportSuite, SetTimeDisplay, 7);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceTransportSuite, 8);

#define kKORVASDKControlSurfaceSMPTESuite "KORVASDK ControlSurface SMPTE Suite"
#define kKORVASDKControlSurfaceSMPTESuiteVersion 1

/* The host calls the two from one thread at a time; neither waits. */
typedef struct KORVASDK_ControlSurfaceSMPTESuite {
    /* Slot 0. The host has jumped to this position. `timeFormat` is a code of
     * SMPTETimeFormat.h. A null handle is kErrorBadParameter. */
    KORVASDK_Result (*GotoSMPTETime)(KORVASDK_ControlSurfaceSMPTE* smpte,
        uint32_t timeFormat,
        uint8_t hours,
        uint8_t minutes,
        uint8_t seconds,
        uint8_t frames,
        uint8_t subframes);
    /* Slot 1. The host is at this position, `offsetNanos` nanoseconds after
     * the present moment; `speed` 1.0 is normal play. Called once a frame. */
    KORVASDK_Result (*TransmitFullFrame)(KORVASDK_ControlSurfaceSMPTE* smpte,
        uint64_t offsetNanos,
        float speed,
        int32_t framesPerSecond,
        uint8_t dropFrame,
        uint8_t hours,
        uint8_t minutes,
        uint8_t seconds,
        uint8_t frames);
} KORVASDK_ControlSurfaceSMPTESuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSMPTESuite, GotoSMPTETime, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceSMPTESuite, TransmitFullFrame, 1);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceSMPTESuite, 2);

#define kKORVASDKControlSurfaceInternalSuite "KORVASDK ControlSurface Internal Suite"
#define kKORVASDKControlSurfaceInternalSuiteVersion 1

typedef struct KORVASDK_ControlSurfaceInternalSuite {
    /* Slot 0. A null or foreign surface is kErrorNotImplemented. */
    KORVASDK_Result (*GetSMPTERef)(
        KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceSMPTE** outSMPTE);
} KORVASDK_ControlSurfaceInternalSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceInternalSuite, GetSMPTERef, 0);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceInternalSuite, 1);

#endif
