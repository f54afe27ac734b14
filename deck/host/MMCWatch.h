// Looks at what arrives on the port that the plug-in listens to, so that the deck
// can show which commands came even where the plug-in does nothing with them.

#pragma once

#include "deck/host/SourceConnection.h"

#include <array>
#include <cstdint>
#include <functional>

namespace deck::host {

/// One MMC message; a longer one is cut off.
struct RawMMC {
    static constexpr std::size_t kMaxLength = 96;

    std::uint64_t time = 0; // host time of its last byte's arrival
    std::uint8_t length = 0;
    std::array<std::uint8_t, kMaxLength> bytes{};
};

/// Cuts MMC messages (F0 7F .. 06 or 07 .. F7) out of a stream of bytes. Real-time bytes inside are
/// left out; any other status byte ends what was begun.
class MMCSplitter {
public:
    /// True when `byte` completes a message, which is then `Message()` until the next call.
    /// [receive, real-time]
    bool Take(std::uint8_t byte) noexcept;
    const RawMMC& Message() const noexcept { return mMessage; }

private:
    bool IsMMC() const noexcept;

    RawMMC mMessage;
    bool mIsInside = false;
};

/// Follows one source, which may come and go.
class MMCWatch {
public:
    /// `onMessage` runs on the receive thread and must not wait. [host, may block]
    MMCWatch(MidiClient& client, std::function<void(const RawMMC&)> onMessage);
    /// [host, may block]
    ~MMCWatch();
    MMCWatch(const MMCWatch&) = delete;
    MMCWatch& operator=(const MMCWatch&) = delete;

    /// Listens to the source of that ID where it is there, and to nothing where it is not. Call it
    /// again after each setup change. [host, may block]
    void Follow(MIDIUniqueID id);

private:
    static void OnPackets(const MIDIPacketList* packets, void* self, void*);
    void Read(const MIDIPacketList& packets) noexcept;

    std::function<void(const RawMMC&)> mOnMessage;
    MMCSplitter mSplitter; // the receive thread's
    MIDIPortRef mPort;
    SourceConnection mSource;
};

} // namespace deck::host
