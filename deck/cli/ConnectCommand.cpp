#include "deck/cli/ConnectCommand.h"

#include "deck/cli/PluginSettings.h"
#include "deck/cli/RequireDisplay.h"
#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"

#include <iostream>

namespace deck::cli {
namespace {

void Print(const char* what, const host::MidiPort& port)
{
    std::cout << what << port.id << "  " << port.name << "\n";
}

} // namespace

int ConnectPorts(const ConnectOptions& options)
{
    PluginSettings stored(options.bundle, options.settings);
    const std::string settings = stored.Instance().Settings();
    const auto choose = [](host::PortDirection direction, const std::string& wanted) {
        return host::ChoosePort(host::ListPorts(direction), direction, wanted);
    };
    const host::MidiPort in = choose(host::PortDirection::Source, options.in);
    const host::MidiPort out = choose(host::PortDirection::Destination, options.out);

    host::PortSettings ports = host::ReadPortSettings(settings);
    ports.in = in.id;
    ports.out = out.id;
    // Who names an output wants something to come out of it
    ports.transmitMTC = options.mtc.value_or(ports.transmitMTC.value_or(true));
    stored.Instance().SetSettings(host::WithPortSettings(settings, ports));
    stored.Save();

    Print("MMC in   ", in);
    Print("MTC out  ", out);
    std::cout << "MTC      " << (*ports.transmitMTC ? "on" : "off") << "\n";
    return kExitDone;
}

int Configure(const ConfigureOptions& options)
{
    RequireDisplay(
        "the dialog", "`korva-deck connect --in PORT --out PORT [--mtc|--no-mtc]` needs none");
    PluginSettings stored(options.bundle, options.settings);
    if (!stored.Instance().RunConfigurationDialog()) {
        std::cout << "nothing changed\n";
        return kExitDone;
    }
    stored.Save();
    const host::PortSettings ports = host::ReadPortSettings(stored.Instance().Settings());
    std::cout << "MTC " << (ports.transmitMTC.value_or(false) ? "on" : "off")
              << "; the ports stay as `korva-deck connect` set them\n";
    return kExitDone;
}

} // namespace deck::cli
