#include "deck/media/PictureDrift.h"

#include <algorithm>
#include <cmath>

namespace deck {

namespace {

constexpr double kLockFrames = 0.25;
constexpr std::uint64_t kMeanPictures = 25;

} // namespace

void DriftMeter::Note(double millis) noexcept
{
    if (!IsLocked() && std::abs(millis) > kLockFrames * mFrameMillis) {
        return;
    }
    ++mDrift.pictures;
    mDrift.mean
        += (millis - mDrift.mean) / static_cast<double>(std::min(mDrift.pictures, kMeanPictures));
    if (std::abs(millis) > std::abs(mDrift.worst)) {
        mDrift.worst = millis;
    }
}

} // namespace deck
