// A JACK client in a process of its own, with the ports NAME_IN and NAME_OUT. It ends with its
// server, with its standard input, or by SIGTERM.
//   JackProgram loop NAME   sends on what it receives
//   JackProgram peer NAME   does what the lines of its standard input say, and answers each
//       send F0 01 F7,F8      each as an event, in one cycle       -> ok
//       from TEXT, to TEXT    connects with the port that has the text in its name
//       sees TEXT             is there a port that has the text in its name?
//                                                                  -> ok, or failed
//     Whatever it receives:   event SAMPLE-TIME TIME F0 01 F7      (nanoseconds)

#include "mediaio/midiservice/src/HostTime.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <deque>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <semaphore.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

jack_client_t* sClient = nullptr;
jack_port_t* sIn = nullptr;
jack_port_t* sOut = nullptr;
bool sIsLoop = false;
sem_t sGone;
// The process callback waits for it, which only a test may make it do.
std::mutex sMutex;
std::vector<Bytes> sToSend;
std::deque<std::string> sToSay;
std::condition_variable sHasSomethingToSay;

void Say(const std::string& line)
{
    const std::lock_guard lock(sMutex);
    sToSay.push_back(line);
    sHasSomethingToSay.notify_one();
}

[[noreturn]] void SpeakForEver()
{
    std::unique_lock lock(sMutex);
    while (true) {
        sHasSomethingToSay.wait(lock, [] { return !sToSay.empty(); });
        const std::string line = sToSay.front() + "\n";
        sToSay.pop_front();
        lock.unlock();
        std::cout << line << std::flush;
        lock.lock();
    }
}

std::uint64_t SampleTime(jack_nframes_t frame, jack_nframes_t frames)
{
    jack_nframes_t first = 0;
    jack_time_t start = 0;
    jack_time_t next = 0;
    float period = 0;
    jack_get_cycle_times(sClient, &first, &start, &next, &period);
    return (start + (next - start) * frame / frames) * 1000;
}

void Report(const jack_midi_event_t& event, jack_nframes_t frames)
{
    std::ostringstream line;
    line << "event " << SampleTime(event.time, frames) << ' ' << midiservice::Now() << std::hex;
    for (std::size_t index = 0; index < event.size; ++index)
        line << ' ' << int{event.buffer[index]};
    Say(line.str());
}

int Process(jack_nframes_t frames, void* /*context*/)
{
    void* in = jack_port_get_buffer(sIn, frames);
    void* out = jack_port_get_buffer(sOut, frames);
    jack_midi_clear_buffer(out);
    {
        const std::lock_guard lock(sMutex);
        for (const Bytes& unit : sToSend)
            jack_midi_event_write(out, 0, unit.data(), unit.size());
        sToSend.clear();
    }
    for (std::uint32_t index = 0; index < jack_midi_get_event_count(in); ++index) {
        jack_midi_event_t event{};
        jack_midi_event_get(&event, in, index);
        if (sIsLoop)
            jack_midi_event_write(out, event.time, event.buffer, event.size);
        else
            Report(event, frames);
    }
    return 0;
}

void Send(const std::string& units)
{
    std::istringstream list(units);
    const std::lock_guard lock(sMutex);
    for (std::string unit; std::getline(list, unit, ',');) {
        std::istringstream numbers(unit);
        Bytes bytes;
        for (unsigned number = 0; numbers >> std::hex >> number;)
            bytes.push_back(static_cast<std::uint8_t>(number));
        sToSend.push_back(bytes);
    }
}

std::string FindPort(const std::string& text, unsigned long flags)
{
    const std::unique_ptr<const char*[], void (*)(const char**)> names(
        jack_get_ports(sClient, nullptr, JACK_DEFAULT_MIDI_TYPE, flags),
        [](const char** memory) { jack_free(memory); });
    for (std::size_t index = 0; names && names[index] != nullptr; ++index)
        if (std::string(names[index]).find(text) != std::string::npos)
            return names[index];
    return "";
}

// True when the connection counts, which is in one of the next cycles.
bool Connect(jack_port_t* ours, const std::string& other)
{
    const char* from = ours == sIn ? other.c_str() : jack_port_name(ours);
    const char* to = ours == sIn ? jack_port_name(ours) : other.c_str();
    if (jack_connect(sClient, from, to) != 0)
        return false;
    while (jack_port_connected_to(ours, other.c_str()) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return true;
}

bool Obey(const std::string& line)
{
    const auto space = line.find(' ');
    const std::string command = line.substr(0, space);
    const std::string argument = line.substr(space + 1);
    if (command == "from")
        return Connect(sIn, FindPort(argument, JackPortIsOutput));
    if (command == "to")
        return Connect(sOut, FindPort(argument, JackPortIsInput));
    if (command == "sees")
        return !FindPort(argument, 0).empty();
    Send(argument);
    return true;
}

void ObeyForEver()
{
    for (std::string line; std::getline(std::cin, line);)
        Say(Obey(line) ? "ok" : "failed");
    sem_post(&sGone);
}

bool Open(const std::string& name)
{
    sClient = jack_client_open(name.c_str(), JackNoStartServer, nullptr);
    if (sClient == nullptr)
        return false;
    sIn = jack_port_register(
        sClient, (name + "_IN").c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    sOut = jack_port_register(
        sClient, (name + "_OUT").c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    jack_set_process_callback(sClient, &Process, nullptr);
    jack_on_shutdown(
        sClient, [](void*) { sem_post(&sGone); }, nullptr);
    return jack_activate(sClient) == 0;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 3)
        return 2;
    sIsLoop = std::string(arguments[1]) == "loop";
    sem_init(&sGone, 0, 0);
    // A client that just dies holds a synchronous server up.
    std::signal(SIGTERM, [](int) { sem_post(&sGone); });
    if (!Open(arguments[2]))
        return 1;
    std::thread(&SpeakForEver).detach();
    if (!sIsLoop)
        std::thread(&ObeyForEver).detach();
    Say("ok");
    while (sem_wait(&sGone) != 0) {
    }
    jack_client_close(sClient);
    _exit(0);
}
