// korva-deck: reads the command line and does one thing.

#include "deck/cli/CheckMtcCommand.h"
#include "deck/cli/CommandLine.h"
#include "deck/cli/ConnectCommand.h"
#include "deck/cli/DemoCommand.h"
#include "deck/cli/DoctorCommand.h"
#include "deck/cli/MonitorCommand.h"
#include "deck/cli/PortsCommand.h"
#include "deck/cli/RunCommand.h"
#include "deck/cli/SendCommand.h"
#include "deck/cli/StopSignals.h"
#include "deck/host/HostError.h"
#include "deck/window/PlayCommand.h"

#include <iostream>

namespace {

using namespace deck;

struct Execute {
    const cli::StopSignals& signals;

    int operator()(const cli::PrintOptions& options) const
    {
        std::cout << options.text;
        return kExitDone;
    }
    int operator()(const cli::PortsOptions& options) const
    {
        return options.watch ? cli::WatchPorts(options, signals) : cli::ListPorts(options);
    }
    int operator()(const cli::ConnectOptions& options) const { return cli::ConnectPorts(options); }
    int operator()(const cli::ConfigureOptions& options) const { return cli::Configure(options); }
    int operator()(const cli::RunOptions& options) const { return cli::RunDeck(options, signals); }
    int operator()(const cli::PlayOptions& options) const
    {
        return window::PlayInWindow(options, signals);
    }
    int operator()(const cli::DemoOptions& options) const { return cli::RunDemo(options, signals); }
    int operator()(const cli::SendOptions& options) const
    {
        return cli::SendCommands(options, signals);
    }
    int operator()(const cli::MonitorOptions& options) const
    {
        return cli::MonitorPorts(options, signals);
    }
    int operator()(const cli::CheckMtcOptions& options) const
    {
        return cli::CheckMtc(options, signals);
    }
    int operator()(const cli::DoctorOptions& options) const
    {
        return cli::Examine(options, signals);
    }
};

int Main(int argc, char** argv)
{
    const cli::StopSignals signals;
    const auto command = cli::ParseCommandLine({argv + 1, argv + argc});
    return std::visit(Execute{signals}, command);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return Main(argc, argv);
    } catch (const deck::HostError& error) {
        std::cerr << "korva-deck: " << error.what() << std::endl;
        return error.Status();
    } catch (const std::exception& error) {
        std::cerr << "korva-deck: " << error.what() << std::endl;
        return deck::kExitFailed;
    }
}
