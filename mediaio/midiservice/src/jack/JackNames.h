// What a JACK port's names tell about the endpoint behind it.

#pragma once

#include "mediaio/midiservice/src/UniqueID.h"

#include <string>
#include <vector>

namespace midiservice {

struct JackPortNames {
    std::string fullName; // "client:port"
    std::vector<std::string> aliases;
    bool isPhysical = false;
};

/// Without ':' and not too long.
std::string AcceptableClientName(const std::string& name);
/// Leaves room for the client's name, and for a number that tells equal names apart.
std::string AcceptablePortName(const std::string& client, const std::string& name);

/// The name of our port as others see it.
std::string JackFullName(const std::string& client, const std::string& port);

/// Servers number hardware ports as they come and bridges write sequencer client numbers
/// into names: neither enters the facts. An alias of a hardware port names the device.
IdentityFacts JackIdentity(Direction direction, const JackPortNames& names);

/// What a user knows the port by.
std::string JackDisplayName(const JackPortNames& names);

} // namespace midiservice
