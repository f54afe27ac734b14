#include "mediaio/midiservice/src/jack/JackDriver.h"

#include "mediaio/midiservice/src/PassGate.h"
#include "mediaio/midiservice/src/jack/JackClient.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <pthread.h>
#include <semaphore.h>

namespace midiservice {

namespace {

// How often a server is looked for while there is none.
constexpr HostTime kLookInterval = 200'000'000;
// A client that starts or ends changes many ports: one change is reported for all, when
// nothing has moved for the first time, or after the second while it keeps moving.
constexpr HostTime kQuiet = 5'000'000;
constexpr HostTime kPatience = 50'000'000;
// From the receive thread to the process callback.
constexpr HostTime kHandOver = 1'000'000;
// A client that has its ports and does not run yet is asked again at this interval, up to this
// time.
constexpr HostTime kAskAgain = 10'000'000;
constexpr HostTime kPatienceWithClients = 1'000'000'000;
constexpr HostTime kNever = ~HostTime{0};

void Swallow(const char* /*message*/) {}

/// May be posted from any thread, the process callback and the receive thread included.
class Signal {
public:
    Signal() { sem_init(&mSemaphore, 0, 0); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() { sem_destroy(&mSemaphore); }

    void Post() noexcept { sem_post(&mSemaphore); }

    /// Returns when posted, or at the time.
    void WaitUntil(HostTime time) noexcept
    {
        if (time == kNever) {
            while (sem_wait(&mSemaphore) != 0 && errno == EINTR) {
            }
            return;
        }
        timespec until{};
        until.tv_sec = static_cast<time_t>(time / kNanosPerSecond);
        until.tv_nsec = static_cast<long>(time % kNanosPerSecond);
        while (sem_clockwait(&mSemaphore, CLOCK_MONOTONIC, &until) != 0 && errno == EINTR) {
        }
    }

private:
    sem_t mSemaphore{};
};

/// Something we send to: a port of another client, or a virtual source's own port.
struct Target {
    enum class State : std::uint8_t { Unused, Wanted, Open, Impossible };

    std::string name; // of the other client's port; empty for a virtual source
    std::atomic<State> state{State::Unused};
    JackPlace place;       // written before the state is Open
    HostTime giveUpAt = 0; // the watching thread's
};

using TargetTable = std::vector<std::pair<EndpointKey, std::shared_ptr<Target>>>;

class JackDriver final : public Driver, private JackListener {
public:
    const char* Name() const noexcept override { return "jack"; }

    bool Start(DriverHost& host, const std::string& programName, bool mustRun) override;
    void Stop() override;

    bool ConnectSource(PortKey port, EndpointKey source) override;
    void DisconnectSource(PortKey port, EndpointKey source) override;

    bool AddVirtual(
        EndpointKey key, ClientKey client, Direction direction, const std::string& name) override;
    void RemoveVirtual(EndpointKey key) override;
    IdentityFacts VirtualIdentity(
        ClientKey client, Direction direction, const std::string& name) const override;

    HostTime Lookahead() const noexcept override;
    SendResult Send(const OutgoingMessage& message) noexcept override;
    bool HasUnsent() const override;
    void Receive() noexcept override;

private:
    struct Seen {
        EndpointKey key = 0;
        JackPort port;
    };

    struct Virtual {
        Direction direction = Direction::Source;
        std::string name;
        JackPlace input;                // of a destination
        std::shared_ptr<Target> target; // of a source
    };

    struct Connection {
        int users = 0;    // input ports of ours that receive it
        std::string name; // of the other client's port
        JackPlace input;
        bool isMade = false; // not while the other client has its ports but does not run yet
    };

    // On libjack's threads.
    void OnJackGone() noexcept override;
    void OnJackPortsChanged() noexcept override;

    void Watch();
    HostTime NextRefresh() const;
    HostTime NextLook() const;
    bool TryOpen();
    void Lose();
    void Refresh();
    void OpenWanted();
    Target::State TryOpenTarget(Target& target);
    void MakeMissingConnections();
    void RetryImpossible();
    void ReclaimViews();

    // All under mMutex.
    std::string FreeName(const std::string& name) const;
    void ShowVirtual(EndpointKey key, Virtual& endpoint);
    void PublishTargets();
    std::vector<EndpointFacts> Facts() const;

    DriverHost* mHost = nullptr;
    std::string mProgramName;
    Signal mSignal;
    std::atomic<bool> mStop{false};
    std::atomic<bool> mIsGone{false};
    std::atomic<HostTime> mLastChange{0};  // of ports
    std::atomic<HostTime> mFirstChange{0}; // the first since the last report; 0 is none
    bool mIsAnyWanted = false;             // the watching thread's
    std::thread mWatcher;

    mutable std::mutex mMutex; // libjack's requests, and what follows
    std::unique_ptr<JackClient> mClient;
    EndpointKey mLastKey = 0;
    std::map<std::pair<Direction, std::string>, Seen> mSeen;
    std::map<EndpointKey, Virtual> mVirtuals;
    std::map<EndpointKey, Connection> mConnections;
    std::map<EndpointKey, std::shared_ptr<Target>> mTargets;

    // What the receive thread sees of it.
    struct View {
        JackClient* client = nullptr;
        TargetTable targets; // by key
    };
    std::unique_ptr<const View> mView = std::make_unique<View>(); // under mMutex
    std::atomic<const View*> mCurrentView{mView.get()};
    std::vector<std::unique_ptr<const View>> mOldViews; // under mMutex
    mutable PassGate mGate;
};

// -------------------------------------------------------------- coming and going

bool JackDriver::Start(DriverHost& host, const std::string& programName, bool mustRun)
{
    mHost = &host;
    mProgramName = programName;
    jack_set_error_function(&Swallow);
    jack_set_info_function(&Swallow);
    if (!TryOpen() && mustRun)
        return false;
    mWatcher = std::thread([this] { Watch(); });
    return true;
}

void JackDriver::Stop()
{
    mStop.store(true);
    mSignal.Post();
    if (mWatcher.joinable())
        mWatcher.join();
    mClient.reset();
}

void JackDriver::OnJackGone() noexcept
{
    mIsGone.store(true);
    mSignal.Post();
}

void JackDriver::OnJackPortsChanged() noexcept
{
    const HostTime now = Now();
    HostTime none = 0;
    mLastChange.store(now);
    mFirstChange.compare_exchange_strong(none, now);
    mSignal.Post();
}

void JackDriver::Watch()
{
    pthread_setname_np(pthread_self(), "midi jack");
    while (!mStop.load()) {
        if (mIsGone.load())
            Lose();
        if (mCurrentView.load()->client == nullptr)
            TryOpen();
        OpenWanted();
        if (NextRefresh() <= Now())
            Refresh();
        ReclaimViews();
        mSignal.WaitUntil(NextLook());
    }
}

HostTime JackDriver::NextRefresh() const
{
    const HostTime first = mFirstChange.load();
    return first != 0 ? std::min(mLastChange.load() + kQuiet, first + kPatience) : kNever;
}

HostTime JackDriver::NextLook() const
{
    if (mCurrentView.load()->client == nullptr)
        return Now() + kLookInterval;
    const HostTime refresh = NextRefresh();
    return mIsAnyWanted ? std::min(refresh, Now() + kAskAgain) : refresh;
}

bool JackDriver::TryOpen()
{
    std::string whyNot;
    {
        const std::lock_guard lock(mMutex);
        mIsGone.store(false);
        mClient = JackClient::TryOpen(mProgramName, *mHost, *this, whyNot);
        if (mClient) {
            for (auto& [key, endpoint] : mVirtuals)
                ShowVirtual(key, endpoint);
            PublishTargets();
        }
    }
    if (!mCurrentView.load()->client) {
        mHost->OnStateChanged(DriverState::Waiting, whyNot);
        return false;
    }
    mHost->OnStateChanged(DriverState::Running, "connected to the JACK server");
    Refresh();
    return true;
}

// The endpoints go first, so that nobody is told of them while their ports vanish.
void JackDriver::Lose()
{
    std::unique_ptr<JackClient> lost;
    {
        const std::lock_guard lock(mMutex);
        mSeen.clear();
        lost = std::move(mClient);
        for (auto& [key, connection] : mConnections)
            connection.input = {};
        for (auto& [key, endpoint] : mVirtuals) {
            endpoint.input = {};
            if (endpoint.target)
                endpoint.target->state.store(Target::State::Impossible);
        }
        PublishTargets();
    }
    mGate.WaitForPass();
    lost.reset();
    mIsGone.store(false);
    mHost->OnStateChanged(DriverState::Waiting, "the JACK server has stopped");
    mHost->OnEndpointsChanged({});
}

void JackDriver::Refresh()
{
    mFirstChange.store(0);
    std::vector<EndpointFacts> facts;
    {
        const std::lock_guard lock(mMutex);
        if (!mClient)
            return;
        const std::set<std::string> ended = mClient->TakeEndedPorts();
        std::vector<JackPort> ports = mClient->ListPorts();
        std::map<std::pair<Direction, std::string>, Seen> seen;
        for (JackPort& port : ports) {
            const std::pair id(port.direction, port.names.fullName);
            const auto known = mSeen.find(id);
            const bool isSame = known != mSeen.end() && ended.count(id.second) == 0;
            seen[id] = Seen{isSame ? known->second.key : ++mLastKey, std::move(port)};
        }
        mSeen = std::move(seen);
        MakeMissingConnections();
        PublishTargets();
        RetryImpossible();
        facts = Facts();
    }
    mHost->OnEndpointsChanged(std::move(facts));
}

std::vector<EndpointFacts> JackDriver::Facts() const
{
    std::vector<EndpointFacts> facts;
    for (const auto& [id, seen] : mSeen) {
        const JackPortNames& names = seen.port.names;
        const auto colon = names.fullName.find(':');
        facts.push_back({seen.key, names.fullName.substr(colon + 1), JackDisplayName(names),
            JackIdentity(seen.port.direction, names)});
    }
    return facts;
}

// -------------------------------------------------------------- what the receive thread sees

void JackDriver::PublishTargets()
{
    std::map<EndpointKey, std::shared_ptr<Target>> targets;
    for (const auto& [id, seen] : mSeen) {
        if (seen.port.direction != Direction::Destination)
            continue;
        const auto known = mTargets.find(seen.key);
        auto& target = targets[seen.key];
        target = known != mTargets.end() ? known->second : std::make_shared<Target>();
        target->name = seen.port.names.fullName;
    }
    for (const auto& [key, endpoint] : mVirtuals)
        if (endpoint.target)
            targets[key] = endpoint.target;
    for (const auto& [key, target] : mTargets)
        if (targets.count(key) == 0 && mClient)
            mClient->RemoveOutput(target->place);
    mTargets = std::move(targets);

    auto view = std::make_unique<View>();
    view->client = mClient.get();
    view->targets.assign(mTargets.begin(), mTargets.end());
    mCurrentView.store(view.get());
    mOldViews.push_back(std::exchange(mView, std::move(view)));
}

// On the watching thread only: callers hold the service's lock, for which a callback on the
// receive thread may be waiting.
void JackDriver::ReclaimViews()
{
    std::vector<std::unique_ptr<const View>> old;
    {
        const std::lock_guard lock(mMutex);
        old = std::exchange(mOldViews, {});
    }
    if (!old.empty())
        mGate.WaitForPass();
}

HostTime JackDriver::Lookahead() const noexcept
{
    const Pass pass(mGate);
    const View* view = mCurrentView.load();
    return view->client != nullptr ? 2 * view->client->Period() + kHandOver : 0;
}

SendResult JackDriver::Send(const OutgoingMessage& message) noexcept
{
    const Pass pass(mGate);
    const View* view = mCurrentView.load();
    const auto found = std::lower_bound(view->targets.begin(), view->targets.end(),
        message.endpoint, [](const auto& entry, EndpointKey key) { return entry.first < key; });
    const bool isThere = found != view->targets.end() && found->first == message.endpoint;
    if (view->client == nullptr || !isThere)
        return SendResult::Refused;
    Target& target = *found->second;
    Target::State state = target.state.load();
    if (state == Target::State::Unused
        && target.state.compare_exchange_strong(state, Target::State::Wanted))
        mSignal.Post();
    if (state == Target::State::Open)
        return view->client->Send(target.place, message);
    return state == Target::State::Impossible ? SendResult::Refused : SendResult::Later;
}

bool JackDriver::HasUnsent() const
{
    const std::lock_guard lock(mMutex);
    return mClient && mClient->HasUnsent();
}

void JackDriver::Receive() noexcept
{
    const Pass pass(mGate);
    if (JackClient* client = mCurrentView.load()->client)
        client->Receive(*mHost);
}

// A port of ours for each destination that is used, made when it first is. Its client may have
// its ports and not run yet: then what is sent waits, but not for ever.
void JackDriver::OpenWanted()
{
    bool isAnyReady = false;
    mIsAnyWanted = false;
    {
        const std::lock_guard lock(mMutex);
        for (auto& [key, target] : mTargets) {
            if (!mClient || target->state.load() != Target::State::Wanted)
                continue;
            const Target::State state = TryOpenTarget(*target);
            target->state.store(state);
            isAnyReady |= state != Target::State::Wanted;
            mIsAnyWanted |= state == Target::State::Wanted;
        }
    }
    if (isAnyReady)
        mHost->Wake();
}

Target::State JackDriver::TryOpenTarget(Target& target)
{
    if (!target.place.IsValid()) {
        target.place = mClient->AddOutput("to " + target.name);
        target.giveUpAt = Now() + kPatienceWithClients;
    }
    if (!target.place.IsValid())
        return Target::State::Impossible;
    if (mClient->ConnectOutput(target.place, target.name))
        return Target::State::Open;
    if (Now() < target.giveUpAt)
        return Target::State::Wanted;
    mClient->RemoveOutput(std::exchange(target.place, {}));
    return Target::State::Impossible;
}

// Something has changed: what could not be reached may be reached now.
void JackDriver::RetryImpossible()
{
    for (auto& [key, target] : mTargets)
        if (!target->name.empty() && target->state.load() == Target::State::Impossible)
            target->state.store(Target::State::Unused);
}

// -------------------------------------------------------------- sources

bool JackDriver::ConnectSource(PortKey /*port*/, EndpointKey source)
{
    const std::lock_guard lock(mMutex);
    const auto seen = std::find_if(mSeen.begin(), mSeen.end(),
        [source](const auto& entry) { return entry.second.key == source; });
    if (!mClient || seen == mSeen.end())
        return false;
    Connection& connection = mConnections[source];
    if (connection.users == 0) {
        connection.name = seen->second.port.names.fullName;
        connection.input = mClient->AddInput("from " + connection.name, source);
        if (!connection.input.IsValid()) {
            mConnections.erase(source);
            return false;
        }
        connection.isMade = mClient->ConnectInput(connection.input, connection.name);
    }
    ++connection.users;
    return true;
}

// Once made, a connection is left alone: others may take it away in a patchbay.
void JackDriver::MakeMissingConnections()
{
    for (auto& [key, connection] : mConnections)
        if (!connection.isMade && connection.input.IsValid())
            connection.isMade = mClient->ConnectInput(connection.input, connection.name);
}

void JackDriver::DisconnectSource(PortKey /*port*/, EndpointKey source)
{
    const std::lock_guard lock(mMutex);
    const auto connection = mConnections.find(source);
    if (connection == mConnections.end() || --connection->second.users > 0)
        return;
    if (mClient)
        mClient->RemoveInput(connection->second.input);
    mConnections.erase(connection);
}

// -------------------------------------------------------------- virtual endpoints

bool JackDriver::AddVirtual(
    EndpointKey key, ClientKey /*client*/, Direction direction, const std::string& name)
{
    const std::lock_guard lock(mMutex);
    const std::string freeName = FreeName(name);
    Virtual& endpoint = mVirtuals[key];
    endpoint.direction = direction;
    endpoint.name = freeName;
    if (mClient)
        ShowVirtual(key, endpoint);
    PublishTargets();
    mSignal.Post();
    return true;
}

void JackDriver::ShowVirtual(EndpointKey key, Virtual& endpoint)
{
    if (endpoint.direction == Direction::Destination) {
        endpoint.input = mClient->AddInput(endpoint.name, key);
        return;
    }
    // A new one each time: the receive thread may still look at the one before.
    endpoint.target = std::make_shared<Target>();
    endpoint.target->place = mClient->AddOutput(endpoint.name);
    endpoint.target->state.store(
        endpoint.target->place.IsValid() ? Target::State::Open : Target::State::Impossible);
}

void JackDriver::RemoveVirtual(EndpointKey key)
{
    const std::lock_guard lock(mMutex);
    const auto endpoint = mVirtuals.find(key);
    if (endpoint == mVirtuals.end())
        return;
    if (mClient)
        mClient->RemoveInput(endpoint->second.input);
    mVirtuals.erase(endpoint);
    PublishTargets(); // closes a source's port
    mSignal.Post();
}

// The server takes a name once for each client, whichever way the port goes. The endpoint is given
// a free one here and not when it is shown, so that its ID is the one that other programs see.
std::string JackDriver::FreeName(const std::string& name) const
{
    const std::string acceptable = AcceptablePortName(AcceptableClientName(mProgramName), name);
    std::string free = acceptable;
    const auto isTaken = [&free](const auto& entry) { return entry.second.name == free; };
    for (int count = 2; std::any_of(mVirtuals.begin(), mVirtuals.end(), isTaken); ++count)
        free = acceptable + " " + std::to_string(count);
    return free;
}

IdentityFacts JackDriver::VirtualIdentity(
    ClientKey /*client*/, Direction direction, const std::string& name) const
{
    const std::lock_guard lock(mMutex);
    JackPortNames names;
    names.fullName = AcceptableClientName(mProgramName) + ":" + FreeName(name);
    return JackIdentity(direction, names);
}

} // namespace

std::unique_ptr<Driver> MakeJackDriver()
{
    return std::make_unique<JackDriver>();
}

} // namespace midiservice
