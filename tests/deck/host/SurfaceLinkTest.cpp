#include "deck/host/SurfaceLink.h"

#include "tests/deck/transport/FakeClock.h"

#include <gmock/gmock.h>

namespace deck::host::test {
namespace {

using namespace std::chrono_literals;
using testing::_;
using testing::StrictMock;

struct MockSMPTE {
    MOCK_METHOD(void, Goto, (unsigned format, int hours, int minutes, int seconds, int frames));
    MOCK_METHOD(void,
        Transmit,
        (std::int64_t offset,
            float speed,
            int fps,
            int drop,
            int hours,
            int minutes,
            int seconds,
            int frames));
};

MockSMPTE& From(KORVASDK_ControlSurfaceSMPTE* handle)
{
    return *reinterpret_cast<MockSMPTE*>(handle);
}

KORVASDK_Result Goto(KORVASDK_ControlSurfaceSMPTE* handle,
    uint32_t format,
    uint8_t hours,
    uint8_t minutes,
    uint8_t seconds,
    uint8_t frames,
    uint8_t)
{
    From(handle).Goto(format, hours, minutes, seconds, frames);
    return kSuccess;
}

KORVASDK_Result Transmit(KORVASDK_ControlSurfaceSMPTE* handle,
    uint64_t offset,
    float speed,
    int32_t fps,
    uint8_t drop,
    uint8_t hours,
    uint8_t minutes,
    uint8_t seconds,
    uint8_t frames)
{
    From(handle).Transmit(
        static_cast<std::int64_t>(offset), speed, fps, drop, hours, minutes, seconds, frames);
    return kSuccess;
}

constexpr KORVASDK_ControlSurfaceSMPTESuite kTable = {Goto, Transmit};

class SurfaceLinkTest : public testing::Test {
protected:
    SurfaceSMPTE Surface()
    {
        return {&kTable, reinterpret_cast<KORVASDK_ControlSurfaceSMPTE*>(&mSMPTE)};
    }
    void AskForPositions() { mLink.OnCall(HostCall{HostCallKind::SetSMPTEActive, {}, 1}); }

    deck::test::FakeClock mClock;
    StrictMock<MockSMPTE> mSMPTE;
    SurfaceLink mLink{FrameRate::k2997Drop, mClock};
};

TEST_F(SurfaceLinkTest, TellsItsSurfaceNothingBecauseAnotherAsked)
{
    mLink.Attach(Surface());
    mLink.OnCall(HostCall{HostCallKind::SetSMPTEActive, {}, 1, 1});

    mLink.OnPosition(Position{}); // a call would fail the test
}

TEST_F(SurfaceLinkTest, ReportsAFrameWithItsIdealMoment)
{
    mLink.Attach(Surface());
    AskForPositions();

    EXPECT_CALL(mSMPTE, Transmit(-2000000, 1.0F, 30, 1, 0, 1, 0, 2));
    mLink.OnPosition({1800, mClock.Now() - 2ms, 1});
}

TEST_F(SurfaceLinkTest, ReportsTheSpeedOfAWind)
{
    mLink.Attach(Surface());
    AskForPositions();

    EXPECT_CALL(mSMPTE, Transmit(0, -10.0F, 30, 1, 0, 0, 0, 0));
    mLink.OnPosition({0, mClock.Now(), -10});
}

TEST_F(SurfaceLinkTest, ReportsAJumpAsOne)
{
    mLink.Attach(Surface());
    AskForPositions();

    EXPECT_CALL(mSMPTE, Goto(4, 1, 0, 0, 0));
    mLink.OnLocated({107892, mClock.Now(), 0});
}

TEST_F(SurfaceLinkTest, TellsNothingBeforeASurfaceAsked)
{
    mLink.Attach(Surface());

    mLink.OnPosition({0, mClock.Now(), 1});
    mLink.OnLocated({0, mClock.Now(), 0});
}

TEST_F(SurfaceLinkTest, TellsNothingOnceDetached)
{
    mLink.Attach(Surface());
    AskForPositions();
    mLink.Detach();

    mLink.OnPosition({0, mClock.Now(), 1});
    mLink.Attach(Surface());
    mLink.OnPosition({0, mClock.Now(), 1}); // the next surface has to ask again
}

TEST_F(SurfaceLinkTest, TellsNothingToASurfaceWithoutSMPTE)
{
    mLink.Attach(SurfaceSMPTE{&kTable, nullptr});
    AskForPositions();

    mLink.OnPosition({0, mClock.Now(), 1});
}

} // namespace
} // namespace deck::host::test
