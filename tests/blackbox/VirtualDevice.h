// A MIDI device beside the plug-in: a source that it hears and a destination that hears it.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace blackbox {

using Bytes = std::vector<std::uint8_t>;

class VirtualDevice {
public:
    VirtualDevice();
    ~VirtualDevice();
    VirtualDevice(const VirtualDevice&) = delete;
    VirtualDevice& operator=(const VirtualDevice&) = delete;

    /// Port IDs as settings name them.
    std::u16string SourceID() const { return mSourceID; }
    std::u16string DestinationID() const { return mDestinationID; }

    /// Sends each message as a packet of its own, all in one list.
    void Send(const std::vector<Bytes>& messages);
    void Send(const Bytes& message) { Send(std::vector<Bytes>{message}); }

    /// The same, but what the service has no room for is lost.
    void Flood(const std::vector<Bytes>& messages);

    /// Waits until `count` packets have arrived, or for a generous time, and takes them.
    std::vector<Bytes> WaitForPackets(std::size_t count);

private:
    static void OnRead(const MIDIPacketList* packets, void* self, void* connection);
    void Take(const MIDIPacketList* packets);

    MIDIClientRef mClient = 0;
    MIDIEndpointRef mSource = 0;
    MIDIEndpointRef mDestination = 0;
    std::u16string mSourceID;
    std::u16string mDestinationID;
    std::mutex mMutex;
    std::condition_variable mArrived;
    std::vector<Bytes> mPackets; // guarded by mMutex
};

/// Hears of setup changes like every other client, and after those that were there before it: the
/// service tells its clients in the order in which they were made.
class SetupWatcher {
public:
    SetupWatcher();
    ~SetupWatcher();
    SetupWatcher(const SetupWatcher&) = delete;
    SetupWatcher& operator=(const SetupWatcher&) = delete;

    /// Returns when the earlier clients have been told of what changed before this call.
    void WaitUntilOthersAreTold();

private:
    static void OnNotify(const MIDINotification* message, void* self);
    int Notices();
    void WaitForNoticeAfter(int notices);

    MIDIClientRef mClient = 0;
    std::mutex mMutex;
    std::condition_variable mNotified;
    int mNotices = 0; // guarded by mMutex
};

} // namespace blackbox
