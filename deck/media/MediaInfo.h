// What a media file says of itself before it is played: rate, length, start time code.

#pragma once

#include "deck/transport/Timecode.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

namespace deck {

/// Why a file cannot be played, in the words of the library that tried.
class MediaError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct MediaInfo {
    std::int64_t fpsNumerator = 0; // frames a second, as the container says; 0 without video
    std::int64_t fpsDenominator = 1;
    FrameNumber frameCount = 0; // of the video stream, rounded from its length where not stored
    std::chrono::nanoseconds duration{0};
    std::optional<std::string> startTimecode; // as the file writes it, "01:00:00;00"
    int width = 0;
    int height = 0;
    bool hasAudio = false;

    bool HasVideo() const noexcept { return fpsNumerator > 0; }
    /// The time code rate that the frames run at; nothing where no rate fits. Drop-frame where the
    /// start time code is written so.
    std::optional<FrameRate> Rate() const;
};

/// Reads the headers of the file at `path`. Throws `MediaError`. [host, may block]
MediaInfo ReadMediaInfo(const std::string& path);

} // namespace deck
