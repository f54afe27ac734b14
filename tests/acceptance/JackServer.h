// A JACK server, and a client of it that knows nothing of the deck.

#pragma once

#include "deck/protocol/MMC.h"
#include "tests/acceptance/Program.h"
#include "tests/support/JackServer.h"

#include <jack/jack.h>

#include <deque>
#include <memory>

namespace deck::acceptance {

using korva::tests::JackServer;

/// Sends from its port "mmc_out" and receives on its port "mtc_in".
class JackPeer {
public:
    JackPeer(const JackServer& server, const std::string& name);
    ~JackPeer();
    JackPeer(const JackPeer&) = delete;
    JackPeer& operator=(const JackPeer&) = delete;

    /// Wires "mmc_out" to one port and another to "mtc_in", as a patchbay does, by the whole names.
    /// False where the server refused.
    bool Wire(const std::string& to, const std::string& from);
    /// Wires that port to "mtc_in".
    bool Hear(const std::string& from);
    /// Wires any two, other clients' ports too.
    bool Connect(const std::string& from, const std::string& to);

    /// All of them in one cycle, one frame after the other; at most 100. What is sent by another
    /// call goes in a later cycle.
    void SendInOneCycle(const std::vector<Bytes>& messages);

    /// The next message, from where the last call found one, that `fits`.
    std::optional<Bytes> WaitFor(const std::function<bool(const Bytes&)>& fits);
    std::optional<Bytes> WaitFor(const Bytes& message);

    struct Arrival {
        Bytes bytes;
        std::chrono::nanoseconds time; // to the sample, on the clock of the machine
    };
    /// All that has come in.
    std::vector<Arrival> Received();

private:
    static int OnProcess(jack_nframes_t frames, void* self);
    void Process(jack_nframes_t frames);

    struct Close {
        void operator()(jack_client_t* client) const { jack_client_close(client); }
    };

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<std::vector<Bytes>> mToSend; // a cycle's messages each; guarded by mMutex
    std::vector<Arrival> mReceived;         // guarded by mMutex
    std::size_t mNext = 0;
    std::unique_ptr<jack_client_t, Close> mClient;
    jack_port_t* mOut = nullptr;
    jack_port_t* mIn = nullptr;
};

} // namespace deck::acceptance
