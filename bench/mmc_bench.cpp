// What a message costs on the delivery thread, and a frame on the host's.

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfig.h"
#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"
#include "tests/MIDIMachineControl/FakeMidi.h"
#include "tests/MIDIMachineControl/PlainHost.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

// A connected surface that sends time code to a port that forgets it.
class Surface {
public:
    Surface()
    {
        mMidi.PlugIn(u"1", u"2");
        kelcontrolsurface::MIDIDeviceInfo info;
        info.SetInputPortID(u"1");
        info.SetOutputPortID(u"2");
        mmc::SetTransmitMTCOption(info, true);
        mSurface.SetControlSurfaceHost(mHost.HostRef());
        mSurface.Connect(info);
    }

    void Receive(const kelmidi::MidiMessage& message)
    {
        mSurface.HandleMidiMessage(message, 0);
        mHost.Calls().clear();
    }
    mmc::ControlSurface* operator->() { return &mSurface; }

private:
    mmc::tests::FakeMidi mMidi;
    mmc::tests::PlainHost mHost;
    mmc::ControlSurface mSurface{0, mHost.BasicSuite()};
};

kelmidi::MidiMessage Message(const Bytes& bytes)
{
    return {bytes.data(), static_cast<unsigned long>(bytes.size())};
}

void ReceiveMessage(benchmark::State& state, const Bytes& bytes)
{
    Surface surface;
    const kelmidi::MidiMessage message = Message(bytes);
    for (auto _ : state) {
        surface.Receive(message);
    }
    state.SetItemsProcessed(state.iterations());
}

// `state.range(0)` bytes that complete no message, in arrivals of `arrival`, after `head`. The time
// of a byte must not grow with their number.
void Flood(benchmark::State& state, const Bytes& head, const Bytes& arrival)
{
    const auto arrivals = static_cast<std::size_t>(state.range(0)) / arrival.size();
    const kelmidi::MidiMessage message = Message(arrival);
    for (auto _ : state) {
        state.PauseTiming();
        {
            Surface surface;
            if (!head.empty()) {
                surface.Receive(Message(head));
            }
            state.ResumeTiming();
            for (std::size_t i = 0; i < arrivals; ++i) {
                surface.Receive(message);
            }
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(
        state.iterations() * static_cast<std::int64_t>(arrivals * arrival.size()));
}

void TransmitFrame(benchmark::State& state, float speed)
{
    Surface surface;
    std::uint8_t frame = 0;
    for (auto _ : state) {
        surface->TransmitFullFrame(0, speed, 25, false, 1, 2, 3, frame);
        frame = static_cast<std::uint8_t>((frame + 1) % 25);
    }
    state.SetItemsProcessed(state.iterations());
}

const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
const Bytes kUntracedEject{0xF0, 0x7F, 0x7F, 0x06, 0x0A, 0xF7};
const Bytes kLocate{0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00, 0xF7};
const Bytes kResponse{0xF0, 0x7F, 0x7F, 0x07, 0x01, 0xF7};
const Bytes kOpenForeign{0xF0, 0x43, 0x10};
const Bytes kOpenMMC{0xF0, 0x7F, 0x7F, 0x06};

BENCHMARK_CAPTURE(ReceiveMessage, Play, kPlay);
BENCHMARK_CAPTURE(ReceiveMessage, UntracedCommandWithoutHostCall, kUntracedEject);
BENCHMARK_CAPTURE(ReceiveMessage, Locate, kLocate);
BENCHMARK_CAPTURE(TransmitFrame, FourQuarterFrames, 1.0F);
BENCHMARK_CAPTURE(TransmitFrame, FullFrame, 0.0F);

void Sizes(benchmark::internal::Benchmark* flood)
{
    flood->Arg(10'000)
        ->Arg(100'000)
        ->Arg(1'000'000)
        ->Arg(10'000'000)
        ->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(Flood, Clock, Bytes{}, Bytes{0xF8})->Apply(Sizes);
BENCHMARK_CAPTURE(Flood, StrayEnds, Bytes{}, Bytes{0xF7})->Apply(Sizes);
BENCHMARK_CAPTURE(Flood, DataOfAForeignMessage, kOpenForeign, Bytes(64, 0x11))->Apply(Sizes);
BENCHMARK_CAPTURE(Flood, DataOfAnOpenMMCMessage, kOpenMMC, Bytes(64, 0x11))->Apply(Sizes);
BENCHMARK_CAPTURE(Flood, CommandsBehindAResponse, kResponse, kPlay)->Apply(Sizes);

} // namespace

BENCHMARK_MAIN();
