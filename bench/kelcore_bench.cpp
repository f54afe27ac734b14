// What the MIDI path pays for its buffers and for a post, beside the standard library's ways.

#include "kelcore/threads/AsyncExecutor.h"
#include "kelcore/threads/QueueOnlyOnce.h"
#include "kelcore/utility/ByteSequence.h"
#include "kelcore/utility/SmallBlockAllocator.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

using kelcore::utility::AllocateSmallBlock;
using kelcore::utility::ByteSequence;
using kelcore::utility::FreeSmallBlock;
using Bytes = std::vector<unsigned char>;

constexpr unsigned char kActiveSensing = 0xFE;

void GrowsByAByte(Bytes& bytes)
{
    bytes.reserve(bytes.size() + 1);
    bytes.push_back(kActiveSensing);
}

// Hours of active sensing that nothing consumes: each byte asks for exactly the room it needs.

void FloodByteSequence(benchmark::State& state)
{
    for (auto _ : state) {
        ByteSequence bytes;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            bytes.Reserve(bytes.Size() + 1);
            bytes.Append(kActiveSensing);
        }
        benchmark::DoNotOptimize(bytes.Data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FloodByteSequence)->RangeMultiplier(8)->Range(64, 1 << 18);

void FloodVectorWithExactReserve(benchmark::State& state)
{
    for (auto _ : state) {
        Bytes bytes;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            GrowsByAByte(bytes);
        }
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FloodVectorWithExactReserve)->RangeMultiplier(8)->Range(64, 1 << 18);

void FloodVectorWithPushBack(benchmark::State& state)
{
    for (auto _ : state) {
        Bytes bytes;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            bytes.push_back(kActiveSensing);
            benchmark::ClobberMemory();
        }
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FloodVectorWithPushBack)->RangeMultiplier(8)->Range(64, 1 << 18);

// Short messages come and go while some unfinished bytes stay behind them.

constexpr unsigned char kPlay[]{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

void SlideByteSequence(benchmark::State& state)
{
    ByteSequence bytes;
    bytes.Append(Bytes(static_cast<std::size_t>(state.range(0))).data(),
        static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        bytes.Reserve(bytes.Size() + sizeof kPlay);
        bytes.Append(kPlay, sizeof kPlay);
        bytes.EraseFront(sizeof kPlay);
        benchmark::DoNotOptimize(bytes.Data());
    }
}
BENCHMARK(SlideByteSequence)->Arg(0)->Arg(64)->Arg(4096);

void SlideVector(benchmark::State& state)
{
    Bytes bytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        bytes.reserve(bytes.size() + sizeof kPlay);
        bytes.insert(bytes.end(), std::begin(kPlay), std::end(kPlay));
        bytes.erase(bytes.begin(), bytes.begin() + sizeof kPlay);
        benchmark::DoNotOptimize(bytes.data());
    }
}
BENCHMARK(SlideVector)->Arg(0)->Arg(64)->Arg(4096);

void TakeAndFreeSmallBlock(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        void* const block = AllocateSmallBlock(bytes);
        benchmark::DoNotOptimize(block);
        FreeSmallBlock(block, bytes);
    }
}
BENCHMARK(TakeAndFreeSmallBlock)->Arg(24)->Arg(512)->Arg(16384)->Threads(1)->Threads(2);

void TakeAndFreeHeapBlock(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        void* const block = std::malloc(bytes);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}
BENCHMARK(TakeAndFreeHeapBlock)->Arg(24)->Arg(512)->Arg(16384)->Threads(1)->Threads(2);

// From the post until the function runs on an idle executor, its thread's wake-up included.
void PostUntilRun(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    const auto executor = kelcore::threads::GetCPUBoundExecutor();
    for (auto _ : state) {
        std::atomic<bool> ran{false};
        Clock::time_point started;
        const Clock::time_point posted = Clock::now();
        executor->PostDelayed(
            [&] {
                started = Clock::now();
                ran = true;
                ran.notify_one();
            },
            0);
        ran.wait(false);
        state.SetIterationTime(std::chrono::duration<double>(started - posted).count());
    }
}
BENCHMARK(PostUntilRun)->UseManualTime();

// What the receive thread pays for asking where a run waits already.
void QueueWhileARunWaits(benchmark::State& state)
{
    class Sink : public kelcore::threads::AsyncExecutor {
        void PostDelayed(const boost::function<void()>&, unsigned int) override {}
    };
    const auto trigger = kelcore::threads::QueueOnlyOnce::Create(
        [] {}, boost::shared_ptr<kelcore::threads::AsyncExecutor>(new Sink), 0, 0);
    for (auto _ : state) {
        trigger->Queue();
    }
}
BENCHMARK(QueueWhileARunWaits);

} // namespace

BENCHMARK_MAIN();
