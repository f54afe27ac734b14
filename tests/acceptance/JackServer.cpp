#include "tests/acceptance/JackServer.h"

#include <jack/midiport.h>

#include <stdexcept>

namespace deck::acceptance {
namespace {

void Quietly(const char* /*message*/) {}

jack_client_t* Open(const std::string& server, const std::string& client)
{
    jack_set_error_function(&Quietly);
    jack_set_info_function(&Quietly);
    const auto options = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
    return jack_client_open(client.c_str(), options, nullptr, server.c_str());
}

} // namespace

JackPeer::JackPeer(const JackServer& server, const std::string& name)
    : mClient(Open(server.Name(), name))
{
    if (mClient == nullptr) {
        throw std::runtime_error("no JACK client");
    }
    mOut
        = jack_port_register(mClient.get(), "mmc_out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    mIn = jack_port_register(mClient.get(), "mtc_in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(mClient.get(), &JackPeer::OnProcess, this);
    jack_activate(mClient.get());
}

JackPeer::~JackPeer()
{
    jack_deactivate(mClient.get());
}

bool JackPeer::Wire(const std::string& to, const std::string& from)
{
    return Connect(jack_port_name(mOut), to) && Hear(from);
}

bool JackPeer::Hear(const std::string& from)
{
    return Connect(from, jack_port_name(mIn));
}

bool JackPeer::Connect(const std::string& from, const std::string& to)
{
    if (jack_connect(mClient.get(), from.c_str(), to.c_str()) != 0) {
        return false;
    }
    // It counts from one of the next cycles
    const jack_port_t* const port = jack_port_by_name(mClient.get(), from.c_str());
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (jack_port_connected_to(port, to.c_str()) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void JackPeer::SendInOneCycle(const std::vector<Bytes>& messages)
{
    const std::lock_guard lock(mMutex);
    mToSend.push_back(messages);
}

std::optional<Bytes> JackPeer::WaitFor(const std::function<bool(const Bytes&)>& fits)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    std::unique_lock lock(mMutex);
    for (;;) {
        while (mNext < mReceived.size()) {
            if (fits(mReceived[mNext++].bytes)) {
                return mReceived[mNext - 1].bytes;
            }
        }
        if (mChanged.wait_until(lock, end) == std::cv_status::timeout) {
            return std::nullopt;
        }
    }
}

std::optional<Bytes> JackPeer::WaitFor(const Bytes& message)
{
    return WaitFor([&message](const Bytes& received) { return received == message; });
}

std::vector<JackPeer::Arrival> JackPeer::Received()
{
    const std::lock_guard lock(mMutex);
    return mReceived;
}

int JackPeer::OnProcess(jack_nframes_t frames, void* self)
{
    static_cast<JackPeer*>(self)->Process(frames);
    return 0;
}

void JackPeer::Process(jack_nframes_t frames)
{
    void* const out = jack_port_get_buffer(mOut, frames);
    void* const in = jack_port_get_buffer(mIn, frames);
    jack_midi_clear_buffer(out);
    // Received messages must not be lost, and a client without hardware may be a little late
    const std::lock_guard lock(mMutex);
    if (!mToSend.empty()) {
        jack_nframes_t frame = 0;
        for (const Bytes& message : mToSend.front()) {
            jack_midi_event_write(out, frame++, message.data(), message.size());
        }
        mToSend.pop_front();
    }
    const jack_nframes_t count = jack_midi_get_event_count(in);
    for (jack_nframes_t i = 0; i < count; ++i) {
        jack_midi_event_t event{};
        jack_midi_event_get(&event, in, i);
        // The server's own idea of when that sample was: its count of samples stands still where a
        // busy machine makes it miss a cycle
        const std::chrono::microseconds time(
            jack_frames_to_time(mClient.get(), jack_last_frame_time(mClient.get()) + event.time));
        mReceived.push_back({Bytes(event.buffer, event.buffer + event.size), time});
    }
    if (count > 0) {
        mChanged.notify_all();
    }
}

} // namespace deck::acceptance
