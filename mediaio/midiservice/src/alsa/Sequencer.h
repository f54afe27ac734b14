// One open client of ALSA's sequencer: its handle, its ports, its subscriptions.

#pragma once

#include <alsa/asoundlib.h>

#include <cstdint>
#include <memory>
#include <string>

namespace midiservice::alsa {

/// Where a port is now. The system hands these numbers out anew after every replug.
struct Address {
    std::uint8_t client = 0;
    std::uint8_t port = 0;

    friend bool operator==(Address a, Address b)
    {
        return a.client == b.client && a.port == b.port;
    }
    std::uint16_t Packed() const noexcept { return static_cast<std::uint16_t>(client << 8 | port); }
    static Address Unpacked(std::uint16_t packed) noexcept
    {
        return {static_cast<std::uint8_t>(packed >> 8), static_cast<std::uint8_t>(packed)};
    }
};

/// A client or port name as the sequencer keeps it: cut to what fits, in whole characters.
std::string SequencerName(const std::string& name);

/// Requests (ports, subscriptions) may come from any thread; events are read and written by
/// one thread. Nothing here waits for other programs.
class Sequencer {
public:
    /// Null when the sequencer cannot be opened; `error` then holds errno's value.
    /// [host, may block]
    static std::unique_ptr<Sequencer> Open(const std::string& name, int& error);

    Sequencer(const Sequencer&) = delete;
    Sequencer& operator=(const Sequencer&) = delete;
    ~Sequencer();

    std::uint8_t Client() const noexcept { return mClient; }
    int Descriptor() const noexcept { return mDescriptor; }
    snd_seq_t* Handle() const noexcept { return mHandle; }

    /// The port's number, or -1. [host, may block]
    int CreatePort(const std::string& name, unsigned capabilities, unsigned type);
    void DeletePort(int port);

    /// True also when the subscription is there already. [host, may block]
    bool Subscribe(Address from, Address to);
    void Unsubscribe(Address from, Address to);

    /// The next event; null when there is none. `lost` is set when the kernel had no room and
    /// dropped events. The event is valid until the next call. [receive, real-time]
    const snd_seq_event_t* TryRead(bool& lost) noexcept;

    /// Whether TryRead has more without asking the kernel. [receive, real-time]
    bool HasMore() const noexcept { return snd_seq_event_input_pending(mHandle, 0) > 0; }

    /// Whether everyone who is subscribed to the port has room for an event with so many bytes
    /// of data. [receive, real-time]
    bool HaveSubscribersRoom(int port, std::size_t bytes) const noexcept;

    /// 0, or a negative errno's value when the event is dropped. [receive, real-time]
    int TryWrite(snd_seq_event_t& event) noexcept;

private:
    explicit Sequencer(snd_seq_t* handle);
    void ReserveOutput();

    snd_seq_t* mHandle;
    std::uint8_t mClient = 0;
    int mDescriptor = -1;
};

} // namespace midiservice::alsa
