// The ground that the tests of the back end stand on: the mock of the service, a host on it, and
// packet lists as the service lays them out.

#pragma once

#include "FakeCoreMidi.h"

#include "mediaio/kelmidi/src/MidiHost.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelmidi::tests {

constexpr MIDIClientRef kClient = 11;
constexpr MIDIPortRef kInPort = 12;
constexpr MIDIPortRef kOutPort = 13;
constexpr OSStatus kServiceError = -50;

/// The bytes of a packet list as they stand in memory: nothing aligned, nothing padded.
class PacketListBytes {
public:
    void Add(std::uint64_t timeStamp, const std::vector<unsigned char>& data);
    const MIDIPacketList* Get() const;

private:
    std::uint32_t mCount = 0;
    std::vector<unsigned char> mBytes = std::vector<unsigned char>(sizeof(UInt32));
};

/// The bytes of the first packet of a list.
std::vector<unsigned char> FirstPacketOf(const MIDIPacketList& list);

class BackEndTest : public testing::Test {
protected:
    BackEndTest();
    ~BackEndTest() override;

    /// Expects the conversation of a host's making, and of its end whenever that comes.
    boost::intrusive_ptr<MidiHost> MakeHost();
    void ExpectProperties(MIDIEndpointRef endpoint, const std::u16string& name, SInt32 uniqueID);
    void ExpectEndpoint(MIDIUniqueID uniqueID, MIDIEndpointRef endpoint, MIDIObjectType kind);

    testing::StrictMock<CoreMidiMock> mService;
    MIDINotifyProc mNotifyProc = nullptr;
    void* mNotifyContext = nullptr;
    MIDIReadProc mReadProc = nullptr;

private:
    const int mStringsBefore;
};

} // namespace kelmidi::tests
