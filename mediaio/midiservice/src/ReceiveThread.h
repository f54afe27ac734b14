// The service's one receive thread: everything on its way passes here, is kept until it is
// due, put together, and handed to read callbacks or to the driver.

#pragma once

#include "mediaio/midiservice/src/Counters.h"
#include "mediaio/midiservice/src/HandleTable.h"
#include "mediaio/midiservice/src/OriginStates.h"
#include "mediaio/midiservice/src/PacketPool.h"
#include "mediaio/midiservice/src/PassGate.h"
#include "mediaio/midiservice/src/RequestQueue.h"
#include "mediaio/midiservice/src/Routes.h"
#include "mediaio/midiservice/src/Schedule.h"
#include "mediaio/midiservice/src/Stalled.h"

#include <ctime>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace midiservice {

/// When a packet goes whose time stamp lies ahead.
enum class Timing : std::uint8_t { WhenDue, AtOnce };

class ReceiveThread {
public:
    explicit ReceiveThread(HandleTable& handles);
    ReceiveThread(const ReceiveThread&) = delete;
    ReceiveThread& operator=(const ReceiveThread&) = delete;
    ~ReceiveThread();

    /// [host, may block]
    void Start(Driver& driver);
    void Stop();

    /// Takes all packets of the list or none. `destination` is 0 for what a virtual source
    /// sends. False when there is no room. [any thread, real-time]
    bool TrySend(MIDIObjectRef origin,
        MIDIEndpointRef destination,
        const MIDIPacketList& packets,
        Timing timing) noexcept;

    /// Drops what is scheduled for the destination, or by the virtual source; what was sent at
    /// once still goes. [any thread, real-time]
    void Flush(MIDIEndpointRef endpoint) noexcept;

    /// Replaces who gets what. The receive thread may see the old table until Synchronise
    /// has returned. Under the registry's lock. [host, may block]
    void Publish(std::unique_ptr<const Routes> routes);

    /// On return no callback that a replaced table knew is running. Called from the receive
    /// thread itself it returns at once. Never under a lock. [host, may block]
    void Synchronise();

    bool IsCurrentThread() const noexcept;

    /// [receive, real-time]
    void OnReceived(PortKey port,
        EndpointKey origin,
        std::uint32_t sender,
        HostTime time,
        const std::uint8_t* bytes,
        std::size_t length) noexcept;

    /// [any thread, real-time]
    void Wake() noexcept;

    Counters& GetCounters() noexcept { return mCounters; }
    /// Something that clients sent has not been handed on yet. [any thread, real-time]
    bool HasUnsent() const noexcept { return mPool.IsAnyTaken(); }

private:
    class LocalSink;
    class DriverSink;
    class OutwardSink;

    struct Request {
        PacketIndex first; // a call's packets, or kNoPacket to flush
        MIDIEndpointRef flush;
    };

    bool Chain(const MIDIPacketList& packets,
        const Packet& common,
        Timing timing,
        PacketIndex& first) noexcept;
    PacketIndex* ChainPacket(
        const MIDIPacket& packet, const Packet& common, Timing timing, PacketIndex* tail) noexcept;
    void GiveChain(PacketIndex first) noexcept;

    void Run() noexcept;
    void Sleep(std::uint32_t seenWakes) noexcept;
    bool TimeToWait(timespec& wait) const noexcept;
    void TakeRequests() noexcept;
    void TakePackets(PacketIndex first) noexcept;
    HostTime Lookahead(const Packet& packet) noexcept;
    void SendWhatIsDue() noexcept;
    bool IsFlushed(const Packet& packet) const noexcept;
    void DropFlushed(MIDIEndpointRef endpoint) noexcept;
    void Emit(const Packet& packet) noexcept;
    bool Offer(EndpointKey endpoint, const Packet& message) noexcept;
    void Stall(EndpointKey endpoint, const Packet& message) noexcept;
    void RetryStalled() noexcept;

    HandleTable& mHandles;
    Counters mCounters;
    Driver* mDriver = nullptr;

    PacketPool mPool;
    RequestQueue<Request, PacketPool::kCapacity + 64> mRequests;

    // The receive thread's own.
    Schedule mSchedule;
    OriginStates mOrigins;
    Stalled mStalled;

    std::atomic<const Routes*> mRoutes{nullptr}; // replaced under the registry's lock
    PassGate mGate;
    std::mutex mTablesMutex;
    std::vector<std::unique_ptr<const Routes>> mTables; // the current one is the last

    std::atomic<bool> mIsAsleep{false};
    std::atomic<std::uint32_t> mWakes{0};
    std::atomic<bool> mStop{false};
    int mWakeDescriptor = -1;
    std::thread mThread;
};

} // namespace midiservice
