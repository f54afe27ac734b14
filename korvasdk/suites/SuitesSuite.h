/* The suite-registration suite: how the plug-in tells the host which suites it
 * offers. */

#ifndef KORVASDK_SUITES_SUITESSUITE_H
#define KORVASDK_SUITES_SUITESSUITE_H

#include "korvasdk/suites/Result.h"

#define kQXSuitesSuite "QX Suites Suite"
#define kQXSuitesSuiteVersion 2

typedef struct QXSuiteList QXSuiteList; /* the host's own */
typedef struct QXSuite QXSuite;         /* the host's own */

typedef struct QXSuitesSuite {
    /* Slot 0. The first two arguments are null. */
    KORVASDK_Result (*AllocateSuiteList)(
        void* reserved0, void* reserved1, QXSuiteList** outSuiteList);
    /* Slot 1. Callers ignore the result. */
    KORVASDK_Result (*FreeSuiteList)(QXSuiteList* suiteList);
    /* Slot 2. `owner` is null; `functions` is the table and outlives the list.
     * Callers ignore the result and throw `outSuite` away. */
    KORVASDK_Result (*AddSuite)(QXSuiteList* suiteList,
        void* owner,
        const char* name,
        int32_t apiVersion,
        int32_t internalVersion,
        const void* functions,
        QXSuite** outSuite);
} QXSuitesSuite;

KORVASDK_ASSERT_SLOT(QXSuitesSuite, AllocateSuiteList, 0);
KORVASDK_ASSERT_SLOT(QXSuitesSuite, FreeSuiteList, 1);
KORVASDK_ASSERT_SLOT(QXSuitesSuite, AddSuite, 2);
KORVASDK_ASSERT_SLOT_COUNT(QXSuitesSuite, 3);

#endif
