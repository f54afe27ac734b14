// The options of the MMC surface, as its device info keeps them.

#pragma once

#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceInfo.h"

namespace mmc {

/// Whether MIDI Time Code is sent; off where nothing is said. [host]
bool GetTransmitMTCOption(const kelcontrolsurface::MIDIDeviceInfo& info);

/// Makes or replaces the option. [host]
void SetTransmitMTCOption(kelcontrolsurface::MIDIDeviceInfo& info, bool on);

} // namespace mmc
