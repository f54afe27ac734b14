// The bytes of a MIDI stream that are not used up yet, and the system-exclusive messages in them.

#pragma once

#include "kelcore/utility/ByteSequence.h"

#include <cstddef>
#include <optional>

namespace mmc {

/// Finds the first byte of one value in a sequence that grows at its end and is erased from its
/// front, and searches no byte twice for it.
class FirstByteSearch {
public:
    explicit FirstByteSearch(unsigned char wanted) noexcept
        : mWanted(wanted)
    {
    }

    /// Where the first wanted byte stands in `bytes`, or nothing. `bytes` may only have grown
    /// since the last call, or have been erased as `EraseFront` or `Restart` was told.
    std::optional<std::size_t> Find(const kelcore::utility::ByteSequence& bytes) noexcept;

    void EraseFront(std::size_t count) noexcept;
    void Restart() noexcept;

private:
    unsigned char mWanted;
    bool mFound = false;
    std::size_t mSearched = 0; // bytes known not to be wanted; where mFound, the wanted one's place
};

/// The part of an MMC message that commands are read from.
struct MMCMessage {
    unsigned char subId;       // 06, command, or 07, response
    const unsigned char* data; // inside the buffer: valid until it changes
    std::size_t length;        // at least 1
};

/// Keeps bytes in arrival order until a message F0 ... F7 uses them up, without a bound. A flood
/// that never completes a message stays cheap all the same: where too many bytes are held, those go
/// that cannot change what any later byte leads to.
/// [delivery, one thread at a time]
class ReceiveBuffer {
public:
    static constexpr std::size_t kMostIdleBytes = 4096;

    /// Bytes that cannot matter any more may go where more than `mostIdleBytes` (4 at least) are
    /// held.
    explicit ReceiveBuffer(std::size_t mostIdleBytes = kMostIdleBytes) noexcept
        : mMostIdleBytes(mostIdleBytes)
    {
    }

    /// Returns false where memory lacks. The buffer is then empty: what it held may have been the
    /// beginning of a message, and would become another one with the next bytes that fit.
    bool TryAppend(const unsigned char* bytes, std::size_t count) noexcept;

    /// Uses up complete messages, from the oldest on, and calls `handle(MMCMessage)` for each that
    /// is MMC, whatever its device ID. Deliberate: after a message that is not MMC the bytes behind
    /// it wait for the next arrival. So do those behind an F7 that stands before the first F0.
    template <typename Handler> void TakeMessages(Handler handle)
    {
        bool isMMC = true;
        while (isMMC && HasMessage()) {
            const std::optional<MMCMessage> message = FrontMMCMessage();
            isMMC = message.has_value();
            if (isMMC) {
                handle(*message);
            }
            EraseFrontMessage();
        }
    }

    /// Bytes held now. [test]
    std::size_t Size() const noexcept { return mBytes.Size(); }

private:
    void Append(const unsigned char* bytes, std::size_t count);
    void Clear() noexcept;
    bool HasMessage() noexcept;
    std::optional<MMCMessage> FrontMMCMessage() noexcept;
    void EraseFrontMessage() noexcept;
    void DropIdleBytes() noexcept;
    void DropBytesBeforeStart() noexcept;
    void DropForeignData() noexcept;
    std::size_t CountEnds(std::size_t length) noexcept;
    void EraseFront(std::size_t count) noexcept;

    const std::size_t mMostIdleBytes;
    // F7 bytes that arrived before everything in mBytes: each still costs one arrival.
    std::size_t mEndsBefore = 0;
    kelcore::utility::ByteSequence mBytes;
    FirstByteSearch mStart{0xF0};
    FirstByteSearch mEnd{0xF7};
};

} // namespace mmc
