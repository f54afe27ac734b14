// Judges a stream of MIDI Time Code, anybody's: can a machine lock to it, and if
// not, what is wrong with it and when.

#pragma once

#include "deck/protocol/JitterHistogram.h"
#include "deck/protocol/MTC.h"
#include "deck/protocol/MidiStream.h"
#include "deck/protocol/PieceSequence.h"

namespace deck {

enum class MtcDefect : std::uint8_t {
    kMissingPiece,
    kRepeatedPiece,
    kPieceOrder,
    kUnlatched,
    kOddStart,
    kRateChange,
    kRateMismatch,
    kGap,
    kJump,
    kNoFullFrame,
    kFullFrameWhileRunning,
    kImpossibleTime,
    kJitter,
    kNotWhole
};
inline constexpr std::size_t kMtcDefectCount = 14;

/// "missing-piece" and its like: stable, for programs.
std::string_view NameOf(MtcDefect defect) noexcept;
/// What the defect does to a machine that follows the stream.
std::string_view MeaningOf(MtcDefect defect) noexcept;

struct MtcFinding {
    MtcDefect defect = MtcDefect::kMissingPiece;
    std::chrono::nanoseconds time{0};
    std::string text; // what was seen
};

enum class MtcVerdict : std::uint8_t {
    kNothing, // no quarter frames to judge
    kSound,
    kDefective
};
std::string_view NameOf(MtcVerdict verdict) noexcept;

struct MtcReport {
    MtcVerdict verdict = MtcVerdict::kNothing;
    std::vector<MtcFinding> findings;                     // the first of them, in order of time
    std::array<std::uint64_t, kMtcDefectCount> defects{}; // all of them, by defect
    std::uint64_t findingCount = 0;

    std::uint64_t quarterFrames = 0;
    std::uint64_t fullFrames = 0;
    std::uint64_t otherMessages = 0;
    std::uint64_t cycles = 0; // eight pieces that told a position
    std::uint64_t runs = 0;   // begun after silence or a full frame
    std::chrono::nanoseconds begin{0};
    std::chrono::nanoseconds end{0};
    std::optional<MtcTime> first; // position of the first and the last cycle
    std::optional<MtcTime> last;
    MtcDirection direction = MtcDirection::kUnknown;

    std::optional<double> fps;             // as measured, over all whole cycles
    double speed = 0;                      // fps as a multiple of what the rate code says
    std::chrono::nanoseconds jitterP50{0}; // of the distance between quarter frames
    std::chrono::nanoseconds jitterP99{0};
    std::chrono::nanoseconds jitterMax{0};
};

struct MtcCheckerOptions {
    std::chrono::nanoseconds jitterLimit{4'000'000}; // of the 99th percentile
    std::chrono::nanoseconds stopAfter{500'000'000}; // silence that ends a run
    std::size_t maxFindings = 200;                   // that are kept with their texts
};

/// Feed it bytes as they come, in any chunks; time must not run backwards.
/// Memory does not grow with the stream. [one thread at a time]
class MtcChecker : private PieceSequence::Listener {
public:
    explicit MtcChecker(const MtcCheckerOptions& options = {});
    MtcChecker(const MtcChecker&) = delete;
    MtcChecker& operator=(const MtcChecker&) = delete;

    void Feed(ByteView bytes, std::chrono::nanoseconds time);
    /// Judges what was fed so far; more may follow.
    MtcReport Report() const;

private:
    using Time = std::chrono::nanoseconds;

    struct Position {
        FrameNumber frame = 0;
        Time time{0};
    };

    void OnInOrder(const MtcPiece& piece, bool follows, bool onTime) override;
    void OnTurned() override;
    void OnDisorder(PieceDisorder disorder, const MtcPiece& at, std::string text) override;

    void OnEvent(const MidiEvent& event);
    void OnFullFrame(const MtcTime& time, Time at);
    void OnPiece(const MtcPiece& piece);
    void FollowRun(const MtcPiece& piece);
    void ResumeAfterFullFrame(const MtcPiece& piece);
    void BeginRun(const MtcPiece& piece);
    void CompleteCycle();
    FrameNumber CheckPosition(FrameNumber frame);
    void CheckStart(FrameNumber frame);
    FrameNumber CheckContinuity(FrameNumber frame);
    bool IsPlausible(FrameNumber frame) const;
    bool IsUnlatched(FrameNumber expected) const;
    bool CheckTime(const MtcTime& time, std::string_view what, Time at);
    void MeasureCycle();
    void CheckMeasuredRate(MtcReport& report) const;
    void CheckJitter(MtcReport& report) const;
    void Find(MtcDefect defect, Time at, std::string text);
    void Add(MtcReport& report, MtcFinding finding) const;

    FrameRate CountingRate() const;
    Time QuarterFrameTime() const;
    FrameNumber FramesFrom(FrameNumber from, FrameNumber to) const;
    FrameNumber NextFrame() const;

    MtcCheckerOptions mOptions;
    MidiStream mStream;
    PieceSequence mSequence;
    MtcReport mReport; // without what Report() works out
    bool mHasEvents = false;

    bool mIsRunning = false;
    Time mLastPieceTime{0};
    Time mLastInOrderTime{0};
    int mInOrder = 0; // pieces without a loss, at most a cycle
    std::array<std::uint8_t, kMtcPieces> mNibbles{};
    Time mCycleBegin{0};

    std::optional<std::uint8_t> mRateCode;
    bool mRateChanged = false;
    std::optional<Position> mFullFrame;    // since the last quarter frame
    std::optional<Position> mRunFullFrame; // before the first quarter frame of this run
    std::optional<Position> mLastCycle;
    bool mIsContinuous = false;      // nothing was lost since mLastCycle
    bool mIsFirstCycle = true;       // of this run
    bool mFollowsSeamlessly = false; // this run began where the last one would have gone on

    std::optional<Time> mMeasureFrom;
    Time mMeasuredTime{0};
    std::uint64_t mMeasuredCycles = 0;
    JitterHistogram mJitter;
    std::uint64_t mBurstIntervals = 0; // far shorter than they should be
    std::optional<Time> mFirstJitter;
};

/// The report for people, several lines.
std::string FormatMtcReport(const MtcReport& report);
/// The report as one JSON object; times in seconds since the first message.
std::string FormatMtcReportJson(const MtcReport& report);

} // namespace deck
