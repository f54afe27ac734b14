// What the deck's window shows and does, without saying how: the window asks this
// for everything, so that a test can show it any state.

#pragma once

#include "deck/transport/Timecode.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace deck {

class VideoPlayer;

namespace window {

struct PortChoice {
    std::int32_t id = 0; // the MIDI unique ID
    std::string name;
    bool isAmbiguous = false; // cannot be told from another one
};

enum class Severity : std::uint8_t { Note, Warning };

/// Something that the user should know, in one line.
struct Notice {
    Severity severity = Severity::Note;
    std::string text;
};

/// Everything that can change while the window is open.
struct WindowState {
    std::string title;    // the file's name, or nothing
    std::string timecode; // "01:00:00;02"
    std::string state;    // "stop", "play", "pause", "rewind", "forward"
    int take = 0;         // the number of the newest, in the list; 0 before the first of this run
    FrameRate rate;
    std::string service; // "jack"

    std::vector<PortChoice> inputs;
    std::vector<PortChoice> outputs;
    std::optional<std::int32_t> input; // chosen, there or not
    std::optional<std::int32_t> output;
    std::string inputName; // as last seen; empty where it was never there
    std::string outputName;

    std::optional<std::chrono::nanoseconds> sinceMMC; // since the last MMC message; none yet: empty
    std::optional<std::chrono::nanoseconds> sinceMTC; // since the last MTC message sent
    std::string senderRate;                           // of the last locate, "25"
    std::string clock;            // how late it ticks, "late by 0.06 ms, at most 0.31 ms"
    std::string film;             // "25 fps, 01:00:00:00 to 01:02:00:00"; empty without one
    std::optional<bool> hasSound; // it is played or not; nothing where the film has none
    std::string picture;          // how it follows, "+3 ms, at most +8 ms"; empty without a video
    std::vector<Notice> notices;  // the most urgent first

    bool isReady = true; // the deck runs; before that it waits for the MIDI service
    bool isRecording = false;
    bool isBound = false;
    bool hasOwnPorts = false; // which are heard whatever is chosen
    bool transmitsMTC = false;
    bool isSenderAtFault = false; // it is not the deck's rate
    bool isClockLate = false;     // by more than half a frame, once at least
    bool isPictureOff = false;    // by more than half a frame now, or pictures were dropped
};

enum class MonitorKind : std::uint8_t { MMC, MTC };

/// One line of the monitor.
struct MonitorRow {
    MonitorKind kind = MonitorKind::MMC;
    std::string time;    // of the deck's clock, in seconds: "12.345678"
    std::string since;   // since the one before of its kind, in microseconds: "40012"
    std::string bytes;   // "F0 7F 7F 06 02 F7"
    std::string meaning; // "PLAY (device 7F)", "MTC piece 3: seconds, high 0"
    std::string effect;  // "Play", "traced only", "ignored", ...; empty for MTC
    bool isTrouble = false;
    std::string json; // all of it as one JSON object
};

enum class Edge : std::uint8_t { Start, End };

enum class Button : std::uint8_t { Rewind, Stop, Play, Pause, Forward, Record };

class WindowModel {
public:
    virtual ~WindowModel() = default;

    /// [window]
    virtual WindowState Read() = 0;
    /// Rows since the last call. [window]
    virtual std::vector<MonitorRow> TakeRows() = 0;
    /// [window]
    virtual void Press(Button button) = 0;
    /// Moves the deck to what `text` says; the answer is empty, or one line saying what is wrong.
    /// [window]
    virtual std::string Locate(const std::string& text) = 0;
    /// By a number of frames from where the deck is. [window]
    virtual void Step(FrameNumber frames) = 0;
    /// By whole seconds. [window]
    virtual void StepSeconds(int seconds) = 0;
    /// To the film's first or last picture; without one to where the deck began. [window]
    virtual void GoTo(Edge edge) = 0;
    /// What was told has been read. What still holds is said further on. [window]
    virtual void Acknowledge() = 0;
    /// Of the film. [window]
    virtual void PlaySound(bool isPlayed) = 0;
    /// [window, may block]
    virtual void ChoosePorts(
        std::optional<std::int32_t> input, std::optional<std::int32_t> output, bool transmitMTC)
        = 0;
    /// Null where there is no video. [window]
    virtual VideoPlayer* Video() = 0;
};

} // namespace window
} // namespace deck
