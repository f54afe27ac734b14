#include "BackEndTest.h"

#include <cstring>

namespace kelmidi::tests {

using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SaveArg;
using testing::SetArgPointee;

void PacketListBytes::Add(std::uint64_t timeStamp, const std::vector<unsigned char>& data)
{
    const auto length = static_cast<std::uint16_t>(data.size());
    const auto append = [this](const void* from, std::size_t count) {
        const auto* bytes = static_cast<const unsigned char*>(from);
        mBytes.insert(mBytes.end(), bytes, bytes + count);
    };
    append(&timeStamp, sizeof(timeStamp));
    append(&length, sizeof(length));
    append(data.data(), data.size());
    ++mCount;
    std::memcpy(mBytes.data(), &mCount, sizeof(mCount));
}

const MIDIPacketList* PacketListBytes::Get() const
{
    return reinterpret_cast<const MIDIPacketList*>(mBytes.data());
}

std::vector<unsigned char> FirstPacketOf(const MIDIPacketList& list)
{
    const MIDIPacket& packet = list.packet[0];
    return {packet.data, packet.data + packet.length};
}

BackEndTest::BackEndTest()
    : mStringsBefore(LivePlatformStrings())
{
}

BackEndTest::~BackEndTest()
{
    EXPECT_EQ(LivePlatformStrings(), mStringsBefore) << "a platform string was not released";
}

boost::intrusive_ptr<MidiHost> BackEndTest::MakeHost()
{
    EXPECT_CALL(mService, ClientCreate(_, _, _, _))
        .WillOnce(DoAll(SaveArg<1>(&mNotifyProc), SaveArg<2>(&mNotifyContext),
            SetArgPointee<3>(kClient), Return(0)));
    EXPECT_CALL(mService, InputPortCreate(kClient, _, _, _, _))
        .WillOnce(DoAll(SaveArg<2>(&mReadProc), SetArgPointee<4>(kInPort), Return(0)));
    EXPECT_CALL(mService, OutputPortCreate(kClient, _, _))
        .WillOnce(DoAll(SetArgPointee<2>(kOutPort), Return(0)));
    EXPECT_CALL(mService, PortDispose(kOutPort));
    EXPECT_CALL(mService, PortDispose(kInPort));
    EXPECT_CALL(mService, ClientDispose(kClient));
    return MidiHostCreate(u"a client");
}

void BackEndTest::ExpectProperties(
    MIDIEndpointRef endpoint, const std::u16string& name, SInt32 uniqueID)
{
    EXPECT_CALL(mService, GetStringProperty(endpoint, kMIDIPropertyDisplayName, _))
        .WillOnce([name](MIDIObjectRef, CFStringRef, CFStringRef* string) {
            *string = MakePlatformString(name);
            return 0;
        });
    EXPECT_CALL(mService, GetIntegerProperty(endpoint, kMIDIPropertyUniqueID, _))
        .WillOnce(DoAll(SetArgPointee<2>(uniqueID), Return(0)));
}

void BackEndTest::ExpectEndpoint(
    MIDIUniqueID uniqueID, MIDIEndpointRef endpoint, MIDIObjectType kind)
{
    EXPECT_CALL(mService, FindByUniqueID(uniqueID, _, _))
        .WillOnce(DoAll(SetArgPointee<1>(endpoint), SetArgPointee<2>(kind), Return(0)));
}

} // namespace kelmidi::tests
