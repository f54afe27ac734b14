// JACK clients to talk to, each in a process of its own, as users have them. (Two clients in one
// process share memory that libjack guards in ways that the thread sanitizer cannot see.)

#pragma once

#include "tests/midiservice/Worlds.h"
#include "tests/support/JackServer.h"

#include <cstdio>
#include <string>
#include <thread>

#include <sys/types.h>

namespace midiservice::test {

using korva::tests::JackServer;

/// JackProgram with its standard input and output in our hands.
class JackProgram {
public:
    /// Returns when it runs.
    JackProgram(const std::string& mode, const std::string& name);
    JackProgram(const JackProgram&) = delete;
    JackProgram& operator=(const JackProgram&) = delete;
    ~JackProgram();

    void Write(const std::string& line);
    /// False at the end of its output.
    bool Read(std::string& line);
    void Terminate();

private:
    pid_t mProcess = 0;
    FILE* mInput = nullptr; // its
    FILE* mOutput = nullptr;
};

/// A JACK client: what reaches its port NAME_IN leaves by NAME_OUT.
class JackLoop {
public:
    explicit JackLoop(const std::string& name)
        : mProgram("loop", name)
    {
    }

private:
    JackProgram mProgram;
};

/// A JACK client with the ports NAME_OUT and NAME_IN. The stamp of what it receives is the time
/// of its sample, by JACK's clock in nanoseconds.
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
    bool SeesNoMore(const std::string& virtualEndpoint) override;

private:
    /// The answer: "ok" or "failed".
    std::string Ask(const std::string& line);
    void Command(const std::string& line);
    void Listen();

    Inbox mReceived;
    std::mutex mMutex;
    std::condition_variable mAnswered;
    std::vector<std::string> mAnswers;
    JackProgram mProgram;
    std::thread mListener;
};

} // namespace midiservice::test
