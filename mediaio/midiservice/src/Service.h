// Everything the C interface offers, for one driver: clients, ports, endpoints, connections.

#pragma once

#include "mediaio/midiservice/src/Driver.h"
#include "mediaio/midiservice/src/HandleTable.h"
#include "mediaio/midiservice/src/NotificationThread.h"
#include "mediaio/midiservice/src/ReceiveThread.h"

#include <CoreMIDI/CoreMIDI.h>

#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace midiservice {

constexpr OSStatus kNoError = 0;
constexpr OSStatus kParameterError = -50;
constexpr OSStatus kNoRoomError = -108;

/// What can be asked about an endpoint.
struct EndpointInfo {
    std::string name;
    std::string displayName;
    MIDIUniqueID uniqueID = 0;
    bool isAmbiguous = false;
    bool isHidden = false;
};

/// Thrown by Service's constructor.
class DriverNotRunning : public std::exception {};

/// All methods but Send and Received are [host, may block]. Texts are UTF-8.
class Service : private DriverHost {
public:
    /// Starts the driver. With `mustRun`, throws DriverNotRunning when that is not possible.
    Service(std::unique_ptr<Driver> driver, const std::string& programName, bool mustRun);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() override;

    OSStatus CreateClient(
        const std::string& name, MIDINotifyProc proc, void* context, MIDIClientRef& client);
    OSStatus DisposeClient(MIDIClientRef client);

    OSStatus CreateInputPort(MIDIClientRef client,
        const std::string& name,
        MIDIReadProc proc,
        void* context,
        MIDIPortRef& port);
    OSStatus CreateOutputPort(MIDIClientRef client, const std::string& name, MIDIPortRef& port);
    OSStatus DisposePort(MIDIPortRef port);
    OSStatus ConnectSource(MIDIPortRef port, MIDIEndpointRef source, void* context);
    OSStatus DisconnectSource(MIDIPortRef port, MIDIEndpointRef source);

    OSStatus CreateVirtualSource(
        MIDIClientRef client, const std::string& name, MIDIEndpointRef& source);
    OSStatus CreateVirtualDestination(MIDIClientRef client,
        const std::string& name,
        MIDIReadProc proc,
        void* context,
        MIDIEndpointRef& destination);
    OSStatus DisposeEndpoint(MIDIEndpointRef endpoint);
    /// From now on other programs do not see this virtual endpoint.
    OSStatus Hide(MIDIEndpointRef endpoint);

    /// In the order in which they first appeared; the first are those present at the start.
    std::size_t CountEndpoints(Direction direction) const;
    MIDIEndpointRef GetEndpoint(Direction direction, std::size_t index) const;
    MIDIEndpointRef FindEndpoint(MIDIUniqueID uniqueID) const;
    bool GetEndpointInfo(MIDIEndpointRef endpoint, EndpointInfo& info) const;
    /// The name of a client or port.
    bool GetObjectName(MIDIObjectRef object, std::string& name) const;

    /// [any thread, real-time]
    OSStatus Send(
        MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList& packets) noexcept;
    OSStatus Received(
        MIDIEndpointRef source, const MIDIPacketList& packets, Timing timing) noexcept;

    /// 0 is every destination.
    OSStatus Flush(MIDIEndpointRef destination);
    /// [any thread, real-time]
    OSStatus FlushSource(MIDIEndpointRef source) noexcept;

    const char* DriverName() const noexcept { return mDriver->Name(); }
    /// Running as soon as the endpoints are there too.
    DriverState State(std::string& reason) const;
    Counters& GetCounters() noexcept { return mReceiveThread.GetCounters(); }
    /// Something sent is still on its way out. [host, may block]
    bool HasUnsent() const { return mReceiveThread.HasUnsent() || mDriver->HasUnsent(); }

private:
    struct Client {
        std::string name;
    };

    struct Port {
        MIDIClientRef client = 0;
        bool isInput = false;
        std::string name;
        MIDIReadProc proc = nullptr;
        void* context = nullptr;
    };

    struct Endpoint {
        EndpointKey key = 0;
        MIDIClientRef client = 0; // of a virtual endpoint, else 0
        bool isOutside = false;
        bool isPresent = true; // an absent one has no key, and its handle is refused
        EndpointInfo info;
        IdentityFacts identity;
        std::uint32_t ordinal = 0; // among endpoints of the same identity
        MIDIEndpointRef handle = 0;
        ReceiverList receivers;
    };

    struct Status {
        DriverState state = DriverState::Waiting;
        std::string reason;
    };

    using EndpointList = std::vector<std::unique_ptr<Endpoint>>;

    // DriverHost
    void OnEndpointsChanged(std::vector<EndpointFacts> present) override;
    void OnStateChanged(DriverState state, std::string reason) override;
    void OnReceived(PortKey port,
        EndpointKey origin,
        std::uint32_t sender,
        HostTime time,
        const std::uint8_t* bytes,
        std::size_t length) noexcept override;
    void CountDropped(std::size_t messages) noexcept override;
    void CountFlushed(std::size_t messages) noexcept override;
    void Wake() noexcept override;

    // All under mMutex.
    OSStatus CreatePort(MIDIClientRef client, Port port, MIDIPortRef& handle);
    OSStatus CreateVirtual(MIDIClientRef client,
        Direction direction,
        const std::string& name,
        std::shared_ptr<Receiver> receiver,
        MIDIEndpointRef& handle);
    OSStatus FindConnection(MIDIPortRef port,
        MIDIEndpointRef source,
        const Port*& foundPort,
        Endpoint*& foundSource) const;
    static ReceiverList::iterator FindReceiver(Endpoint& source, PortKey port);
    Endpoint* AddEndpoint(Direction direction, std::unique_ptr<Endpoint> endpoint);
    bool RemoveWhatBelongsTo(MIDIClientRef client);
    void RemovePort(MIDIPortRef port);
    void RemoveEndpoint(MIDIEndpointRef endpoint);
    void Disconnect(Endpoint& source, PortKey port);
    bool RemoveVanished(const std::vector<EndpointFacts>& present);
    bool AddAppeared(std::vector<EndpointFacts> present);
    void MakeAbsent(Endpoint& endpoint);
    bool Revive(const EndpointFacts& facts);
    void ForgetAbsent();
    void GiveID(Endpoint& newcomer);
    void MarkAmbiguous();
    void PublishRoutes();
    bool ShowState();
    Endpoint* Find(MIDIEndpointRef endpoint) const;
    template <typename Visit> void ForEachEndpoint(Visit visit) const;
    EndpointList& ListOf(Direction direction);
    const EndpointList& ListOf(Direction direction) const;
    static Direction DirectionOf(MIDIEndpointRef endpoint);

    // After a change, without mMutex: on return what was disconnected is silent.
    void Settle(bool notify);

    HandleTable mHandles;
    ReceiveThread mReceiveThread;
    std::unique_ptr<Driver> mDriver;
    std::unique_ptr<NotificationThread> mNotifications;

    mutable std::mutex mMutex; // guards everything below; never held while a client is called
    std::map<MIDIClientRef, Client> mClients;
    std::map<MIDIPortRef, Port> mPorts;
    EndpointList mSources;
    EndpointList mDestinations;

    mutable std::mutex mStateMutex; // of its own, so that a driver may report at any time
    Status mReported;               // by the driver
    Status mShown;
    DriverState mTold = DriverState::Waiting;
};

} // namespace midiservice
