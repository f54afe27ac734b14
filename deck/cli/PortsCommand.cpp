#include "deck/cli/PortsCommand.h"

#include "deck/cli/ServiceStatus.h"
#include "deck/host/DeckEvents.h"
#include "deck/host/HostError.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace deck::cli {
namespace {

constexpr int kIDWidth = 12;
constexpr int kDirectionWidth = 13;

std::vector<host::MidiPort> AllPorts()
{
    std::vector<host::MidiPort> ports = host::ListPorts(host::PortDirection::Source);
    const auto destinations = host::ListPorts(host::PortDirection::Destination);
    ports.insert(ports.end(), destinations.begin(), destinations.end());
    return ports;
}

std::string Row(const host::MidiPort& port)
{
    std::ostringstream row;
    row << std::right << std::setw(kIDWidth) << port.id << "  " << std::left
        << std::setw(kDirectionWidth) << host::NameOf(port.direction) << port.name
        << (port.isAmbiguous ? "  (ambiguous: cannot be told from another)" : "") << "\n";
    return row.str();
}

using Json = nlohmann::ordered_json;

Json ToJson(const host::MidiPort& port)
{
    return {{"id", port.id}, {"direction", host::NameOf(port.direction)}, {"name", port.name},
        {"ambiguous", port.isAmbiguous}};
}

std::string Dump(const Json& json, int indent)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Change(const host::MidiPort& port, bool isAdded, bool json)
{
    if (!json) {
        return (isAdded ? "+" : "-") + Row(port);
    }
    Json line = {{"event", isAdded ? "added" : "removed"}};
    line.update(ToJson(port));
    return Dump(line, -1);
}

bool Contains(const std::vector<host::MidiPort>& ports, const host::MidiPort& wanted)
{
    return std::find(ports.begin(), ports.end(), wanted) != ports.end();
}

} // namespace

std::string PortChanges(
    const std::vector<host::MidiPort>& before, const std::vector<host::MidiPort>& after, bool json)
{
    std::string lines;
    for (const host::MidiPort& port : before) {
        lines += Contains(after, port) ? "" : Change(port, false, json);
    }
    for (const host::MidiPort& port : after) {
        lines += Contains(before, port) ? "" : Change(port, true, json);
    }
    return lines;
}

std::string PortsText(const std::string& service, const std::vector<host::MidiPort>& ports)
{
    std::ostringstream text;
    text << "MIDI service: " << service << "\n";
    if (ports.empty()) {
        text << "no ports; start or plug in what has some\n";
        return text.str();
    }
    text << std::right << std::setw(kIDWidth) << "ID"
         << "  " << std::left << std::setw(kDirectionWidth) << "direction"
         << "name\n";
    for (const host::MidiPort& port : ports) {
        text << Row(port);
    }
    return text.str();
}

std::string PortsJSON(const std::string& service, const std::vector<host::MidiPort>& ports)
{
    Json list = Json::array();
    for (const host::MidiPort& port : ports) {
        list.push_back(ToJson(port));
    }
    return Dump({{"service", service}, {"ports", list}}, 2);
}

int ListPorts(const PortsOptions& options)
{
    const host::MidiClient client("korva-deck");
    const ServiceStatus service = RequireService();
    const auto ports = AllPorts();
    std::cout << (options.json ? PortsJSON(service.name, ports) : PortsText(service.name, ports));
    return kExitDone;
}

int WatchPorts(const PortsOptions& options, const StopSignals& signals)
{
    host::DeckEvents events; // its descriptor is what is waited on
    const host::MidiClient client("korva-deck", [&events] { events.Wake(); });
    std::vector<host::MidiPort> known;
    if (!options.json) {
        known = AllPorts();
        std::cout << PortsText(GetServiceStatus().name, known) << std::flush;
    }
    do {
        events.Clear();
        const auto present = AllPorts();
        std::cout << PortChanges(known, present, options.json) << std::flush;
        known = present;
    } while (signals.Wait({events.Descriptor()}, std::nullopt) != StopSignals::Woken::BySignal);
    return kExitDone;
}

} // namespace deck::cli
