// What happens inside the deck, for whoever shows it: one queue from all the
// threads that may not wait to one that may.

#pragma once

#include "deck/host/MMCWatch.h"
#include "deck/transport/BoundedQueue.h"
#include "deck/transport/TransportSink.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <variant>

namespace deck::host {

struct CallEvent {
    HostCall call;
};
struct OutcomeEvent {
    HostCall call;
    CallOutcome outcome = CallOutcome::Done;
};
struct StateEvent {
    TransportState state = TransportState::Stopped;
    bool isRecording = false;
};
struct LocatedEvent {
    Position position;
};
struct PositionEvent {
    Position position;
};
struct TakeEvent {
    Take take;
};
/// An MMC message came in, for the surface of that number.
struct MMCEvent {
    RawMMC message;
    std::uint8_t surface = 0;
};
/// A message of MTC goes out, or came out where the deck itself listens.
struct MTCEvent {
    std::uint8_t length = 0;
    std::array<std::uint8_t, 16> bytes{};
    std::chrono::nanoseconds due{0}; // on the host's clock; zero is at once
};

struct DeckEvent {
    std::uint64_t time = 0; // host time
    std::variant<CallEvent,
        OutcomeEvent,
        StateEvent,
        LocatedEvent,
        PositionEvent,
        TakeEvent,
        MMCEvent,
        MTCEvent>
        what;
};

class DeckEvents final : public TransportSink {
public:
    /// Throws std::system_error where the system has no more descriptors.
    DeckEvents();
    ~DeckEvents() override;
    DeckEvents(const DeckEvents&) = delete;
    DeckEvents& operator=(const DeckEvents&) = delete;

    /// Readable after an event or a `Wake`, until `Clear`. [host]
    int Descriptor() const noexcept { return mDescriptor; }
    /// Call it before the events are taken out. [host]
    void Clear() noexcept;
    /// [host]
    std::optional<DeckEvent> TryPop() noexcept { return mQueue->TryPop(); }

    /// A full queue drops the event and counts it. [any thread, real-time]
    template <typename Event> void Push(const Event& event) noexcept
    {
        PushEvent(DeckEvent{Now(), event});
    }
    /// [any thread, real-time]
    void Wake() noexcept;
    /// Events dropped because nobody took them out. [any thread, real-time]
    std::uint64_t Dropped() const noexcept { return mDropped.load(); }

    void OnCall(const HostCall& call) override { Push(CallEvent{call}); }
    void OnOutcome(const HostCall& call, CallOutcome outcome) override
    {
        Push(OutcomeEvent{call, outcome});
    }
    void OnState(TransportState state, bool isRecording) override
    {
        Push(StateEvent{state, isRecording});
    }
    void OnLocated(const Position& position) override { Push(LocatedEvent{position}); }
    void OnPosition(const Position& position) override { Push(PositionEvent{position}); }
    void OnTake(const Take& take) override { Push(TakeEvent{take}); }

private:
    static std::uint64_t Now() noexcept;
    void PushEvent(const DeckEvent& event) noexcept;

    using Queue = BoundedQueue<DeckEvent, 4096>;

    std::unique_ptr<Queue> mQueue;
    std::atomic<std::uint64_t> mDropped{0};
    std::atomic<bool> mIsWoken{false}; // set by whoever wakes, reset by Clear
    int mDescriptor = -1;
};

} // namespace deck::host
