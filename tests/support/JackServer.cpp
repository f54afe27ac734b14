#include "tests/support/JackServer.h"

#include "mediaio/midiservice/src/jack/JackProbe.h"
#include "tests/support/Spawn.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korva::tests {

namespace {

constexpr std::chrono::seconds kDeadline{20};

const std::string kName = "korvatest";

// JACK's servers of one user share files that each clears away when it ends, and it has places
// for eight names only, of which one that was killed keeps its own. So there is one server of
// tests at a time, of one name.
int WaitForTurn()
{
    const auto path = std::filesystem::temp_directory_path() / "korva-jack-test.lock";
    const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (flock(lock, LOCK_EX) != 0)
        throw std::runtime_error("no lock for a JACK server: " + path.string());
    return lock;
}

} // namespace

JackServer::Descriptor::~Descriptor()
{
    close(mNumber);
}

bool JackServer::IsInstalled()
{
    return std::system("command -v jackd >/dev/null") == 0;
}

JackServer::JackServer(int period, Mode mode)
    : mPeriod(period)
    , mMode(mode)
    , mTurn(WaitForTurn())
    , mOutput(memfd_create("jackd", MFD_CLOEXEC))
    , mVariable("JACK_DEFAULT_SERVER", kName)
{
}

JackServer::~JackServer()
{
    Stop();
}

const std::string& JackServer::Name() const noexcept
{
    return kName;
}

void JackServer::Start()
{
    std::vector<std::string> command{"jackd", "-n", kName, "-r", "-p", "256"};
    if (mMode == Mode::Synchronous)
        command.insert(command.end(), {"-S", "-t", "200"});
    command.insert(command.end(), {"-d", "dummy", "-r", "48000", "-p", std::to_string(mPeriod)});
    const Descriptor silence(open("/dev/null", O_RDONLY | O_CLOEXEC));
    mProcess = Spawn(command, silence, mOutput, mOutput);
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!midiservice::MayJackServerBeThere()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("jackd does not start:\n" + Output());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void JackServer::Stop()
{
    EndBy(SIGTERM);
}

void JackServer::Kill()
{
    EndBy(SIGKILL);
}

void JackServer::EndBy(int signal)
{
    if (mProcess != 0)
        End(std::exchange(mProcess, 0), signal);
}

std::string JackServer::Output() const
{
    struct stat facts {};
    fstat(mOutput, &facts);
    std::string output(static_cast<std::size_t>(facts.st_size), ' ');
    const ssize_t got = pread(mOutput, output.data(), output.size(), 0);
    output.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return output;
}

} // namespace korva::tests
