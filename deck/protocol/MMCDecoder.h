// Reads MMC messages for people: what is in them, and what is odd about them.

#pragma once

#include "deck/protocol/MMC.h"

namespace deck {

/// LOCATE TARGET as it stands in the bytes; nothing is checked.
struct MMCLocateTarget {
    Timecode timecode;         // drop as the rate bits say
    std::uint8_t rateBits = 0; // 0 = 24, 1 = 25, 2 = 30 drop-frame, 3 = 30 non-drop
    std::uint8_t subframes = 0;
    bool negative = false;
    bool hasSubframes = true;
};

/// One command of a message.
struct MMCUnit {
    std::uint8_t code = 0;
    Bytes data; // behind the count byte
    std::optional<MMCLocateTarget> locate;
    std::string text; // "LOCATE 01:02:03:04 (25)", "SHUTTLE -2.5", "command 0x22"
};

struct MMCMessage {
    std::uint8_t deviceId = 0;
    bool isResponse = false;
    std::vector<MMCUnit> units; // of a response, none
    std::vector<std::string> warnings;
    std::string text; // the units' texts
};

/// "24", "25", "30 drop", "30" for the two rate bits of MMC and MTC.
std::string_view NameOfRateBits(unsigned bits) noexcept;

/// Reads F0 7F id 06/07 ... F7; nothing for any other bytes.
std::optional<MMCMessage> DecodeMMC(ByteView sysEx);

} // namespace deck
