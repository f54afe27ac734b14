/* The string suite: the only way to fill and read the host's strings. */

#ifndef KORVASDK_SUITES_STRINGSUITE_H
#define KORVASDK_SUITES_STRINGSUITE_H

#include "korvasdk/suites/Reserved.h"
#include "korvasdk/suites/Result.h"

#define kKORVASDKStringSuite "KORVASDK StringSuite"
#define kKORVASDKStringSuiteVersion 1

typedef struct KORVASDK_String KORVASDK_String; /* the host's own record; holds UTF-16 text */

/* One UTF-16 code unit. */
#ifdef __cplusplus
typedef char16_t KORVASDK_UTF16Unit;
#else
typedef uint_least16_t KORVASDK_UTF16Unit;
#endif

typedef struct KORVASDK_StringSuite {
    KORVASDK_ReservedSlot reserved0;
    KORVASDK_ReservedSlot reserved1;
    KORVASDK_ReservedSlot reserved2;
    /* Slot 3. Makes `outString`, a record of the host's, hold NUL-terminated UTF-16 text. The
     * plug-in passes on the record that the host has handed it to be filled. */
    KORVASDK_Result (*MakeString)(const KORVASDK_UTF16Unit* text, KORVASDK_String* outString);
    /* Slot 4. Copies the text out. `*length` is the buffer's length in units
     * and becomes the text's. Where the buffer is too small, the answer is
     * kErrorStringBufferTooSmall and `*length` the length that is needed. So a
     * caller asks twice: with length 0, then with a buffer of that length. An
     * empty string answers kSuccess at once. */
    KORVASDK_Result (*CopyString)(
        const KORVASDK_String* string, KORVASDK_UTF16Unit* buffer, uint32_t* length);
} KORVASDK_StringSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_StringSuite, MakeString, 3);
KORVASDK_ASSERT_SLOT(KORVASDK_StringSuite, CopyString, 4);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_StringSuite, 5);

#endif
