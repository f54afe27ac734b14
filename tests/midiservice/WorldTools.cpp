#include "mediaio/midiservice/src/SharedService.h"

#include "tests/midiservice/Worlds.h"

#include <cstdlib>

namespace midiservice::test {

ScopedVariable::ScopedVariable(const char* name, const std::string& value)
    : mName(name)
    , mWasSet(std::getenv(name) != nullptr)
    , mOld(mWasSet ? std::getenv(name) : "")
{
    setenv(name, value.c_str(), 1);
}

ScopedVariable::~ScopedVariable()
{
    if (mWasSet)
        setenv(mName.c_str(), mOld.c_str(), 1);
    else
        unsetenv(mName.c_str());
}

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
