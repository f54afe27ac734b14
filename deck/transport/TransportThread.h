// Runs a transport on a thread of its own: commands in through a queue, frames out
// on absolute deadlines.

#pragma once

#include "deck/transport/BoundedQueue.h"
#include "deck/transport/Clock.h"
#include "deck/transport/Transport.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace deck {

/// How late the thread woke for its frames, since it was made.
struct Punctuality {
    std::uint64_t frames = 0;
    std::chrono::nanoseconds worst{0};
    std::chrono::nanoseconds sum{0};

    bool operator==(const Punctuality&) const = default;

    /// "late by 0.06 ms, at most 0.31 ms", or nothing before the first frame.
    std::string Text() const;
};

class TransportThread final : public TransportCommands {
public:
    /// `clock` and the sinks outlive the thread.
    TransportThread(
        const TransportSettings& settings, Clock& clock, std::vector<TransportSink*> sinks);
    /// Stops. [host, may block]
    ~TransportThread() override;

    /// [host, may block]
    void Start();
    /// Ends the thread where it stands; a transport that rolls is brought to rest first. Commands
    /// that wait are carried out before. [host, may block]
    void Stop();

    /// Of several locates that wait one behind the other only the newest is carried out.
    /// [any thread, real-time]
    bool TryPost(const HostCall& call) noexcept override;

    /// See Transport::Tune. [any thread, real-time]
    void Tune(int windSpeed, LocateRate locateRate) noexcept
    {
        mTransport.Tune(windSpeed, locateRate);
    }

    /// Calls refused because the queue was full. [any thread, real-time]
    std::uint64_t RefusedCalls() const noexcept { return mRefused.load(); }
    /// [any thread, real-time]
    Punctuality GetPunctuality() const noexcept;
    /// [host, after Stop]
    const Transport& GetTransport() const noexcept { return mTransport; }

private:
    void Run();
    void CarryOutCalls();
    void NotePunctuality(std::chrono::nanoseconds deadline);

    static constexpr std::size_t kQueueLength = 1024;

    Clock& mClock;
    Transport mTransport; // the thread's own between Start and Stop
    BoundedQueue<HostCall, kQueueLength> mCalls;
    std::atomic<std::uint64_t> mRefused{0};
    std::atomic<bool> mEnds{false};
    // Written by the thread only
    std::atomic<std::uint64_t> mFrames{0};
    std::atomic<std::int64_t> mWorstNanos{0};
    std::atomic<std::int64_t> mSumNanos{0};
    std::thread mThread;
};

} // namespace deck
