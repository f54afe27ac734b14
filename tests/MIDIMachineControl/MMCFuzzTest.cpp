// The fuzz target without a fuzzer: known nasty input and a random driver.

#include "tests/MIDIMachineControl/FakeMidi.h"
#include "tests/MIDIMachineControl/HostileMidi.h"
#include "tests/MIDIMachineControl/NaiveReceiver.h"
#include "tests/MIDIMachineControl/PlainHost.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"

#include <gtest/gtest.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace mmc::tests {

namespace {

void Append(Bytes& input, const Bytes& arrival)
{
    input.push_back(static_cast<std::uint8_t>(arrival.size()));
    input.insert(input.end(), arrival.begin(), arrival.end());
}

void Replay(const Bytes& input)
{
    EXPECT_EQ(LLVMFuzzerTestOneInput(input.data(), input.size()), 0);
}

// The target's own check, over one long life.
void ExpectSameCalls(unsigned int seed, std::size_t mostAtOnce, std::size_t arrivals)
{
    const FakeMidi midi;
    PlainHost host;
    NaiveReceiver naive;
    ControlSurface surface(0, host.BasicSuite());
    surface.SetControlSurfaceHost(host.HostRef());
    surface.Connect({});
    HostileMidi hostile(seed);
    for (std::size_t i = 0; i < arrivals; ++i) {
        const Bytes arrival = hostile.NextArrival(mostAtOnce);
        surface.HandleMidiMessage(
            kelmidi::MidiMessage(arrival.data(), static_cast<unsigned long>(arrival.size())), 0);
        naive.Arrive(arrival);
        ASSERT_EQ(host.Calls(), naive.Calls()) << "seed " << seed << ", arrival " << i;
    }
}

} // namespace

TEST(MMCFuzz, TakesNoInput)
{
    Replay({});
}

TEST(MMCFuzz, TakesEveryByteAsACommand)
{
    for (int code = 0; code < 256; ++code) {
        Bytes input;
        Append(input, {0xF0, 0x7F, 0x7F, 0x06, static_cast<std::uint8_t>(code), 0xF7});
        Append(input, {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7});
        Replay(input);
    }
}

TEST(MMCFuzz, TakesALocateCutOffAnywhere)
{
    const Bytes whole{0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00};
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        for (const std::uint8_t count : Bytes{0x00, 0x01, 0x05, 0x06, 0x7F}) {
            Bytes arrival(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            if (length > 5) {
                arrival[5] = count;
            }
            arrival.push_back(0xF7);
            Bytes input;
            Append(input, arrival);
            Append(input, {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7});
            Append(input, whole);
            Append(input, {0xF7});
            Replay(input);
        }
    }
}

// Short lives: an interpreter that is blocked early has no chance to do wrong.
TEST(MMCFuzz, TakesManyShortHostileLives)
{
    for (unsigned int seed = 0; seed < 3000; ++seed) {
        HostileMidi hostile(seed);
        Bytes input;
        for (std::size_t i = 0; i < 30; ++i) {
            Append(input, hostile.NextArrival(1 + seed % 23));
        }
        Replay(input);
    }
}

TEST(MMCFuzz, TakesNoise)
{
    for (unsigned int seed = 0; seed < 300; ++seed) {
        HostileMidi hostile(seed);
        Bytes input(400);
        for (std::uint8_t& byte : input) {
            byte = static_cast<std::uint8_t>(hostile.Below(256));
        }
        Replay(input);
    }
}

TEST(MMCFuzz, TakesLongHostileLives)
{
    for (unsigned int seed = 0; seed < 8; ++seed) {
        ExpectSameCalls(seed, 40, 2000);
        ExpectSameCalls(seed, 256, 1000);
    }
}

} // namespace mmc::tests
