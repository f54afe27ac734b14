// `korva-deck ports`: the sources and destinations of the MIDI service.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/cli/StopSignals.h"
#include "deck/host/MidiPorts.h"

#include <string>
#include <vector>

namespace deck::cli {

/// Returns the exit status. Throws HostError.
int ListPorts(const PortsOptions& options);

/// Lists them, then tells which come and go, until a signal. Returns the exit status. Throws
/// HostError.
int WatchPorts(const PortsOptions& options, const StopSignals& signals);

/// What came and went from `before` to `after`: a line each, "+" or "-" before it; with `json` an
/// object a line, {"event":"added",...}.
std::string PortChanges(
    const std::vector<host::MidiPort>& before, const std::vector<host::MidiPort>& after, bool json);

/// The table that users read.
std::string PortsText(const std::string& service, const std::vector<host::MidiPort>& ports);
/// A name a line.
std::string PortNames(const std::vector<host::MidiPort>& ports);
/// {"service":"jack","ports":[{"id":..,"direction":"source","name":".."}]}
std::string PortsJSON(const std::string& service, const std::vector<host::MidiPort>& ports);

} // namespace deck::cli
