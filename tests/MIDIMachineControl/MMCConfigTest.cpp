#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfig.h"

#include <gtest/gtest.h>

namespace mmc::tests {

using kelcontrolsurface::MIDIDeviceInfo;

TEST(TransmitMTCOption, IsOffWhereNothingIsSaid)
{
    EXPECT_FALSE(GetTransmitMTCOption(MIDIDeviceInfo()));
}

TEST(TransmitMTCOption, IsOffWhereSomethingElseIsSaid)
{
    MIDIDeviceInfo info;
    info.GetOptions().SetString("transmit_mtc", u"true");

    EXPECT_FALSE(GetTransmitMTCOption(info));
}

TEST(TransmitMTCOption, IsKeptUnderItsKey)
{
    MIDIDeviceInfo info;
    SetTransmitMTCOption(info, true);
    bool on = false;

    EXPECT_TRUE(GetTransmitMTCOption(info));
    EXPECT_TRUE(info.GetOptions().GetBool("transmit_mtc", on));
    EXPECT_TRUE(on);
}

TEST(TransmitMTCOption, CanBeReplaced)
{
    MIDIDeviceInfo info;
    SetTransmitMTCOption(info, true);
    SetTransmitMTCOption(info, false);

    EXPECT_FALSE(GetTransmitMTCOption(info));
}

} // namespace mmc::tests
