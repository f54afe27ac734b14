#include "mediaio/midiservice/src/SharedService.h"

#include "tests/midiservice/Worlds.h"

namespace midiservice::test {

ScopedService::ScopedService(const std::string& driver)
    : mVariable("KEL_MIDI_SERVICE", driver)
{
    StopSharedService();
}

ScopedService::~ScopedService()
{
    StopSharedService();
}

} // namespace midiservice::test
