// Gives MTC its rhythm back: the plug-in sends the four quarter frames of a frame at
// once, a machine that follows needs them a quarter of a frame apart.
//
// What such a machine computes: piece 0 leaves at the moment of the frame F that all
// eight pieces tell, so with piece 7 it is F and seven quarters, and with the next
// piece 0 it is F + 2. Every machine therefore agrees with the picture, whichever
// piece it takes its time from, when piece p of F leaves at the moment of F plus p
// quarters of a frame. In a burst pieces 4 to 7 leave at F + 1: three quarters of a
// frame too early for whoever looks at piece 7.
//
// A time that has passed cannot be met. So the deck reports each frame Lead() before
// its moment, and what a stop or a locate overtakes is flushed. The wire stays aligned
// with the picture: the lead delays no piece, only the start of a run, by Lead() and at
// most two frames.

#pragma once

#include "deck/protocol/MTC.h"

#include <atomic>

namespace deck {

/// Where the pacer's packets go.
class MtcOutput {
public:
    virtual ~MtcOutput() = default;
    /// `time` zero means at once, and so does one that has passed. Times do not decrease between
    /// two calls of Flush. `bytes` are lent for the call. [receive, real-time]
    virtual void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept = 0;
    /// Drops what is scheduled and not sent yet. [receive, real-time]
    virtual void Flush() noexcept = 0;
};

struct MtcPacerOptions {
    bool enabled = true; // else bursts pass as they are
    /// Moves the quarter frames against the picture; negative is earlier. Up to a second.
    std::chrono::nanoseconds offset{0};
    /// How long before its time a packet has to be handed to the output: the period of a JACK
    /// server, the latency of a sequencer queue.
    std::chrono::nanoseconds outputLatency{5'000'000};
    /// How long a message takes from the deck's call through the plug-in to OnMessage, at most,
    /// lateness of the calling thread included.
    std::chrono::nanoseconds delivery{10'000'000};
};

/// Counts since the beginning. [any thread]
struct MtcPacerCounts {
    std::uint64_t paced = 0;           // quarter frames with a time of their own
    std::uint64_t late = 0;            // quarter frames whose time had passed when they came
    std::uint64_t unmatched = 0;       // sent at once, because nobody reported their frame
    std::uint64_t orphaned = 0;        // dropped: the first half of their cycle never came
    std::uint64_t fullFramesAdded = 0; // where the plug-in's own was missing
    std::chrono::nanoseconds mostLate{0};
};

/// Report, Restart and TakeTuning belong to one thread, OnMessage to another; neither waits for the
/// other. All times are host times in nanoseconds.
class MtcPacer {
public:
    MtcPacer(const MtcPacerOptions& options, MtcOutput& output);
    MtcPacer(const MtcPacer&) = delete;
    MtcPacer& operator=(const MtcPacer&) = delete;

    /// How long before its moment the deck should report a frame; 0 when pacing is off.
    /// [any thread]
    std::chrono::nanoseconds Lead() const noexcept;

    /// Other values of these two options. They hold from TakeTuning on; of several calls until
    /// then the last one counts. [any thread, real-time]
    void Tune(bool isEnabled, std::chrono::nanoseconds offset) noexcept;
    /// Takes over what Tune was given, once what the plug-in has begun is out: until then Report
    /// begins no cycle, so that nothing scheduled is lost, and nothing overtakes it. True when that
    /// has ended a run: the deck must now call GotoSMPTETime, since what follows is elsewhere.
    /// Before each Report. [transport, real-time]
    bool TakeTuning(std::chrono::nanoseconds now) noexcept;

    /// At normal speed, once a frame in order: frame `frame` has its moment at `moment`. True when
    /// the deck must now call TransmitFullFrame for it; false when the frame is to be left out,
    /// because a run begins on an even frame that can still be on time. A caller who is always
    /// late gets late MTC after a few frames, not none. [transport, real-time]
    bool Report(FrameNumber frame,
        FrameRate rate,
        std::chrono::nanoseconds moment,
        std::chrono::nanoseconds now) noexcept;
    /// After a locate, a stop, each full frame at other than normal speed and a new connection:
    /// the plug-in's next quarter frames begin a cycle. [transport, real-time]
    void Restart() noexcept;

    /// A message from the plug-in, as it arrives. [receive, real-time]
    void OnMessage(ByteView bytes, std::chrono::nanoseconds arrival) noexcept;

    MtcPacerCounts Counts() const noexcept;

private:
    using Time = std::chrono::nanoseconds;

    // Both in one word, so that no thread sees one without the other
    struct Tuning {
        std::int32_t offsetNanos = 0;
        std::int32_t isEnabled = 0;

        bool operator==(const Tuning&) const = default;
    };
    static_assert(std::atomic<Tuning>::is_always_lock_free);
    static Tuning MakeTuning(bool isEnabled, Time offset) noexcept;

    struct Cycle {
        FrameNumber frame = 0;
        FrameRate rate;
        Time moment{0};
    };

    bool IsEnabled() const noexcept;
    Time Offset() const noexcept;
    bool HoldsBack() const noexcept;
    bool GoesOnSeamlessly(const Cycle& next) const noexcept;
    bool MayPace(const Cycle& next, Time now) noexcept;
    bool ContinuesRun(const Cycle& next) const noexcept;
    bool MayBegin(const Cycle& first, Time now) noexcept;
    bool TryPush(const Cycle& cycle) noexcept;

    void OnFullFrame(ByteView bytes, Time arrival) noexcept;
    void OnQuarterFrame(ByteView bytes, Time arrival) noexcept;
    bool IsOfCycle(int piece, std::uint8_t data) const noexcept;
    bool TryBeginCycle(int piece, std::uint8_t data, Time arrival) noexcept;
    void Introduce(const Cycle& cycle, Time arrival) noexcept;
    void SendAtItsTime(ByteView bytes, int piece, Time arrival) noexcept;
    void FlushScheduled(Time arrival) noexcept;

    static constexpr std::uint32_t kCapacity = 64;

    const Time mOutputLatency;
    const Time mDelivery;
    MtcOutput& mOutput;

    std::atomic<Tuning> mWanted; // written by whoever tunes
    std::atomic<Tuning> mTuning; // what holds; written by the reporting thread only

    // Written by the reporting thread only
    bool mIsRunning = false;
    bool mWantsSecondHalf = false; // which half of a cycle the plug-in sends with the next call
    Cycle mLastReport;
    int mRefusedStarts = 0;
    Time mOutUntil{0};              // something of the last accepted report may be on its way
    bool mComesAfterTuning = false; // what begins next

    // From the reporting thread to the receiving one
    std::array<Cycle, kCapacity> mReports{};
    std::atomic<std::uint32_t> mPushed{0}; // written by the reporting thread only
    std::atomic<std::uint32_t> mPopped{0}; // written by the receiving thread only

    // Written by the receiving thread only
    std::optional<Cycle> mCycle;
    std::optional<Cycle> mLastCycle; // stays when mCycle ends
    Tuning mLastTuning;              // of mLastCycle
    int mLastPiece = kMtcPieces - 1;
    bool mPassesUnmatched = false;
    bool mHasFullFrame = false; // sent after the last quarter frame
    Time mScheduledUntil{0};    // no quarter frame leaves earlier

    std::atomic<std::uint64_t> mPaced{0};
    std::atomic<std::uint64_t> mLate{0};
    std::atomic<std::uint64_t> mUnmatched{0};
    std::atomic<std::uint64_t> mOrphaned{0};
    std::atomic<std::uint64_t> mFullFramesAdded{0};
    std::atomic<std::int64_t> mMostLate{0};
};

} // namespace deck
