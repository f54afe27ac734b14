#include "mediaio/midiservice/src/jack/JackClient.h"

#include "mediaio/midiservice/src/SysExAssembler.h"
#include "mediaio/midiservice/src/jack/JackProbe.h"

#include <jack/midiport.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace midiservice {

namespace {

constexpr HostTime kNanosPerMicrosecond = 1000;
// Milliseconds; the longest cycles last some 200.
constexpr int kGraphAttempts = 500;

struct JackFree {
    void operator()(void* memory) const noexcept { jack_free(memory); }
};

// The smallest of some readings is the one least disturbed.
std::int64_t MeasureClockOffset() noexcept
{
    std::int64_t offset = 0;
    std::int64_t best = INT64_MAX;
    for (int attempt = 0; attempt < 5; ++attempt) {
        const auto before = static_cast<std::int64_t>(Now());
        const auto jack = static_cast<std::int64_t>(jack_get_time() * kNanosPerMicrosecond);
        const auto after = static_cast<std::int64_t>(Now());
        if (after - before < best) {
            best = after - before;
            offset = before + best / 2 - jack;
        }
    }
    return offset;
}

JackPortNames NamesOf(const jack_port_t* port)
{
    JackPortNames names;
    names.fullName = jack_port_name(port);
    names.isPhysical = (jack_port_flags(port) & JackPortIsPhysical) != 0;
    std::vector<char> first(static_cast<std::size_t>(jack_port_name_size()));
    std::vector<char> second(first.size());
    char* aliases[2] = {first.data(), second.data()};
    const int count = jack_port_get_aliases(port, aliases);
    for (int index = 0; index < count; ++index)
        names.aliases.emplace_back(aliases[index]);
    return names;
}

/// Of a thread of this process.
bool IsAlive(pid_t thread) noexcept
{
    return tgkill(getpid(), thread, 0) == 0;
}

} // namespace

/// The client that libjack calls back. Closing a client cancels libjack's threads wherever they
/// are. Within a callback that would leave the heap or a mutex of ours locked for ever, so while
/// this lives it waits.
class JackClient::Callback {
public:
    explicit Callback(void* client) noexcept
        : mClient(static_cast<JackClient*>(client))
    {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mBefore);
    }
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;
    /// What has waited unwinds the thread from here.
    ~Callback() noexcept(false) { pthread_setcancelstate(mBefore, nullptr); }

    JackClient* operator->() const noexcept { return mClient; }

private:
    JackClient* mClient;
    int mBefore = PTHREAD_CANCEL_ENABLE;
};

/// One run of the process callback.
class JackClient::Cycle final : public JackCycle {
public:
    Cycle(JackClient& owner, jack_nframes_t frames) noexcept
        : mOwner(owner)
        , mFrames(frames)
    {
        jack_nframes_t startFrame = 0;
        jack_time_t start = 0;
        jack_time_t next = 0;
        float period = 0;
        jack_client_t* client = owner.mClient;
        if (jack_get_cycle_times(client, &startFrame, &start, &next, &period) != 0) {
            start = next = jack_get_time();
        }
        mStart = owner.HostTimeOf(start);
        mLength
            = JackCycleLength(mStart, owner.HostTimeOf(next), frames, jack_get_sample_rate(client));
    }

    HostTime Length() const noexcept { return mLength; }
    HostTime TimeAt(jack_nframes_t frame) const noexcept
    {
        return mStart + mLength * frame / mFrames;
    }

    bool HasOutput(std::uint32_t output, std::uint32_t serial) noexcept override
    {
        const Output& place = mOwner.mOutputs[output];
        return place.buffer != nullptr && place.serial.load() == serial;
    }

    std::size_t Room(std::uint32_t output) noexcept override
    {
        return jack_midi_max_event_size(mOwner.mOutputs[output].buffer);
    }

    bool IsUntouched(std::uint32_t output) noexcept override
    {
        return jack_midi_get_event_count(mOwner.mOutputs[output].buffer) == 0;
    }

    std::uint8_t* Reserve(
        std::uint32_t output, std::uint32_t frame, std::size_t length) noexcept override
    {
        return jack_midi_event_reserve(mOwner.mOutputs[output].buffer, frame, length);
    }

    std::uint64_t FrameAt(HostTime time) noexcept override
    {
        if (time >= mStart + mLength)
            return mFrames;
        return time > mStart ? (time - mStart) * mFrames / mLength : 0;
    }

    std::uint32_t Frames() noexcept override { return mFrames; }

private:
    JackClient& mOwner;
    jack_nframes_t mFrames;
    HostTime mStart = 0;
    HostTime mLength = 1;
};

HostTime JackCycleLength(
    HostTime start, HostTime next, jack_nframes_t frames, jack_nframes_t sampleRate) noexcept
{
    if (next > start)
        return next - start;
    const HostTime samples = frames * kNanosPerSecond / std::max<jack_nframes_t>(sampleRate, 1);
    return std::max<HostTime>(samples, 1);
}

std::unique_ptr<JackClient> JackClient::TryOpen(
    const std::string& name, DriverHost& host, JackListener& listener, std::string& whyNot)
{
    jack_status_t status = JackServerFailed;
    jack_client_t* opened = MayJackServerBeThere()
        ? jack_client_open(AcceptableClientName(name).c_str(), JackNoStartServer, &status)
        : nullptr;
    if (opened == nullptr) {
        whyNot = (status & JackServerFailed) != 0 ? "no JACK server is running"
                                                  : "the JACK server refuses a client";
        const char* server = std::getenv("JACK_DEFAULT_SERVER");
        if (server != nullptr)
            whyNot += std::string(" (server \"") + server + "\")";
        return nullptr;
    }
    std::unique_ptr<jack_client_t, Closer> guard(opened);
    std::unique_ptr<JackClient> client(new JackClient(opened, host, listener));
    static_cast<void>(guard.release()); // its destructor closes it
    if (client->Activate())
        return client;
    whyNot = "the JACK server does not let its client run";
    return nullptr;
}

JackClient::JackClient(jack_client_t* client, DriverHost& host, JackListener& listener)
    : mHost(host)
    , mListener(listener)
    , mClockOffset(MeasureClockOffset())
    , mClient(client)
{
    const HostTime second = kNanosPerSecond;
    mPeriod.store(second * jack_get_buffer_size(client)
        / std::max<jack_nframes_t>(jack_get_sample_rate(client), 1));
}

// Callbacks use the client until it is closed, so nothing of ours goes, or changes, before.
JackClient::~JackClient()
{
    // The thread that tells of the server's death holds mutexes of libjack, for which closing would
    // wait for ever if it cancelled that thread. It ends by itself some milliseconds later.
    const bool isServerDead = !MayJackServerBeThere();
    const auto isTelling = [this, isServerDead] {
        const pid_t messenger = mMessenger.load();
        return messenger != 0 ? IsAlive(messenger) : isServerDead;
    };
    for (int attempt = 0; attempt < kGraphAttempts && isTelling(); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    jack_client_close(mClient);
}

bool JackClient::Activate()
{
    jack_client_t* client = mClient;
    jack_set_process_callback(
        client,
        [](jack_nframes_t frames, void* self) {
            Callback(self)->Process(frames);
            return 0;
        },
        this);
    // JACK calls the one with more to tell, PipeWire only the plain one
    jack_on_shutdown(
        client, [](void* self) { Callback(self)->OnGone(); }, this);
    jack_on_info_shutdown(
        client, [](jack_status_t, const char*, void* self) { Callback(self)->OnGone(); }, this);
    jack_set_port_registration_callback(
        client,
        [](jack_port_id_t id, int isThere, void* self) {
            Callback(self)->OnPort(id, isThere != 0);
        },
        this);
    jack_set_client_registration_callback(
        client,
        [](const char*, int, void* self) { Callback(self)->mListener.OnJackPortsChanged(); }, this);
    jack_set_port_rename_callback(
        client,
        [](jack_port_id_t, const char* oldName, const char*, void* self) {
            Callback(self)->OnRenamed(oldName);
        },
        this);
    return jack_activate(client) == 0;
}

void JackClient::OnGone() noexcept
{
    mMessenger.store(gettid());
    mListener.OnJackGone();
}

HostTime JackClient::HostTimeOf(jack_time_t microseconds) const noexcept
{
    return static_cast<HostTime>(
        static_cast<std::int64_t>(microseconds * kNanosPerMicrosecond) + mClockOffset);
}

// ------------------------------------------------------------------ ports of others

// The server tells of a port that ends by its ID. Its name can still be asked for on JACK 2,
// and not elsewhere, where it is known if the port began while we were there.
void JackClient::OnPort(jack_port_id_t id, bool isThere) noexcept
{
    {
        const jack_port_t* port = jack_port_by_id(mClient, id);
        const char* asked = port != nullptr ? jack_port_name(port) : nullptr;
        const std::lock_guard lock(mNamesMutex);
        std::string name = asked != nullptr ? asked : "";
        if (name.empty() && mNamesByID.count(id) > 0)
            name = mNamesByID[id];
        if (isThere) {
            mNamesByID[id] = name;
            mEnding.erase(name);
        } else {
            mNamesByID.erase(id);
            mEnding.insert(name);
            mEnded.insert(name);
        }
    }
    mListener.OnJackPortsChanged();
}

void JackClient::OnRenamed(const char* oldName) noexcept
{
    {
        const std::lock_guard lock(mNamesMutex);
        for (auto& [id, name] : mNamesByID)
            if (name == oldName)
                name = jack_port_name(jack_port_by_id(mClient, id));
    }
    mListener.OnJackPortsChanged();
}

std::set<std::string> JackClient::TakeEndedPorts()
{
    const std::lock_guard lock(mNamesMutex);
    return std::exchange(mEnded, {});
}

// Ports of a client that is closing are announced as ended, and listed for some time still.
std::set<std::string> JackClient::EndingPorts(const char* const* listed)
{
    const std::lock_guard lock(mNamesMutex);
    std::set<std::string> stillListed;
    for (; listed != nullptr && *listed != nullptr; ++listed)
        if (mEnding.count(*listed) > 0)
            stillListed.insert(*listed);
    mEnding = stillListed;
    return stillListed;
}

std::vector<JackPort> JackClient::ListPorts()
{
    jack_client_t* client = mClient;
    const std::unique_ptr<const char*[], JackFree> names(
        jack_get_ports(client, nullptr, JACK_DEFAULT_MIDI_TYPE, 0));
    const std::set<std::string> ending = EndingPorts(names.get());
    std::vector<JackPort> ports;
    for (std::size_t index = 0; names && names[index] != nullptr; ++index) {
        const jack_port_t* port = jack_port_by_name(client, names[index]);
        if (port == nullptr || jack_port_is_mine(client, port) != 0
            || ending.count(names[index]) > 0)
            continue;
        const bool sends = (jack_port_flags(port) & JackPortIsOutput) != 0;
        ports.push_back({sends ? Direction::Source : Direction::Destination, NamesOf(port)});
        ports.back().names.fullName = names[index];
    }
    return ports;
}

// ------------------------------------------------------------------ ports of our own

jack_port_t* JackClient::Register(const std::string& portName, unsigned long flags)
{
    jack_client_t* client = mClient;
    const std::string owner = jack_get_client_name(client);
    const std::string name = AcceptablePortName(owner, portName);
    jack_port_t* port = nullptr;
    // Names are unique within a client.
    for (int attempt = 1; port == nullptr && attempt < 100; ++attempt) {
        const std::string wanted = attempt > 1 ? name + " " + std::to_string(attempt) : name;
        port = jack_port_register(client, wanted.c_str(), JACK_DEFAULT_MIDI_TYPE, flags, 0);
        std::string taken = owner;
        taken.append(":").append(wanted);
        if (port == nullptr && jack_port_by_name(client, taken.c_str()) == nullptr)
            break; // refused for another reason
    }
    return port;
}

void JackClient::Withdraw(std::atomic<jack_port_t*>& place)
{
    jack_port_t* port = place.exchange(nullptr);
    mProcessGate.WaitForPass();
    if (port != nullptr)
        jack_port_unregister(mClient, port);
}

// A connection counts from the server's next cycle on, and what is sent before that is lost:
// so this returns when it counts.
bool JackClient::Connect(jack_port_t* ours, const std::string& other)
{
    const std::string own = jack_port_name(ours);
    const bool isSending = (jack_port_flags(ours) & JackPortIsOutput) != 0;
    const std::string& from = isSending ? own : other;
    const std::string& to = isSending ? other : own;
    if (jack_connect(mClient, from.c_str(), to.c_str()) != 0)
        return false;
    for (int attempt = 0; attempt < kGraphAttempts; ++attempt) {
        if (jack_port_connected_to(ours, other.c_str()) != 0)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true; // a server that stands still
}

JackPlace JackClient::AddInput(const std::string& portName, EndpointKey origin)
{
    const auto place = std::find_if(mInputs.begin(), mInputs.end(),
        [](const Input& input) { return input.port.load() == nullptr; });
    jack_port_t* port = place != mInputs.end() ? Register(portName, JackPortIsInput) : nullptr;
    if (port == nullptr)
        return {};
    place->origin = origin;
    place->port.store(port);
    return {static_cast<std::uint32_t>(place - mInputs.begin()), 0};
}

bool JackClient::ConnectInput(JackPlace place, const std::string& from)
{
    return Connect(mInputs[place.index].port.load(), from);
}

void JackClient::RemoveInput(JackPlace place)
{
    if (place.IsValid())
        Withdraw(mInputs[place.index].port);
}

JackPlace JackClient::AddOutput(const std::string& portName)
{
    const auto place = std::find_if(mOutputs.begin(), mOutputs.end(),
        [](const Output& output) { return output.port.load() == nullptr; });
    jack_port_t* port = place != mOutputs.end() ? Register(portName, JackPortIsOutput) : nullptr;
    if (port == nullptr)
        return {};
    place->serial.store(++mSerials);
    place->port.store(port);
    return {static_cast<std::uint32_t>(place - mOutputs.begin()), place->serial.load()};
}

bool JackClient::ConnectOutput(JackPlace place, const std::string& to)
{
    return Connect(mOutputs[place.index].port.load(), to);
}

void JackClient::RemoveOutput(JackPlace place)
{
    if (place.IsValid() && mOutputs[place.index].serial.load() == place.serial)
        Withdraw(mOutputs[place.index].port);
}

// ------------------------------------------------------------------ the process callback

void JackClient::Process(jack_nframes_t frames) noexcept
{
    if (frames == 0)
        return;
    const Pass pass(mProcessGate);
    Cycle cycle(*this, frames);
    mPeriod.store(cycle.Length(), std::memory_order_relaxed);
    for (Output& output : mOutputs) {
        jack_port_t* port = output.port.load();
        output.buffer = port != nullptr ? jack_port_get_buffer(port, frames) : nullptr;
        if (output.buffer != nullptr)
            jack_midi_clear_buffer(output.buffer);
    }
    mHost.CountFlushed(mOutbox.Write(cycle));

    bool hasReceived = false;
    for (Input& input : mInputs)
        if (jack_port_t* port = input.port.load())
            hasReceived |= ReadInput(input.origin, jack_port_get_buffer(port, frames), cycle);
    if (hasReceived)
        mHost.Wake();
}

bool JackClient::ReadInput(EndpointKey origin, void* buffer, const Cycle& cycle) noexcept
{
    const std::uint32_t events = jack_midi_get_event_count(buffer);
    for (std::uint32_t index = 0; index < events; ++index) {
        jack_midi_event_t event{};
        if (jack_midi_event_get(&event, buffer, index) != 0)
            continue;
        if (!StoreEvent(origin, cycle.TimeAt(event.time), event.buffer, event.size))
            mHost.CountDropped(1);
    }
    return events > 0;
}

// All of the event or nothing: half a SysEx would be worse than none.
bool JackClient::StoreEvent(
    EndpointKey origin, HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept
{
    const std::size_t parts = (length + kMaxPieceBytes - 1) / kMaxPieceBytes;
    if (mReceived.write_available() < parts)
        return false;
    while (length > 0) {
        Received part;
        part.origin = origin;
        part.time = time;
        part.length = static_cast<std::uint16_t>(PieceLength(bytes, length));
        std::memcpy(part.bytes.data(), bytes, part.length);
        mReceived.push(part);
        bytes += part.length;
        length -= part.length;
    }
    return true;
}

// ------------------------------------------------------------------ the receive thread

void JackClient::Receive(DriverHost& host) noexcept
{
    mReceived.consume_all([&host](const Received& part) {
        host.OnReceived(0, part.origin, 0, part.time, part.bytes.data(), part.length);
    });
}

} // namespace midiservice
