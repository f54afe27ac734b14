#include "mediaio/midiservice/src/SharedService.h"

#include "mediaio/midiservice/src/DriverFactories.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace midiservice {

namespace {

std::mutex sMutex;
// Left running at the end of the process: static destructors of others may still use it.
std::atomic<Service*> sService{nullptr};

std::string_view WantedDriver()
{
    const char* wanted = std::getenv("KEL_MIDI_SERVICE");
    if (wanted == nullptr || *wanted == '\0')
        return "auto";
    if (std::string_view(wanted) == "auto")
        return wanted;
    for (const DriverFactory& factory : DriverFactories())
        if (std::string_view(wanted) == factory.name)
            return wanted;
    std::fprintf(stderr, "KEL_MIDI_SERVICE: \"%s\" is none of auto", wanted);
    for (const DriverFactory& factory : DriverFactories())
        std::fprintf(stderr, ", %s", factory.name);
    std::fprintf(stderr, "; taking auto\n");
    return "auto";
}

std::unique_ptr<Service> MakeService(const std::string& programName)
{
    const std::string_view wanted = WantedDriver();
    const auto& factories = DriverFactories();
    for (const DriverFactory& factory : factories) {
        const bool isWanted = wanted == factory.name;
        const bool isLast = &factory == &factories.back();
        if (!isWanted && wanted != "auto")
            continue;
        try {
            return std::make_unique<Service>(factory.make(), programName, !isWanted && !isLast);
        } catch (const DriverNotRunning&) {
            continue;
        }
    }
    return nullptr; // not reached: the last driver always runs
}

} // namespace

Service* RunningService() noexcept
{
    return sService.load();
}

Service& SharedService(const std::string& programName)
{
    if (Service* running = RunningService())
        return *running;
    const std::lock_guard lock(sMutex);
    if (RunningService() == nullptr)
        sService.store(
            MakeService(programName.empty() ? program_invocation_short_name : programName)
                .release());
    return *RunningService();
}

void StopSharedService()
{
    const std::lock_guard lock(sMutex);
    delete sService.exchange(nullptr);
}

} // namespace midiservice
