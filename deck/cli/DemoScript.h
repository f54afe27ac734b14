// What the demo's controller sends, and what has to come of it.

#pragma once

#include "deck/protocol/MMC.h"
#include "deck/transport/TransportSink.h"

#include <optional>
#include <string>
#include <vector>

namespace deck::cli {

enum class MTCWanted : std::uint8_t {
    Nothing,
    FullFrame,     // of the frame where the deck rests, or of `target`
    QuarterFrames, // four whole time codes, of frames that the deck has reported
    FullThenQuarterFrames,
    FullFramesBack, // eight, each earlier than the one before
    FullFramesForward
};

struct DemoStep {
    std::string name;
    Bytes bytes;
    std::vector<HostCallKind> calls; // exactly these, in this order
    TransportState state = TransportState::Stopped;
    MTCWanted mtc = MTCWanted::Nothing;
    std::optional<Timecode> target{}; // of a locate
    std::string trace;  // how the plug-in's trace line ends; empty: none is looked for
    std::string remark; // shown where no call is wanted
};

/// The whole show, for a deck at `kDemoRate` that stands at `kDemoStart`.
std::vector<DemoStep> MakeDemoScript();

inline constexpr FrameRate kDemoRate = FrameRate::k25;
inline constexpr Timecode kDemoStart{1, 0, 0, 0, false};

} // namespace deck::cli
