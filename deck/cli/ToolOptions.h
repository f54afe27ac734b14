// What the tools beside the deck are asked to do: send, monitor, check-mtc, doctor.

#pragma once

#include "deck/protocol/MMC.h"
#include "deck/protocol/MidiMonitor.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace deck::cli {

struct SendOptions {
    std::string to; // an ID, or part of a destination's name
    std::vector<std::string> commands;
    std::optional<std::string> file; // "-" is standard input
    MMCSendOptions mmc;
    std::chrono::nanoseconds interval{0}; // from one message to the next
    bool list = false;
};

/// What a message counts as for `--only`.
enum class MonitorGroup : std::uint8_t { MMC = 1, MTC = 2, SysEx = 4, Other = 8 };
inline constexpr std::uint8_t kAllMonitorGroups = 15;

struct MonitorOptions {
    std::optional<std::string> from;         // else every source
    std::uint8_t groups = kAllMonitorGroups; // MonitorGroup, joined
    bool json = false;
    std::optional<std::filesystem::path> save;
    std::optional<std::uint64_t> count;               // messages shown, then it ends
    std::optional<std::chrono::nanoseconds> duration; // then it ends
    bool revive = true; // like a deck that connects a deaf plug-in anew
};

struct CheckMtcOptions {
    std::optional<std::string> from;
    std::optional<std::string> file; // what the monitor saved; "-" is standard input
    std::optional<std::chrono::nanoseconds> duration;
    std::chrono::nanoseconds jitterLimit{4'000'000};
    bool json = false;
};

struct DoctorOptions {
    std::optional<std::filesystem::path> bundle;
    std::filesystem::path settings;
    std::optional<FrameRate> rate; // else it is not compared
    std::chrono::nanoseconds listen{2'000'000'000};
    bool mustHear = false; // the user asked to listen: silence is a finding
    bool json = false;
};

} // namespace deck::cli
