#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceBase.h"

#include "tests/korvasdk/RecordingSuitesSuite.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <stdexcept>

namespace korvasdk::tests {

namespace {

using korva::tests::VirtualSlot;
using testing::DoAll;
using testing::NotNull;
using testing::Return;
using testing::SetArgPointee;
using testing::Throw;

constexpr KORVASDK_Result kOwnResult = 0x12345678;

class BareSurface : public ControlSurfaceBase {};

class MockSurface : public ControlSurfaceBase {
public:
    MOCK_METHOD(KORVASDK_Result, GetConfigIdentifier, (KORVASDK_String*), (const, override));
    MOCK_METHOD(KORVASDK_Result, GetControlSurfaceFlags, (unsigned int*), (const, override));
    MOCK_METHOD(KORVASDK_Result, GetTransportRef, (KORVASDK_ControlSurfaceTransport**), (override));
    MOCK_METHOD(KORVASDK_Result, GetMixerRef, (KORVASDK_ControlSurfaceMixer**), (override));
    MOCK_METHOD(KORVASDK_Result, GetMarkerRef, (KORVASDK_ControlSurfaceMarker**), (override));
    MOCK_METHOD(KORVASDK_Result, GetCommandRef, (KORVASDK_ControlSurfaceCommand**), (override));
    MOCK_METHOD(KORVASDK_Result, GetTintoraRef, (KORVASDK_ControlSurfaceTintora**), (override));
    MOCK_METHOD(KORVASDK_Result, Update, (), (override));
};

using ControlSurfaceBaseSuite
    = RegisteredSuite<ControlSurfaceBase, MockSurface, KORVASDK_ControlSurfaceSuite>;

} // namespace

TEST_F(ControlSurfaceBaseSuite, IsRegisteredAsVersion1AndThenAs2WithOneTable)
{
    const auto& registrations = mSuitesSuite.Registrations();

    ASSERT_EQ(registrations.size(), 2U);
    for (int version = 1; version <= 2; ++version) {
        const Registration& registration = registrations[static_cast<std::size_t>(version - 1)];
        EXPECT_EQ(registration.suiteList, mSuitesSuite.List());
        EXPECT_EQ(registration.owner, nullptr);
        EXPECT_EQ(registration.name, "KORVASDK ControlSurface Suite");
        EXPECT_EQ(registration.apiVersion, version);
        EXPECT_EQ(registration.internalVersion, version);
    }
    EXPECT_EQ(registrations[0].functions, registrations[1].functions);
    EXPECT_NE(registrations[0].functions, nullptr);
}

TEST_F(ControlSurfaceBaseSuite, ForwardsEachSlotToItsOwnOperationAndReturnsItsResult)
{
    int record = 0;
    auto* string = reinterpret_cast<KORVASDK_String*>(&record);
    std::uint32_t flags = 0;
    KORVASDK_ControlSurfaceTransport* transport = nullptr;
    KORVASDK_ControlSurfaceMixer* mixer = nullptr;
    KORVASDK_ControlSurfaceMarker* marker = nullptr;
    KORVASDK_ControlSurfaceCommand* command = nullptr;
    KORVASDK_ControlSurfaceTintora* tintora = nullptr;
    const testing::InSequence inSequence;
    EXPECT_CALL(mSurface, GetConfigIdentifier(string)).WillOnce(Return(kOwnResult));
    EXPECT_CALL(mSurface, GetControlSurfaceFlags(&flags))
        .WillOnce(DoAll(SetArgPointee<0>(7U), Return(kOwnResult + 1)));
    EXPECT_CALL(mSurface, GetTransportRef(&transport)).WillOnce(Return(kOwnResult + 2));
    EXPECT_CALL(mSurface, GetMixerRef(&mixer)).WillOnce(Return(kOwnResult + 3));
    EXPECT_CALL(mSurface, GetMarkerRef(&marker)).WillOnce(Return(kOwnResult + 4));
    EXPECT_CALL(mSurface, GetCommandRef(&command)).WillOnce(Return(kOwnResult + 5));
    EXPECT_CALL(mSurface, Update()).WillOnce(Return(kOwnResult + 6));
    EXPECT_CALL(mSurface, GetTintoraRef(&tintora)).WillOnce(Return(kOwnResult + 7));

    EXPECT_EQ(Table().GetConfigIdentifier(Handle(), string), kOwnResult);
    EXPECT_EQ(Table().GetControlSurfaceFlags(Handle(), &flags), kOwnResult + 1);
    EXPECT_EQ(Table().GetTransportRef(Handle(), &transport), kOwnResult + 2);
    EXPECT_EQ(Table().GetMixerRef(Handle(), &mixer), kOwnResult + 3);
    EXPECT_EQ(Table().GetMarkerRef(Handle(), &marker), kOwnResult + 4);
    EXPECT_EQ(Table().GetCommandRef(Handle(), &command), kOwnResult + 5);
    EXPECT_EQ(Table().Update(Handle()), kOwnResult + 6);
    EXPECT_EQ(Table().GetTintoraRef(Handle(), &tintora), kOwnResult + 7);
    EXPECT_EQ(flags, 7U);
}

TEST_F(ControlSurfaceBaseSuite, RefusesWhereTheSurfaceThrows)
{
    int record = 0;
    auto* string = reinterpret_cast<KORVASDK_String*>(&record);
    EXPECT_CALL(mSurface, GetConfigIdentifier).WillOnce(Throw(std::runtime_error("broken")));
    EXPECT_CALL(mSurface, Update).WillOnce(Throw(std::runtime_error("broken")));

    EXPECT_EQ(Table().GetConfigIdentifier(Handle(), string), kErrorBadParameter);
    EXPECT_EQ(Table().Update(Handle()), kErrorBadParameter);
}

TEST_F(ControlSurfaceBaseSuite, OfASurfaceThatOverridesNothingAnswersNotImplementedOrNull)
{
    BareSurface surface;
    KORVASDK_ControlSurface* handle = ToHandle(&surface);
    int record = 0;
    auto* string = reinterpret_cast<KORVASDK_String*>(&record);
    std::uint32_t flags = 9;
    int dummy = 0;
    auto* transport = reinterpret_cast<KORVASDK_ControlSurfaceTransport*>(&dummy);
    auto* mixer = reinterpret_cast<KORVASDK_ControlSurfaceMixer*>(&dummy);
    auto* marker = reinterpret_cast<KORVASDK_ControlSurfaceMarker*>(&dummy);
    auto* command = reinterpret_cast<KORVASDK_ControlSurfaceCommand*>(&dummy);
    auto* tintora = reinterpret_cast<KORVASDK_ControlSurfaceTintora*>(&dummy);

    EXPECT_EQ(Table().GetConfigIdentifier(handle, string), kErrorNotImplemented);
    EXPECT_EQ(Table().Update(handle), kErrorNotImplemented);
    EXPECT_EQ(Table().GetControlSurfaceFlags(handle, &flags), kSuccess);
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(Table().GetTransportRef(handle, &transport), kSuccess);
    EXPECT_EQ(transport, nullptr);
    EXPECT_EQ(Table().GetMixerRef(handle, &mixer), kSuccess);
    EXPECT_EQ(mixer, nullptr);
    EXPECT_EQ(Table().GetMarkerRef(handle, &marker), kSuccess);
    EXPECT_EQ(marker, nullptr);
    EXPECT_EQ(Table().GetCommandRef(handle, &command), kSuccess);
    EXPECT_EQ(command, nullptr);
    EXPECT_EQ(Table().GetTintoraRef(handle, &tintora), kSuccess);
    EXPECT_EQ(tintora, nullptr);
}

TEST(ControlSurfaceBase, KeepsItsOperationsInTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetConfigIdentifier), 2U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetControlSurfaceFlags), 3U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetTransportRef), 4U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetMixerRef), 5U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetMarkerRef), 6U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetCommandRef), 7U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::GetTintoraRef), 8U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceBase::Update), 9U);
}

TEST(ControlSurfaceBase, HasNoDataBesidesItsTable)
{
    EXPECT_EQ(sizeof(ControlSurfaceBase), sizeof(void*));
}

} // namespace korvasdk::tests
