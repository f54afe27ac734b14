// How far the picture is from the deck's clock while it plays.

#pragma once

#include <cstdint>

namespace deck {

/// Milliseconds; a picture that comes too early is ahead, which is positive.
struct PictureDrift {
    double mean = 0;            // of the last second or so
    double worst = 0;           // of one picture, its farthest since the picture locked on
    std::uint64_t pictures = 0; // compared since then

    bool operator==(const PictureDrift&) const = default;
};

/// Not before the picture has been drawn in to less than a quarter of a frame does it count. One
/// thread.
class DriftMeter {
public:
    explicit DriftMeter(double frameMillis)
        : mFrameMillis(frameMillis)
    {
    }

    /// The picture is sought anew.
    void Reset() noexcept { *this = DriftMeter(mFrameMillis); }
    /// One picture was off by so much.
    void Note(double millis) noexcept;

    bool IsLocked() const noexcept { return mDrift.pictures > 0; }
    const PictureDrift& Drift() const noexcept { return mDrift; }

private:
    double mFrameMillis;
    PictureDrift mDrift;
};

} // namespace deck
