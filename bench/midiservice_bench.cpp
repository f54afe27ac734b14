// The MIDI service alone: from MIDISend to the read callback inside the process, beside a plain
// queue and thread, and through a JACK server and back, beside a client that uses libjack itself.

#include "tests/midiservice/JackPeer.h"

#include <benchmark/benchmark.h>
#include <boost/lockfree/spsc_queue.hpp>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <semaphore.h>

namespace {

using korva::tests::JackServer;
using midiservice::HostTime;
using midiservice::Now;
using midiservice::test::Bytes;
using midiservice::test::FindDestination;
using midiservice::test::FindSource;
using midiservice::test::JackLoop;
using midiservice::test::Packets;
using midiservice::test::ScopedService;

const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
constexpr int kBurst = 100;

/// Read callbacks count here.
class Counter {
public:
    static void Read(const MIDIPacketList*, void* counter, void*)
    {
        static_cast<Counter*>(counter)->Count();
    }
    void Count() { mCount.fetch_add(1, std::memory_order_release); } // publishes the arrival
    std::int64_t Value() const { return mCount.load(std::memory_order_acquire); }

    // Spins: a sleeping waiter would measure its own waking. Gives way all the same, because
    // senders may be more than processors.
    void WaitFor(std::int64_t count) const
    {
        constexpr int kLooksBetweenYields = 1000;
        for (int looks = 1; Value() < count; ++looks)
            if (looks % kLooksBetweenYields == 0)
                std::this_thread::yield();
    }

private:
    std::atomic<std::int64_t> mCount{0};
};

void ReportPercentiles(benchmark::State& state, const std::string& who, std::vector<double> micros)
{
    if (micros.empty())
        return;
    std::sort(micros.begin(), micros.end());
    state.counters[who + "p50_us"] = micros[micros.size() / 2];
    state.counters[who + "p99_us"] = micros[micros.size() * 99 / 100];
}

double MicrosSince(HostTime start)
{
    return static_cast<double>(Now() - start) / 1000;
}

// ------------------------------------------------------------------ inside the process

/// One sender of the service with a destination of its own.
class Sender {
public:
    Sender()
    {
        MIDIClientCreate(CFSTR("Bench"), nullptr, nullptr, &mClient);
        MIDIOutputPortCreate(mClient, CFSTR("Output port"), &mPort);
        MIDIDestinationCreate(
            mClient, CFSTR("Destination"), &Counter::Read, &counter, &mDestination);
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    ~Sender() { MIDIClientDispose(mClient); }

    // Refused where the queue is full, which throughput must wait for.
    void Send(const MIDIPacketList* packets)
    {
        while (MIDISend(mPort, mDestination, packets) != 0)
            std::this_thread::yield();
    }

    Counter counter;

private:
    MIDIClientRef mClient = 0;
    MIDIPortRef mPort = 0;
    MIDIEndpointRef mDestination = 0;
};

/// What the service is measured against: a queue behind a mutex, and a thread that waits for it.
class PlainService {
public:
    PlainService()
        : mThread([this] { Run(); })
    {
    }
    PlainService(const PlainService&) = delete;
    PlainService& operator=(const PlainService&) = delete;
    ~PlainService()
    {
        Send(nullptr);
        mThread.join();
    }

    void Send(Counter* destination)
    {
        {
            const std::lock_guard lock(mMutex);
            mMessages.push_back({destination, {}});
            std::copy(kPlay.begin(), kPlay.end(), mMessages.back().bytes);
        }
        mChanged.notify_one();
    }

private:
    struct Message {
        Counter* destination;
        std::uint8_t bytes[256];
    };

    void Run()
    {
        std::unique_lock lock(mMutex);
        for (;;) {
            mChanged.wait(lock, [this] { return !mMessages.empty(); });
            const Message message = mMessages.front();
            mMessages.pop_front();
            lock.unlock();
            if (message.destination == nullptr)
                return;
            message.destination->Count();
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<Message> mMessages; // guarded by mMutex
    std::thread mThread;
};

template <typename Send> void MeasureLatency(benchmark::State& state, Counter& counter, Send send)
{
    std::vector<double> micros;
    std::int64_t sent = counter.Value();
    for (auto _ : state) {
        const HostTime start = Now();
        send();
        counter.WaitFor(++sent);
        micros.push_back(MicrosSince(start));
        state.SetIterationTime(micros.back() / 1e6);
    }
    ReportPercentiles(state, "", micros);
}

template <typename Send>
void MeasureThroughput(benchmark::State& state, Counter& counter, Send send)
{
    std::int64_t sent = counter.Value();
    for (auto _ : state) {
        for (int i = 0; i < kBurst; ++i)
            send();
        sent += kBurst;
        counter.WaitFor(sent);
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
}

void BuiltinLatency(benchmark::State& state)
{
    const ScopedService service("builtin");
    const Packets play{kPlay};
    Sender sender;
    MeasureLatency(state, sender.counter, [&] { sender.Send(play); });
}
BENCHMARK(BuiltinLatency)->UseManualTime()->Unit(benchmark::kMicrosecond);

void PlainQueueLatency(benchmark::State& state)
{
    PlainService service;
    Counter counter;
    MeasureLatency(state, counter, [&] { service.Send(&counter); });
}
BENCHMARK(PlainQueueLatency)->UseManualTime()->Unit(benchmark::kMicrosecond);

/// What the threads of one run share: made before the first of them begins.
template <typename Service> class Shared {
public:
    static void SetUp(const benchmark::State&) { sService = std::make_unique<Service>(); }
    static void TearDown(const benchmark::State&) { sService.reset(); }
    static Service& Get() { return *sService; }

private:
    static inline std::unique_ptr<Service> sService;
};

struct Builtin : ScopedService {
    Builtin()
        : ScopedService("builtin")
    {
    }
};

void BuiltinThroughput(benchmark::State& state)
{
    const Packets play{kPlay};
    Sender sender;
    MeasureThroughput(state, sender.counter, [&] { sender.Send(play); });
}
BENCHMARK(BuiltinThroughput)
    ->Setup(&Shared<Builtin>::SetUp)
    ->Teardown(&Shared<Builtin>::TearDown)
    ->Threads(1)
    ->Threads(4)
    ->UseRealTime();

void PlainQueueThroughput(benchmark::State& state)
{
    Counter counter;
    MeasureThroughput(state, counter, [&] { Shared<PlainService>::Get().Send(&counter); });
}
BENCHMARK(PlainQueueThroughput)
    ->Setup(&Shared<PlainService>::SetUp)
    ->Teardown(&Shared<PlainService>::TearDown)
    ->Threads(1)
    ->Threads(4)
    ->UseRealTime();

// ------------------------------------------------------------------ through a JACK server

/// Posted by callbacks.
class Arrival {
public:
    Arrival() { sem_init(&mSemaphore, 0, 0); }
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;
    ~Arrival() { sem_destroy(&mSemaphore); }

    static void Read(const MIDIPacketList*, void* arrival, void*)
    {
        static_cast<Arrival*>(arrival)->Post();
    }
    void Post() { sem_post(&mSemaphore); }

    /// False where nothing came within a second: a server drops what clients are too late for.
    bool Wait()
    {
        const HostTime end = Now() + midiservice::kNanosPerSecond;
        timespec until{};
        until.tv_sec = static_cast<time_t>(end / midiservice::kNanosPerSecond);
        until.tv_nsec = static_cast<long>(end % midiservice::kNanosPerSecond);
        return sem_clockwait(&mSemaphore, CLOCK_MONOTONIC, &until) == 0;
    }

    void Clear()
    {
        while (sem_trywait(&mSemaphore) == 0) {
        }
    }

private:
    sem_t mSemaphore{};
};

/// The service, connected both ways with a client that sends back what it receives.
class ServiceTrip {
public:
    explicit ServiceTrip(const std::string& loop)
    {
        MIDIClientCreate(CFSTR("Bench"), nullptr, nullptr, &mClient);
        MIDIInputPortCreate(mClient, CFSTR("Input port"), &Arrival::Read, &arrival, &mIn);
        MIDIOutputPortCreate(mClient, CFSTR("Output port"), &mOut);
        mDestination = FindDestination(loop + "_IN");
        MIDIPortConnectSource(mIn, FindSource(loop + "_OUT"), nullptr);
    }
    ServiceTrip(const ServiceTrip&) = delete;
    ServiceTrip& operator=(const ServiceTrip&) = delete;
    ~ServiceTrip() { MIDIClientDispose(mClient); }

    bool IsThere() const { return mDestination != 0; }
    void Send() { MIDISend(mOut, mDestination, mPlay); }

    Arrival arrival;

private:
    MIDIClientRef mClient = 0;
    MIDIPortRef mIn = 0;
    MIDIPortRef mOut = 0;
    MIDIEndpointRef mDestination = 0;
    const Packets mPlay{kPlay};
};

/// The same on libjack's own interface.
class PlainTrip {
public:
    explicit PlainTrip(const std::string& loop)
        : mClient(jack_client_open("Plain", JackNoStartServer, nullptr))
    {
        if (mClient == nullptr)
            return;
        mIn = jack_port_register(mClient, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        mOut = jack_port_register(mClient, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        jack_set_process_callback(mClient, &PlainTrip::Process, this);
        jack_activate(mClient);
        jack_connect(mClient, "Plain:out", (loop + ":" + loop + "_IN").c_str());
        jack_connect(mClient, (loop + ":" + loop + "_OUT").c_str(), "Plain:in");
    }
    PlainTrip(const PlainTrip&) = delete;
    PlainTrip& operator=(const PlainTrip&) = delete;
    ~PlainTrip()
    {
        if (mClient != nullptr)
            jack_client_close(mClient);
    }

    bool IsThere() const { return mClient != nullptr; }
    void Send() { mOutgoing.push(true); }

    Arrival arrival;

private:
    static int Process(jack_nframes_t frames, void* self)
    {
        static_cast<PlainTrip*>(self)->Process(frames);
        return 0;
    }

    void Process(jack_nframes_t frames)
    {
        void* out = jack_port_get_buffer(mOut, frames);
        jack_midi_clear_buffer(out);
        mOutgoing.consume_all(
            [out](bool) { jack_midi_event_write(out, 0, kPlay.data(), kPlay.size()); });
        const auto events = jack_midi_get_event_count(jack_port_get_buffer(mIn, frames));
        for (jack_nframes_t event = 0; event < events; ++event)
            arrival.Post();
    }

    jack_client_t* mClient;
    jack_port_t* mIn = nullptr;
    jack_port_t* mOut = nullptr;
    boost::lockfree::spsc_queue<bool, boost::lockfree::capacity<64>> mOutgoing;
};

/// How often a trip was lost on its way, and how long the others took.
struct Trips {
    std::vector<double> micros;
    int lost = 0;
};

/// The seconds that it took, those of a lost one included.
template <typename Trip> double MakeTrip(Trip& trip, Trips& trips)
{
    trip.arrival.Clear();
    const HostTime start = Now();
    trip.Send();
    const bool hasArrived = trip.arrival.Wait();
    const double micros = MicrosSince(start);
    if (hasArrived)
        trips.micros.push_back(micros);
    else
        ++trips.lost;
    return micros / 1e6;
}

/// Until the connections, which libjack makes when it likes, carry messages.
template <typename Trip> bool WarmUp(Trip& trip)
{
    Trips trips;
    for (int attempt = 0; attempt < 20 && trips.micros.size() < 3; ++attempt)
        MakeTrip(trip, trips);
    return trips.micros.size() == 3;
}

/// Waits for some part of two cycles, so that trips begin at any moment of a cycle: one that began
/// where the other ended would catch that cycle still, or just miss it.
void WaitForAnyMoment(std::mt19937& random)
{
    std::uniform_int_distribution<int> micros(0, 2 * 2667); // 128 frames at 48 kHz
    std::this_thread::sleep_for(std::chrono::microseconds(micros(random)));
}

// In turn, so that both meet the same server under the same load. The time is the service's.
void JackRoundTrip(benchmark::State& state)
{
    if (!JackServer::IsInstalled()) {
        state.SkipWithError("jackd is not installed");
        return;
    }
    JackServer server;
    server.Start();
    const JackLoop loop("LOOP");
    const JackLoop plainLoop("PLAINLOOP");
    const ScopedService midi("jack");
    ServiceTrip service("LOOP:LOOP");
    PlainTrip plain("PLAINLOOP");
    if (!service.IsThere() || !plain.IsThere() || !WarmUp(service) || !WarmUp(plain)) {
        state.SkipWithError("no message has come back through the JACK server");
        return;
    }
    Trips ours;
    Trips theirs;
    std::mt19937 random; // the same moments in every run
    for (auto _ : state) {
        WaitForAnyMoment(random);
        state.SetIterationTime(MakeTrip(service, ours));
        WaitForAnyMoment(random);
        MakeTrip(plain, theirs);
    }
    ReportPercentiles(state, "service_", ours.micros);
    ReportPercentiles(state, "plain_", theirs.micros);
    state.counters["service_lost"] = ours.lost;
    state.counters["plain_lost"] = theirs.lost;
}
BENCHMARK(JackRoundTrip)->UseManualTime()->Iterations(1000)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
