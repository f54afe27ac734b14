// MIDI Machine Control (RP-013): the commands, their bytes, and what the
// MIDIMachineControl plug-in does with each.

#pragma once

#include "deck/transport/Timecode.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace deck {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline constexpr std::uint8_t kMMCAllDevices = 0x7F;

/// Command bytes that code refers to by name. MMCCommands() has every one.
enum MMCCode : std::uint8_t {
    kMMCStop = 0x01,
    kMMCPlay = 0x02,
    kMMCDeferredPlay = 0x03,
    kMMCFastForward = 0x04,
    kMMCRewind = 0x05,
    kMMCRecordStrobe = 0x06,
    kMMCRecordExit = 0x07,
    kMMCRecordPause = 0x08,
    kMMCPause = 0x09,
    kMMCEject = 0x0A,
    kMMCChase = 0x0B,
    kMMCReset = 0x0D,
    kMMCWrite = 0x40,
    kMMCMaskedWrite = 0x41,
    kMMCLocate = 0x44,
    kMMCShuttle = 0x47,
    kMMCStep = 0x48,
};

/// What the plug-in does with a command.
enum class MMCTreatment : std::uint8_t {
    kHostCall,   // calls the host's transport or SMPTE suite
    kTracedOnly, // appears in the trace, nothing else
    kIgnored,    // consumed silently
    kBlocks      // of unknown length: nothing after it is ever interpreted
};

struct MMCCommand {
    std::uint8_t code;
    std::string_view name; // as RP-013 writes it, e.g. "DEFERRED PLAY"
    bool hasCount;         // a count byte and that many data bytes follow
    MMCTreatment treatment;
    std::string_view effect; // the host calls, or why there is none
};

/// Every command of RP-013, in the order of their codes.
std::span<const MMCCommand> MMCCommands() noexcept;
/// Nothing for a byte that RP-013 leaves undefined.
const MMCCommand* FindMMCCommand(std::uint8_t code) noexcept;
/// By name in any case; blanks, '-' and '_' are alike and may be left out.
const MMCCommand* FindMMCCommand(std::string_view name);

/// F0 7F `deviceId` 06 `command` [count data] F7. `data` only where the command has a count, at
/// most 127 bytes. `deviceId` is 0 to 7F.
Bytes EncodeMMC(std::uint8_t deviceId, std::uint8_t command, ByteView data = {});
/// LOCATE TARGET with the rate bits (0 to 3) given, which need not fit the time code.
Bytes EncodeLocateTarget(std::uint8_t deviceId,
    std::uint8_t rateBits,
    const Timecode& timecode,
    std::uint8_t subframes = 0);
/// LOCATE to an information field (locate point GP0 is 08).
Bytes EncodeLocateField(std::uint8_t deviceId, std::uint8_t field);
/// SHUTTLE at `speed` times play speed, -1023 to 1023; negative is reverse.
Bytes EncodeShuttle(std::uint8_t deviceId, double speed);
/// STEP by -63 to 63 steps.
Bytes EncodeStep(std::uint8_t deviceId, int steps);
/// MASKED WRITE of track record ready: `track` from 1 to 891 on or off. The tracks of RP-013's
/// bitmap count from 5: its first five bits are video, reserved, time code, aux A and aux B.
Bytes EncodeRecordReady(std::uint8_t deviceId, int track, bool ready);

/// Three bytes of MMC's standard speed as a multiple of play speed.
double DecodeSpeed(std::uint8_t high, std::uint8_t middle, std::uint8_t low) noexcept;

struct MMCSendOptions {
    std::uint8_t deviceId = kMMCAllDevices;
    FrameRate rate = FrameRate::k25; // of time codes in the text; its rate bits go with LOCATE
    std::optional<std::uint8_t> rateBits{}; // other bits than the rate's own, for senders that lie
    std::uint8_t subframes = 0;
};

/// The bytes for one line as a user writes it: a command by name with its arguments, or raw
/// bytes. "PLAY", "locate 01:02:03:04", "LOCATE FIELD 08", "shuttle -2.5", "STEP 3",
/// "record-ready 2 on", "write 4F 01 20", "F0 7F 7F 06 02 F7". Errors name what would be right.
Parsed<Bytes> EncodeMMCText(std::string_view line, const MMCSendOptions& options);

/// "F0 7F 7F 06 02 F7".
std::string FormatBytes(ByteView bytes);
/// Takes hexadecimal bytes with blanks, commas or nothing between, with or without 0x.
Parsed<Bytes> ParseBytes(std::string_view text);

} // namespace deck
