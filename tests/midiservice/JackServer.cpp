#include "tests/midiservice/JackServer.h"

#include "mediaio/midiservice/src/jack/JackProbe.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace midiservice::test {

namespace {

const std::string kName = "korvatest";

/// Ends with us, however we end.
pid_t Spawn(const std::vector<std::string>& arguments)
{
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    const int silence = open("/dev/null", O_RDWR | O_CLOEXEC);
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(silence, STDOUT_FILENO);
        dup2(silence, STDERR_FILENO);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    close(silence);
    return process;
}

void Quietly(const char* /*message*/) {}

jack_client_t* Open(const std::string& name)
{
    jack_set_error_function(&Quietly);
    jack_set_info_function(&Quietly);
    return jack_client_open(name.c_str(), JackNoStartServer, nullptr);
}

struct JackFree {
    void operator()(const char** names) const { jack_free(names); }
};

} // namespace

bool JackServer::IsInstalled()
{
    const std::string path = std::getenv("PATH") != nullptr ? std::getenv("PATH") : "";
    for (std::size_t start = 0; start <= path.size();) {
        const auto end = std::min(path.find(':', start), path.size());
        if (access((path.substr(start, end - start) + "/jackd").c_str(), X_OK) == 0)
            return true;
        start = end + 1;
    }
    return false;
}

// JACK's servers of one user share files that each clears away when it ends, and it has places
// for eight names only, of which one that was killed keeps its own. So there is one server of
// tests at a time, of one name.
JackServer::Turn::Turn()
    : mLock(open((std::filesystem::temp_directory_path() / "korva-jack-test.lock").c_str(),
        O_RDWR | O_CREAT | O_CLOEXEC,
        0666))
{
    EXPECT_EQ(flock(mLock, LOCK_EX), 0);
}

JackServer::Turn::~Turn()
{
    close(mLock);
}

JackServer::JackServer(Mode mode)
    : mMode(mode)
    , mVariable("JACK_DEFAULT_SERVER", kName)
{
}

JackServer::~JackServer()
{
    Stop();
}

void JackServer::Start()
{
    std::vector<std::string> arguments{"jackd", "-n", kName, "-r", "-p", "256"};
    if (mMode == Mode::Synchronous)
        arguments.insert(arguments.end(), {"-S", "-t", "200"});
    arguments.insert(arguments.end(), {"-d", "dummy", "-r", "48000", "-p", "128"});
    mProcess = Spawn(arguments);
    ASSERT_GT(mProcess, 0);
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!MayJackServerBeThere() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_TRUE(MayJackServerBeThere()) << "jackd does not answer";
}

JackLoop::JackLoop(const std::string& name)
    : mProcess(Spawn({KORVA_JACK_LOOP, name}))
{
    EXPECT_GT(mProcess, 0);
}

JackLoop::~JackLoop()
{
    kill(mProcess, SIGTERM);
    waitpid(mProcess, nullptr, 0);
}

void JackServer::Stop()
{
    End(SIGTERM);
}
void JackServer::Kill()
{
    End(SIGKILL);
}

void JackServer::End(int signal)
{
    if (mProcess == 0)
        return;
    kill(mProcess, signal);
    waitpid(mProcess, nullptr, 0);
    mProcess = 0;
}

JackPeer::JackPeer(const std::string& name)
    : mClient(Open(name))
{
    EXPECT_NE(mClient, nullptr);
    mOut = jack_port_register(
        mClient, (name + "_OUT").c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    mIn = jack_port_register(
        mClient, (name + "_IN").c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(
        mClient,
        [](jack_nframes_t frames, void* self) {
            static_cast<JackPeer*>(self)->Process(frames);
            return 0;
        },
        this);
    EXPECT_EQ(jack_activate(mClient), 0);
}

JackPeer::~JackPeer()
{
    jack_client_close(mClient);
}

void JackPeer::Process(jack_nframes_t frames)
{
    const std::lock_guard lock(mMutex);
    void* out = jack_port_get_buffer(mOut, frames);
    jack_midi_clear_buffer(out);
    for (const Bytes& unit : mToSend)
        EXPECT_EQ(jack_midi_event_write(out, 0, unit.data(), unit.size()), 0);
    mToSend.clear();

    void* in = jack_port_get_buffer(mIn, frames);
    for (std::uint32_t index = 0; index < jack_midi_get_event_count(in); ++index) {
        jack_midi_event_t event{};
        jack_midi_event_get(&event, in, index);
        const HostTime sampleTime = TimeOf(event.time, frames);
        mReceived.Put(
            {Bytes(event.buffer, event.buffer + event.size), sampleTime, Now(), nullptr, {}});
    }
}

HostTime JackPeer::TimeOf(jack_nframes_t frame, jack_nframes_t frames) const
{
    jack_nframes_t first = 0;
    jack_time_t start = 0;
    jack_time_t next = 0;
    float period = 0;
    jack_get_cycle_times(mClient, &first, &start, &next, &period);
    return (start + (next - start) * frame / frames) * 1000;
}

void JackPeer::Send(const std::vector<Bytes>& units)
{
    const std::lock_guard lock(mMutex);
    mToSend.insert(mToSend.end(), units.begin(), units.end());
}

std::string JackPeer::FindPort(const std::string& name, unsigned long flags) const
{
    const std::unique_ptr<const char*[], JackFree> names(
        jack_get_ports(mClient, nullptr, JACK_DEFAULT_MIDI_TYPE, flags));
    for (std::size_t index = 0; names && names[index] != nullptr; ++index)
        if (std::string(names[index]).find(name) != std::string::npos)
            return names[index];
    return "";
}

// Returns when the connection counts, which is in one of the next cycles.
void JackPeer::Connect(jack_port_t* ours, const std::string& other, bool isSending)
{
    const std::string own = jack_port_name(ours);
    EXPECT_EQ(jack_connect(mClient, isSending ? own.c_str() : other.c_str(),
                  isSending ? other.c_str() : own.c_str()),
        0)
        << other;
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (
        jack_port_connected_to(ours, other.c_str()) == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void JackPeer::ConnectFrom(const std::string& virtualSource)
{
    Connect(mIn, FindPort(virtualSource, JackPortIsOutput), false);
}

void JackPeer::ConnectTo(const std::string& virtualDestination)
{
    Connect(mOut, FindPort(virtualDestination, JackPortIsInput), true);
}

} // namespace midiservice::test
