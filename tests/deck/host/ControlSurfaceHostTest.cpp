#include "deck/host/ControlSurfaceHost.h"

#include <gmock/gmock.h>

#include <vector>

namespace deck::host::test {
namespace {

using testing::ElementsAre;

class RecordedCommands final : public TransportCommands {
public:
    bool TryPost(const HostCall& call) noexcept override
    {
        if (!accepts) {
            return false;
        }
        calls.push_back(call);
        return true;
    }

    std::vector<HostCall> calls;
    bool accepts = true;
};

class ControlSurfaceHostTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(ControlSurfaceHostSuiteTable().GetTransportRef(&mHost, &mTransport), kSuccess);
        ASSERT_EQ(ControlSurfaceHostInternalSuiteTable().GetSMPTERef(&mHost, &mSMPTE), kSuccess);
    }

    RecordedCommands mCommands;
    KORVASDK_ControlSurfaceHost mHost{mCommands};
    KORVASDK_ControlSurfaceHostTransport* mTransport = nullptr;
    KORVASDK_ControlSurfaceHostSMPTE* mSMPTE = nullptr;
    const KORVASDK_ControlSurfaceHostTransportSuite& mTransportSuite
        = ControlSurfaceHostTransportSuiteTable();
    const KORVASDK_ControlSurfaceHostSMPTESuite& mSMPTESuite = ControlSurfaceHostSMPTESuiteTable();
};

TEST_F(ControlSurfaceHostTest, PostsEachTransportSlotAsItsCall)
{
    using Slot = KORVASDK_Result (*)(KORVASDK_ControlSurfaceHostTransport*);
    const std::vector<std::pair<Slot, HostCallKind>> slots
        = {{mTransportSuite.StartRewind, HostCallKind::StartRewind},
            {mTransportSuite.StopRewind, HostCallKind::StopRewind},
            {mTransportSuite.StartFastForward, HostCallKind::StartFastForward},
            {mTransportSuite.StopFastForward, HostCallKind::StopFastForward},
            {mTransportSuite.Stop, HostCallKind::Stop}, {mTransportSuite.Play, HostCallKind::Play},
            {mTransportSuite.Record, HostCallKind::Record},
            {mTransportSuite.Pause, HostCallKind::Pause}};
    for (const auto& [slot, kind] : slots) {
        mCommands.calls.clear();
        EXPECT_EQ(slot(mTransport), kSuccess);
        EXPECT_THAT(mCommands.calls, ElementsAre(HostCall{kind, {}, 0})) << NameOf(kind);
        EXPECT_EQ(slot(nullptr), kErrorBadParameter);
    }
}

TEST_F(ControlSurfaceHostTest, PostsALocateWithEveryArgumentInItsPlace)
{
    EXPECT_EQ(mSMPTESuite.LocateToSMPTETime(mSMPTE, 4, 1, 2, 3, 5, 200), kSuccess);

    EXPECT_THAT(
        mCommands.calls, ElementsAre(HostCall{HostCallKind::Locate, {4, 1, 2, 3, 5, 200}, 0}));
    EXPECT_EQ(mSMPTESuite.LocateToSMPTETime(nullptr, 4, 1, 2, 3, 5, 0), kErrorBadParameter);
}

TEST_F(ControlSurfaceHostTest, PostsThatASurfaceWantsPositions)
{
    EXPECT_EQ(mSMPTESuite.SetSMPTEActive(mSMPTE, 1), kSuccess);

    EXPECT_THAT(mCommands.calls, ElementsAre(HostCall{HostCallKind::SetSMPTEActive, {}, 1}));
    EXPECT_EQ(mSMPTESuite.SetSMPTEActive(nullptr, 1), kErrorBadParameter);
}

TEST_F(ControlSurfaceHostTest, SaysWhenACallIsRefused)
{
    mCommands.accepts = false;

    EXPECT_EQ(mTransportSuite.Play(mTransport), kErrorBadParameter);
}

TEST_F(ControlSurfaceHostTest, GivesNoReferenceToNobody)
{
    EXPECT_EQ(
        ControlSurfaceHostSuiteTable().GetTransportRef(nullptr, &mTransport), kErrorBadParameter);
    EXPECT_EQ(ControlSurfaceHostSuiteTable().GetTransportRef(&mHost, nullptr), kErrorBadParameter);
    EXPECT_EQ(
        ControlSurfaceHostInternalSuiteTable().GetSMPTERef(nullptr, &mSMPTE), kErrorBadParameter);
    EXPECT_EQ(
        ControlSurfaceHostInternalSuiteTable().GetSMPTERef(&mHost, nullptr), kErrorBadParameter);
}

} // namespace
} // namespace deck::host::test
