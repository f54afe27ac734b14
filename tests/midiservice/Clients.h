// MIDI clients for tests: what they receive is kept, and can be waited for.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

#include "mediaio/midiservice/src/HostTime.h"
#include "mediaio/midiservice/src/foundation/Objects.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace midiservice::test {

using Bytes = std::vector<std::uint8_t>;

// Longer than anything that is awaited takes, even in an emulated machine under a sanitizer.
constexpr std::chrono::seconds kDeadline{20};

/// A CFString for a call.
class Text {
public:
    explicit Text(const std::string& utf8)
        : mString(MakeString(utf8))
    {
    }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { CFRelease(mString); }
    operator CFStringRef() const { return mString; }

private:
    CFStringRef mString;
};

inline Bytes SysEx(std::size_t length)
{
    Bytes bytes(length);
    for (std::size_t index = 0; index < length; ++index)
        bytes[index] = static_cast<std::uint8_t>((index * 7) & 0x7F);
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
    return bytes;
}

inline Bytes Join(const std::vector<Bytes>& parts)
{
    Bytes joined;
    for (const Bytes& part : parts)
        joined.insert(joined.end(), part.begin(), part.end());
    return joined;
}

/// A packet list of any size.
class Packets {
public:
    Packets() { mBytes.resize(4); }
    Packets(std::initializer_list<Bytes> packets)
        : Packets()
    {
        for (const Bytes& packet : packets)
            Add(packet);
    }

    Packets& Add(const Bytes& bytes, HostTime time = 0)
    {
        const auto length = static_cast<std::uint16_t>(bytes.size());
        Append(&time, sizeof time);
        Append(&length, sizeof length);
        Append(bytes.data(), bytes.size());
        std::uint32_t count = 0;
        std::memcpy(&count, mBytes.data(), sizeof count);
        ++count;
        std::memcpy(mBytes.data(), &count, sizeof count);
        return *this;
    }

    operator const MIDIPacketList*() const
    {
        return reinterpret_cast<const MIDIPacketList*>(mBytes.data());
    }

private:
    void Append(const void* from, std::size_t length)
    {
        const auto* bytes = static_cast<const std::uint8_t*>(from);
        mBytes.insert(mBytes.end(), bytes, bytes + length);
    }

    Bytes mBytes;
};

/// What came out of a read callback or a peer's port.
class Inbox {
public:
    struct Arrival {
        Bytes bytes;
        HostTime stamp = 0; // the packet's
        HostTime time = 0;  // when it came
        void* context = nullptr;
        std::thread::id thread;
    };

    static void Read(const MIDIPacketList* packets, void* inbox, void* context)
    {
        auto* self = static_cast<Inbox*>(inbox);
        const MIDIPacket* packet = &packets->packet[0];
        for (UInt32 index = 0; index < packets->numPackets; ++index) {
            self->Put({Bytes(packet->data, packet->data + packet->length), packet->timeStamp, Now(),
                context, std::this_thread::get_id()});
            packet = MIDIPacketNext(packet);
        }
    }

    void Put(Arrival arrival)
    {
        const std::lock_guard lock(mMutex);
        mArrivals.push_back(std::move(arrival));
        mChanged.notify_all();
    }

    /// The arrivals so far, once there are that many or the deadline has passed.
    std::vector<Arrival> WaitForArrivals(std::size_t count)
    {
        return WaitUntil([count](const auto& arrivals) { return arrivals.size() >= count; });
    }

    std::vector<Bytes> WaitFor(std::size_t count) { return BytesOf(WaitForArrivals(count)); }

    /// Everything, joined, once it is that many bytes or the deadline has passed.
    Bytes WaitForBytes(std::size_t count)
    {
        return Join(BytesOf(WaitUntil([count](const std::vector<Arrival>& arrivals) {
            return std::accumulate(arrivals.begin(), arrivals.end(), std::size_t{0},
                       [](std::size_t sum, const Arrival& arrival) {
                           return sum + arrival.bytes.size();
                       })
                >= count;
        })));
    }

    std::size_t Count() const
    {
        const std::lock_guard lock(mMutex);
        return mArrivals.size();
    }

    void Clear()
    {
        const std::lock_guard lock(mMutex);
        mArrivals.clear();
    }

private:
    template <typename Enough> std::vector<Arrival> WaitUntil(Enough enough)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait_for(lock, kDeadline, [&] { return enough(mArrivals); });
        return mArrivals;
    }

    static std::vector<Bytes> BytesOf(const std::vector<Arrival>& arrivals)
    {
        std::vector<Bytes> bytes;
        for (const Arrival& arrival : arrivals)
            bytes.push_back(arrival.bytes);
        return bytes;
    }

    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<Arrival> mArrivals;
};

/// A MIDI client with the two ports that one usually has.
class TestClient {
public:
    explicit TestClient(const std::string& name = "Test")
    {
        EXPECT_EQ(MIDIClientCreate(Text(name), &Notify, this, &client), 0);
        EXPECT_EQ(MIDIInputPortCreate(client, CFSTR("Input port"), &Inbox::Read, &inbox, &in), 0);
        EXPECT_EQ(MIDIOutputPortCreate(client, CFSTR("Output port"), &out), 0);
    }
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;
    ~TestClient() { MIDIClientDispose(client); }

    MIDIEndpointRef MakeSource(const std::string& name)
    {
        MIDIEndpointRef source = 0;
        EXPECT_EQ(MIDISourceCreate(client, Text(name), &source), 0);
        return source;
    }

    MIDIEndpointRef MakeDestination(const std::string& name, Inbox& destinationInbox)
    {
        MIDIEndpointRef destination = 0;
        EXPECT_EQ(MIDIDestinationCreate(
                      client, Text(name), &Inbox::Read, &destinationInbox, &destination),
            0);
        return destination;
    }

    int Changes() const
    {
        const std::lock_guard lock(mMutex);
        return mChanges;
    }

    /// Waits for setup changes until `condition` holds; false at the deadline.
    bool WaitForChange(const std::function<bool()>& condition)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (true) {
            const int seen = Changes();
            if (condition())
                return true;
            std::unique_lock lock(mMutex);
            if (!mChanged.wait_until(lock, end, [&] { return mChanges != seen; }))
                return false;
        }
    }

    MIDIClientRef client = 0;
    MIDIPortRef in = 0;
    MIDIPortRef out = 0;
    Inbox inbox; // of the input port

private:
    static void Notify(const MIDINotification* message, void* self)
    {
        auto* client = static_cast<TestClient*>(self);
        if (message->messageID != kMIDIMsgSetupChanged)
            return;
        const std::lock_guard lock(client->mMutex);
        ++client->mChanges;
        client->mChanged.notify_all();
    }

    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    int mChanges = 0;
};

inline std::string DisplayName(MIDIObjectRef object)
{
    CFStringRef name = nullptr;
    if (MIDIObjectGetStringProperty(object, kMIDIPropertyDisplayName, &name) != 0)
        return "";
    const std::string text = ToUTF8(name);
    CFRelease(name);
    return text;
}

inline MIDIUniqueID IDOf(MIDIObjectRef object)
{
    MIDIUniqueID id = 0;
    return MIDIObjectGetIntegerProperty(object, kMIDIPropertyUniqueID, &id) == 0 ? id : 0;
}

/// The first endpoint whose display name contains the text, or 0.
inline MIDIEndpointRef FindSource(const std::string& name)
{
    for (ItemCount index = 0; index < MIDIGetNumberOfSources(); ++index)
        if (DisplayName(MIDIGetSource(index)).find(name) != std::string::npos)
            return MIDIGetSource(index);
    return 0;
}

inline MIDIEndpointRef FindDestination(const std::string& name)
{
    for (ItemCount index = 0; index < MIDIGetNumberOfDestinations(); ++index)
        if (DisplayName(MIDIGetDestination(index)).find(name) != std::string::npos)
            return MIDIGetDestination(index);
    return 0;
}

} // namespace midiservice::test
