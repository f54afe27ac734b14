#include "deck/cli/ReloadSignal.h"

#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace deck::cli {
namespace {

// A descriptor of a terminal that has hung up is none of a terminal any more
bool HasTerminal() noexcept
{
    return isatty(STDIN_FILENO) != 0 || isatty(STDOUT_FILENO) != 0;
}

} // namespace

ReloadSignal::ReloadSignal()
    : mHadTerminal(HasTerminal())
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    mDescriptor = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
    if (mDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

ReloadSignal::~ReloadSignal()
{
    close(mDescriptor);
}

bool ReloadSignal::TryTake() noexcept
{
    signalfd_siginfo signal{};
    return read(mDescriptor, &signal, sizeof signal) == sizeof signal;
}

bool ReloadSignal::HasLostTerminal() const noexcept
{
    return mHadTerminal && !HasTerminal();
}

} // namespace deck::cli
