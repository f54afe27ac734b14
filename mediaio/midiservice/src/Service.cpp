#include "mediaio/midiservice/src/Service.h"

#include <algorithm>
#include <set>
#include <utility>

namespace midiservice {

namespace {

// Endpoints that have gone and may come back.
constexpr std::size_t kMostAbsent = 256;

bool ShareAnID(const IdentityFacts& a, const IdentityFacts& b)
{
    return UniqueID(a) == UniqueID(b);
}

} // namespace

// DriverNotRunning leaves the half-made service behind in good order.
Service::Service(std::unique_ptr<Driver> driver, const std::string& programName, bool mustRun)
    : mReceiveThread(mHandles)
    , mDriver(std::move(driver))
    , mNotifications(std::make_unique<NotificationThread>())
{
    if (!mDriver->Start(*this, programName, mustRun))
        throw DriverNotRunning();
    mReceiveThread.Start(*mDriver);
}

Service::~Service()
{
    mReceiveThread.Stop();
    mDriver->Stop();
    mNotifications.reset();
}

// ------------------------------------------------------------------ clients and ports

OSStatus Service::CreateClient(
    const std::string& name, MIDINotifyProc proc, void* context, MIDIClientRef& client)
{
    const std::lock_guard lock(mMutex);
    client = mHandles.Make(HandleKind::Client);
    if (client == 0)
        return kNoRoomError;
    mClients[client].name = name;
    mDriver->AddClient(client, name);
    mNotifications->Add(client, proc, context);
    return kNoError;
}

OSStatus Service::DisposeClient(MIDIClientRef client)
{
    bool hadEndpoints = false;
    {
        const std::lock_guard lock(mMutex);
        if (mClients.count(client) == 0)
            return kMIDIInvalidClient;
        hadEndpoints = RemoveWhatBelongsTo(client);
        mDriver->RemoveClient(client);
        mClients.erase(client);
        mHandles.Free(client);
        PublishRoutes();
    }
    mNotifications->Remove(client, !mReceiveThread.IsCurrentThread());
    Settle(hadEndpoints);
    return kNoError;
}

bool Service::RemoveWhatBelongsTo(MIDIClientRef client)
{
    std::vector<MIDIPortRef> ports;
    for (const auto& [handle, port] : mPorts)
        if (port.client == client)
            ports.push_back(handle);
    for (MIDIPortRef port : ports)
        RemovePort(port);
    std::vector<MIDIEndpointRef> endpoints;
    for (const EndpointList* list : {&mSources, &mDestinations})
        for (const auto& endpoint : *list)
            if (endpoint->client == client)
                endpoints.push_back(endpoint->handle);
    for (MIDIEndpointRef endpoint : endpoints)
        RemoveEndpoint(endpoint);
    return !endpoints.empty();
}

OSStatus Service::CreateInputPort(MIDIClientRef client,
    const std::string& name,
    MIDIReadProc proc,
    void* context,
    MIDIPortRef& port)
{
    return CreatePort(client, Port{client, true, name, proc, context}, port);
}

OSStatus Service::CreateOutputPort(MIDIClientRef client, const std::string& name, MIDIPortRef& port)
{
    return CreatePort(client, Port{client, false, name, nullptr, nullptr}, port);
}

OSStatus Service::CreatePort(MIDIClientRef client, Port port, MIDIPortRef& handle)
{
    const std::lock_guard lock(mMutex);
    if (mClients.count(client) == 0)
        return kMIDIInvalidClient;
    handle = mHandles.Make(port.isInput ? HandleKind::InputPort : HandleKind::OutputPort);
    if (handle == 0)
        return kNoRoomError;
    mDriver->AddPort(handle, client, port.isInput, port.name);
    mPorts.emplace(handle, std::move(port));
    return kNoError;
}

OSStatus Service::DisposePort(MIDIPortRef port)
{
    {
        const std::lock_guard lock(mMutex);
        if (mPorts.count(port) == 0)
            return kMIDIInvalidPort;
        RemovePort(port);
        PublishRoutes();
    }
    Settle(false);
    return kNoError;
}

void Service::RemovePort(MIDIPortRef port)
{
    for (const auto& source : mSources)
        if (FindReceiver(*source, port) != source->receivers.end())
            Disconnect(*source, port);
    mDriver->RemovePort(port);
    mPorts.erase(port);
    mHandles.Free(port);
}

// ------------------------------------------------------------------ connections

ReceiverList::iterator Service::FindReceiver(Endpoint& source, PortKey port)
{
    return std::find_if(source.receivers.begin(), source.receivers.end(),
        [port](const auto& receiver) { return receiver->port == port; });
}

OSStatus Service::FindConnection(
    MIDIPortRef port, MIDIEndpointRef source, const Port*& foundPort, Endpoint*& foundSource) const
{
    const auto entry = mPorts.find(port);
    if (entry == mPorts.end() || !entry->second.isInput)
        return kMIDIInvalidPort;
    foundSource = Find(source);
    if (foundSource == nullptr)
        return kMIDIUnknownEndpoint;
    if (DirectionOf(source) != Direction::Source)
        return kMIDIWrongEndpointType;
    foundPort = &entry->second;
    return kNoError;
}

OSStatus Service::ConnectSource(MIDIPortRef port, MIDIEndpointRef source, void* context)
{
    {
        const std::lock_guard lock(mMutex);
        const Port* owner = nullptr;
        Endpoint* endpoint = nullptr;
        const OSStatus status = FindConnection(port, source, owner, endpoint);
        if (status != kNoError)
            return status;
        if (!endpoint->isPresent)
            return kMIDIUnknownEndpoint;
        auto receiver = std::make_shared<Receiver>();
        receiver->proc = owner->proc;
        receiver->readContext = owner->context;
        receiver->connectionContext = context;
        receiver->port = port;
        const auto existing = FindReceiver(*endpoint, port);
        if (existing != endpoint->receivers.end())
            *existing = std::move(receiver); // connected already: the context is replaced
        else if (endpoint->client == 0 && !mDriver->ConnectSource(port, endpoint->key))
            return kMIDIUnknownEndpoint;
        else
            endpoint->receivers.push_back(std::move(receiver));
        PublishRoutes();
    }
    Settle(false);
    return kNoError;
}

OSStatus Service::DisconnectSource(MIDIPortRef port, MIDIEndpointRef source)
{
    {
        const std::lock_guard lock(mMutex);
        const Port* owner = nullptr;
        Endpoint* endpoint = nullptr;
        const OSStatus status = FindConnection(port, source, owner, endpoint);
        if (status != kNoError)
            return status;
        if (FindReceiver(*endpoint, port) == endpoint->receivers.end())
            return kMIDINoConnection;
        Disconnect(*endpoint, port);
        PublishRoutes();
    }
    Settle(false);
    return kNoError;
}

void Service::Disconnect(Endpoint& source, PortKey port)
{
    const auto receiver = FindReceiver(source, port);
    (*receiver)->isLive.store(false);
    source.receivers.erase(receiver);
    if (source.isPresent && source.client == 0)
        mDriver->DisconnectSource(port, source.key);
}

// ------------------------------------------------------------------ virtual endpoints

OSStatus Service::CreateVirtualSource(
    MIDIClientRef client, const std::string& name, MIDIEndpointRef& source)
{
    return CreateVirtual(client, Direction::Source, name, nullptr, source);
}

OSStatus Service::CreateVirtualDestination(MIDIClientRef client,
    const std::string& name,
    MIDIReadProc proc,
    void* context,
    MIDIEndpointRef& destination)
{
    auto receiver = std::make_shared<Receiver>();
    receiver->proc = proc;
    receiver->readContext = context;
    return CreateVirtual(client, Direction::Destination, name, std::move(receiver), destination);
}

OSStatus Service::CreateVirtual(MIDIClientRef client,
    Direction direction,
    const std::string& name,
    std::shared_ptr<Receiver> receiver,
    MIDIEndpointRef& handle)
{
    {
        const std::lock_guard lock(mMutex);
        if (mClients.count(client) == 0)
            return kMIDIInvalidClient;
        auto endpoint = std::make_unique<Endpoint>();
        endpoint->client = client;
        endpoint->info.name = name;
        endpoint->info.displayName = name;
        endpoint->identity = mDriver->VirtualIdentity(client, direction, name);
        if (receiver)
            endpoint->receivers.push_back(std::move(receiver));
        Endpoint* added = AddEndpoint(direction, std::move(endpoint));
        if (added == nullptr)
            return kNoRoomError;
        added->key = kFirstVirtualKey + added->handle;
        // What is sent to a destination of this process stays inside.
        const bool isSeen = mDriver->AddVirtual(added->key, client, direction, name);
        added->isOutside = isSeen && direction == Direction::Source;
        GiveID(*added);
        MarkAmbiguous();
        handle = added->handle;
        PublishRoutes();
    }
    Settle(true);
    return kNoError;
}

OSStatus Service::DisposeEndpoint(MIDIEndpointRef endpoint)
{
    {
        const std::lock_guard lock(mMutex);
        const Endpoint* found = Find(endpoint);
        if (found == nullptr || found->client == 0)
            return kMIDIUnknownEndpoint;
        RemoveEndpoint(endpoint);
        MarkAmbiguous();
        PublishRoutes();
    }
    Settle(true);
    return kNoError;
}

OSStatus Service::Hide(MIDIEndpointRef endpoint)
{
    {
        const std::lock_guard lock(mMutex);
        Endpoint* found = Find(endpoint);
        if (found == nullptr || found->client == 0)
            return kMIDIUnknownEndpoint;
        if (!found->info.isHidden)
            mDriver->RemoveVirtual(found->key);
        found->info.isHidden = true;
        found->isOutside = false;
        PublishRoutes();
    }
    Settle(true);
    return kNoError;
}

// ------------------------------------------------------------------ endpoints

Service::EndpointList& Service::ListOf(Direction direction)
{
    return direction == Direction::Source ? mSources : mDestinations;
}

const Service::EndpointList& Service::ListOf(Direction direction) const
{
    return direction == Direction::Source ? mSources : mDestinations;
}

Direction Service::DirectionOf(MIDIEndpointRef endpoint)
{
    return HandleTable::KindOf(endpoint) == HandleKind::Source ? Direction::Source
                                                               : Direction::Destination;
}

Service::Endpoint* Service::Find(MIDIEndpointRef endpoint) const
{
    const EndpointList& list = ListOf(DirectionOf(endpoint));
    const auto found = std::find_if(list.begin(), list.end(),
        [endpoint](const auto& candidate) { return candidate->handle == endpoint; });
    return found != list.end() ? found->get() : nullptr;
}

Service::Endpoint* Service::AddEndpoint(Direction direction, std::unique_ptr<Endpoint> endpoint)
{
    endpoint->handle = mHandles.Make(
        direction == Direction::Source ? HandleKind::Source : HandleKind::Destination);
    if (endpoint->handle == 0)
        return nullptr;
    EndpointList& list = ListOf(direction);
    list.push_back(std::move(endpoint));
    return list.back().get();
}

void Service::RemoveEndpoint(MIDIEndpointRef handle)
{
    Endpoint* endpoint = Find(handle);
    for (const auto& receiver : endpoint->receivers) {
        receiver->isLive.store(false);
        if (endpoint->isPresent && endpoint->client == 0)
            mDriver->DisconnectSource(receiver->port, endpoint->key);
    }
    if (endpoint->client != 0)
        mDriver->RemoveVirtual(endpoint->key);
    mHandles.Resume(handle);
    mHandles.Free(handle);
    EndpointList& list = ListOf(DirectionOf(handle));
    list.erase(std::find_if(list.begin(), list.end(),
        [endpoint](const auto& candidate) { return candidate.get() == endpoint; }));
}

template <typename Visit> void Service::ForEachEndpoint(Visit visit) const
{
    for (const EndpointList* list : {&mSources, &mDestinations})
        for (const auto& endpoint : *list)
            visit(*endpoint);
}

// An endpoint keeps its ID while it is there. A newcomer that would get the same one gets
// the ID of the first ordinal that is free.
void Service::GiveID(Endpoint& newcomer)
{
    std::set<std::uint32_t> ordinals;
    std::set<MIDIUniqueID> taken;
    ForEachEndpoint([&](const Endpoint& other) {
        if (other.info.uniqueID == 0)
            return;
        taken.insert(other.info.uniqueID);
        if (ShareAnID(other.identity, newcomer.identity))
            ordinals.insert(other.ordinal);
    });
    while (ordinals.count(newcomer.ordinal) > 0
        || taken.count(UniqueID(newcomer.identity, newcomer.ordinal)) > 0)
        ++newcomer.ordinal;
    newcomer.info.uniqueID = UniqueID(newcomer.identity, newcomer.ordinal);
}

// One that was given a later ordinal stays ambiguous: alone, the next program would take it
// for the first.
void Service::MarkAmbiguous()
{
    std::map<MIDIUniqueID, int> sharers;
    ForEachEndpoint([&](const Endpoint& endpoint) {
        if (endpoint.isPresent)
            ++sharers[UniqueID(endpoint.identity)];
    });
    ForEachEndpoint([&](Endpoint& endpoint) {
        endpoint.info.isAmbiguous
            = endpoint.ordinal > 0 || sharers[UniqueID(endpoint.identity)] > 1;
    });
}

std::size_t Service::CountEndpoints(Direction direction) const
{
    const std::lock_guard lock(mMutex);
    const EndpointList& list = ListOf(direction);
    return static_cast<std::size_t>(std::count_if(
        list.begin(), list.end(), [](const auto& endpoint) { return endpoint->isPresent; }));
}

MIDIEndpointRef Service::GetEndpoint(Direction direction, std::size_t index) const
{
    const std::lock_guard lock(mMutex);
    for (const auto& endpoint : ListOf(direction))
        if (endpoint->isPresent && index-- == 0)
            return endpoint->handle;
    return 0;
}

MIDIEndpointRef Service::FindEndpoint(MIDIUniqueID uniqueID) const
{
    const std::lock_guard lock(mMutex);
    MIDIEndpointRef found = 0;
    ForEachEndpoint([&](const Endpoint& endpoint) {
        if (endpoint.isPresent && endpoint.info.uniqueID == uniqueID)
            found = endpoint.handle;
    });
    return found;
}

bool Service::GetEndpointInfo(MIDIEndpointRef endpoint, EndpointInfo& info) const
{
    const std::lock_guard lock(mMutex);
    const Endpoint* found = Find(endpoint);
    if (found == nullptr || !found->isPresent)
        return false;
    info = found->info;
    return true;
}

bool Service::GetObjectName(MIDIObjectRef object, std::string& name) const
{
    const std::lock_guard lock(mMutex);
    const auto client = mClients.find(object);
    const auto port = mPorts.find(object);
    if (client != mClients.end())
        name = client->second.name;
    else if (port != mPorts.end())
        name = port->second.name;
    return client != mClients.end() || port != mPorts.end();
}

// ------------------------------------------------------------------ messages

OSStatus Service::Send(
    MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList& packets) noexcept
{
    if (!mHandles.IsValid(port, HandleKind::OutputPort))
        return kMIDIInvalidPort;
    if (mHandles.IsValid(destination, HandleKind::Source))
        return kMIDIWrongEndpointType;
    if (!mHandles.IsValid(destination, HandleKind::Destination))
        return kMIDIUnknownEndpoint;
    return mReceiveThread.TrySend(port, destination, packets, Timing::WhenDue)
        ? kNoError
        : kMIDIMessageSendErr;
}

OSStatus Service::Received(
    MIDIEndpointRef source, const MIDIPacketList& packets, Timing timing) noexcept
{
    if (mHandles.IsValid(source, HandleKind::Destination))
        return kMIDIWrongEndpointType;
    if (!mHandles.IsValid(source, HandleKind::Source))
        return kMIDIUnknownEndpoint;
    return mReceiveThread.TrySend(source, 0, packets, timing) ? kNoError : kMIDIMessageSendErr;
}

OSStatus Service::Flush(MIDIEndpointRef destination)
{
    if (destination != 0) {
        if (!mHandles.IsValid(destination, HandleKind::Destination))
            return kMIDIUnknownEndpoint;
        mReceiveThread.Flush(destination);
        return kNoError;
    }
    const std::lock_guard lock(mMutex);
    for (const auto& endpoint : mDestinations)
        mReceiveThread.Flush(endpoint->handle);
    return kNoError;
}

OSStatus Service::FlushSource(MIDIEndpointRef source) noexcept
{
    if (!mHandles.IsValid(source, HandleKind::Source))
        return kMIDIUnknownEndpoint;
    mReceiveThread.Flush(source);
    return kNoError;
}

DriverState Service::State(std::string& reason) const
{
    const std::lock_guard lock(mStateMutex);
    reason = mShown.reason;
    return mShown.state;
}

// ------------------------------------------------------------------ what the driver reports

void Service::OnEndpointsChanged(std::vector<EndpointFacts> present)
{
    bool isChanged = false;
    {
        const std::lock_guard lock(mMutex);
        isChanged = RemoveVanished(present);
        isChanged |= AddAppeared(std::move(present));
        ForgetAbsent();
        MarkAmbiguous();
        PublishRoutes();
        isChanged |= ShowState();
    }
    Settle(isChanged);
}

// With the endpoints: who sees that the driver runs sees them too, and who is told of them sees
// that it runs.
//
// True where clients are to be told of the state, also if no endpoint comes or goes with it.
bool Service::ShowState()
{
    const std::lock_guard lock(mStateMutex);
    mShown = mReported;
    return std::exchange(mTold, mShown.state) != mShown.state;
}

bool Service::RemoveVanished(const std::vector<EndpointFacts>& present)
{
    std::set<EndpointKey> keys;
    for (const EndpointFacts& facts : present)
        keys.insert(facts.key);
    bool isChanged = false;
    ForEachEndpoint([&](Endpoint& endpoint) {
        if (!endpoint.isPresent || endpoint.client != 0 || keys.count(endpoint.key) > 0)
            return;
        MakeAbsent(endpoint);
        isChanged = true;
    });
    return isChanged;
}

// Its handle and its connections are kept for the time when it comes back: a client that is
// told late sees no difference then, and would not connect again.
void Service::MakeAbsent(Endpoint& endpoint)
{
    for (const auto& receiver : endpoint.receivers)
        mDriver->DisconnectSource(receiver->port, endpoint.key);
    mHandles.Suspend(endpoint.handle);
    endpoint.key = 0;
    endpoint.isPresent = false;
}

// The oldest that nobody is connected to are forgotten.
void Service::ForgetAbsent()
{
    std::vector<MIDIEndpointRef> absent;
    ForEachEndpoint([&](const Endpoint& endpoint) {
        if (!endpoint.isPresent && endpoint.receivers.empty())
            absent.push_back(endpoint.handle);
    });
    for (std::size_t index = 0; index + kMostAbsent < absent.size(); ++index)
        RemoveEndpoint(absent[index]);
}

bool Service::Revive(const EndpointFacts& facts)
{
    Endpoint* absent = nullptr;
    ForEachEndpoint([&](Endpoint& endpoint) {
        if (!endpoint.isPresent && SameIdentity(endpoint.identity, facts.identity)
            && (absent == nullptr || endpoint.ordinal < absent->ordinal))
            absent = &endpoint;
    });
    if (absent == nullptr)
        return false;
    absent->key = facts.key;
    absent->isPresent = true;
    absent->info.name = facts.name;
    absent->info.displayName = facts.displayName;
    absent->identity = facts.identity;
    mHandles.Resume(absent->handle);
    // A connection that cannot be made again is gone, so that its client can make it anew.
    std::erase_if(absent->receivers, [&](const auto& receiver) {
        const bool isConnected = mDriver->ConnectSource(receiver->port, absent->key);
        receiver->isLive.store(isConnected);
        return !isConnected;
    });
    return true;
}

bool Service::AddAppeared(std::vector<EndpointFacts> present)
{
    std::set<EndpointKey> known;
    ForEachEndpoint([&](const Endpoint& endpoint) { known.insert(endpoint.key); });
    std::sort(present.begin(), present.end(), [](const EndpointFacts& a, const EndpointFacts& b) {
        return ComesBefore(a.identity, b.identity);
    });
    bool isChanged = false;
    for (EndpointFacts& facts : present) {
        if (!known.insert(facts.key).second)
            continue;
        isChanged = true;
        if (Revive(facts))
            continue;
        auto endpoint = std::make_unique<Endpoint>();
        endpoint->key = facts.key;
        endpoint->isOutside = true;
        endpoint->info.name = std::move(facts.name);
        endpoint->info.displayName = std::move(facts.displayName);
        endpoint->identity = std::move(facts.identity);
        const Direction direction = endpoint->identity.direction;
        if (Endpoint* added = AddEndpoint(direction, std::move(endpoint)))
            GiveID(*added);
    }
    return isChanged;
}

void Service::OnStateChanged(DriverState state, std::string reason)
{
    const std::lock_guard lock(mStateMutex);
    mReported = {state, std::move(reason)};
    if (state == DriverState::Waiting || mShown.state == DriverState::Running)
        mShown = mReported;
}

void Service::OnReceived(PortKey port,
    EndpointKey origin,
    std::uint32_t sender,
    HostTime time,
    const std::uint8_t* bytes,
    std::size_t length) noexcept
{
    mReceiveThread.OnReceived(port, origin, sender, time, bytes, length);
}

void Service::CountDropped(std::size_t messages) noexcept
{
    Count(mReceiveThread.GetCounters().dropped, messages);
}

void Service::CountFlushed(std::size_t messages) noexcept
{
    Count(mReceiveThread.GetCounters().flushed, messages);
}

void Service::Wake() noexcept
{
    mReceiveThread.Wake();
}

// ------------------------------------------------------------------ the receive thread's table

void Service::PublishRoutes()
{
    auto routes = std::make_unique<Routes>();
    ForEachEndpoint([&](const Endpoint& endpoint) {
        if (endpoint.isPresent)
            routes->Add({endpoint.handle, endpoint.key, endpoint.isOutside, endpoint.receivers});
    });
    routes->Finish();
    mReceiveThread.Publish(std::move(routes));
}

void Service::Settle(bool notify)
{
    mReceiveThread.Synchronise();
    if (notify)
        mNotifications->NotifySetupChanged();
}

} // namespace midiservice
