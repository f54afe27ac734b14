#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceCommandBase.h"

#include "tests/support/VirtualSlot.h"

#include <gtest/gtest.h>

namespace korvasdk::tests {

using korva::tests::VirtualSlot;

TEST(ControlSurfaceCommandBase, AnswersNotImplementedToEverything)
{
    ControlSurfaceCommandBase surface;

    EXPECT_EQ(surface.GetUserButtonCount(nullptr), kErrorNotImplemented);
    EXPECT_EQ(surface.GetUserButtonIDAtIndex(0, nullptr), kErrorNotImplemented);
    EXPECT_EQ(surface.GetUserButtonDisplayName(nullptr, nullptr), kErrorNotImplemented);
    EXPECT_EQ(surface.SetUserButtonCommandID(nullptr, nullptr, nullptr), kErrorNotImplemented);
    EXPECT_EQ(surface.GetUserButtonCommandID(nullptr, nullptr, nullptr), kErrorNotImplemented);
}

TEST(ControlSurfaceCommandBase, KeepsItsOperationsInTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&ControlSurfaceCommandBase::GetUserButtonCount), 2U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceCommandBase::GetUserButtonIDAtIndex), 3U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceCommandBase::GetUserButtonDisplayName), 4U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceCommandBase::SetUserButtonCommandID), 5U);
    EXPECT_EQ(VirtualSlot(&ControlSurfaceCommandBase::GetUserButtonCommandID), 6U);
}

} // namespace korvasdk::tests
