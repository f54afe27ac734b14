#include "deck/media/PictureDrift.h"

#include <gtest/gtest.h>

namespace deck::test {
namespace {

constexpr double kFrameMillis = 40;

TEST(DriftMeter, CountsOnceThePictureIsDrawnIn)
{
    DriftMeter meter(kFrameMillis);

    meter.Note(-90);
    meter.Note(11);
    EXPECT_FALSE(meter.IsLocked());
    meter.Note(-10);
    EXPECT_TRUE(meter.IsLocked());
    EXPECT_EQ(meter.Drift().worst, -10);
    EXPECT_EQ(meter.Drift().pictures, 1U);
}

TEST(DriftMeter, KeepsTheWorstAndForgetsItInTheMean)
{
    DriftMeter meter(kFrameMillis);
    meter.Note(1);
    meter.Note(-35);
    for (int picture = 0; picture < 300; ++picture) {
        meter.Note(2);
    }

    EXPECT_EQ(meter.Drift().worst, -35);
    EXPECT_NEAR(meter.Drift().mean, 2, 0.01);
}

TEST(DriftMeter, IsTheMeanOfWhatCameWhileThatIsLittle)
{
    DriftMeter meter(kFrameMillis);
    meter.Note(2);
    meter.Note(6);

    EXPECT_EQ(meter.Drift().mean, 4);
}

TEST(DriftMeter, BeginsAnewWhereThePictureIsSoughtAnew)
{
    DriftMeter meter(kFrameMillis);
    meter.Note(9);
    meter.Reset();

    EXPECT_FALSE(meter.IsLocked());
    EXPECT_EQ(meter.Drift().worst, 0);
}

} // namespace
} // namespace deck::test
