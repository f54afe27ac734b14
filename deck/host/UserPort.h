// The port that the user chose for MTC: taken when it is there, waited for when it
// is not.

#pragma once

#include "deck/host/MidiPorts.h"
#include "deck/protocol/MtcPacer.h"

#include <atomic>
#include <optional>

namespace deck::host {

class UserPort final : public MtcOutput {
public:
    /// Throws HostError. [host, may block]
    UserPort();
    UserPort(const UserPort&) = delete;
    UserPort& operator=(const UserPort&) = delete;

    /// [host, may block]
    void Choose(std::optional<MIDIUniqueID> id);
    std::optional<MIDIUniqueID> Chosen() const;

    /// Messages handed to the port. [any thread]
    std::uint64_t Sent() const noexcept { return mSent.load(); }

    // MtcOutput [receive, real-time]
    void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept override;
    void Flush() noexcept override;

private:
    void Find();

    static constexpr std::int64_t kNoPort = std::int64_t{1} << 40; // no ID has more than 32 bits

    std::atomic<std::int64_t> mWanted{kNoPort};   // a unique ID
    std::atomic<MIDIEndpointRef> mDestination{0}; // where it is there
    std::atomic<std::uint64_t> mSent{0};
    MIDIPortRef mPort = 0;
    MidiClient mClient; // last: its callback uses all of the above
};

} // namespace deck::host
