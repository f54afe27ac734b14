#include "mediaio/midiservice/src/ReceiveThread.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <system_error>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace midiservice {

namespace {

thread_local const ReceiveThread* sCurrent = nullptr;

constexpr HostTime kNever = ~HostTime{0};
// How long a full driver is left alone before it is asked again.
constexpr HostTime kRetryInterval = 1'000'000;
// Tells what comes from outside from what this process sends, whose keys are handles.
constexpr std::uint64_t kFromOutside = std::uint64_t{1} << 32;

/// A packet list of one packet, as read callbacks want it.
struct OnePacketList {
    MIDIPacketList list;

    OnePacketList(HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept
    {
        list.numPackets = 1;
        list.packet[0].timeStamp = time;
        list.packet[0].length = static_cast<UInt16>(length);
        std::memcpy(list.packet[0].data, bytes, length);
    }
};

void MakeThreadPrompt() noexcept
{
    pthread_setname_np(pthread_self(), "midi receive");
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    // Refused without the permission; the thread then shares the processor like any other.
    sched_param priority{};
    priority.sched_priority = 20;
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
}

} // namespace

/// Hands pieces to the read callbacks of one route.
class ReceiveThread::LocalSink final : public PieceSink {
public:
    LocalSink(ReceiveThread& thread, const Route& route, PortKey port) noexcept
        : mThread(thread)
        , mRoute(route)
        , mPort(port)
    {
    }

    void OnPiece(
        Piece piece, HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept override
    {
        if (piece == Piece::SysExFirst)
            Count(mThread.mCounters.sysExSplit);
        const OnePacketList packets(time, bytes, length);
        for (const auto& receiver : mRoute.receivers)
            if (mPort == 0 || receiver->port == mPort)
                Call(*receiver, packets.list);
    }

private:
    void Call(const Receiver& receiver, const MIDIPacketList& packets) noexcept
    {
        if (!receiver.isLive.load())
            return;
        Count(mThread.mCounters.received);
        receiver.proc(&packets, receiver.readContext, receiver.connectionContext);
    }

    ReceiveThread& mThread;
    const Route& mRoute;
    PortKey mPort;
};

/// Hands messages to the driver, or keeps them where it has no room yet.
class ReceiveThread::DriverSink final : public PieceSink {
public:
    DriverSink(ReceiveThread& thread, const Packet& packet, EndpointKey endpoint) noexcept
        : mThread(thread)
        , mPacket(packet)
        , mEndpoint(endpoint)
    {
    }

    void OnPiece(Piece piece,
        HostTime /*time*/,
        const std::uint8_t* bytes,
        std::size_t length) noexcept override
    {
        Packet message;
        message.time = mPacket.time;
        message.origin = mPacket.origin;
        message.destination = mPacket.destination;
        message.epoch = mPacket.epoch;
        message.length = static_cast<std::uint16_t>(length);
        message.piece = piece;
        std::memcpy(message.bytes.data(), bytes, length);
        if (mThread.mStalled.Has(mEndpoint) || !mThread.Offer(mEndpoint, message))
            mThread.Stall(mEndpoint, message);
    }

private:
    ReceiveThread& mThread;
    const Packet& mPacket;
    EndpointKey mEndpoint;
};

/// Hands an assembler's pieces to local receivers as they are, and cut into messages to the
/// driver.
class ReceiveThread::OutwardSink final : public PieceSink {
public:
    OutwardSink(LocalSink* local, MessageSplitter& splitter, DriverSink& driver) noexcept
        : mLocal(local)
        , mSplitter(splitter)
        , mDriver(driver)
    {
    }

    void OnPiece(
        Piece piece, HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept override
    {
        if (mLocal != nullptr)
            mLocal->OnPiece(piece, time, bytes, length);
        const bool beginsSysEx = bytes[0] == kSysExStart;
        if (piece == Piece::Loose && !beginsSysEx) {
            mSplitter.Feed(time, bytes, length, mDriver);
            return;
        }
        if (beginsSysEx)
            mSplitter.OnSysEx(time, mDriver);
        mDriver.OnPiece(piece, time, bytes, length);
    }

private:
    LocalSink* mLocal;
    MessageSplitter& mSplitter;
    DriverSink& mDriver;
};

ReceiveThread::ReceiveThread(HandleTable& handles)
    : mHandles(handles)
    , mWakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (mWakeDescriptor < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    Publish(std::make_unique<Routes>());
}

ReceiveThread::~ReceiveThread()
{
    Stop();
    close(mWakeDescriptor);
}

void ReceiveThread::Start(Driver& driver)
{
    mDriver = &driver;
    mThread = std::thread([this] { Run(); });
}

void ReceiveThread::Stop()
{
    if (!mThread.joinable())
        return;
    mStop.store(true);
    Wake();
    mThread.join();
}

bool ReceiveThread::IsCurrentThread() const noexcept
{
    return sCurrent == this;
}

void ReceiveThread::Publish(std::unique_ptr<const Routes> routes)
{
    const std::lock_guard lock(mTablesMutex);
    mTables.push_back(std::move(routes));
    mRoutes.store(mTables.back().get());
}

void ReceiveThread::Synchronise()
{
    if (IsCurrentThread())
        return;
    std::vector<std::unique_ptr<const Routes>> replaced;
    {
        const std::lock_guard lock(mTablesMutex);
        const auto current = mTables.end() - 1;
        std::move(mTables.begin(), current, std::back_inserter(replaced));
        mTables.erase(mTables.begin(), current);
    }
    mGate.WaitForPass();
}

void ReceiveThread::Wake() noexcept
{
    mWakes.fetch_add(1);
    if (!mIsAsleep.exchange(false))
        return;
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the thread is awake anyway.
    [[maybe_unused]] const ssize_t written = write(mWakeDescriptor, &one, sizeof one);
}

// ------------------------------------------------------------------ callers' threads

bool ReceiveThread::TrySend(MIDIObjectRef origin,
    MIDIEndpointRef destination,
    const MIDIPacketList& packets,
    Timing timing) noexcept
{
    Packet common;
    common.origin = origin;
    common.destination = destination;
    common.epoch = mHandles.FlushEpoch(EndpointOf(common)).load();
    PacketIndex first = kNoPacket;
    const bool fits = Chain(packets, common, timing, first);
    if (fits && first == kNoPacket)
        return true;
    if (!fits || !mRequests.push({first, 0})) {
        GiveChain(first);
        Count(mCounters.dropped, packets.numPackets);
        return false;
    }
    Wake();
    return true;
}

bool ReceiveThread::Chain(
    const MIDIPacketList& packets, const Packet& common, Timing timing, PacketIndex& first) noexcept
{
    PacketIndex* tail = &first;
    const MIDIPacket* packet = &packets.packet[0];
    for (UInt32 index = 0; index < packets.numPackets; ++index) {
        tail = ChainPacket(*packet, common, timing, tail);
        if (tail == nullptr)
            return false;
        packet = MIDIPacketNext(packet);
    }
    return true;
}

PacketIndex* ReceiveThread::ChainPacket(
    const MIDIPacket& packet, const Packet& common, Timing timing, PacketIndex* tail) noexcept
{
    const HostTime stamp = packet.timeStamp;
    const HostTime now = Now();
    const std::uint8_t* bytes = packet.data;
    for (std::size_t left = packet.length; left > 0;) {
        const PacketIndex index = mPool.TryTake();
        if (index == kNoPacket)
            return nullptr;
        *tail = index;
        Packet& part = mPool[index];
        const std::size_t length = PieceLength(bytes, left);
        part.time = timing == Timing::WhenDue && stamp > now ? stamp : 0;
        part.stamp = stamp != 0 ? stamp : now;
        part.origin = common.origin;
        part.destination = common.destination;
        part.epoch = common.epoch;
        part.next = kNoPacket;
        part.length = static_cast<std::uint16_t>(length);
        std::memcpy(part.bytes.data(), bytes, length);
        tail = &part.next;
        bytes += length;
        left -= length;
    }
    return tail;
}

void ReceiveThread::GiveChain(PacketIndex first) noexcept
{
    while (first != kNoPacket) {
        const PacketIndex next = mPool[first].next;
        mPool.Give(first);
        first = next;
    }
}

void ReceiveThread::Flush(MIDIEndpointRef endpoint) noexcept
{
    mHandles.FlushEpoch(endpoint).fetch_add(1);
    if (mRequests.push({kNoPacket, endpoint}))
        Wake();
}

// ------------------------------------------------------------------ the receive thread

void ReceiveThread::Run() noexcept
{
    sCurrent = this;
    MakeThreadPrompt();
    while (!mStop.load()) {
        const std::uint32_t wakes = mWakes.load();
        TakeRequests();
        mDriver->Receive();
        SendWhatIsDue();
        RetryStalled();
        Sleep(wakes);
    }
}

void ReceiveThread::Sleep(std::uint32_t seenWakes) noexcept
{
    mIsAsleep.store(true);
    // Whoever wakes us from here on sees that we sleep; whoever did before has moved the count.
    if (mWakes.load() == seenWakes) {
        std::array<pollfd, 2> descriptors{
            {{mWakeDescriptor, POLLIN, 0}, {mDriver->PollDescriptor(), POLLIN, 0}}};
        timespec wait{};
        const timespec* timeout = TimeToWait(wait) ? &wait : nullptr;
        ppoll(descriptors.data(), descriptors.size(), timeout, nullptr);
    }
    mIsAsleep.store(false);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(mWakeDescriptor, &count, sizeof count);
}

bool ReceiveThread::TimeToWait(timespec& wait) const noexcept
{
    const HostTime now = Now();
    HostTime until = mStalled.IsEmpty() ? kNever : now + kRetryInterval;
    if (!mSchedule.IsEmpty())
        until = std::min(until, mSchedule.FirstDue());
    if (until == kNever)
        return false;
    const HostTime left = until > now ? until - now : 0;
    wait.tv_sec = static_cast<time_t>(left / kNanosPerSecond);
    wait.tv_nsec = static_cast<long>(left % kNanosPerSecond);
    return true;
}

void ReceiveThread::TakeRequests() noexcept
{
    Request request{};
    while (mRequests.pop(request)) {
        if (request.first != kNoPacket)
            TakePackets(request.first);
        else
            DropFlushed(request.flush);
        SendWhatIsDue();
    }
}

void ReceiveThread::TakePackets(PacketIndex first) noexcept
{
    while (first != kNoPacket) {
        const PacketIndex next = mPool[first].next;
        const Packet& packet = mPool[first];
        if (packet.time != 0) {
            const HostTime lookahead = Lookahead(packet);
            mSchedule.Add(packet.time - std::min(packet.time, lookahead), first);
        } else {
            Emit(packet);
            mPool.Give(first);
        }
        first = next;
    }
}

HostTime ReceiveThread::Lookahead(const Packet& packet) noexcept
{
    const Pass pass(mGate);
    const Route* route = mRoutes.load()->Find(EndpointOf(packet));
    return route != nullptr && route->isOutside ? mDriver->Lookahead() : 0;
}

void ReceiveThread::SendWhatIsDue() noexcept
{
    while (!mSchedule.IsEmpty() && mSchedule.FirstDue() <= Now()) {
        const PacketIndex index = mSchedule.TakeFirst();
        if (IsFlushed(mPool[index]))
            Count(mCounters.flushed);
        else
            Emit(mPool[index]);
        mPool.Give(index);
    }
}

bool ReceiveThread::IsFlushed(const Packet& packet) const noexcept
{
    return packet.time != 0 && mHandles.FlushEpoch(EndpointOf(packet)).load() != packet.epoch;
}

void ReceiveThread::DropFlushed(MIDIEndpointRef endpoint) noexcept
{
    mSchedule.Remove([&](PacketIndex index) { return IsFlushed(mPool[index]); },
        [&](PacketIndex index) {
            Count(mCounters.flushed);
            mPool.Give(index);
        });
    const Pass pass(mGate);
    const Route* route = mRoutes.load()->Find(endpoint);
    if (route != nullptr && route->isOutside)
        mDriver->Flush(route->key);
}

void ReceiveThread::Emit(const Packet& packet) noexcept
{
    const Pass pass(mGate);
    const Route* route = mRoutes.load()->Find(EndpointOf(packet));
    if (route == nullptr) {
        Count(mCounters.refused);
        return;
    }
    OriginState& state = mOrigins.Open({packet.origin, packet.destination});
    LocalSink local(*this, *route, 0);
    if (route->isOutside) {
        DriverSink driver(*this, packet, route->key);
        OutwardSink outward(&local, state.splitter, driver);
        state.assembler.Feed(packet.stamp, packet.bytes.data(), packet.length, outward);
    } else {
        state.assembler.Feed(packet.stamp, packet.bytes.data(), packet.length, local);
    }
    mOrigins.Close(state);
}

void ReceiveThread::OnReceived(PortKey port,
    EndpointKey origin,
    std::uint32_t sender,
    HostTime time,
    const std::uint8_t* bytes,
    std::size_t length) noexcept
{
    const Pass pass(mGate);
    const Route* route = mRoutes.load()->FindKey(origin);
    if (route == nullptr)
        return;
    OriginState& state
        = mOrigins.Open({std::uint64_t{sender} << 32 | port, kFromOutside | route->endpoint});
    LocalSink local(*this, *route, port);
    state.assembler.Feed(time, bytes, length, local);
    mOrigins.Close(state);
}

// True when the message is dealt with, false when it has to be offered again.
bool ReceiveThread::Offer(EndpointKey endpoint, const Packet& message) noexcept
{
    if (IsFlushed(message)) {
        Count(mCounters.flushed);
        return true;
    }
    OutgoingMessage outgoing;
    outgoing.port = message.destination != 0 ? message.origin : 0;
    outgoing.endpoint = endpoint;
    outgoing.time = message.time;
    outgoing.bytes = message.bytes.data();
    outgoing.length = message.length;
    outgoing.piece = message.piece;
    outgoing.epoch = message.epoch;
    outgoing.currentEpoch = &mHandles.FlushEpoch(EndpointOf(message));
    const SendResult result = mDriver->Send(outgoing);
    if (result == SendResult::Taken)
        Count(mCounters.sent);
    // What a virtual source says while nobody outside can hear it is not lost.
    else if (result == SendResult::Refused && message.destination != 0)
        Count(mCounters.refused);
    return result != SendResult::Later;
}

void ReceiveThread::Stall(EndpointKey endpoint, const Packet& message) noexcept
{
    const PacketIndex index = mPool.TryTake();
    if (index != kNoPacket) {
        mPool[index] = message;
        if (mStalled.Add(mPool, endpoint, index))
            return;
        mPool.Give(index);
    }
    Count(mCounters.dropped);
}

void ReceiveThread::RetryStalled() noexcept
{
    mStalled.Retry(mPool, [this](EndpointKey endpoint, PacketIndex index) {
        if (!Offer(endpoint, mPool[index]))
            return false;
        mPool.Give(index);
        return true;
    });
}

} // namespace midiservice
