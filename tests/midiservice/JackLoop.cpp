// A JACK client in a process of its own.
//   JackLoop NAME     has the ports NAME_IN and NAME_OUT, and sends on what it receives;
//                     ends with its server, or by SIGTERM

#include <jack/jack.h>
#include <jack/midiport.h>

#include <csignal>
#include <string>

#include <semaphore.h>

namespace {

jack_port_t* sIn = nullptr;
jack_port_t* sOut = nullptr;
sem_t sGone;

void Quietly(const char* /*message*/) {}

int Loop(jack_nframes_t frames, void* /*context*/)
{
    void* in = jack_port_get_buffer(sIn, frames);
    void* out = jack_port_get_buffer(sOut, frames);
    jack_midi_clear_buffer(out);
    for (std::uint32_t index = 0; index < jack_midi_get_event_count(in); ++index) {
        jack_midi_event_t event{};
        jack_midi_event_get(&event, in, index);
        jack_midi_event_write(out, event.time, event.buffer, event.size);
    }
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2)
        return 2;
    jack_set_error_function(&Quietly);
    jack_set_info_function(&Quietly);
    const std::string name = arguments[1];
    jack_client_t* client = jack_client_open(name.c_str(), JackNoStartServer, nullptr);
    if (client == nullptr)
        return 1;
    sem_init(&sGone, 0, 0);
    sIn = jack_port_register(
        client, (name + "_IN").c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    sOut = jack_port_register(
        client, (name + "_OUT").c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    jack_set_process_callback(client, &Loop, nullptr);
    jack_on_shutdown(
        client, [](void*) { sem_post(&sGone); }, nullptr);
    std::signal(SIGTERM, [](int) { sem_post(&sGone); });
    if (jack_activate(client) != 0)
        return 1;
    while (sem_wait(&sGone) != 0) {
    }
    jack_client_close(client);
    return 0;
}
