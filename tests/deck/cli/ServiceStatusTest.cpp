#include "deck/cli/ServiceStatus.h"

#include <CoreMIDI/CoreMIDI.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include <ctime>

namespace deck::cli::test {
namespace {

void Ignore(const MIDIPacketList*, void*, void*) {}

UInt64 InMilliseconds(long milliseconds)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto nanos = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec)
        + std::chrono::milliseconds(milliseconds);
    return static_cast<UInt64>(nanos.count());
}

// What was scheduled for a destination that goes can no longer be delivered.
TEST(LostMessages, CountWhatTheServiceCouldNotDeliver)
{
    constexpr int kReplace = 1;
    setenv("KEL_MIDI_SERVICE", "builtin", kReplace);
    MIDIClientRef client = 0;
    MIDIPortRef port = 0;
    MIDIEndpointRef destination = 0;
    ASSERT_EQ(MIDIClientCreate(CFSTR("Test"), nullptr, nullptr, &client), 0);
    ASSERT_EQ(MIDIOutputPortCreate(client, CFSTR("Output port"), &port), 0);
    ASSERT_EQ(MIDIDestinationCreate(client, CFSTR("In"), &Ignore, nullptr, &destination), 0);
    const std::uint64_t before = CountLostMessages();
    MIDIPacketList list{};
    list.numPackets = 1;
    list.packet[0].timeStamp = InMilliseconds(100);
    list.packet[0].length = 1;
    list.packet[0].data[0] = 0xFE;
    ASSERT_EQ(MIDISend(port, destination, &list), 0);

    MIDIEndpointDispose(destination);

    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (CountLostMessages() == before && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(CountLostMessages(), before + 1);
    MIDIClientDispose(client);
}

} // namespace
} // namespace deck::cli::test
