#include "tests/midiservice/Worlds.h"

namespace midiservice::test {

std::vector<WorldFactory> Worlds()
{
    return {
        {"alsa", &MakeAlsaWorld},
        {"builtin", &MakeBuiltinWorld},
        {"jack", &MakeJackWorld},
    };
}

} // namespace midiservice::test
