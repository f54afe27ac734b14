// One connection to one running JACK server, from its opening until the server goes or we do.

#pragma once

#include "mediaio/midiservice/src/Driver.h"
#include "mediaio/midiservice/src/PassGate.h"
#include "mediaio/midiservice/src/jack/JackNames.h"
#include "mediaio/midiservice/src/jack/JackOutbox.h"

#include <jack/jack.h>

#include <boost/lockfree/spsc_queue.hpp>

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

namespace midiservice {

/// What the server tells; called on libjack's threads.
class JackListener {
public:
    virtual void OnJackGone() noexcept = 0;
    virtual void OnJackPortsChanged() noexcept = 0;

protected:
    ~JackListener() = default;
};

/// A port of another client.
struct JackPort {
    Direction direction = Direction::Source;
    JackPortNames names;
};

/// A reference to a port of ours. Others may get the same index later, but another serial.
struct JackPlace {
    std::uint32_t index = kMaxJackOutputs;
    std::uint32_t serial = 0;
    bool IsValid() const noexcept { return index < kMaxJackOutputs; }
};

/// The length of the cycle of `frames` that begins at `start` and is expected to end at `next`, in
/// host time. A server that has missed cycles may expect the end before the beginning: then it is
/// as long as its samples are. [driver, real-time]
HostTime JackCycleLength(
    HostTime start, HostTime next, jack_nframes_t frames, jack_nframes_t sampleRate) noexcept;

/// Unless stated otherwise: [host, may block], and one call at a time, because libjack's
/// requests to its server are not meant for several threads at once.
class JackClient {
public:
    /// Null, and why, when no server answers.
    static std::unique_ptr<JackClient> TryOpen(
        const std::string& name, DriverHost& host, JackListener& listener, std::string& whyNot);
    JackClient(const JackClient&) = delete;
    JackClient& operator=(const JackClient&) = delete;
    ~JackClient();

    std::vector<JackPort> ListPorts();
    /// Full names of ports that ended since the last call: one that is there again is new.
    std::set<std::string> TakeEndedPorts();

    /// A port of ours for what `origin` sends.
    JackPlace AddInput(const std::string& portName, EndpointKey origin);
    void RemoveInput(JackPlace place);
    /// A port of ours to send through.
    JackPlace AddOutput(const std::string& portName);
    void RemoveOutput(JackPlace place);

    /// Connects a port of ours with another client's. On return the connection counts. False
    /// while the other client has its ports but does not run yet.
    bool ConnectInput(JackPlace place, const std::string& from);
    bool ConnectOutput(JackPlace place, const std::string& to);

    /// [receive, real-time]
    void Receive(DriverHost& host) noexcept;
    SendResult Send(JackPlace place, const OutgoingMessage& message) noexcept
    {
        return mOutbox.Put(place.index, place.serial, message);
    }

    /// [any thread, real-time]
    bool HasUnsent() const noexcept { return mOutbox.HasUnsent(); }

    /// The length of a cycle. [any thread, real-time]
    HostTime Period() const noexcept { return mPeriod.load(std::memory_order_relaxed); }

private:
    static constexpr std::size_t kMaxInputs = kMaxJackOutputs;

    /// Bytes of one event, or a part of one that is longer.
    struct Received {
        EndpointKey origin;
        HostTime time;
        std::uint16_t length;
        std::array<std::uint8_t, kMaxPieceBytes> bytes;
    };

    struct Input {
        std::atomic<jack_port_t*> port{nullptr}; // published last, withdrawn first
        EndpointKey origin = 0;
    };

    struct Output {
        std::atomic<jack_port_t*> port{nullptr};
        std::atomic<std::uint32_t> serial{0};
        void* buffer = nullptr; // of this cycle; the process callback's
    };

    class Callback;
    class Cycle;

    struct Closer {
        void operator()(jack_client_t* client) const noexcept { jack_client_close(client); }
    };

    JackClient(jack_client_t* client, DriverHost& host, JackListener& listener);
    bool Activate();
    jack_port_t* Register(const std::string& portName, unsigned long flags);
    void Withdraw(std::atomic<jack_port_t*>& place);
    bool Connect(jack_port_t* ours, const std::string& other);
    HostTime HostTimeOf(jack_time_t microseconds) const noexcept;

    void Process(jack_nframes_t frames) noexcept;
    bool ReadInput(EndpointKey origin, void* buffer, const Cycle& cycle) noexcept;
    bool StoreEvent(
        EndpointKey origin, HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept;
    std::set<std::string> EndingPorts(const char* const* listed);
    void OnGone() noexcept;
    void OnPort(jack_port_id_t id, bool isThere) noexcept;
    void OnRenamed(const char* oldName) noexcept;

    DriverHost& mHost;
    JackListener& mListener;
    const std::int64_t mClockOffset;  // host time minus JACK's, in nanoseconds
    std::atomic<HostTime> mPeriod{0}; // written by the process callback

    std::array<Input, kMaxInputs> mInputs;
    std::array<Output, kMaxJackOutputs> mOutputs;
    PassGate mProcessGate;
    JackOutbox mOutbox;
    boost::lockfree::spsc_queue<Received, boost::lockfree::capacity<4096>> mReceived;
    std::uint32_t mSerials = 0;

    std::mutex mNamesMutex; // for libjack's notification thread
    std::map<jack_port_id_t, std::string> mNamesByID;
    std::set<std::string> mEnding; // announced as ended, and not as begun since
    std::set<std::string> mEnded;  // since they were last taken

    std::atomic<pid_t> mMessenger{0}; // the thread that told that the server is gone

    jack_client_t* const mClient; // never changes: callbacks read it
};

} // namespace midiservice
