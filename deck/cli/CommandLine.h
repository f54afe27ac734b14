// The command line as the deck understands it.

#pragma once

#include "deck/cli/StatusCommand.h"
#include "deck/cli/TakesCommand.h"
#include "deck/cli/ToolOptions.h"
#include "deck/protocol/MtcPacer.h"
#include "deck/transport/Timecode.h"
#include "deck/transport/Transport.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace deck::cli {

struct PortsOptions {
    bool json = false;
    bool watch = false;
    std::string names; // "source" or "destination": only their names
};

struct ConnectOptions {
    std::string in;
    std::string out;
    std::optional<bool> mtc;
    std::optional<std::filesystem::path> bundle;
    std::filesystem::path settings;
};

struct ConfigureOptions {
    std::optional<std::filesystem::path> bundle;
    std::filesystem::path settings;
};

struct RunOptions {
    std::optional<std::string> in;
    std::optional<std::string> out;
    std::optional<bool> mtc;
    TransportSettings transport{.locateRate = LocateRate::Auto};
    MtcPacerOptions pacing;
    bool ownPorts = true;
    bool revive = true;
    std::optional<std::filesystem::path> bundle;
    std::filesystem::path settings;
    std::filesystem::path takes; // the list of them
    std::string reel;            // what the takes are made from; may be empty
    bool json = false;
    double statusInterval = 0; // seconds; 0: at a change only
    bool noWait = false;
    bool portsMayCome = false;          // in and out stand in a file: they are waited for
    std::string command = "run";        // or "play"
    std::vector<std::string> arguments; // what all this was read from, to read it anew
};

struct PlayOptions {
    RunOptions run;
    std::optional<std::filesystem::path> file; // a pure time code deck without
    FrameNumber mediaStart = 0;                // the deck's frame for the first picture
    bool audio = false;
    bool burnIn = false;
    bool fullScreen = false;
    std::optional<int> screen; // from 1; else the desktop chooses
    std::chrono::nanoseconds pictureDelay{0};
    bool blackOutside = false; // of the film
};

struct DemoOptions {
    std::optional<std::filesystem::path> bundle;
    std::string lost; // a command that the controller does not send, to see the demo fail
};

/// Something to print, after which there is nothing to do.
struct PrintOptions {
    std::string text;
};

using Command = std::variant<PortsOptions,
    ConnectOptions,
    ConfigureOptions,
    RunOptions,
    PlayOptions,
    DemoOptions,
    SendOptions,
    MonitorOptions,
    CheckMtcOptions,
    DoctorOptions,
    TakesOptions,
    StatusOptions,
    PrintOptions>;

/// A deck that has no picture.
PlayOptions WithoutAWindow(RunOptions options);

/// `arguments`, without the program's name, of a deck: those of `run` as those of a `play` without
/// a picture. Throws HostError. [any thread, may block]
PlayOptions ParseDeck(const std::vector<std::string>& arguments);

/// `arguments` without the program's name. Throws HostError, whose line says what was wrong and
/// what would be right.
Command ParseCommandLine(const std::vector<std::string>& arguments);

} // namespace deck::cli
