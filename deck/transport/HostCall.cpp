#include "deck/transport/HostCall.h"

#include <array>

namespace deck {

std::string_view NameOf(HostCallKind kind) noexcept
{
    static constexpr std::array<std::string_view, 10> kNames
        = {"StartRewind", "StopRewind", "StartFastForward", "StopFastForward", "Stop", "Play",
            "Record", "Pause", "LocateToSMPTETime", "SetSMPTEActive"};
    return kNames[static_cast<std::size_t>(kind)];
}

} // namespace deck
