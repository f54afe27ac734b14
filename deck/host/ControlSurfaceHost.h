// The four suites that the deck offers a control surface. They turn each call
// into a HostCall and never wait.

#pragma once

#include "deck/transport/HostCall.h"
#include "korvasdk/suites/ControlSurfaceHostSuites.h"

struct KORVASDK_ControlSurfaceHostTransport {
    deck::TransportCommands& commands;
};

struct KORVASDK_ControlSurfaceHostSMPTE {
    deck::TransportCommands& commands;
};

/// What a surface is connected with; outlives the connection.
struct KORVASDK_ControlSurfaceHost {
    explicit KORVASDK_ControlSurfaceHost(deck::TransportCommands& commands)
        : transport{commands}
        , smpte{commands}
    {
    }

    KORVASDK_ControlSurfaceHostTransport transport;
    KORVASDK_ControlSurfaceHostSMPTE smpte;
};

namespace deck::host {

const KORVASDK_ControlSurfaceHostSuite& ControlSurfaceHostSuiteTable() noexcept;
const KORVASDK_ControlSurfaceHostTransportSuite& ControlSurfaceHostTransportSuiteTable() noexcept;
const KORVASDK_ControlSurfaceHostSMPTESuite& ControlSurfaceHostSMPTESuiteTable() noexcept;
const KORVASDK_ControlSurfaceHostInternalSuite& ControlSurfaceHostInternalSuiteTable() noexcept;

} // namespace deck::host
