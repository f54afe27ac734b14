/* Result codes: what every function that crosses the host boundary returns. */

#ifndef KORVASDK_SUITES_RESULT_H
#define KORVASDK_SUITES_RESULT_H

#include <stdint.h>

/* 0 is success; an error is a four-character code, the first character in the
 * most significant byte. */
typedef int32_t KORVASDK_Result;

enum {
    kSuccess = 0,
    /* 'Parm': bad or missing parameter; also the plug-in's general refusal,
     * for example when memory runs out while an instance connects. */
    kErrorBadParameter = 0x5061726D,
    /* '!IMP': not implemented by this plug-in. Unsupported, not failed. */
    kErrorNotImplemented = 0x21494D50,
    /* 'sbts': the caller's string buffer is too small. */
    kErrorStringBufferTooSmall = 0x73627473
};

/* Fails the build where a table slot has moved: slot order is the contract. */
#ifdef __cplusplus
#include <cstddef>
#define KORVASDK_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#include <stddef.h>
#define KORVASDK_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#define KORVASDK_ASSERT_SLOT(Table, member, slot)                                                  \
    KORVASDK_STATIC_ASSERT(offsetof(Table, member) == (slot) * sizeof(void (*)(void)),             \
        #Table "." #member " is not at slot " #slot)
#define KORVASDK_ASSERT_SLOT_COUNT(Table, count)                                                   \
    KORVASDK_STATIC_ASSERT(sizeof(Table) == (count) * sizeof(void (*)(void)),                      \
        #Table " does not have " #count " slots")

#endif
