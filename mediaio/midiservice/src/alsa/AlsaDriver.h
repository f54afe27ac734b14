// The driver for ALSA's sequencer: every MIDI client of this process is a client there, and
// every port of other programs and of the hardware is an endpoint.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

namespace midiservice {

std::unique_ptr<Driver> MakeAlsaDriver();

} // namespace midiservice
