// Lets writers replace what one real-time thread reads, without that thread ever waiting:
// the reader marks each pass, and a writer that has published something new waits until the
// pass that may still see the old is over.

#pragma once

#include <atomic>
#include <cstdint>

namespace midiservice {

class PassGate {
public:
    // The default memory order throughout: a writer's store of the new pointer, then its load
    // of the count, must not pass the reader's store of the count, then its load of the pointer.

    /// [the reading thread, real-time]
    void Enter() noexcept { mCount.fetch_add(1); }
    void Leave() noexcept
    {
        mCount.fetch_add(1);
        mCount.notify_all(); // no system call unless somebody waits
    }

    /// On return every pass that was under way at the call is over. [host, may block]
    void WaitForPass() const noexcept
    {
        const std::uint32_t count = mCount.load();
        if (count % 2 == 1)
            mCount.wait(count);
    }

private:
    std::atomic<std::uint32_t> mCount{0}; // odd during a pass; written by the reader only
};

/// A pass, for as long as this object lives.
class Pass {
public:
    explicit Pass(PassGate& gate) noexcept
        : mGate(gate)
    {
        mGate.Enter();
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    ~Pass() { mGate.Leave(); }

private:
    PassGate& mGate;
};

} // namespace midiservice
