/* The basic suite: how one side gets at the suites that the other side offers.
 * The host hands it to the plug-in's entry point. */

#ifndef KORVASDK_SUITES_BASICSUITE_H
#define KORVASDK_SUITES_BASICSUITE_H

#include "korvasdk/suites/Result.h"

typedef struct QXBasicSuite {
    /* Slot 0. Finds the table known by `name` (NUL-terminated, 8-bit) and
     * `version`, and counts one use of it. Success with a null table means
     * that the suite is not available. */
    KORVASDK_Result (*AcquireSuite)(const char* name, int32_t version, const void** outSuite);
    /* Slot 1. Gives one use back. Callers ignore the result. */
    KORVASDK_Result (*ReleaseSuite)(const char* name, int32_t version);
} QXBasicSuite;

KORVASDK_ASSERT_SLOT(QXBasicSuite, AcquireSuite, 0);
KORVASDK_ASSERT_SLOT(QXBasicSuite, ReleaseSuite, 1);
KORVASDK_ASSERT_SLOT_COUNT(QXBasicSuite, 2);

#endif
