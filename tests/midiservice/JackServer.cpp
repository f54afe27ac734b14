#include "tests/midiservice/JackServer.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace midiservice::test {

namespace {

std::string UniqueServerName()
{
    static std::atomic<int> sCount{0};
    return "korvatest" + std::to_string(getpid()) + "_" + std::to_string(sCount++);
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

JackServer::JackServer()
    : mName(UniqueServerName())
    , mVariable("JACK_DEFAULT_SERVER", mName)
{
}

JackServer::~JackServer()
{
    Stop();
}

void JackServer::Start()
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    std::string arguments[]
        = {"jackd", "-n", mName, "-r", "-p", "256", "-d", "dummy", "-r", "48000", "-p", "128"};
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    ASSERT_EQ(posix_spawnp(&mProcess, "jackd", &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);

    const auto end = std::chrono::steady_clock::now() + kDeadline;
    jack_client_t* probe = nullptr;
    while (probe == nullptr && std::chrono::steady_clock::now() < end) {
        probe = Open("probe");
        if (probe == nullptr)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_NE(probe, nullptr) << "jackd does not answer";
    jack_client_close(probe);
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
        mFrames.push_back(jack_last_frame_time(mClient) + event.time);
        mReceived.Put({Bytes(event.buffer, event.buffer + event.size), 0, Now(), nullptr, {}});
    }
}

void JackPeer::Send(const std::vector<Bytes>& units)
{
    const std::lock_guard lock(mMutex);
    mToSend.insert(mToSend.end(), units.begin(), units.end());
}

std::vector<jack_nframes_t> JackPeer::Frames() const
{
    const std::lock_guard lock(mMutex);
    return mFrames;
}

double JackPeer::FrameOf(HostTime time) const
{
    // JACK's clock runs with ours; the offset between them is found by asking both.
    const auto jackNow = static_cast<double>(jack_get_time()) * 1000.0;
    const auto hostNow = static_cast<double>(Now());
    const double jackTime = static_cast<double>(time) - hostNow + jackNow;
    return static_cast<double>(
        jack_time_to_frames(mClient, static_cast<jack_time_t>(jackTime / 1000.0)));
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

void JackPeer::ConnectFrom(const std::string& virtualSource)
{
    const std::string port = FindPort(virtualSource, JackPortIsOutput);
    EXPECT_EQ(jack_connect(mClient, port.c_str(), jack_port_name(mIn)), 0) << port;
}

void JackPeer::ConnectTo(const std::string& virtualDestination)
{
    const std::string port = FindPort(virtualDestination, JackPortIsInput);
    EXPECT_EQ(jack_connect(mClient, jack_port_name(mOut), port.c_str()), 0) << port;
}

} // namespace midiservice::test
