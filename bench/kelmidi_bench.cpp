// From the read callback to the listener: what a message costs the receive thread, how long it is
// under way, and the same with a plain queue behind a mutex.

#include "kelcore/threads/AsyncExecutor.h"
#include "mediaio/kelmidi/src/DeferredMidiMessageHandler.h"
#include "mediaio/kelmidi/src/MidiListener.h"
#include "mediaio/kelmidi/src/MidiMessageRing.h"
#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"
#include "mediaio/kelmidi/src/mac/OS_MidiHost_MAC.h"
#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

#include <benchmark/benchmark.h>
#include <boost/smart_ptr/make_shared.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace {

using kelmidi::DeferredMidiMessageHandler;
using kelmidi::MidiMessage;

constexpr unsigned char kPlay[]{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
constexpr int kBurst = 100;

const MidiMessage sPlay(kPlay, sizeof(kPlay));

/// Counts what it is offered.
class CountingListener : public kelmidi::MidiListener {
public:
    bool HandleMidiMessage(const MidiMessage& message, unsigned int) override
    {
        benchmark::DoNotOptimize(message.data.bytes[0]);
        mCount.fetch_add(1, std::memory_order_release); // publishes the arrival
        return true;
    }

    // Spins: a sleeping waiter would measure its own waking.
    void WaitForCount(std::int64_t count) const
    {
        while (mCount.load(std::memory_order_acquire) < count) {
        }
    }

private:
    std::atomic<std::int64_t> mCount{0};
};

/// Drops what is posted.
class NullExecutor : public kelcore::threads::AsyncExecutor {
public:
    void PostDelayed(const boost::function<void()>&, unsigned int) override {}
};

/// Counts what it passes on to the CPU-bound executor.
class CountingExecutor : public kelcore::threads::AsyncExecutor {
public:
    void PostDelayed(const boost::function<void()>& function, unsigned int delayMillis) override
    {
        ++posts;
        mExecutor->PostDelayed(function, delayMillis);
    }

    std::int64_t posts = 0;

private:
    const boost::shared_ptr<kelcore::threads::AsyncExecutor> mExecutor
        = kelcore::threads::GetCPUBoundExecutor();
};

/// What the ring is measured against.
class MutexDeque {
public:
    /// Returns whether the queue was empty.
    bool Push(const MidiMessage& message)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mMessages.push_back(message);
        return mMessages.size() == 1;
    }

    bool Pop(MidiMessage& message)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mMessages.empty()) {
            return false;
        }
        message = mMessages.front();
        mMessages.pop_front();
        return true;
    }

private:
    std::mutex mMutex;
    std::deque<MidiMessage> mMessages;
};

void RingPushAndDrain(benchmark::State& state)
{
    kelmidi::MidiMessageRing ring;
    for (auto _ : state) {
        for (int i = 0; i < kBurst; ++i) {
            ring.Fill(ring.Claim(), sPlay);
            benchmark::DoNotOptimize(ring.HoldsOne());
        }
        while (const MidiMessage* message = ring.Next()) {
            benchmark::DoNotOptimize(message->data.bytes[0]);
        }
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(RingPushAndDrain);

void MutexDequePushAndDrain(benchmark::State& state)
{
    MutexDeque queue;
    MidiMessage message;
    for (auto _ : state) {
        for (int i = 0; i < kBurst; ++i) {
            benchmark::DoNotOptimize(queue.Push(sPlay));
        }
        while (queue.Pop(message)) {
            benchmark::DoNotOptimize(message.data.bytes[0]);
        }
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(MutexDequePushAndDrain);

// With nobody draining: the receive thread's own cost, overruns included.
void QueueMessage(benchmark::State& state)
{
    DeferredMidiMessageHandler handler(0, boost::make_shared<NullExecutor>());
    const std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)), 0x42);
    const MidiMessage message(bytes.data(), bytes.size());
    for (auto _ : state) {
        handler.QueueMessage(message);
    }
}
BENCHMARK(QueueMessage)->Arg(1)->Arg(6)->Arg(256);

// "posts": one a burst where the pass begins behind it; up to one a message where the pass keeps
// up.
void BurstToListenerByRing(benchmark::State& state)
{
    const auto executor = boost::make_shared<CountingExecutor>();
    DeferredMidiMessageHandler handler(0, executor);
    CountingListener listener;
    handler.AddListener(&listener);
    std::int64_t sent = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBurst; ++i) {
            handler.QueueMessage(sPlay);
        }
        sent += kBurst;
        listener.WaitForCount(sent);
    }
    handler.RemoveListener(&listener);
    state.SetItemsProcessed(state.iterations() * kBurst);
    state.counters["posts"]
        = static_cast<double>(executor->posts) / static_cast<double>(state.iterations());
}
BENCHMARK(BurstToListenerByRing)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BurstToListenerByMutexDeque(benchmark::State& state)
{
    const auto executor = boost::make_shared<CountingExecutor>();
    const auto queue = boost::make_shared<MutexDeque>();
    const auto listener = boost::make_shared<CountingListener>();
    const auto pass = [queue, listener] {
        MidiMessage message;
        while (queue->Pop(message)) {
            listener->HandleMidiMessage(message, 0);
        }
    };
    std::int64_t sent = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBurst; ++i) {
            if (queue->Push(sPlay)) {
                executor->PostDelayed(pass, 0);
            }
        }
        sent += kBurst;
        listener->WaitForCount(sent);
    }
    state.SetItemsProcessed(state.iterations() * kBurst);
    state.counters["posts"]
        = static_cast<double>(executor->posts) / static_cast<double>(state.iterations());
}
BENCHMARK(BurstToListenerByMutexDeque)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// The 50th and the 99th of a hundred, in microseconds.
void ReportPercentiles(benchmark::State& state, std::vector<double> micros)
{
    if (micros.empty()) {
        return;
    }
    std::sort(micros.begin(), micros.end());
    state.counters["p50_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}

/// A source of this program, connected to an input port.
class Wire {
public:
    Wire()
    {
        MIDIClientCreate(CFSTR("Bench"), nullptr, nullptr, &mClient);
        MIDISourceCreate(mClient, CFSTR("Keys"), &mSource);
        mHost = kelmidi::MidiHostCreate(u"Bench.Input");
        const auto& host = static_cast<const kelmidi::OS_MidiHost&>(*mHost);
        mPort = new kelmidi::CoreMidiInputPort(host.GetInPort(), mSource, 0);
        mPort->AddListener(&listener);
    }
    ~Wire()
    {
        mPort->Disconnect();
        mPort->RemoveListener(&listener);
        mPort.reset();
        mHost.reset();
        MIDIEndpointDispose(mSource);
        MIDIClientDispose(mClient);
    }
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    bool Connect() { return mPort->Connect(); }
    void Send(const MIDIPacketList& packets) { MIDIReceived(mSource, &packets); }

    CountingListener listener;

private:
    MIDIClientRef mClient = 0;
    MIDIEndpointRef mSource = 0;
    boost::intrusive_ptr<kelmidi::MidiHost> mHost;
    boost::intrusive_ptr<kelmidi::CoreMidiInputPort> mPort;
};

MIDIPacketList MakePlayPacket()
{
    MIDIPacketList list;
    list.numPackets = 1;
    list.packet[0].timeStamp = 0;
    list.packet[0].length = sizeof(kPlay);
    std::memcpy(list.packet[0].data, kPlay, sizeof(kPlay));
    return list;
}

// One PLAY at a time from a virtual source: service, read callback, ring, executor, listener.
void SourceToListener(benchmark::State& state)
{
    Wire wire;
    if (!wire.Connect()) {
        state.SkipWithError("the service refused the connection");
        return;
    }
    const MIDIPacketList packets = MakePlayPacket();
    std::vector<double> micros;
    std::int64_t sent = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        wire.Send(packets);
        wire.listener.WaitForCount(++sent);
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(seconds.count());
        micros.push_back(seconds.count() * 1e6);
    }
    ReportPercentiles(state, micros);
}
BENCHMARK(SourceToListener)->UseManualTime()->Unit(benchmark::kMicrosecond);

// The same from the port's own door on, so without the service's thread.
void ReadCallbackToListener(benchmark::State& state)
{
    DeferredMidiMessageHandler handler(0);
    CountingListener listener;
    handler.AddListener(&listener);
    std::vector<double> micros;
    std::int64_t sent = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        handler.QueueMessage(MidiMessage(kPlay, sizeof(kPlay)));
        listener.WaitForCount(++sent);
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(seconds.count());
        micros.push_back(seconds.count() * 1e6);
    }
    handler.RemoveListener(&listener);
    ReportPercentiles(state, micros);
}
BENCHMARK(ReadCallbackToListener)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    constexpr int kReplace = 1;
    setenv("KEL_MIDI_SERVICE", "builtin", kReplace);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
