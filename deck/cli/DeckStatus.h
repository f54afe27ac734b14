// What the deck says about itself: as a line of text, and as JSON.

#pragma once

#include "deck/host/MMCWatch.h"
#include "deck/media/VideoPlayer.h"
#include "deck/protocol/PluginModel.h"
#include "deck/transport/TransportSink.h"
#include "deck/transport/TransportThread.h"

#include <cstdint>
#include <optional>
#include <string>

namespace deck::cli {

struct PortStatus {
    std::optional<MIDIUniqueID> id; // nothing where no port is configured
    std::string name;               // as last seen; empty where it was never there
    bool isThere = false;

    bool operator==(const PortStatus&) const = default;
};

struct DeckStatus {
    TransportState state = TransportState::Stopped;
    bool isRecording = false;
    FrameNumber frame = 0;
    int speed = 0;
    FrameRate rate;
    std::string service;
    std::string waitsFor; // why the MIDI service is not there; empty where it is
    PortStatus in;
    PortStatus out;
    bool hasOwnPorts = false; // "MMC in" and "MTC out", which are always there
    bool mtc = false;
    std::uint64_t mmc = 0;   // MMC messages that came in
    std::uint64_t calls = 0; // calls of the plug-in on the transport
    std::uint64_t lost = 0;  // calls and events without room, and messages that the service lost
    int takes = 0;
    std::string senderRate;             // of the last locate; empty before the first
    bool isSenderAtFault = false;       // its rate, or its frame number, is not of the deck's rate
    Punctuality clock;                  // of the deck itself
    std::optional<VideoStatus> picture; // where there is a video
    std::string deaf; // why the plug-in obeys nothing any more; empty while it does

    /// The plug-in binds both ports or none.
    bool IsBound() const noexcept { return in.isThere && out.isThere; }

    bool operator==(const DeckStatus&) const = default;
};

/// True where `after` is worth a line of its own: more than the frame, how well the picture
/// follows and how much was lost has changed, or the frame at rest, or something is lost at all.
bool IsChange(const DeckStatus& before, const DeckStatus& after);

/// One line without its end, at most `width` columns wide.
std::string StatusText(const DeckStatus& status, std::size_t width = 1000);

/// "+3 ms, at most +8 ms", or "frame 1234" where it stands; with what was dropped.
std::string PictureText(const VideoStatus& picture);

/// {"event":"status", ...}, one line without its end.
std::string StatusJSON(const DeckStatus& status);

/// {"event":"call","call":"Play", ...}
std::string CallJSON(const HostCall& call, CallOutcome outcome);

/// {"event":"mmc","bytes":"F0 ..","text":"PLAY","fate":"host call","effect":"Play"}
std::string MMCJSON(const host::RawMMC& message, const PluginPrediction& prediction);

/// {"event":"take","take":1,"in":"00:00:04:00","out":null}
std::string TakeJSON(const Take& take, FrameRate rate);

/// {"event":"`event`","text":"`text`"}
std::string MessageJSON(const std::string& event, const std::string& text);

} // namespace deck::cli
