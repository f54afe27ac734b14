/* The frame-rate codes that go with every SMPTE position. */

#ifndef KORVASDK_SUITES_SMPTETIMEFORMAT_H
#define KORVASDK_SUITES_SMPTETIMEFORMAT_H

enum {
    kSMPTETimeFormat24 = 2,
    kSMPTETimeFormat25 = 3,
    kSMPTETimeFormat30Drop = 4,
    kSMPTETimeFormat30NonDrop = 5
};

#endif
