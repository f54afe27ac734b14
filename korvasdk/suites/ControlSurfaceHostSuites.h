/* What the host offers a control surface: its transport, its position, and the
 * references to ask them with. */

#ifndef KORVASDK_SUITES_CONTROLSURFACEHOSTSUITES_H
#define KORVASDK_SUITES_CONTROLSURFACEHOSTSUITES_H

#include "korvasdk/suites/ControlSurfaceHandles.h"
#include "korvasdk/suites/Reserved.h"
#include "korvasdk/suites/Result.h"
#include "korvasdk/suites/SMPTETimeFormat.h"

#define kKORVASDKControlSurfaceHostSuite "KORVASDK ControlSurfaceHost Suite"
#define kKORVASDKControlSurfaceHostSuiteVersion 1

typedef struct KORVASDK_ControlSurfaceHostSuite {
    KORVASDK_ReservedSlot reserved0;
    KORVASDK_ReservedSlot reserved1;
    KORVASDK_ReservedSlot reserved2;
    /* Slot 3. The reference that every call on the transport suite takes. */
    KORVASDK_Result (*GetTransportRef)(
        KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostTransport** outTransport);
} KORVASDK_ControlSurfaceHostSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostSuite, GetTransportRef, 3);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceHostSuite, 4);

#define kKORVASDKControlSurfaceHostTransportSuite "KORVASDK ControlSurfaceHost Transport Suite"
#define kKORVASDKControlSurfaceHostTransportSuiteVersion 1

/* Called on the thread that delivers MIDI; must not wait. Results are ignored. */
typedef struct KORVASDK_ControlSurfaceHostTransportSuite {
    KORVASDK_Result (*StartRewind)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*StopRewind)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*StartFastForward)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*StopFastForward)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*Stop)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*Play)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*Record)(KORVASDK_ControlSurfaceHostTransport* transport);
    KORVASDK_Result (*Pause)(KORVASDK_ControlSurfaceHostTransport* transport);
} KORVASDK_ControlSurfaceHostTransportSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, StartRewind, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, StopRewind, 1);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, StartFastForward, 2);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, StopFastForward, 3);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, Stop, 4);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, Play, 5);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, Record, 6);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostTransportSuite, Pause, 7);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceHostTransportSuite, 8);

#define kKORVASDKControlSurfaceHostSMPTESuite "KORVASDK ControlSurfaceHost SMPTE Suite"
#define kKORVASDKControlSurfaceHostSMPTESuiteVersion 1

typedef struct KORVASDK_ControlSurfaceHostSMPTESuite {
    /* Slot 0. `timeFormat` is a code of SMPTETimeFormat.h; `subframes` are the
     * sender's own and not masked. Called on the thread that delivers MIDI;
     * must not wait. */
    KORVASDK_Result (*LocateToSMPTETime)(KORVASDK_ControlSurfaceHostSMPTE* smpte,
        uint32_t timeFormat,
        uint8_t hours,
        uint8_t minutes,
        uint8_t seconds,
        uint8_t frames,
        uint8_t subframes);
    /* Slot 1. Called once, with 1, when a surface has taken the reference:
     * from now on it wants to be told positions. */
    KORVASDK_Result (*SetSMPTEActive)(KORVASDK_ControlSurfaceHostSMPTE* smpte, int32_t active);
} KORVASDK_ControlSurfaceHostSMPTESuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostSMPTESuite, LocateToSMPTETime, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostSMPTESuite, SetSMPTEActive, 1);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceHostSMPTESuite, 2);

#define kKORVASDKControlSurfaceHostInternalSuite "KORVASDK ControlSurfaceHost Internal Suite"
#define kKORVASDKControlSurfaceHostInternalSuiteVersion 1

typedef struct KORVASDK_ControlSurfaceHostInternalSuite {
    /* Slot 0. The reference that every call on the host's SMPTE suite takes. */
    KORVASDK_Result (*GetSMPTERef)(
        KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostSMPTE** outSMPTE);
} KORVASDK_ControlSurfaceHostInternalSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfaceHostInternalSuite, GetSMPTERef, 0);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfaceHostInternalSuite, 1);

#endif
