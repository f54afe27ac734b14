// Any bytes at any chunking into a connected surface: it must not crash, and must tell the host
// what a receiver does that is written down as plainly as can be.

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"
#include "tests/MIDIMachineControl/FakeMidi.h"
#include "tests/MIDIMachineControl/NaiveReceiver.h"
#include "tests/MIDIMachineControl/PlainHost.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

using mmc::tests::Bytes;

void Arrive(mmc::ControlSurface& surface, const Bytes& bytes)
{
    surface.HandleMidiMessage(
        kelmidi::MidiMessage(bytes.data(), static_cast<unsigned long>(bytes.size())), 0);
}

} // namespace

/// The input is arrivals: a byte with the length, 0 to 255, then that many bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const mmc::tests::FakeMidi midi;
    mmc::tests::PlainHost host;
    mmc::tests::NaiveReceiver naive;
    mmc::ControlSurface surface(0, host.BasicSuite());
    surface.SetControlSurfaceHost(host.HostRef());
    surface.Connect({});

    for (const std::uint8_t* end = data + size; data != end;) {
        const std::size_t length = *data++;
        const std::size_t count = std::min(length, static_cast<std::size_t>(end - data));
        const Bytes arrival(data, data + count);
        data += count;
        Arrive(surface, arrival);
        naive.Arrive(arrival);
        if (host.Calls() != naive.Calls()) {
            std::fputs("the host was told something else\n", stderr);
            std::abort();
        }
    }
    return 0;
}
