// The one interface between the service and what carries MIDI outside the process.
//
// The service owns clients, ports, endpoints, handles, unique IDs, time stamps, SysEx
// assembly and the threads that call clients. It also delivers everything that stays inside
// the process, so a driver sees other programs' and the hardware's endpoints only, and
// carries the endpoints that this process publishes to the outside.
//
// Locks: the service may hold its own lock while it calls a [host, may block] method. A
// driver therefore calls DriverHost::OnEndpointsChanged and OnStateChanged while it holds
// none of its own locks, and never from within one of its [host, may block] methods except
// Start. It must never wait for the receive thread.

#pragma once

#include "mediaio/midiservice/src/HostTime.h"
#include "mediaio/midiservice/src/UniqueID.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace midiservice {

/// Names one appearance of an endpoint. For endpoints outside this process the driver picks
/// it: not 0, below kFirstVirtualKey, and a new one when the endpoint went and came back.
/// For virtual endpoints the service picks it, from kFirstVirtualKey upwards.
using EndpointKey = std::uint64_t;
constexpr EndpointKey kFirstVirtualKey = EndpointKey{1} << 63;

/// Name a MIDI client and a port of this process; 0 is none. Picked by the service.
using ClientKey = std::uint32_t;
using PortKey = std::uint32_t;

/// A message or SysEx piece handed to a driver is at most this long.
constexpr std::size_t kMaxPieceBytes = 256;

/// An endpoint outside this process.
struct EndpointFacts {
    EndpointKey key = 0;
    std::string name;        // UTF-8, the port alone
    std::string displayName; // UTF-8, what a user picks by; unique where the system's is
    IdentityFacts identity;  // `identity.direction` tells a source from a destination
};

enum class DriverState : std::uint8_t { Running, Waiting };

/// What the bytes handed over are.
enum class Piece : std::uint8_t {
    Message,    // one whole message with its status byte, or one SysEx from F0 to F7
    SysExFirst, // the beginning of a SysEx of more than kMaxPieceBytes
    SysExMiddle,
    SysExLast, // its end; no F7 where the sender broke off
    Loose,     // bytes that are no message: data bytes without a status, a broken-off SysEx
};

/// One message on its way out. `bytes` is valid during the call only.
struct OutgoingMessage {
    PortKey port = 0;         // the output port it was sent through; 0 from a virtual source
    EndpointKey endpoint = 0; // a destination outside, or a virtual source of this process
    HostTime time = 0;        // when it is due; 0 is at once
    const std::uint8_t* bytes = nullptr;
    std::uint16_t length = 0; // 1 to kMaxPieceBytes
    Piece piece = Piece::Message;
    // A driver that holds scheduled messages compares the two again before it sends one:
    // when they differ the message was flushed. `currentEpoch` outlives the driver.
    std::uint32_t epoch = 0;
    const std::atomic<std::uint32_t>* currentEpoch = nullptr;
};

enum class SendResult : std::uint8_t {
    Taken,
    Later,   // no room or not ready: the service keeps the message, in order, and asks again
    Refused, // the endpoint is gone or cannot take it: dropped and counted
};

/// What the service offers to its driver.
class DriverHost {
public:
    virtual ~DriverHost() = default;

    /// All endpoints outside this process that are present now. Those missing vanish, new
    /// keys appear; one setup change follows if anything differs, or the state. [driver, may
    /// block]
    virtual void OnEndpointsChanged(std::vector<EndpointFacts> present) = 0;

    /// `reason` is one line for the user, such as "no JACK server is running". Clients are told of
    /// Running with the endpoints that are reported next, not before. [driver, may block]
    virtual void OnStateChanged(DriverState state, std::string reason) = 0;

    /// Bytes from outside, in any chunking, never mixed between two origins. `origin` is a
    /// source outside, or a virtual destination of this process. `port` is the input port
    /// they are for, or 0 for every port that is connected to the origin. `sender` tells apart
    /// those who send to one virtual destination, where the driver can; else it is 0. Only from
    /// within Driver::Receive. [receive, real-time]
    virtual void OnReceived(PortKey port,
        EndpointKey origin,
        std::uint32_t sender,
        HostTime time,
        const std::uint8_t* bytes,
        std::size_t length) noexcept = 0;

    /// Counts messages that were lost because there was no room. [any thread, real-time]
    virtual void CountDropped(std::size_t messages) noexcept = 0;

    /// Counts messages that were dropped because they were flushed. [any thread, real-time]
    virtual void CountFlushed(std::size_t messages) noexcept = 0;

    /// Has the receive thread call Driver::Receive soon, and offer messages again that were
    /// answered with Later. [any thread, real-time]
    virtual void Wake() noexcept = 0;
};

class Driver {
public:
    Driver() = default;
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;
    virtual ~Driver() = default;

    /// "builtin", "jack", "alsa": what KEL_MIDI_SERVICE calls it. [any thread]
    virtual const char* Name() const noexcept = 0;

    /// Called once, before anything else. Reports the endpoints that are present before it
    /// returns. With `mustRun`, false when the outside cannot be reached now, and the driver
    /// is destroyed; otherwise true, and the driver waits and reports Waiting.
    /// `programName` is the name under which other programs see this process. [host, may block]
    virtual bool Start(DriverHost& host, const std::string& programName, bool mustRun) = 0;

    /// Called once, last; on return the driver calls nothing any more. [host, may block]
    virtual void Stop() = 0;

    // MIDI clients and their ports, for drivers that show each one to the outside.
    // [host, may block]
    virtual void AddClient(ClientKey /*client*/, const std::string& /*name*/) {}
    virtual void RemoveClient(ClientKey /*client*/) {}
    virtual void AddPort(
        PortKey /*port*/, ClientKey /*client*/, bool /*isInput*/, const std::string& /*name*/)
    {
    }
    virtual void RemovePort(PortKey /*port*/) {}

    /// Starts and stops reception of a source outside through an input port. The service
    /// calls each once per port and source, and disconnects before the port goes; also after
    /// the source has vanished. False when the source cannot be reached. [host, may block]
    virtual bool ConnectSource(PortKey port, EndpointKey source) = 0;
    virtual void DisconnectSource(PortKey port, EndpointKey source) = 0;

    /// Publishes an endpoint of this process. Succeeds while the outside is not there, and
    /// publishes it then when it comes. True when other programs can ever see it.
    /// [host, may block]
    virtual bool AddVirtual(
        EndpointKey key, ClientKey client, Direction direction, const std::string& name)
        = 0;
    virtual void RemoveVirtual(EndpointKey key) = 0;

    /// The facts by which other programs know a virtual endpoint of this process.
    /// [host, may block]
    virtual IdentityFacts VirtualIdentity(
        ClientKey client, Direction direction, const std::string& name) const = 0;

    /// How long before its time a scheduled message is handed to Send, in nanoseconds; 0 has
    /// the receive thread keep the time itself. [receive, real-time]
    virtual HostTime Lookahead() const noexcept { return 0; }

    /// Takes one message, never waits. [receive, real-time]
    virtual SendResult Send(const OutgoingMessage& message) noexcept = 0;

    /// True while something that Send took and that can still leave has not left.
    /// [host, may block]
    virtual bool HasUnsent() const { return false; }

    /// Drops what Send took for this endpoint and is not due yet, for drivers that hand
    /// scheduled messages on and cannot look at the epochs any more. [receive, real-time]
    virtual void Flush(EndpointKey /*endpoint*/) noexcept {}

    /// A descriptor that turns readable when Receive has something to do, or -1 for a driver
    /// that calls DriverHost::Wake instead. Several are put into one epoll set. [receive]
    virtual int PollDescriptor() const noexcept { return -1; }

    /// Hands over everything that has come in through DriverHost::OnReceived, and returns
    /// without waiting. Called after every wake-up of the receive thread. [receive, real-time]
    virtual void Receive() noexcept = 0;
};

} // namespace midiservice
