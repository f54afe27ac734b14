/* A slot that nobody uses. It is null, and keeps the slots behind it in place. */

#ifndef KORVASDK_SUITES_RESERVED_H
#define KORVASDK_SUITES_RESERVED_H

typedef void (*KORVASDK_ReservedSlot)(void);

#endif
