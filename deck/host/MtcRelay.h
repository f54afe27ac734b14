// An output of the deck's own for the plug-in, inside the process: what arrives
// there goes on to the user's port, each quarter frame at its moment.

#pragma once

#include "deck/host/MidiPorts.h"
#include "deck/protocol/MtcPacer.h"

#include <atomic>
#include <optional>

namespace deck::host {

class MtcRelay final : private MtcOutput {
public:
    /// Throws HostError. [host, may block]
    explicit MtcRelay(const MtcPacerOptions& options);
    /// [host, may block]
    ~MtcRelay() override;
    MtcRelay(const MtcRelay&) = delete;
    MtcRelay& operator=(const MtcRelay&) = delete;

    /// What the plug-in is to send to. [host]
    MIDIUniqueID InletID() const;

    /// The user's port, whether it is there or not: it is taken when it comes. [host, may block]
    void SetDestination(std::optional<MIDIUniqueID> id);

    MtcPacer& Pacer() noexcept { return mPacer; }

    /// Messages handed to the user's port. [any thread]
    std::uint64_t Sent() const noexcept { return mSent.load(); }
    /// Messages that it did not take. [any thread]
    std::uint64_t Refused() const noexcept { return mRefused.load(); }

private:
    // MtcOutput [receive, real-time]
    void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept override;
    void Flush() noexcept override;

    static void OnPackets(const MIDIPacketList* packets, void* self, void*);
    void FindDestination();

    MtcPacer mPacer;
    std::atomic<std::int64_t> mWanted{kNoPort};   // a unique ID
    std::atomic<MIDIEndpointRef> mDestination{0}; // where it is there
    std::atomic<std::uint64_t> mSent{0};
    std::atomic<std::uint64_t> mRefused{0};
    MIDIPortRef mPort = 0;
    MIDIEndpointRef mInlet = 0;
    MidiClient mClient; // last: its callbacks use all of the above

    static constexpr std::int64_t kNoPort = std::int64_t{1} << 40; // no ID has more than 32 bits
};

} // namespace deck::host
