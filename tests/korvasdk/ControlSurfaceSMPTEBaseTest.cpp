#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceSMPTEBase.h"

#include "tests/korvasdk/RecordingSuitesSuite.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <stdexcept>

namespace korvasdk::tests {

namespace {

using korva::tests::VirtualSlot;
using testing::Return;
using testing::Throw;

constexpr KORVASDK_Result kOwnResult = 0x12345678;

class BareSMPTE : public ControlSurfaceSMPTEBase {};

class MockSMPTE : public ControlSurfaceSMPTEBase {
public:
    MOCK_METHOD(KORVASDK_Result,
        GotoSMPTETime,
        (unsigned int, unsigned char, unsigned char, unsigned char, unsigned char, unsigned char),
        (override));
    MOCK_METHOD(KORVASDK_Result,
        TransmitFullFrame,
        (unsigned long long,
            float,
            int,
            bool,
            unsigned char,
            unsigned char,
            unsigned char,
            unsigned char),
        (override));
};

using ControlSurfaceSMPTEBaseSuite
    = RegisteredSuite<ControlSurfaceSMPTEBase, MockSMPTE, KORVASDK_ControlSurfaceSMPTESuite>;

} // namespace

TEST_F(ControlSurfaceSMPTEBaseSuite, IsRegisteredOnceAsVersion1)
{
    ExpectOneRegistration("KORVASDK ControlSurface SMPTE Suite");
}

TEST_F(ControlSurfaceSMPTEBaseSuite, ForwardsAGotoWithItsArgumentsInOrder)
{
    EXPECT_CALL(mSurface, GotoSMPTETime(3U, 1, 2, 3, 4, 255)).WillOnce(Return(kOwnResult));

    EXPECT_EQ(Table().GotoSMPTETime(Handle(), 3, 1, 2, 3, 4, 255), kOwnResult);
}

TEST_F(ControlSurfaceSMPTEBaseSuite, RefusesAGotoWithoutAHandle)
{
    EXPECT_EQ(Table().GotoSMPTETime(nullptr, 3, 1, 2, 3, 4, 5), kErrorBadParameter);
}

TEST_F(ControlSurfaceSMPTEBaseSuite, ForwardsATransmitAndTakesAnyByteButZeroAsDropFrame)
{
    constexpr std::uint64_t kOffset = std::numeric_limits<std::uint64_t>::max();
    const testing::InSequence inSequence;
    EXPECT_CALL(mSurface, TransmitFullFrame(kOffset, -1.5F, 30, true, 1, 2, 3, 4))
        .WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, TransmitFullFrame(0, 1.0F, -30, false, 5, 6, 7, 8))
        .WillOnce(Return(kOwnResult + 1));

    EXPECT_EQ(Table().TransmitFullFrame(Handle(), kOffset, -1.5F, 30, 2, 1, 2, 3, 4), kOwnResult);
    EXPECT_EQ(Table().TransmitFullFrame(Handle(), 0, 1.0F, -30, 0, 5, 6, 7, 8), kOwnResult + 1);
}

TEST_F(ControlSurfaceSMPTEBaseSuite, RefusesWhereTheSurfaceThrows)
{
    EXPECT_CALL(mSurface, GotoSMPTETime).WillOnce(Throw(std::runtime_error("broken")));
    EXPECT_CALL(mSurface, TransmitFullFrame).WillOnce(Throw(std::runtime_error("broken")));

    EXPECT_EQ(Table().GotoSMPTETime(Handle(), 3, 1, 2, 3, 4, 5), kErrorBadParameter);
    EXPECT_EQ(Table().TransmitFullFrame(Handle(), 0, 1.0F, 25, 0, 1, 2, 3, 4), kErrorBadParameter);
}

TEST_F(ControlSurfaceSMPTEBaseSuite, OfASurfaceThatOverridesNothingAnswersNotImplemented)
{
    BareSMPTE smpte;

    EXPECT_EQ(Table().GotoSMPTETime(ToHandle(&smpte), 3, 1, 2, 3, 4, 5), kErrorNotImplemented);
    EXPECT_EQ(Table().TransmitFullFrame(ToHandle(&smpte), 0, 1.0F, 25, 0, 1, 2, 3, 4),
        kErrorNotImplemented);
}

TEST(ControlSurfaceSMPTEBase, KeepsItsOperationsInTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&ControlSurfaceSMPTEBase::GotoSMPTETime), 2U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceSMPTEBase::TransmitFullFrame), 3U);
}

} // namespace korvasdk::tests
