// `korva-deck ports`: the sources and destinations of the MIDI service.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/host/MidiPorts.h"

#include <string>
#include <vector>

namespace deck::cli {

/// Returns the exit status. Throws HostError.
int ListPorts(const PortsOptions& options);

/// The table that users read.
std::string PortsText(const std::string& service, const std::vector<host::MidiPort>& ports);
/// {"service":"jack","ports":[{"id":..,"direction":"source","name":".."}]}
std::string PortsJSON(const std::string& service, const std::vector<host::MidiPort>& ports);

} // namespace deck::cli
