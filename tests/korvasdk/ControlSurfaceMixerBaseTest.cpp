#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceMixerBase.h"

#include "tests/support/VirtualSlot.h"

#include <gtest/gtest.h>

namespace korvasdk::tests {

using korva::tests::VirtualSlot;

TEST(ControlSurfaceMixerBase, AnswersNotImplementedToEverything)
{
    ControlSurfaceMixerBase surface;

    EXPECT_EQ(surface.GetMaxChannelStripCount(nullptr), kErrorNotImplemented);
    EXPECT_EQ(surface.ChannelConfigChanged(1, 2), kErrorNotImplemented);
    EXPECT_EQ(surface.SelectionChanged(), kErrorNotImplemented);
    EXPECT_EQ(surface.SetChannelState(1, 2, true), kErrorNotImplemented);
    EXPECT_EQ(surface.SetAutomationMode(1, 2), kErrorNotImplemented);
    EXPECT_EQ(surface.SetChannelOffset(1), kErrorNotImplemented);
    EXPECT_EQ(surface.SetChannelCount(1), kErrorNotImplemented);
    EXPECT_EQ(surface.SetRudeSoloState(true), kErrorNotImplemented);
    EXPECT_EQ(surface.SetComponentBypass(1, 2, true), kErrorNotImplemented);
    EXPECT_EQ(surface.SetComponentParameter(1, 2, 3, 0.5F), kErrorNotImplemented);
    EXPECT_EQ(surface.AddMasterFaderAsRegularChannel(nullptr), kErrorNotImplemented);
}

TEST(ControlSurfaceMixerBase, KeepsItsOperationsInTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::GetMaxChannelStripCount), 2U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::ChannelConfigChanged), 3U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SelectionChanged), 4U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetChannelState), 5U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetAutomationMode), 6U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetChannelOffset), 7U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetChannelCount), 8U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetRudeSoloState), 9U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetComponentBypass), 10U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::SetComponentParameter), 11U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceMixerBase::AddMasterFaderAsRegularChannel), 12U);
}

} // namespace korvasdk::tests
