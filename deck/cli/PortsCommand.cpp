#include "deck/cli/PortsCommand.h"

#include "deck/cli/ServiceStatus.h"
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

} // namespace

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
        text << std::right << std::setw(kIDWidth) << port.id << "  " << std::left
             << std::setw(kDirectionWidth) << host::NameOf(port.direction) << port.name << "\n";
    }
    return text.str();
}

std::string PortsJSON(const std::string& service, const std::vector<host::MidiPort>& ports)
{
    using Json = nlohmann::ordered_json;
    Json list = Json::array();
    for (const host::MidiPort& port : ports) {
        list.push_back(
            {{"id", port.id}, {"direction", host::NameOf(port.direction)}, {"name", port.name}});
    }
    const Json json = {{"service", service}, {"ports", list}};
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

int ListPorts(const PortsOptions& options)
{
    const host::MidiClient client("korva-deck");
    const ServiceStatus service = GetServiceStatus();
    if (!service.IsRunning()) {
        throw HostError("the MIDI service " + service.name + " is not there: " + service.waitsFor
                + "; start it, or choose another with KEL_MIDI_SERVICE",
            kExitNotThereYet);
    }
    const auto ports = AllPorts();
    std::cout << (options.json ? PortsJSON(service.name, ports) : PortsText(service.name, ports));
    return kExitDone;
}

} // namespace deck::cli
