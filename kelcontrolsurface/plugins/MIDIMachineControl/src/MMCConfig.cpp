#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfig.h"

#include <string>

namespace mmc {

namespace {

const std::string kTransmitMTCKey("transmit_mtc");

} // namespace

bool GetTransmitMTCOption(const kelcontrolsurface::MIDIDeviceInfo& info)
{
    bool on = false;
    info.GetOptions().GetBool(kTransmitMTCKey, on);
    return on;
}

void SetTransmitMTCOption(kelcontrolsurface::MIDIDeviceInfo& info, bool on)
{
    info.GetOptions().SetBool(kTransmitMTCKey, on);
}

} // namespace mmc
