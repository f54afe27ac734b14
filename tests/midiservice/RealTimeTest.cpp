// What the receive thread and the process callback must not do, counted. In a program of its
// own, because it puts itself between everyone and the functions it counts, which sanitizers
// do too.

#include "mediaio/midiservice/src/jack/JackOutbox.h"

#include "tests/midiservice/Worlds.h"

#include <atomic>
#include <cstddef>
#include <mutex>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

thread_local bool sIsWatched = false;
std::atomic<int> sAllocations{0};
std::atomic<int> sLocks{0};

void CountAllocation() noexcept
{
    if (sIsWatched)
        sAllocations.fetch_add(1);
}

} // namespace

// In place of the C library's for the whole program, `operator new` and shared libraries included.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) noexcept
{
    CountAllocation();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    CountAllocation();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept
{
    CountAllocation();
    return __libc_realloc(memory, size);
}
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    using Lock = int (*)(pthread_mutex_t*);
    static const auto sNext = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (sIsWatched)
        sLocks.fetch_add(1);
    return sNext(mutex);
}

namespace midiservice::test {

namespace {

/// Counts on the thread that calls it, from its first call on.
class Watch {
public:
    static void Read(const MIDIPacketList* packets, void* watch, void* /*context*/)
    {
        auto* self = static_cast<Watch*>(watch);
        sIsWatched = true;
        self->mBytes.fetch_add(packets->packet[0].length);
        self->mBytes.notify_all();
    }

    void WaitForBytes(int count) const
    {
        for (int bytes = mBytes.load(); bytes < count; bytes = mBytes.load())
            mBytes.wait(bytes);
    }

private:
    std::atomic<int> mBytes{0};
};

class RealTime : public testing::Test {
protected:
    static void StartCounting()
    {
        sAllocations.store(0);
        sLocks.store(0);
    }
};

TEST_F(RealTime, TheCountersCount)
{
    StartCounting();
    sIsWatched = true;
    std::mutex mutex;
    mutex.lock();
    mutex.unlock();
    delete new int;
    sIsWatched = false;

    EXPECT_EQ(sAllocations.load(), 1);
    EXPECT_EQ(sLocks.load(), 1);
}

TEST_F(RealTime, TheReceiveThreadNeitherAllocatesNorLocks)
{
    const ScopedService service("builtin");
    Watch watch;
    Watch heard;
    TestClient client;
    MIDIEndpointRef destination = 0;
    MIDIPortRef port = 0;
    ASSERT_EQ(
        MIDIDestinationCreate(client.client, CFSTR("watch"), &Watch::Read, &watch, &destination),
        0);
    ASSERT_EQ(MIDIInputPortCreate(client.client, CFSTR("heard"), &Watch::Read, &heard, &port), 0);
    const MIDIEndpointRef source = client.MakeSource("source");
    ASSERT_EQ(MIDIPortConnectSource(port, source, nullptr), 0);
    ASSERT_EQ(MIDISend(client.out, destination, Packets{{0xFE}}), 0);
    watch.WaitForBytes(1);
    StartCounting();

    const Packets messages{{0xF0, 1}, {2, 0xF7}, {0x90, 1, 2}, SysEx(700)};
    const HostTime soon = Now() + 1'000'000;
    constexpr int kRounds = 500;
    for (int round = 0; round < kRounds; ++round) {
        MIDISend(client.out, destination, messages);
        MIDISend(client.out, destination, Packets().Add({0xF8}, soon + round * 1000U));
        MIDIReceived(source, messages);
        if (round % 100 == 0)
            MIDIFlushOutput(source); // refused; the next is not
        watch.WaitForBytes(1 + (round + 1) * 707);
    }
    watch.WaitForBytes(1 + kRounds * 708);
    heard.WaitForBytes(kRounds * 707);

    EXPECT_EQ(sAllocations.load(), 0);
    EXPECT_EQ(sLocks.load(), 0);
}

TEST_F(RealTime, TheReceiveThreadNeitherAllocatesNorLocksOnAlsa)
{
    if (access("/dev/snd/seq", R_OK | W_OK) != 0)
        GTEST_SKIP() << "this kernel has no ALSA sequencer; scripts/check-vm runs this under one";
    const ScopedService service("alsa");
    Watch heard;
    TestClient client;
    MIDIPortRef port = 0;
    ASSERT_EQ(MIDIInputPortCreate(client.client, CFSTR("heard"), &Watch::Read, &heard, &port), 0);
    const MIDIEndpointRef destination = FindDestination("Midi Through");
    ASSERT_EQ(MIDIPortConnectSource(port, FindSource("Midi Through"), nullptr), 0);
    ASSERT_EQ(MIDISend(client.out, destination, Packets{{0xFE}}), 0);
    heard.WaitForBytes(1); // from now on the destination is set up
    StartCounting();

    const Packets messages{{0xF0, 1}, {2, 0xF7}, {0x90, 1, 2}, SysEx(700)};
    constexpr int kRounds = 100;
    for (int round = 0; round < kRounds; ++round) {
        MIDISend(client.out, destination, messages);
        heard.WaitForBytes(1 + (round + 1) * 707);
    }

    EXPECT_EQ(sAllocations.load(), 0);
    EXPECT_EQ(sLocks.load(), 0);
}

TEST_F(RealTime, SendingNeitherAllocatesNorLocks)
{
    const ScopedService service("builtin");
    Inbox inbox;
    TestClient client;
    const MIDIEndpointRef destination = client.MakeDestination("destination", inbox);
    const MIDIEndpointRef source = client.MakeSource("source");
    const Packets messages{{0xF0, 1}, {2, 0xF7}, SysEx(700)};
    StartCounting();
    sIsWatched = true;

    for (int round = 0; round < 200; ++round) {
        MIDISend(client.out, destination, messages);
        MIDIReceived(source, messages);
        MIDIFlushOutput(destination);
    }
    sIsWatched = false;

    EXPECT_EQ(sAllocations.load(), 0);
    EXPECT_EQ(sLocks.load(), 0);
}

/// Takes everything.
class WideCycle final : public JackCycle {
public:
    bool HasOutput(std::uint32_t, std::uint32_t) noexcept override { return true; }
    std::size_t Room(std::uint32_t) noexcept override { return sizeof mBytes; }
    bool IsUntouched(std::uint32_t) noexcept override { return true; }
    std::uint8_t* Reserve(std::uint32_t, std::uint32_t, std::size_t) noexcept override
    {
        ++events;
        return mBytes;
    }
    std::uint64_t FrameAt(HostTime) noexcept override { return 0; }
    std::uint32_t Frames() noexcept override { return 64; }

    int events = 0;

private:
    std::uint8_t mBytes[65536] = {};
};

TEST_F(RealTime, TheJackOutboxNeitherAllocatesNorLocks)
{
    const auto outbox = std::make_unique<JackOutbox>();
    const auto cycle = std::make_unique<WideCycle>();
    const Bytes bytes = SysEx(256);
    OutgoingMessage message;
    message.bytes = bytes.data();
    message.length = 256;
    StartCounting();
    sIsWatched = true;

    for (int round = 0; round < 1000; ++round) {
        outbox->Put(0, 1, message);
        outbox->Write(*cycle);
    }
    sIsWatched = false;

    EXPECT_EQ(cycle->events, 1000);
    EXPECT_EQ(sAllocations.load(), 0);
    EXPECT_EQ(sLocks.load(), 0);
}

} // namespace

} // namespace midiservice::test
