#include "deck/protocol/MtcChecker.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace deck {
namespace {

using Time = std::chrono::nanoseconds;

constexpr int kGapQuarterFrames = 6;
constexpr std::uint64_t kMinMeasuredCycles = 12; // about a second
constexpr std::uint64_t kMinIntervals = 24;
constexpr double kSpeedTolerance = 0.02; // 24 and 25 are 4 % apart

struct DefectFacts {
    std::string_view name;
    std::string_view meaning;
};

constexpr std::array<DefectFacts, kMtcDefectCount> kDefects{{
    {"missing-piece", "the position is not complete; machines freewheel or stop"},
    {"repeated-piece", "machines take it for a change of direction, or start again"},
    {"piece-order", "machines cannot put a position together and wait for the next"},
    {"unlatched",
        "the eight pieces tell different moments; positions jump when a second, minute "
        "or hour turns"},
    {"odd-start",
        "the position changes on odd frames; machines that count on even ones are one "
        "frame off"},
    {"rate-change", "machines stop, or count frames wrong from here on"},
    {"rate-mismatch", "machines run at another speed than the code says, or refuse to lock"},
    {"gap", "machines freewheel, then stop"},
    {"jump", "machines lose lock and have to search"},
    {"no-full-frame", "machines start to roll at the wrong place"},
    {"full-frame-while-running", "machines relocate while they should roll, and lose lock"},
    {"impossible-time", "machines ignore it or go to a wrong place"},
    {"jitter", "machines cannot tell the speed; they stop, or stand off by frames"},
    {"not-whole", "a message was cut on its way; machines ignore it"},
}};

const DefectFacts& FactsOf(MtcDefect defect)
{
    return kDefects[static_cast<std::size_t>(defect)];
}

MtcDefect DefectOf(PieceDisorder disorder)
{
    switch (disorder) {
    case PieceDisorder::kMissing:
        return MtcDefect::kMissingPiece;
    case PieceDisorder::kRepeated:
        return MtcDefect::kRepeatedPiece;
    case PieceDisorder::kOrder:
        break;
    }
    return MtcDefect::kPieceOrder;
}

template <typename... Values> std::string Print(const char* format, Values... values)
{
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

double Millis(Time time)
{
    return static_cast<double>(time.count()) / 1e6;
}
double Seconds(Time time)
{
    return static_cast<double>(time.count()) / 1e9;
}

std::string_view NameOfRateCode(unsigned code)
{
    static constexpr std::array<std::string_view, 4> kNames{"24", "25", "30 drop", "30"};
    return kNames[code & 3];
}

std::string_view NameOf(MtcDirection direction)
{
    static constexpr std::array<std::string_view, 3> kNames{"unknown", "forward", "reverse"};
    return kNames[static_cast<std::size_t>(direction)];
}

/// `fps` as a multiple of the rate that the code stands for, or of the nearer one where it stands
/// for two.
double SpeedAt(double fps, std::uint8_t code)
{
    const double nominal = FrameRate::FromMtcCode(code).NominalFps();
    const double slower = nominal * 1000 / 1001;
    const bool isSlower = code != 1 && std::abs(fps - slower) < std::abs(fps - nominal);
    return fps / (isSlower ? slower : nominal);
}

bool IsMtcBytes(const Bytes& bytes)
{
    if (bytes.front() == kQuarterFrameStatus)
        return true;
    return bytes.size() >= 4 && bytes[0] == 0xF0 && bytes[1] == 0x7F && bytes[3] == 0x01;
}

} // namespace

std::string_view NameOf(MtcDefect defect) noexcept
{
    return FactsOf(defect).name;
}
std::string_view MeaningOf(MtcDefect defect) noexcept
{
    return FactsOf(defect).meaning;
}

std::string_view NameOf(MtcVerdict verdict) noexcept
{
    static constexpr std::array<std::string_view, 3> kNames{"nothing", "sound", "defective"};
    return kNames[static_cast<std::size_t>(verdict)];
}

MtcChecker::MtcChecker(const MtcCheckerOptions& options)
    : mOptions(options)
    , mStream([this](const MidiEvent& event) { OnEvent(event); })
    , mSequence(*this)
{
}

void MtcChecker::Feed(ByteView bytes, std::chrono::nanoseconds time)
{
    mStream.Feed(bytes, time);
}

void MtcChecker::OnEvent(const MidiEvent& event)
{
    if (!mHasEvents)
        mReport.begin = event.time;
    mHasEvents = true;
    mReport.end = event.end;
    if (!event.problem.empty() && IsMtcBytes(event.bytes))
        Find(MtcDefect::kNotWhole, event.time, FormatBytes(event.bytes) + ": " + event.problem);
    else if (event.bytes.front() == kQuarterFrameStatus)
        OnPiece({event.bytes[1] >> 4, static_cast<std::uint8_t>(event.bytes[1] & 15), event.time});
    else if (const auto time = DecodeFullFrame(event.bytes))
        OnFullFrame(*time, event.time);
    else
        ++mReport.otherMessages;
}

void MtcChecker::OnFullFrame(const MtcTime& time, Time at)
{
    ++mReport.fullFrames;
    mFullFrame.reset();
    if (CheckTime(time, "a full frame", at))
        mFullFrame = {*ToFrame(time.timecode, CountingRate()), at};
}

void MtcChecker::OnPiece(const MtcPiece& piece)
{
    ++mReport.quarterFrames;
    const bool isRunning = mIsRunning && piece.time - mLastPieceTime <= mOptions.stopAfter;
    if (!isRunning) {
        mFollowsSeamlessly = false;
        BeginRun(piece);
    } else if (mFullFrame)
        ResumeAfterFullFrame(piece);
    else
        FollowRun(piece);
    mLastPieceTime = piece.time;
    mSequence.Feed(piece);
}

void MtcChecker::FollowRun(const MtcPiece& piece)
{
    const Time silence = piece.time - mLastPieceTime;
    if (silence <= kGapQuarterFrames * QuarterFrameTime())
        return;
    Find(MtcDefect::kGap, mLastPieceTime,
        Print("no quarter frame for %.1f ms, which is the time of %.0f", Millis(silence),
            Millis(silence) / Millis(QuarterFrameTime())));
    mSequence.Begin();
}

/// A full frame came a moment ago. A locate makes the pieces begin anew; if they go on as if
/// nothing had been, it was not one.
void MtcChecker::ResumeAfterFullFrame(const MtcPiece& piece)
{
    const bool isExpected = piece.number == mSequence.Expected();
    const int startPiece = mSequence.IsReverse() ? kMtcPieces - 1 : 0;
    if (isExpected && piece.number != startPiece) {
        Find(MtcDefect::kFullFrameWhileRunning, mFullFrame->time,
            "a full frame between quarter frames that go on");
        mFullFrame.reset();
        return FollowRun(piece);
    }
    mFollowsSeamlessly = isExpected && mLastCycle.has_value();
    BeginRun(piece);
}

void MtcChecker::BeginRun(const MtcPiece& piece)
{
    const bool isStart = piece.number == 0 || piece.number == kMtcPieces - 1;
    if (!isStart && (mReport.runs > 0 || mFullFrame))
        Find(MtcDefect::kPieceOrder, piece.time,
            "the quarter frames begin with piece " + std::to_string(piece.number));
    ++mReport.runs;
    mIsRunning = true;
    mIsFirstCycle = true;
    mRunFullFrame = std::exchange(mFullFrame, std::nullopt);
    mSequence.Begin();
}

void MtcChecker::OnTurned()
{
    mReport.direction = MtcDirection::kReverse;
}

void MtcChecker::OnDisorder(PieceDisorder disorder, const MtcPiece& at, std::string text)
{
    Find(DefectOf(disorder), at.time, std::move(text));
}

void MtcChecker::OnInOrder(const MtcPiece& piece, bool follows, bool onTime)
{
    if (!follows) {
        mInOrder = 0;
        mIsContinuous = false;
        mMeasureFrom.reset();
    }
    if (onTime && mRateCode) {
        const Time interval = piece.time - mLastInOrderTime;
        const Time deviation = interval - QuarterFrameTime();
        mJitter.Add(deviation);
        mBurstIntervals += interval * 4 < QuarterFrameTime();
        if (!mFirstJitter && std::max(deviation, -deviation) > mOptions.jitterLimit)
            mFirstJitter = mLastInOrderTime;
    }
    mLastInOrderTime = piece.time;
    mInOrder = std::min(mInOrder + 1, kMtcPieces);
    mNibbles[static_cast<std::size_t>(piece.number)] = piece.nibble;
    if (piece.number == (mSequence.IsReverse() ? kMtcPieces - 1 : 0))
        mCycleBegin = piece.time;
    if (piece.number == (mSequence.IsReverse() ? 0 : kMtcPieces - 1) && mInOrder == kMtcPieces)
        CompleteCycle();
}

void MtcChecker::CompleteCycle()
{
    const MtcTime time = JoinPieces(mNibbles);
    ++mReport.cycles;
    if (!CheckTime(time, "a position", mCycleBegin)) {
        mLastCycle.reset();
        return;
    }
    if (!mReport.first)
        mReport.first = time;
    mReport.last = time;
    mReport.direction = mSequence.IsReverse() ? MtcDirection::kReverse : MtcDirection::kForward;
    const FrameNumber frame = CheckPosition(*ToFrame(time.timecode, CountingRate()));
    MeasureCycle();
    mLastCycle = {frame, mCycleBegin};
    mIsContinuous = true;
    mIsFirstCycle = false;
}

/// The frame to go on from: what the position should have been where its pieces were mixed up.
FrameNumber MtcChecker::CheckPosition(FrameNumber frame)
{
    if (!mIsFirstCycle)
        return CheckContinuity(frame);
    if (mFollowsSeamlessly && mLastCycle && frame == NextFrame())
        Find(MtcDefect::kFullFrameWhileRunning, mRunFullFrame ? mRunFullFrame->time : mCycleBegin,
            "a full frame between quarter frames that go on");
    else
        CheckStart(frame);
    return frame;
}

void MtcChecker::CheckStart(FrameNumber frame)
{
    const FrameRate rate = CountingRate();
    const auto& known = mRunFullFrame ? mRunFullFrame : mLastCycle;
    if (known && std::abs(FramesFrom(known->frame, frame)) > rate.NominalFps())
        Find(MtcDefect::kNoFullFrame, mCycleBegin,
            "the quarter frames begin at " + FormatFrame(frame, rate)
                + (mRunFullFrame ? ", but the full frame said " : ", without a full frame, after ")
                + FormatFrame(known->frame, rate));
    // A second of 25 frames makes the pieces change between odd and even by itself
    if (rate.NominalFps() % 2 == 0 && frame % 2 != 0)
        Find(MtcDefect::kOddStart, mCycleBegin,
            "piece 0 goes with the odd frame " + FormatFrame(frame, rate));
}

FrameNumber MtcChecker::CheckContinuity(FrameNumber frame)
{
    if (!mLastCycle)
        return frame;
    const FrameRate rate = CountingRate();
    const FrameNumber expected = NextFrame();
    if (frame == expected || (!mIsContinuous && IsPlausible(frame)))
        return frame;
    const std::string text
        = FormatFrame(frame, rate) + " came where " + FormatFrame(expected, rate) + " was due";
    if (mIsContinuous && IsUnlatched(expected)) {
        Find(MtcDefect::kUnlatched, mCycleBegin, text + ": its pieces are of different frames");
        return expected;
    }
    Find(MtcDefect::kJump, mCycleBegin, text);
    return frame;
}

/// After a loss: no farther from the last position than the time that passed allows.
bool MtcChecker::IsPlausible(FrameNumber frame) const
{
    const double frames = Millis(mCycleBegin - mLastCycle->time) / Millis(4 * QuarterFrameTime());
    const auto distance = std::abs(FramesFrom(mLastCycle->frame, frame));
    return static_cast<double>(distance) <= frames * 1.1 + 3;
}

/// True when each piece is right for `expected` or for one of the frames that pass by until the
/// cycle ends.
bool MtcChecker::IsUnlatched(FrameNumber expected) const
{
    const FrameRate rate = CountingRate();
    for (int piece = 0; piece < kMtcPieces; ++piece) {
        bool isRight = false;
        for (int later = 0; later <= 2 && !isRight; ++later) {
            const auto time = MtcTimeOf(expected + (mSequence.IsReverse() ? -later : later), rate);
            const int wanted = EncodeQuarterFrame(time, piece)[1] & 15;
            isRight = wanted == mNibbles[static_cast<std::size_t>(piece)];
        }
        if (!isRight)
            return false;
    }
    return true;
}

/// False when nothing can be counted from `time`.
bool MtcChecker::CheckTime(const MtcTime& time, std::string_view what, Time at)
{
    if (mRateCode && *mRateCode != time.rateCode) {
        Find(MtcDefect::kRateChange, at,
            std::string(what) + " says " + std::string(NameOfRateCode(time.rateCode)) + " after "
                + std::string(NameOfRateCode(*mRateCode)));
        mRateChanged = true;
        mLastCycle.reset();
        mRunFullFrame.reset();
    }
    mRateCode = time.rateCode;
    const std::string problem = DescribeProblem(time.timecode, CountingRate());
    if (!problem.empty())
        Find(MtcDefect::kImpossibleTime, at, std::string(what) + " says " + problem);
    return problem.empty();
}

void MtcChecker::MeasureCycle()
{
    if (mMeasureFrom) {
        mMeasuredTime += mCycleBegin - *mMeasureFrom;
        ++mMeasuredCycles;
    }
    mMeasureFrom = mCycleBegin;
}

MtcReport MtcChecker::Report() const
{
    MtcReport report = mReport;
    report.jitterP50 = mJitter.Quantile(0.5);
    report.jitterP99 = mJitter.Quantile(0.99);
    report.jitterMax = mJitter.Max();
    CheckMeasuredRate(report);
    CheckJitter(report);
    std::stable_sort(report.findings.begin(), report.findings.end(),
        [](const MtcFinding& a, const MtcFinding& b) { return a.time < b.time; });
    if (report.findingCount > 0)
        report.verdict = MtcVerdict::kDefective;
    else if (report.cycles > 0)
        report.verdict = MtcVerdict::kSound;
    return report;
}

void MtcChecker::CheckMeasuredRate(MtcReport& report) const
{
    if (mMeasuredCycles == 0 || mMeasuredTime <= Time(0) || !mRateCode)
        return;
    report.fps = 2 * static_cast<double>(mMeasuredCycles) / Seconds(mMeasuredTime);
    report.speed = SpeedAt(*report.fps, *mRateCode);
    const bool isOff = std::abs(report.speed - 1) > kSpeedTolerance;
    if (isOff && !mRateChanged && mMeasuredCycles >= kMinMeasuredCycles)
        Add(report,
            {MtcDefect::kRateMismatch, report.begin,
                Print("the quarter frames run at %.3f frames a second, but say ", *report.fps)
                    + std::string(NameOfRateCode(*mRateCode))});
}

void MtcChecker::CheckJitter(MtcReport& report) const
{
    if (mJitter.Count() < kMinIntervals || report.jitterP99 <= mOptions.jitterLimit)
        return;
    std::string text = Print("1 in 100 quarter frames is %.1f ms or more off, at most %.1f ms",
        Millis(report.jitterP99), Millis(report.jitterMax));
    if (mBurstIntervals * 2 > mJitter.Count())
        text += "; they come in bursts";
    Add(report, {MtcDefect::kJitter, mFirstJitter.value_or(report.begin), std::move(text)});
}

void MtcChecker::Find(MtcDefect defect, Time at, std::string text)
{
    Add(mReport, {defect, at, std::move(text)});
}

void MtcChecker::Add(MtcReport& report, MtcFinding finding) const
{
    ++report.findingCount;
    ++report.defects[static_cast<std::size_t>(finding.defect)];
    if (report.findings.size() < mOptions.maxFindings)
        report.findings.push_back(std::move(finding));
}

FrameRate MtcChecker::CountingRate() const
{
    return FrameRate::FromMtcCode(mRateCode.value_or(0));
}

Time MtcChecker::QuarterFrameTime() const
{
    return FrameStart(1, CountingRate()) / 4;
}

/// Signed, the shorter way round the day.
FrameNumber MtcChecker::FramesFrom(FrameNumber from, FrameNumber to) const
{
    const FrameNumber day = CountingRate().FramesPerDay();
    const FrameNumber frames = WrapToDay(to - from, CountingRate());
    return frames > day / 2 ? frames - day : frames;
}

/// The position after mLastCycle.
FrameNumber MtcChecker::NextFrame() const
{
    return WrapToDay(mLastCycle->frame + (mSequence.IsReverse() ? -2 : 2), CountingRate());
}

namespace {

std::string DescribeSpan(const MtcReport& report)
{
    if (!report.first)
        return {};
    return FormatTimecode(report.first->timecode) + " to " + FormatTimecode(report.last->timecode)
        + " at " + std::string(NameOfRateCode(report.last->rateCode)) + ", "
        + std::string(NameOf(report.direction));
}

std::string DescribeMeasures(const MtcReport& report)
{
    std::string text;
    if (report.fps)
        text += Print("  speed: %.3f frames a second, %.4f times what the code says\n", *report.fps,
            report.speed);
    text += Print("  jitter: p50 %.2f ms, p99 %.2f ms, max %.2f ms\n", Millis(report.jitterP50),
        Millis(report.jitterP99), Millis(report.jitterMax));
    return text;
}

std::string DescribeFindings(const MtcReport& report)
{
    std::string text;
    for (const auto& finding : report.findings) {
        text += Print("  %10.3f s  ", Seconds(finding.time - report.begin));
        text += std::string(NameOf(finding.defect)) + ": " + finding.text + "\n";
    }
    const auto more = report.findingCount
        - std::min<std::uint64_t>(report.findingCount, report.findings.size());
    if (more > 0)
        text += "  and " + std::to_string(more) + " more\n";
    for (std::size_t i = 0; i < kMtcDefectCount; ++i) {
        if (report.defects[i] > 0)
            text += "  " + std::string(kDefects[i].name) + " (" + std::to_string(report.defects[i])
                + "): " + std::string(kDefects[i].meaning) + "\n";
    }
    return text;
}

nlohmann::ordered_json JsonOf(const MtcReport& report, const MtcFinding& finding)
{
    return {{"time", Seconds(finding.time - report.begin)}, {"defect", NameOf(finding.defect)},
        {"text", finding.text}, {"meaning", MeaningOf(finding.defect)}};
}

nlohmann::ordered_json JsonOf(const std::optional<MtcTime>& time)
{
    return time ? nlohmann::ordered_json(FormatTimecode(time->timecode)) : nullptr;
}

} // namespace

std::string FormatMtcReport(const MtcReport& report)
{
    std::string text;
    if (report.verdict == MtcVerdict::kNothing)
        text = "nothing to judge: no position was told by quarter frames\n";
    else
        text = std::string(NameOf(report.verdict)) + ": " + DescribeSpan(report) + "\n";
    text += "  " + std::to_string(report.quarterFrames) + " quarter frames, "
        + std::to_string(report.fullFrames) + " full frames, "
        + std::to_string(report.otherMessages) + " other messages, "
        + Print("%.3f s\n", Seconds(report.end - report.begin));
    if (report.cycles > 0)
        text += DescribeMeasures(report);
    return text + DescribeFindings(report);
}

std::string FormatMtcReportJson(const MtcReport& report)
{
    nlohmann::ordered_json json{{"verdict", NameOf(report.verdict)},
        {"quarter_frames", report.quarterFrames}, {"full_frames", report.fullFrames},
        {"other_messages", report.otherMessages}, {"cycles", report.cycles}, {"runs", report.runs},
        {"seconds", Seconds(report.end - report.begin)}, {"first", JsonOf(report.first)},
        {"last", JsonOf(report.last)}, {"direction", NameOf(report.direction)}};
    json["rate"] = nullptr;
    json["fps"] = nullptr;
    json["speed"] = nullptr;
    if (report.last)
        json["rate"] = NameOfRateCode(report.last->rateCode);
    if (report.fps) {
        json["fps"] = *report.fps;
        json["speed"] = report.speed;
    }
    json["jitter_ms"] = {{"p50", Millis(report.jitterP50)}, {"p99", Millis(report.jitterP99)},
        {"max", Millis(report.jitterMax)}};
    json["finding_count"] = report.findingCount;
    json["findings"] = nlohmann::ordered_json::array();
    for (const auto& finding : report.findings)
        json["findings"].push_back(JsonOf(report, finding));
    return json.dump();
}

} // namespace deck
