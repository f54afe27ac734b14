#include "mediaio/midiservice/src/DriverFactories.h"

#include "mediaio/midiservice/src/builtin/BuiltinDriver.h"

namespace midiservice {

const std::vector<DriverFactory>& DriverFactories()
{
    static const std::vector<DriverFactory> sFactories{
        {"builtin", &MakeBuiltinDriver},
    };
    return sFactories;
}

} // namespace midiservice
