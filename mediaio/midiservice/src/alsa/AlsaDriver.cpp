#include "mediaio/midiservice/src/alsa/AlsaDriver.h"

#include "mediaio/midiservice/src/PassGate.h"
#include "mediaio/midiservice/src/alsa/CardFacts.h"
#include "mediaio/midiservice/src/alsa/ClientPool.h"
#include "mediaio/midiservice/src/alsa/EventCodec.h"
#include "mediaio/midiservice/src/alsa/Outlet.h"
#include "mediaio/midiservice/src/alsa/PortTable.h"
#include "mediaio/midiservice/src/alsa/SysExGuard.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>

#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace midiservice {

namespace alsa {
namespace {

// One plug makes a dozen announcements, the last some milliseconds after the first.
constexpr HostTime kQuietTime = 20'000'000;
constexpr HostTime kLongestUnquiet = 200'000'000;
// How often a sequencer that is not there is looked for.
constexpr HostTime kRetryTime = kNanosPerSecond;
// How long a receiver that has no room is offered the same message again.
constexpr HostTime kPatience = 100'000'000;
// One receive pass takes at most so many events, so that sending gets its turn.
constexpr int kEventsPerPass = 512;

constexpr HostTime kNever = ~HostTime{0};

std::string OpenErrorText(int error)
{
    std::string text = "ALSA's sequencer cannot be opened (/dev/snd/seq: ";
    text += std::generic_category().message(error) + ")";
    if (error == EACCES)
        return text + "; the user must be in the group audio";
    return text + "; is the kernel module snd-seq loaded?";
}

std::size_t DataBytes(const snd_seq_event_t& event)
{
    return snd_seq_ev_is_variable(&event) ? event.data.ext.len : 0;
}

class Descriptor {
public:
    explicit Descriptor(int number) noexcept
        : mNumber(number)
    {
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(mNumber); }
    int Number() const noexcept { return mNumber; }

private:
    int mNumber;
};

/// Ports that this process has asked for; they exist while the sequencer does.
struct OwnPort {
    ClientKey client = 0;
    Direction direction = Direction::Source; // what it is to other programs
    bool isVirtual = false;
    std::string name;
    int number = -1; // the sequencer's
};

/// What the receive thread sees: replaced as a whole.
struct Routing {
    std::vector<std::shared_ptr<Client>> clients;
    std::vector<std::shared_ptr<Outlet>> outlets;

    Outlet* FindOutlet(std::uint64_t key) const noexcept
    {
        for (const auto& outlet : outlets)
            if (outlet->key == key)
                return outlet.get();
        return nullptr;
    }

    Client* FindClient(std::uint8_t number) const noexcept
    {
        for (const auto& client : clients)
            if (client->sequencer->Client() == number)
                return client.get();
        return nullptr;
    }
};

class AlsaDriver final : public Driver {
public:
    AlsaDriver();
    ~AlsaDriver() override { Stop(); }

    const char* Name() const noexcept override { return "alsa"; }
    bool Start(DriverHost& host, const std::string& programName, bool mustRun) override;
    void Stop() override;

    void AddClient(ClientKey client, const std::string& name) override;
    void RemoveClient(ClientKey client) override;
    void AddPort(PortKey port, ClientKey client, bool isInput, const std::string& name) override;
    void RemovePort(PortKey port) override { RemoveOwnPort(port); }
    bool ConnectSource(PortKey port, EndpointKey source) override;
    void DisconnectSource(PortKey port, EndpointKey source) override;
    bool AddVirtual(
        EndpointKey key, ClientKey client, Direction direction, const std::string& name) override;
    void RemoveVirtual(EndpointKey key) override { RemoveOwnPort(key); }
    IdentityFacts VirtualIdentity(
        ClientKey client, Direction direction, const std::string& name) const override;

    SendResult Send(const OutgoingMessage& message) noexcept override;
    int PollDescriptor() const noexcept override { return mEpoll.Number(); }
    void Receive() noexcept override;

private:
    // Under mMutex.
    void OpenClient(const std::shared_ptr<Client>& client);
    void OpenPort(std::uint64_t key, OwnPort& port);
    void AddOwnPort(std::uint64_t key, OwnPort port);
    void RemoveOwnPort(std::uint64_t key);
    std::shared_ptr<Client> ClientOf(ClientKey key) const;
    bool FindInput(PortKey port, std::shared_ptr<Client>& client, Address& address) const;
    void Publish(std::unique_ptr<Routing> routing);
    std::unique_ptr<Routing> CopyRouting() const;

    // The watching thread's, and Start's before there is one.
    bool TryOpen(std::string& reason);
    void OpenEverything();
    void Watch();
    void WaitForChange();
    HostTime NextDue() const;
    void ReadAnnouncements();
    void OnAnnouncement(const snd_seq_event_t& event);
    void MarkChanged();
    bool IsSettled() const;
    void ReportOnceComplete();
    std::vector<EndpointFacts> Scan();
    void FulfilLinks();
    void FreeRetired();

    // The receive thread's.
    void ReceiveFrom(Client& client) noexcept;
    void Deliver(const Client& client, const snd_seq_event_t& event, HostTime now) noexcept;
    SendResult SendTo(Outlet& outlet, EndpointKey endpoint, snd_seq_event_t& event) noexcept;
    SendResult SendToSubscribers(
        Outlet& outlet, const OutgoingMessage& message, snd_seq_event_t& event) noexcept;
    static bool IsPatient(HostTime& fullSince) noexcept;
    void Signal() noexcept;

    DriverHost* mHost = nullptr;
    std::string mProgramName;
    PortTable mTable;
    Descriptor mEpoll;
    Descriptor mSignal; // wakes the watching thread

    std::atomic<const Routing*> mRouting; // replaced under mMutex
    PassGate mGate;                       // passes of the receive thread

    mutable std::mutex mMutex; // never held while the host is called
    std::map<ClientKey, std::shared_ptr<Client>> mClients;
    std::map<std::uint64_t, OwnPort> mOwnPorts;           // by PortKey or virtual EndpointKey
    std::vector<std::unique_ptr<const Routing>> mRetired; // may still be seen by a pass
    bool mIsOpen = false;

    // The watching thread's own.
    std::unique_ptr<Sequencer> mObserver;
    CardWatch mCards;
    HostTime mFirstChange = 0; // not reported yet; 0 for none
    HostTime mLastChange = 0;
    HostTime mNextTry = 0;

    // The receive thread's own.
    EventCodec mCodec;
    SysExGuard mGuard;

    std::atomic<bool> mStop{false};
    std::thread mWatcher; // last: it uses all of the above
};

AlsaDriver::AlsaDriver()
    : mEpoll(epoll_create1(EPOLL_CLOEXEC))
    , mSignal(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , mRouting(new Routing)
{
}

// ------------------------------------------------------------------ start and stop

bool AlsaDriver::Start(DriverHost& host, const std::string& programName, bool mustRun)
{
    mHost = &host;
    mProgramName = programName;
    std::string reason;
    if (TryOpen(reason)) {
        ReportOnceComplete();
    } else {
        host.OnStateChanged(DriverState::Waiting, reason);
        if (mustRun)
            return false;
    }
    mWatcher = std::thread(&AlsaDriver::Watch, this);
    return true;
}

// Ports at which udev is still at work are waited for, so that a program that lists ports and
// ends sees them, and twins come in the order that every program gives them.
void AlsaDriver::ReportOnceComplete()
{
    auto present = Scan();
    while (mTable.Deadline()) {
        WaitForChange();
        present = Scan();
    }
    mHost->OnEndpointsChanged(std::move(present));
}

void AlsaDriver::Stop()
{
    mStop.store(true);
    Signal();
    if (mWatcher.joinable())
        mWatcher.join();
    mRetired.clear();
    delete mRouting.exchange(nullptr);
    mClients.clear();
    mObserver.reset();
}

bool AlsaDriver::TryOpen(std::string& reason)
{
    int error = 0;
    mObserver = Sequencer::Open(mProgramName, error);
    if (!mObserver) {
        reason = OpenErrorText(error);
        return false;
    }
    const int port = mObserver->CreatePort("Announcements",
        SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT, SND_SEQ_PORT_TYPE_APPLICATION);
    mObserver->Subscribe({SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE},
        {mObserver->Client(), static_cast<std::uint8_t>(port)});
    OpenEverything();
    MarkChanged();
    mHost->OnStateChanged(DriverState::Running, "ALSA's sequencer");
    return true;
}

void AlsaDriver::OpenEverything()
{
    const std::lock_guard lock(mMutex);
    mIsOpen = true;
    for (const auto& [key, client] : mClients)
        OpenClient(client);
    for (auto& [key, port] : mOwnPorts)
        OpenPort(key, port);
}

// ------------------------------------------------------------------ clients and ports

void AlsaDriver::AddClient(ClientKey key, const std::string& name)
{
    auto client = std::make_shared<Client>();
    client->key = key;
    client->name = name;
    const std::lock_guard lock(mMutex);
    mClients[key] = client;
    if (mIsOpen)
        OpenClient(client);
}

void AlsaDriver::OpenClient(const std::shared_ptr<Client>& client)
{
    int error = 0;
    client->sequencer = Sequencer::Open(client->name, error);
    if (!client->sequencer)
        return;
    auto routing = CopyRouting();
    routing->clients.push_back(client);
    Publish(std::move(routing));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = client->sequencer->Client();
    epoll_ctl(mEpoll.Number(), EPOLL_CTL_ADD, client->sequencer->Descriptor(), &event);
}

void AlsaDriver::RemoveClient(ClientKey key)
{
    const std::lock_guard lock(mMutex);
    const auto found = mClients.find(key);
    if (found == mClients.end())
        return;
    const std::shared_ptr<Client> client = found->second;
    mClients.erase(found);
    if (!client->sequencer)
        return;
    epoll_ctl(mEpoll.Number(), EPOLL_CTL_DEL, client->sequencer->Descriptor(), nullptr);
    auto routing = CopyRouting();
    routing->clients.erase(std::find(routing->clients.begin(), routing->clients.end(), client));
    Publish(std::move(routing));
}

void AlsaDriver::AddPort(PortKey port, ClientKey client, bool isInput, const std::string& name)
{
    const Direction direction = isInput ? Direction::Destination : Direction::Source;
    AddOwnPort(port, {client, direction, false, name, -1});
}

bool AlsaDriver::AddVirtual(
    EndpointKey key, ClientKey client, Direction direction, const std::string& name)
{
    AddOwnPort(key, {client, direction, true, name, -1});
    return true;
}

void AlsaDriver::AddOwnPort(std::uint64_t key, OwnPort port)
{
    const std::lock_guard lock(mMutex);
    OwnPort& added = mOwnPorts[key] = std::move(port);
    OpenPort(key, added);
}

void AlsaDriver::OpenPort(std::uint64_t key, OwnPort& port)
{
    const std::shared_ptr<Client> client = ClientOf(port.client);
    if (!client || !client->sequencer)
        return;
    const bool isSource = port.direction == Direction::Source;
    port.number = client->sequencer->CreatePort(port.name,
        isSource ? kSourceCapabilities : kDestinationCapabilities,
        port.isVirtual ? kVirtualPortType : kPrivatePortType);
    if (port.number < 0)
        return;
    if (!isSource) {
        client->targets[static_cast<std::size_t>(port.number)].store(key);
        return;
    }
    auto outlet = std::make_shared<Outlet>();
    outlet->key = key;
    outlet->client = client;
    outlet->port = port.number;
    auto routing = CopyRouting();
    routing->outlets.push_back(std::move(outlet));
    Publish(std::move(routing));
}

void AlsaDriver::RemoveOwnPort(std::uint64_t key)
{
    const std::lock_guard lock(mMutex);
    const auto found = mOwnPorts.find(key);
    if (found == mOwnPorts.end())
        return;
    const OwnPort port = found->second;
    mOwnPorts.erase(found);
    const std::shared_ptr<Client> client = ClientOf(port.client);
    if (!client || port.number < 0)
        return;
    client->targets[static_cast<std::size_t>(port.number)].store(0);
    client->sequencer->DeletePort(port.number);
    auto routing = CopyRouting();
    const auto gone = std::remove_if(routing->outlets.begin(), routing->outlets.end(),
        [key](const auto& outlet) { return outlet->key == key; });
    routing->outlets.erase(gone, routing->outlets.end());
    Publish(std::move(routing));
}

std::shared_ptr<Client> AlsaDriver::ClientOf(ClientKey key) const
{
    const auto found = mClients.find(key);
    return found != mClients.end() ? found->second : nullptr;
}

bool AlsaDriver::FindInput(PortKey port, std::shared_ptr<Client>& client, Address& address) const
{
    const std::lock_guard lock(mMutex);
    const auto found = mOwnPorts.find(port);
    if (found == mOwnPorts.end() || found->second.number < 0)
        return false;
    client = ClientOf(found->second.client);
    if (!client)
        return false;
    address = {client->sequencer->Client(), static_cast<std::uint8_t>(found->second.number)};
    return true;
}

bool AlsaDriver::ConnectSource(PortKey port, EndpointKey source)
{
    std::shared_ptr<Client> client;
    Address input;
    return FindInput(port, client, input) && mTable.IsPresent(source)
        && client->sequencer->Subscribe(PortTable::AddressOf(source), input);
}

void AlsaDriver::DisconnectSource(PortKey port, EndpointKey source)
{
    std::shared_ptr<Client> client;
    Address input;
    // What has vanished took its subscriptions along.
    if (FindInput(port, client, input) && mTable.IsPresent(source))
        client->sequencer->Unsubscribe(PortTable::AddressOf(source), input);
}

IdentityFacts AlsaDriver::VirtualIdentity(
    ClientKey client, Direction direction, const std::string& name) const
{
    const std::lock_guard lock(mMutex);
    const std::shared_ptr<Client> owner = ClientOf(client);
    return {Name(), direction, SequencerName(owner ? owner->name : ""), SequencerName(name), ""};
}

std::unique_ptr<Routing> AlsaDriver::CopyRouting() const
{
    return std::make_unique<Routing>(*mRouting.load());
}

// The one replaced is freed by the watching thread: the receive thread may be in it, and
// the caller may be the receive thread.
void AlsaDriver::Publish(std::unique_ptr<Routing> routing)
{
    mRetired.emplace_back(mRouting.exchange(routing.release()));
    Signal();
}

void AlsaDriver::FreeRetired()
{
    std::vector<std::unique_ptr<const Routing>> retired;
    {
        const std::lock_guard lock(mMutex);
        retired.swap(mRetired);
    }
    if (!retired.empty())
        mGate.WaitForPass();
}

// ------------------------------------------------------------------ the watching thread

void AlsaDriver::Watch()
{
    pthread_setname_np(pthread_self(), "midi watch");
    while (!mStop.load()) {
        std::string reason;
        if (!mObserver && Now() >= mNextTry && !TryOpen(reason))
            mNextTry = Now() + kRetryTime;
        if (mObserver && IsSettled())
            mHost->OnEndpointsChanged(Scan());
        FulfilLinks();
        FreeRetired();
        WaitForChange();
    }
}

void AlsaDriver::WaitForChange()
{
    std::array<pollfd, 3> descriptors{{{mSignal.Number(), POLLIN, 0},
        {mCards.Descriptor(), POLLIN, 0}, {mObserver ? mObserver->Descriptor() : -1, POLLIN, 0}}};
    const HostTime now = Now();
    const HostTime due = NextDue();
    timespec wait{};
    wait.tv_sec = static_cast<time_t>((std::max(due, now) - now) / kNanosPerSecond);
    wait.tv_nsec = static_cast<long>((std::max(due, now) - now) % kNanosPerSecond);
    ppoll(descriptors.data(), descriptors.size(), due == kNever ? nullptr : &wait, nullptr);

    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(mSignal.Number(), &count, sizeof count);
    if (mCards.Drain())
        MarkChanged();
    if (mObserver)
        ReadAnnouncements();
}

HostTime AlsaDriver::NextDue() const
{
    if (!mObserver)
        return mNextTry;
    HostTime due = mTable.Deadline().value_or(kNever);
    if (mFirstChange != 0)
        due = std::min({due, mLastChange + kQuietTime, mFirstChange + kLongestUnquiet});
    return due;
}

bool AlsaDriver::IsSettled() const
{
    return NextDue() <= Now();
}

void AlsaDriver::MarkChanged()
{
    mLastChange = Now();
    if (mFirstChange == 0)
        mFirstChange = mLastChange;
}

void AlsaDriver::ReadAnnouncements()
{
    for (;;) {
        bool lost = false;
        const snd_seq_event_t* event = mObserver->TryRead(lost);
        if (lost) {
            mTable.OnAnyGone();
            MarkChanged();
        }
        if (event != nullptr)
            OnAnnouncement(*event);
        else if (!lost)
            return;
    }
}

void AlsaDriver::OnAnnouncement(const snd_seq_event_t& event)
{
    switch (event.type) {
    case SND_SEQ_EVENT_PORT_EXIT:
        mTable.OnPortGone({event.data.addr.client, event.data.addr.port});
        break;
    case SND_SEQ_EVENT_CLIENT_EXIT:
        mTable.OnClientGone(event.data.addr.client);
        break;
    case SND_SEQ_EVENT_PORT_START:
    case SND_SEQ_EVENT_PORT_CHANGE:
    case SND_SEQ_EVENT_CLIENT_CHANGE:
        break;
    default:
        return;
    }
    MarkChanged();
}

std::vector<EndpointFacts> AlsaDriver::Scan()
{
    mFirstChange = 0;
    std::vector<std::uint8_t> own{mObserver->Client()};
    {
        const std::lock_guard lock(mMutex);
        for (const auto& [key, client] : mClients)
            if (client->sequencer)
                own.push_back(client->sequencer->Client());
    }
    const auto ports = ScanPorts(*mObserver, [&own](std::uint8_t client) {
        return std::find(own.begin(), own.end(), client) != own.end();
    });
    const auto readCard = [this](int card) { return mCards.Read(card); };
    return mTable.Update(ports, readCard, Now());
}

void AlsaDriver::FulfilLinks()
{
    std::vector<std::shared_ptr<Outlet>> outlets;
    {
        const std::lock_guard lock(mMutex);
        outlets = mRouting.load()->outlets;
    }
    bool any = false;
    for (const auto& outlet : outlets) {
        Sequencer& sequencer = *outlet->client->sequencer;
        const Address from{sequencer.Client(), static_cast<std::uint8_t>(outlet->port)};
        any |= outlet->links.Fulfil([&](EndpointKey endpoint) {
            if (mTable.IsPresent(endpoint))
                sequencer.Subscribe(from, PortTable::AddressOf(endpoint));
        });
    }
    if (any)
        mHost->Wake();
}

void AlsaDriver::Signal() noexcept
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(mSignal.Number(), &one, sizeof one);
}

// ------------------------------------------------------------------ the receive thread

void AlsaDriver::Receive() noexcept
{
    const Pass pass(mGate);
    const Routing* routing = mRouting.load();
    std::array<epoll_event, 16> ready{};
    const int count = epoll_wait(mEpoll.Number(), ready.data(), static_cast<int>(ready.size()), 0);
    for (int index = 0; index < count; ++index)
        if (Client* client = routing->FindClient(
                static_cast<std::uint8_t>(ready[static_cast<std::size_t>(index)].data.u32)))
            ReceiveFrom(*client);
}

void AlsaDriver::ReceiveFrom(Client& client) noexcept
{
    const HostTime now = Now();
    int left = kEventsPerPass;
    do {
        bool lost = false;
        const snd_seq_event_t* event = client.sequencer->TryRead(lost);
        if (lost) {
            mGuard.OnLoss();
            mHost->CountDropped(1); // at least: the kernel does not tell how many
        }
        if (event == nullptr)
            return;
        Deliver(client, *event, now);
    } while (--left > 0 && client.sequencer->HasMore());
}

void AlsaDriver::Deliver(const Client& client, const snd_seq_event_t& event, HostTime now) noexcept
{
    const std::uint64_t target = client.targets[event.dest.port].load();
    const Address from{event.source.client, event.source.port};
    const EventCodec::Bytes bytes = mCodec.Decode(event);
    if (target == 0 || bytes.length == 0 || !mGuard.Accept(from, bytes.data, bytes.length))
        return;
    if (target >= kFirstVirtualKey)
        mHost->OnReceived(0, target, from.Packed(), now, bytes.data, bytes.length);
    else if (const EndpointKey origin = mTable.KeyOfSource(from))
        mHost->OnReceived(static_cast<PortKey>(target), origin, 0, now, bytes.data, bytes.length);
}

SendResult AlsaDriver::Send(const OutgoingMessage& message) noexcept
{
    const Pass pass(mGate);
    const bool isFromVirtual = message.port == 0;
    Outlet* outlet = mRouting.load()->FindOutlet(isFromVirtual ? message.endpoint : message.port);
    if (outlet == nullptr)
        return SendResult::Refused;
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    mCodec.Encode(message, event);
    snd_seq_ev_set_source(&event, static_cast<unsigned char>(outlet->port));
    snd_seq_ev_set_direct(&event);
    if (!isFromVirtual)
        return SendTo(*outlet, message.endpoint, event);
    snd_seq_ev_set_subs(&event);
    return SendToSubscribers(*outlet, message, event);
}

SendResult AlsaDriver::SendTo(Outlet& outlet, EndpointKey endpoint, snd_seq_event_t& event) noexcept
{
    if (!mTable.IsPresent(endpoint))
        return SendResult::Refused;
    const auto isPresent = [this](EndpointKey key) { return mTable.IsPresent(key); };
    if (!outlet.links.IsReady(endpoint, isPresent)) {
        Signal();
        return SendResult::Later;
    }
    Sequencer& sequencer = *outlet.client->sequencer;
    const Address to = PortTable::AddressOf(endpoint);
    HostTime& fullSince = outlet.links.FullSince(endpoint);
    if (!HasRoom(sequencer.Descriptor(), to.client, DataBytes(event)))
        return IsPatient(fullSince) ? SendResult::Later : SendResult::Refused;
    fullSince = 0;
    snd_seq_ev_set_dest(&event, to.client, to.port);
    const int result = sequencer.TryWrite(event);
    if (result < 0)
        outlet.links.Forget(endpoint); // so that the next message subscribes anew
    return result == 0 ? SendResult::Taken : SendResult::Refused;
}

// One who has no room must not hold up time code for the others; a long SysEx, which could
// not be completed any more, waits for a while.
SendResult AlsaDriver::SendToSubscribers(
    Outlet& outlet, const OutgoingMessage& message, snd_seq_event_t& event) noexcept
{
    Sequencer& sequencer = *outlet.client->sequencer;
    if (message.piece == Piece::Message)
        return sequencer.TryWrite(event) == 0 ? SendResult::Taken : SendResult::Refused;
    if (!sequencer.HaveSubscribersRoom(outlet.port, DataBytes(event))) {
        if (IsPatient(outlet.fullSince))
            return SendResult::Later;
    } else {
        outlet.fullSince = 0;
    }
    return sequencer.TryWrite(event) == 0 ? SendResult::Taken : SendResult::Refused;
}

// A receiver that reads slowly gets everything; one that has stopped reading cannot fill up
// the service.
bool AlsaDriver::IsPatient(HostTime& fullSince) noexcept
{
    const HostTime now = Now();
    if (fullSince == 0)
        fullSince = now;
    return now - fullSince < kPatience;
}

} // namespace
} // namespace alsa

std::unique_ptr<Driver> MakeAlsaDriver()
{
    return std::make_unique<alsa::AlsaDriver>();
}

} // namespace midiservice
