// The drivers that this build has, in the order in which `auto` tries them.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <memory>
#include <vector>

namespace midiservice {

struct DriverFactory {
    const char* name; // as in KEL_MIDI_SERVICE
    std::unique_ptr<Driver> (*make)();
};

/// The last one always runs.
const std::vector<DriverFactory>& DriverFactories();

} // namespace midiservice
