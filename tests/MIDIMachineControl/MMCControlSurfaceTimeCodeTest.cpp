// The time code that the control surface sends.

#include "tests/MIDIMachineControl/FakeTime.h"
#include "tests/MIDIMachineControl/SurfaceTest.h"
#include "tests/support/HeapControl.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

namespace mmc::tests {

namespace {

using korva::tests::HeapControl;
using testing::InSequence;
using testing::Mock;
using testing::StrictMock;

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kNow = 5'000'000'000;
constexpr std::uint64_t kAtOnce = 0;

class MockWire {
public:
    MOCK_METHOD(void, Carry, (const Bytes& message, std::uint64_t timeStamp));
};

class SurfaceTimeCode : public SurfaceTest {
protected:
    SurfaceTimeCode()
    {
        mMidi.PlugIn(u"1", u"2");
        mMidi.OnSend([this](const kelmidi::MidiMessage& message) {
            mWire.Carry(
                {message.data.bytes, message.data.bytes + message.data.length}, message.timeStamp);
        });
        Connect(true);
    }

    void Connect(bool transmitMTC) { mSurface.Connect(DeviceInfo(u"1", u"2", transmitMTC)); }

    void ExpectSent(const Bytes& message, std::uint64_t timeStamp = kAtOnce)
    {
        EXPECT_CALL(mWire, Carry(message, timeStamp));
    }
    void ExpectPieces(
        const std::array<std::uint8_t, 4>& pieces, std::uint64_t first, std::uint64_t interval)
    {
        const InSequence inSequence;
        for (const std::uint8_t piece : pieces) {
            ExpectSent({0xF1, piece}, first);
            first += interval;
        }
    }
    void ExpectFullFrame(std::uint8_t hours)
    {
        ExpectSent({0xF0, 0x7F, 0x7F, 0x01, 0x01, hours, 0x02, 0x03, 0x04, 0xF7});
    }
    void VerifySent() { Mock::VerifyAndClearExpectations(&mWire); }

    /// Position 01:02:03:04, as full frames expect it.
    KORVASDK_Result Transmit(float speed, int framesPerSecond, bool dropFrame = false)
    {
        return mSurface.TransmitFullFrame(0, speed, framesPerSecond, dropFrame, 1, 2, 3, 4);
    }
    /// Shows that a cycle begins with the next quarter frames.
    void ExpectPhase0()
    {
        ExpectPieces({0x04, 0x10, 0x23, 0x30}, kNow, 10'000'000);
        Transmit(1.0F, 25);
        VerifySent();
    }
    /// Brings the phase to 1, the first half of 01:02:03:04 at 25 sent.
    void SendFirstHalf() { ExpectPhase0(); }

    FakeTime mTime{kNow};
    StrictMock<MockWire> mWire;
};

} // namespace

TEST_F(SurfaceTimeCode, SendsAFullFrameWhereTheHostLocates)
{
    ExpectFullFrame(0x21);

    EXPECT_EQ(mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 99), kSuccess);
}

TEST_F(SurfaceTimeCode, LocatesWithTheRateOfTheCode)
{
    const std::pair<unsigned int, std::uint8_t> rates[]{{0, 0x01}, {1, 0x01}, {2, 0x01}, {3, 0x21},
        {4, 0x41}, {5, 0x61}, {6, 0x01}, {0xFFFFFFFF, 0x01}};
    for (const auto& [rateCode, hours] : rates) {
        ExpectFullFrame(hours);
        mSurface.GotoSMPTETime(rateCode, 1, 2, 3, 4, 0);
        VerifySent();
    }
}

TEST_F(SurfaceTimeCode, LocatesWithFiveBitsOfHoursAndTheOthersUnmasked)
{
    ExpectSent({0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x18, 0xFF, 0xFE, 0xFD, 0xF7});
    mSurface.GotoSMPTETime(2, 24, 0xFF, 0xFE, 0xFD, 0);
    ExpectSent({0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x61, 0x02, 0x03, 0x04, 0xF7});
    mSurface.GotoSMPTETime(5, 33, 2, 3, 4, 0);
}

TEST_F(SurfaceTimeCode, SendsTheSamePositionTwiceWhereItIsToldTwice)
{
    const Bytes message{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7};
    EXPECT_CALL(mWire, Carry(message, kAtOnce)).Times(2);

    mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0);
    mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0);
}

TEST_F(SurfaceTimeCode, StartsANewCycleAfterALocate)
{
    SendFirstHalf();
    ExpectFullFrame(0x21);
    mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0);

    ExpectPhase0();
}

TEST_F(SurfaceTimeCode, SendsNothingButForgetsItsPhaseAtALocateWhileSwitchedOff)
{
    SendFirstHalf();
    Connect(false);
    Connect(true);
    SendFirstHalf();
    Connect(false);
    EXPECT_EQ(mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0), kSuccess);
    Connect(true);

    ExpectPhase0();
}

TEST_F(SurfaceTimeCode, SendsAFullFrameAtAnySpeedButNormal)
{
    for (const float speed : {0.0F, -1.0F, 0.5F, 2.0F, std::nextafter(1.0F, 2.0F),
             std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        ExpectFullFrame(0x21);
        EXPECT_EQ(Transmit(speed, 25), kSuccess);
        VerifySent();
    }
}

TEST_F(SurfaceTimeCode, SendsFullFramesWithTheRateBitsOfTheRate)
{
    const std::tuple<int, bool, std::uint8_t> rates[]{{24, false, 0x01}, {25, true, 0x21},
        {30, true, 0x41}, {30, false, 0x61}, {29, true, 0x01}, {60, false, 0x01}, {0, true, 0x01},
        {-30, true, 0x01}};
    for (const auto& [framesPerSecond, dropFrame, hours] : rates) {
        ExpectFullFrame(hours);
        Transmit(0.0F, framesPerSecond, dropFrame);
        VerifySent();
    }
}

TEST_F(SurfaceTimeCode, SendsTheTwoHalvesOfACycle)
{
    ExpectPieces({0x04, 0x10, 0x23, 0x30}, kNow, 10'000'000);
    EXPECT_EQ(Transmit(1.0F, 25), kSuccess);
    VerifySent();

    mTime.SetNow(kNow + 40'000'123); // not looked at: the cycle has its time
    ExpectPieces({0x42, 0x50, 0x61, 0x72}, kNow + 40'000'000, 10'000'000);
    EXPECT_EQ(
        mSurface.TransmitFullFrame(777, 1.0F, 25, false, 11, 12, 13, 14), kSuccess); // nor those
    VerifySent();

    mTime.SetNow(kNow + 80'000'000);
    ExpectPieces({0x05, 0x10, 0x23, 0x30}, kNow + 80'000'000, 10'000'000);
    mSurface.TransmitFullFrame(0, 1.0F, 25, false, 1, 2, 3, 5);
}

TEST_F(SurfaceTimeCode, SplitsEachPartIntoItsNibbles)
{
    ExpectPieces({0x0D, 0x11, 0x2B, 0x33}, kNow, 10'416'667);
    mSurface.TransmitFullFrame(0, 1.0F, 24, false, 23, 59, 59, 29);
    ExpectPieces({0x4B, 0x53, 0x67, 0x71}, kNow + 4 * 10'416'667ULL, 10'416'667);
    mSurface.TransmitFullFrame(0, 1.0F, 24, false, 23, 59, 59, 29);
}

TEST_F(SurfaceTimeCode, MasksOnlyTheHoursOfACycle)
{
    ExpectPieces({0x0F, 0x1F, 0x2E, 0x3F}, kNow, 10'416'667);
    mSurface.TransmitFullFrame(0, 1.0F, 24, false, 0xE0, 0xFD, 0xFE, 0xFF);
    ExpectPieces({0x4D, 0x5F, 0x60, 0x70}, kNow + 4 * 10'416'667ULL, 10'416'667);
    mSurface.TransmitFullFrame(0, 1.0F, 24, false, 0, 0, 0, 0);
}

TEST_F(SurfaceTimeCode, SendsPiece7AndItsSpacingForEachRate)
{
    struct Rate {
        int framesPerSecond;
        bool dropFrame;
        std::uint8_t piece7; // hour 17: bit 4 is set
        std::uint64_t interval;
    };
    for (const Rate& rate : {Rate{24, true, 0x71, 10'416'667}, Rate{25, true, 0x73, 10'000'000},
             Rate{30, true, 0x75, 8'333'333}, Rate{30, false, 0x77, 8'333'333},
             Rate{29, true, 0x71, 8'620'690}, Rate{60, true, 0x71, 4'166'667},
             Rate{1, false, 0x71, 250'000'000}}) {
        ExpectPieces({0x00, 0x10, 0x20, 0x30}, kNow, rate.interval);
        mSurface.TransmitFullFrame(0, 1.0F, rate.framesPerSecond, rate.dropFrame, 17, 0, 0, 0);
        ExpectPieces({0x40, 0x50, 0x61, rate.piece7}, kNow + 4 * rate.interval, rate.interval);
        mSurface.TransmitFullFrame(0, 1.0F, rate.framesPerSecond, rate.dropFrame, 17, 0, 0, 0);
        VerifySent();
    }
}

TEST_F(SurfaceTimeCode, SpacesEachHalfByTheRateOfItsOwnCall)
{
    SendFirstHalf();

    ExpectPieces({0x42, 0x50, 0x61, 0x72}, kNow + 4 * 8'333'333ULL, 8'333'333);
    Transmit(1.0F, 30);
}

TEST_F(SurfaceTimeCode, StampsACycleWithTheOffsetOfItsFirstHalf)
{
    ExpectPieces({0x04, 0x10, 0x23, 0x30}, kNow + 1'000'000, 10'000'000);
    mSurface.TransmitFullFrame(1'000'000, 1.0F, 25, false, 1, 2, 3, 4);
    ExpectPieces({0x42, 0x50, 0x61, 0x72}, kNow + 41'000'000, 10'000'000);
    mSurface.TransmitFullFrame(9'000'000, 1.0F, 25, false, 1, 2, 3, 4);
}

TEST_F(SurfaceTimeCode, ReadsAnOffsetAboveTheSignedRangeAsThePast)
{
    ExpectPieces({0x04, 0x10, 0x23, 0x30}, kNow - 1'000, 10'000'000);

    mSurface.TransmitFullFrame(
        std::numeric_limits<std::uint64_t>::max() - 999, 1.0F, 25, false, 1, 2, 3, 4);
}

// Where a host time unit is not a nanosecond, only the steps within a half are converted.
TEST_F(SurfaceTimeCode, AddsTheHalfOfACycleUnconverted)
{
    const FakeTime tenNanosAUnit(kNow, 10);
    ExpectPieces({0x04, 0x10, 0x23, 0x30}, kNow + 300, 1'000'000);
    mSurface.TransmitFullFrame(3'000, 1.0F, 25, false, 1, 2, 3, 4);

    ExpectPieces({0x42, 0x50, 0x61, 0x72}, kNow + 300 + 40'000'000, 1'000'000);
    mSurface.TransmitFullFrame(0, 1.0F, 25, false, 1, 2, 3, 4);
}

TEST_F(SurfaceTimeCode, StartsANewCycleAfterOtherSpeeds)
{
    SendFirstHalf();
    ExpectFullFrame(0x21);
    Transmit(0.5F, 25);

    ExpectPhase0();
}

TEST_F(SurfaceTimeCode, SendsAndChangesNothingAtNormalSpeedWithoutARate)
{
    EXPECT_EQ(Transmit(1.0F, 0), kSuccess);
    EXPECT_EQ(Transmit(1.0F, -25), kSuccess);
    SendFirstHalf();
    Transmit(1.0F, 0);
    Transmit(1.0F, std::numeric_limits<int>::min());

    ExpectPieces({0x42, 0x50, 0x61, 0x72}, kNow + 40'000'000, 10'000'000);
    Transmit(1.0F, 25);
}

TEST_F(SurfaceTimeCode, SendsNothingAndKeepsItsPhaseWhileSwitchedOff)
{
    Connect(false);

    EXPECT_EQ(Transmit(1.0F, 25), kSuccess);
    EXPECT_EQ(Transmit(0.0F, 25), kSuccess);

    Connect(true);
    ExpectPhase0();
}

TEST_F(SurfaceTimeCode, StartsANewCycleAfterAConnect)
{
    SendFirstHalf();
    Connect(true);

    ExpectPhase0();
}

// Ports that come later send at once what the option says.
TEST_F(SurfaceTimeCode, ReadsItsOptionAlsoWhereThePortsAreMissing)
{
    Connect(false);
    mSurface.Connect(DeviceInfo(u"7", u"8", true));
    Transmit(1.0F, 25); // dropped

    mMidi.PlugIn(u"7", u"8");
    mMidi.NotifySetupChanged();

    ExpectPhase0();
}

TEST_F(SurfaceTimeCode, DropsWhatNoPortCanSendAndMovesOn)
{
    mMidi.UnplugAll();
    mMidi.NotifySetupChanged();
    ASSERT_EQ(mMidi.ConnectedPorts(), 0);

    EXPECT_EQ(Transmit(1.0F, 25), kSuccess);
    EXPECT_EQ(mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0), kSuccess);
}

TEST_F(SurfaceTimeCode, DropsWhatItCannotSendAtOnceAndMovesOn)
{
    std::thread busy;
    {
        auto binding = mSurface.LockBinding(); // as a setup change holds it
        busy = std::thread([&] {
            Transmit(1.0F, 25);                       // dropped
            mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0); // dropped
            Transmit(1.0F, 25);                       // dropped: the phase is 1 now
        });
        busy.join();
    }

    ExpectPieces({0x42, 0x50, 0x61, 0x72}, kNow + 40'000'000, 10'000'000);
    Transmit(1.0F, 25);
}

TEST_F(SurfaceTimeCode, TakesNothingFromTheHeap)
{
    mMidi.OnSend(nullptr);
    const HeapControl heap;

    for (int i = 0; i < 100; ++i) {
        Transmit(1.0F, 25);
        Transmit(0.0F, 25);
        mSurface.GotoSMPTETime(3, 1, 2, 3, 4, 0);
    }

    EXPECT_EQ(heap.Requests(), 0U);
}

TEST_F(SurfaceTimeCode, GoesOnWhileTheSetupChanges)
{
    mMidi.OnSend(nullptr);
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            Transmit(1.0F, 25);
            Transmit(0.0F, 25);
        }
    });
    for (int i = 0; i < 200; ++i) {
        const auto lock = mSurface.LockBinding();
        Connect(i % 2 == 0);
    }
    done = true;
    sender.join();
}

} // namespace mmc::tests
