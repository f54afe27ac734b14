// A real JACK server of our own, without hardware, and raw JACK clients to talk to it.

#pragma once

#include "tests/midiservice/Worlds.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <atomic>
#include <string>

#include <sys/types.h>

namespace midiservice::test {

class JackServer {
public:
    /// False where jackd is not installed.
    static bool IsInstalled();

    /// A synchronous server waits for clients that are late, as they are on a busy machine,
    /// where an asynchronous one drops what they would have received. But clients that are
    /// connected in a circle hold it up for seconds.
    enum class Mode { Synchronous, Asynchronous };

    /// Nothing is started yet. JACK clients made while this object lives look for this server.
    explicit JackServer(Mode mode);
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;
    ~JackServer();

    /// Returns when clients can connect.
    void Start();
    /// Asks it to end, and waits.
    void Stop();
    /// SIGKILL.
    void Kill();

private:
    void End(int signal);

    /// Waits until no other test has a server.
    class Turn {
    public:
        Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn();

    private:
        int mLock;
    };

    const Mode mMode;
    Turn mTurn;
    ScopedVariable mVariable;
    pid_t mProcess = 0;
};

/// A JACK client in a process of its own: what reaches its port NAME_IN leaves by NAME_OUT.
class JackLoop {
public:
    explicit JackLoop(const std::string& name);
    JackLoop(const JackLoop&) = delete;
    JackLoop& operator=(const JackLoop&) = delete;
    ~JackLoop();

private:
    pid_t mProcess;
};

/// A program that uses libjack directly, with the ports NAME_OUT and NAME_IN. The stamp of
/// what it receives is the time of its sample, by JACK's clock in nanoseconds.
class JackPeer final : public Peer {
public:
    explicit JackPeer(const std::string& name);
    JackPeer(const JackPeer&) = delete;
    JackPeer& operator=(const JackPeer&) = delete;
    ~JackPeer() override;

    void Send(const std::vector<Bytes>& units) override;
    Inbox& Received() override { return mReceived; }
    void ConnectFrom(const std::string& virtualSource) override;
    void ConnectTo(const std::string& virtualDestination) override;

private:
    void Process(jack_nframes_t frames);
    HostTime TimeOf(jack_nframes_t frame, jack_nframes_t frames) const;
    void Connect(jack_port_t* ours, const std::string& other, bool isSending);
    std::string FindPort(const std::string& name, unsigned long flags) const;

    jack_client_t* mClient;
    jack_port_t* mOut;
    jack_port_t* mIn;
    Inbox mReceived;
    mutable std::mutex mMutex; // tests may make the callback wait
    std::vector<Bytes> mToSend;
};

} // namespace midiservice::test
