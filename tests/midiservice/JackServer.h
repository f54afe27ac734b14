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

    /// A name that no other server of this machine has; nothing is started yet. JACK clients
    /// made while this object lives look for this server.
    JackServer();
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

    std::string mName;
    ScopedVariable mVariable;
    pid_t mProcess = 0;
};

/// A program that uses libjack directly, with the ports NAME_OUT and NAME_IN.
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

    /// The frame time of each arrival so far, in the order of arrival.
    std::vector<jack_nframes_t> Frames() const;
    /// The frame time that belongs to a host time.
    double FrameOf(HostTime time) const;
    const char* ClientName() const { return jack_get_client_name(mClient); }

private:
    void Process(jack_nframes_t frames);
    std::string FindPort(const std::string& name, unsigned long flags) const;

    jack_client_t* mClient;
    jack_port_t* mOut;
    jack_port_t* mIn;
    Inbox mReceived;
    mutable std::mutex mMutex; // tests may make the callback wait
    std::vector<Bytes> mToSend;
    std::vector<jack_nframes_t> mFrames;
};

} // namespace midiservice::test
