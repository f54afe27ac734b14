#include "VirtualDevice.h"

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace blackbox {

namespace {

void Check(OSStatus status)
{
    if (status != 0) {
        throw std::runtime_error("MIDI service: error " + std::to_string(status));
    }
}

std::u16string UniqueID(MIDIEndpointRef endpoint)
{
    SInt32 id = 0;
    Check(MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, &id));
    const std::string text = std::to_string(id);
    return {text.begin(), text.end()};
}

constexpr std::size_t kListHead = sizeof(UInt32);
constexpr std::size_t kPacketHead = sizeof(MIDITimeStamp) + sizeof(UInt16);

// A list of packets with time stamp 0.
std::vector<Byte> PacketList(const std::vector<Bytes>& messages)
{
    std::vector<Byte> list(kListHead);
    const auto count = static_cast<UInt32>(messages.size());
    std::memcpy(list.data(), &count, sizeof(count));
    for (const Bytes& message : messages) {
        const std::size_t packet = list.size();
        list.resize(packet + kPacketHead);
        const auto length = static_cast<UInt16>(message.size());
        std::memcpy(list.data() + packet + sizeof(MIDITimeStamp), &length, sizeof(length));
        list.insert(list.end(), message.begin(), message.end());
    }
    return list;
}

} // namespace

VirtualDevice::VirtualDevice()
{
    Check(MIDIClientCreate(CFSTR("Virtual device"), nullptr, nullptr, &mClient));
    Check(MIDISourceCreate(mClient, CFSTR("Controller"), &mSource));
    Check(MIDIDestinationCreate(mClient, CFSTR("Recorder"), OnRead, this, &mDestination));
    mSourceID = UniqueID(mSource);
    mDestinationID = UniqueID(mDestination);
}

VirtualDevice::~VirtualDevice()
{
    MIDIClientDispose(mClient); // its endpoints go with it
}

void VirtualDevice::Send(const std::vector<Bytes>& messages)
{
    const std::vector<Byte> list = PacketList(messages);
    Check(MIDIReceived(mSource, reinterpret_cast<const MIDIPacketList*>(list.data())));
}

void VirtualDevice::Flood(const std::vector<Bytes>& messages)
{
    const std::vector<Byte> list = PacketList(messages);
    MIDIReceived(mSource, reinterpret_cast<const MIDIPacketList*>(list.data()));
}

std::vector<Bytes> VirtualDevice::WaitForPackets(std::size_t count)
{
    std::unique_lock lock(mMutex);
    mArrived.wait_for(lock, std::chrono::seconds(30), [&] { return mPackets.size() >= count; });
    return std::exchange(mPackets, {});
}

void VirtualDevice::OnRead(const MIDIPacketList* packets, void* self, void*)
{
    static_cast<VirtualDevice*>(self)->Take(packets);
}

void VirtualDevice::Take(const MIDIPacketList* packets)
{
    const std::scoped_lock lock(mMutex);
    const MIDIPacket* packet = &packets->packet[0];
    for (UInt32 i = 0; i < packets->numPackets; ++i) {
        const Byte* data = reinterpret_cast<const Byte*>(packet) + kPacketHead;
        UInt16 length = 0;
        std::memcpy(&length, data - sizeof(length), sizeof(length));
        mPackets.emplace_back(data, data + length);
        packet = MIDIPacketNext(packet);
    }
    mArrived.notify_all();
}

SetupWatcher::SetupWatcher()
{
    Check(MIDIClientCreate(CFSTR("Watcher"), OnNotify, this, &mClient));
}

SetupWatcher::~SetupWatcher()
{
    MIDIClientDispose(mClient);
}

// A notice may have been on its way already when the change was made: the one after it counts.
void SetupWatcher::WaitUntilOthersAreTold()
{
    for (int round = 0; round < 2; ++round) {
        const int before = Notices();
        MIDIEndpointRef change = 0;
        Check(MIDISourceCreate(mClient, CFSTR("Change"), &change));
        WaitForNoticeAfter(before);
        MIDIEndpointDispose(change);
    }
}

void SetupWatcher::OnNotify(const MIDINotification* message, void* self)
{
    if (message->messageID == kMIDIMsgSetupChanged) {
        auto& watcher = *static_cast<SetupWatcher*>(self);
        const std::scoped_lock lock(watcher.mMutex);
        ++watcher.mNotices;
        watcher.mNotified.notify_all();
    }
}

int SetupWatcher::Notices()
{
    const std::scoped_lock lock(mMutex);
    return mNotices;
}

void SetupWatcher::WaitForNoticeAfter(int notices)
{
    std::unique_lock lock(mMutex);
    mNotified.wait_for(lock, std::chrono::seconds(30), [&] { return mNotices > notices; });
}

} // namespace blackbox
