#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceTransportBase.h"

#include "tests/korvasdk/RecordingSuitesSuite.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <array>
#include <stdexcept>

namespace korvasdk::tests {

namespace {

using korva::tests::VirtualSlot;
using testing::Return;
using testing::Throw;

constexpr KORVASDK_Result kOwnResult = 0x12345678;

class BareTransport : public ControlSurfaceTransportBase {};

class MockTransport : public ControlSurfaceTransportBase {
public:
    MOCK_METHOD(KORVASDK_Result, SetStopState, (bool), (override));
    MOCK_METHOD(KORVASDK_Result, SetPlayState, (bool), (override));
    MOCK_METHOD(KORVASDK_Result, SetRecordState, (bool), (override));
    MOCK_METHOD(KORVASDK_Result, SetRewindState, (bool), (override));
    MOCK_METHOD(KORVASDK_Result, SetForwardState, (bool), (override));
    MOCK_METHOD(KORVASDK_Result, SetCycleState, (bool), (override));
    MOCK_METHOD(KORVASDK_Result, SetPauseState, (bool), (override));
    MOCK_METHOD(
        KORVASDK_Result, SetTimeDisplay, (unsigned int, const KORVASDK_String*), (override));
};

using ControlSurfaceTransportBaseSuite = RegisteredSuite<ControlSurfaceTransportBase,
    MockTransport,
    KORVASDK_ControlSurfaceTransportSuite>;

} // namespace

TEST_F(ControlSurfaceTransportBaseSuite, IsRegisteredOnceAsVersion1)
{
    ExpectOneRegistration("KORVASDK ControlSurface Transport Suite");
}

// A state is on where its byte is not zero: 2 is on, 255 is on.
TEST_F(ControlSurfaceTransportBaseSuite, ForwardsEachStateAsABoolean)
{
    const testing::InSequence inSequence;
    EXPECT_CALL(mSurface, SetStopState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetStopState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetStopState(false)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, SetPlayState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetPlayState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetPlayState(false)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, SetRecordState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetRecordState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetRecordState(false)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, SetRewindState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetRewindState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetRewindState(false)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, SetForwardState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetForwardState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetForwardState(false)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, SetCycleState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetCycleState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetCycleState(false)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, SetPauseState(true)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, SetPauseState(true)).WillOnce(Return(kOwnResult + 1));
    EXPECT_CALL(mSurface, SetPauseState(false)).WillOnce(Return(kOwnResult + 2));

    const std::array setters{
        Table().SetStopState,
        Table().SetPlayState,
        Table().SetRecordState,
        Table().SetRewindState,
        Table().SetForwardState,
        Table().SetCycleState,
        Table().SetPauseState,
    };
    for (const auto setter : setters) {
        EXPECT_EQ(setter(Handle(), 2), kOwnResult);
        EXPECT_EQ(setter(Handle(), 255), kOwnResult + 1);
        EXPECT_EQ(setter(Handle(), 0), kOwnResult + 2);
    }
}

TEST_F(ControlSurfaceTransportBaseSuite, ForwardsTheTimeDisplay)
{
    int dummy = 0;
    const auto* text = reinterpret_cast<const KORVASDK_String*>(&dummy);
    EXPECT_CALL(mSurface, SetTimeDisplay(5U, text)).WillOnce(Return(kOwnResult));

    EXPECT_EQ(Table().SetTimeDisplay(Handle(), 5, text), kOwnResult);
}

TEST_F(ControlSurfaceTransportBaseSuite, RefusesWhereTheSurfaceThrows)
{
    EXPECT_CALL(mSurface, SetPlayState).WillOnce(Throw(std::runtime_error("broken")));

    EXPECT_EQ(Table().SetPlayState(Handle(), 1), kErrorBadParameter);
}

TEST_F(ControlSurfaceTransportBaseSuite, OfASurfaceThatOverridesNothingAnswersNotImplemented)
{
    BareTransport transport;
    KORVASDK_ControlSurfaceTransport* handle = ToHandle(&transport);

    EXPECT_EQ(Table().SetStopState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetPlayState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetRecordState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetRewindState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetForwardState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetCycleState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetPauseState(handle, 1), kErrorNotImplemented);
    EXPECT_EQ(Table().SetTimeDisplay(handle, 0, nullptr), kErrorNotImplemented);
}

TEST(ControlSurfaceTransportBase, KeepsItsOperationsInTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetStopState), 2U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetPlayState), 3U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetRecordState), 4U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetRewindState), 5U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetForwardState), 6U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetCycleState), 7U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetPauseState), 8U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceTransportBase::SetTimeDisplay), 9U);
}

} // namespace korvasdk::tests
