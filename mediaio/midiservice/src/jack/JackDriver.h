// JACK: the MIDI ports of other clients are our sources and destinations, and our virtual
// endpoints are ports of ours. The server may come late, stop, be killed and come back.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <memory>

namespace midiservice {

std::unique_ptr<Driver> MakeJackDriver();

} // namespace midiservice
