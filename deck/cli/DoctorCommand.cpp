#include "deck/cli/DoctorCommand.h"

#include "deck/cli/DoctorFindings.h"
#include "deck/cli/ListenLoop.h"
#include "deck/cli/ReadFile.h"
#include "deck/host/BundleLoader.h"
#include "deck/host/DeckSession.h"
#include "deck/host/HostError.h"
#include "kelcore/proplist/PropListText.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <sys/resource.h>
#include <unistd.h>

namespace deck::cli {
namespace {

SequencerAccess LookAtSequencer()
{
    const int device = open("/dev/snd/seq", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (device >= 0) {
        close(device);
        return SequencerAccess::Open;
    }
    return errno == EACCES || errno == EPERM ? SequencerAccess::Denied : SequencerAccess::Missing;
}

bool MayRunRealTime()
{
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    return geteuid() == 0 || limit.rlim_cur > 0;
}

SystemFacts LookAtSystem()
{
    const char* const wanted = std::getenv("KEL_MIDI_SERVICE");
    return {wanted != nullptr ? wanted : "", LookAtSequencer(), MayRunRealTime()};
}

/// Reads only: a deck may be running with these settings.
SettingsFacts LookAtSettings(const std::filesystem::path& path)
{
    SettingsFacts facts{path.string(), std::filesystem::exists(path), {}, {}};
    if (!facts.exists) {
        return facts;
    }
    const Parsed<std::string> text = ReadFile(path);
    if (!text) {
        facts.fault = text.error;
        return facts;
    }
    try {
        facts.ports = host::ReadPortSettings(*text);
    } catch (const kelcore::proplist::utils::PropListSyntaxError& error) {
        facts.fault = error.what();
    }
    return facts;
}

PluginFacts LookAtPlugin(const std::optional<std::filesystem::path>& bundle)
{
    try {
        host::DeckSession session(bundle ? *bundle : host::FindBundle(), {});
        return {session.Instance().DisplayName(), {}};
    } catch (const HostError& error) {
        return {{}, error.what()};
    }
}

HeardFacts Listen(
    MIDIUniqueID source, std::chrono::nanoseconds duration, const StopSignals& signals)
{
    HeardFacts heard;
    host::MidiListener listener(source);
    MidiStream stream([&heard](const MidiEvent& event) { heard.Take(event); });
    ListenLoop loop(
        listener, signals, [&stream](const host::HeardBytes& bytes, const host::MidiPort&) {
            stream.Feed(bytes.View(), bytes.time);
        });
    loop.Run(duration, [] { return false; });
    stream.Flush();
    return heard;
}

} // namespace

int Examine(const DoctorOptions& options, const StopSignals& signals)
{
    const host::MidiClient client("korva-deck");
    DoctorFacts facts;
    facts.system = LookAtSystem();
    facts.service = GetServiceStatus();
    facts.plugin = LookAtPlugin(options.bundle);
    std::ifstream clients("/proc/asound/seq/clients");
    facts.throughHasReader = HasThroughReader(clients);
    facts.sources = host::ListPorts(host::PortDirection::Source);
    facts.destinations = host::ListPorts(host::PortDirection::Destination);
    facts.settings = LookAtSettings(options.settings);
    facts.listened = options.listen;
    facts.mustHear = options.mustHear;
    facts.rate = options.rate;
    const auto in = facts.settings.ports.in;
    if (in && options.listen.count() > 0 && host::FindEndpoint(*in, host::PortDirection::Source)) {
        facts.heard = Listen(*in, options.listen, signals);
    }
    const std::vector<Finding> findings = Diagnose(facts);
    std::cout << (options.json ? FindingsJSON(findings) : FindingsText(findings)) << std::flush;
    return HasProblem(findings) ? kExitFailed : kExitDone;
}

} // namespace deck::cli
