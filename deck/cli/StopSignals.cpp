#include "deck/cli/StopSignals.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace deck::cli {

StopSignals::StopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mDescriptor = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (mDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

StopSignals::~StopSignals()
{
    close(mDescriptor);
}

StopSignals::Woken StopSignals::Wait(
    std::initializer_list<int> descriptors, std::optional<std::chrono::milliseconds> longest) const
{
    std::vector<pollfd> polled{{mDescriptor, POLLIN, 0}};
    for (const int descriptor : descriptors) {
        polled.push_back({descriptor, POLLIN, 0});
    }
    const int timeout = longest ? static_cast<int>(longest->count()) : -1;
    const int ready = poll(polled.data(), polled.size(), timeout);
    // The signal is never read, so that it stays told
    if (ready > 0 && (polled[0].revents & POLLIN) != 0) {
        return Woken::BySignal;
    }
    return ready > 0 ? Woken::ByDescriptor : Woken::ByTime;
}

} // namespace deck::cli
