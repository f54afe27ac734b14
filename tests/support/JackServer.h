// A real JACK server of our own, without hardware.

#pragma once

#include "tests/support/ScopedVariable.h"

#include <string>

#include <sys/types.h>

namespace korva::tests {

class JackServer {
public:
    /// False where jackd is not installed.
    static bool IsInstalled();

    /// A synchronous server waits for clients that are late, as they are on a busy machine,
    /// where an asynchronous one drops what they would have received. But clients that are
    /// connected in a circle hold it up for seconds.
    enum class Mode { Synchronous, Asynchronous };

    /// Nothing is started yet. JACK clients made while this object lives look for this server.
    /// `period` is the length of a cycle in frames of 1/48000 s: with a long one a client is
    /// rarely late, with a short one times are exact.
    explicit JackServer(int period = 128, Mode mode = Mode::Asynchronous);
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;
    ~JackServer();

    const std::string& Name() const noexcept;
    /// Returns when clients can connect; throws where that does not come about.
    void Start();
    /// Asks it to end, and waits.
    void Stop();
    /// SIGKILL.
    void Kill();
    /// What it has said: which client missed which cycle, for one.
    std::string Output() const;

private:
    void EndBy(int signal);

    /// A descriptor that closes.
    class Descriptor {
    public:
        explicit Descriptor(int number)
            : mNumber(number)
        {
        }
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;
        ~Descriptor();
        operator int() const { return mNumber; }

    private:
        int mNumber;
    };

    const int mPeriod;
    const Mode mMode;
    Descriptor mTurn; // held while no other test may have a server
    Descriptor mOutput;
    ScopedVariable mVariable;
    pid_t mProcess = 0;
};

} // namespace korva::tests
