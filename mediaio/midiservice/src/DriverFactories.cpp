#include "mediaio/midiservice/src/DriverFactories.h"

#include "mediaio/midiservice/src/alsa/AlsaDriver.h"
#include "mediaio/midiservice/src/builtin/BuiltinDriver.h"
#include "mediaio/midiservice/src/jack/JackDriver.h"

namespace midiservice {

const std::vector<DriverFactory>& DriverFactories()
{
    static const std::vector<DriverFactory> sFactories{
        {"alsa", &MakeAlsaDriver},
        {"jack", &MakeJackDriver},
        {"builtin", &MakeBuiltinDriver},
    };
    return sFactories;
}

} // namespace midiservice
