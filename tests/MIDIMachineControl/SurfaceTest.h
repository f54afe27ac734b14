// A surface with everything around it under the test's control: strict host, MIDI without a
// service.

#pragma once

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfig.h"
#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"
#include "tests/MIDIMachineControl/FakeMidi.h"
#include "tests/MIDIMachineControl/MockHost.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace mmc::tests {

inline kelcontrolsurface::MIDIDeviceInfo DeviceInfo(
    const std::u16string& inputID, const std::u16string& outputID, bool transmitMTC)
{
    kelcontrolsurface::MIDIDeviceInfo info;
    info.SetInputPortID({inputID.begin(), inputID.end()});
    info.SetOutputPortID({outputID.begin(), outputID.end()});
    SetTransmitMTCOption(info, transmitMTC);
    return info;
}

/// A surface that has taken the whole host and is connected, without ports.
class SurfaceTest : public testing::Test {
protected:
    SurfaceTest()
    {
        mHost.ExpectHostTaken();
        mSurface.SetControlSurfaceHost(mHost.HostRef());
        testing::Mock::VerifyAndClearExpectations(&mHost);
        mSurface.Connect({});
    }

    /// One arrival.
    bool Receive(const std::vector<std::uint8_t>& bytes)
    {
        return mSurface.HandleMidiMessage(
            kelmidi::MidiMessage(bytes.data(), static_cast<unsigned long>(bytes.size())), 0);
    }

    /// One arrival with one MMC message: F0 7F 7F 06, the command bytes, F7.
    bool ReceiveCommand(std::initializer_list<std::uint8_t> commandBytes)
    {
        std::vector<std::uint8_t> bytes{0xF0, 0x7F, 0x7F, 0x06};
        bytes.insert(bytes.end(), commandBytes);
        bytes.push_back(0xF7);
        return Receive(bytes);
    }

    FakeMidi mMidi;
    StrictHost mHost;
    ControlSurface mSurface{7, MockHost::BasicSuite()};
};

} // namespace mmc::tests
