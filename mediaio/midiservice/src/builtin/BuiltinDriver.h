// The driver with nothing outside: all endpoints are virtual ones of this process.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

namespace midiservice {

std::unique_ptr<Driver> MakeBuiltinDriver();

} // namespace midiservice
