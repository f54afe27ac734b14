// Holds what happens against what a step of the demo asks for.

#pragma once

#include "deck/cli/DemoScript.h"

#include <set>
#include <string>
#include <vector>

namespace deck::cli {

class DemoCheck {
public:
    /// `state` is the transport's when the step begins. The step outlives the check.
    DemoCheck(const DemoStep& step, TransportState state);

    void OnArrived(ByteView bytes);
    void OnCall(HostCallKind call);
    void OnState(TransportState state);
    void OnPosition(const Position& position);
    void OnFullFrame(const Timecode& timecode);
    void OnQuarterFrames(const Timecode& timecode);
    void OnTrace(const std::string& line);

    /// Everything asked for has happened.
    bool IsDone() const;
    /// A call came that the step does not ask for.
    bool IsWrong() const;
    /// What has not happened, or should not have; one line.
    std::string Complaint() const;

private:
    bool HasCalls() const;
    bool HasTrace() const { return mStep.trace.empty() || mIsTraced; }
    bool HasMTC() const;
    bool HasFullFrame() const;
    bool HasQuarterFrames() const;
    bool HasWind(bool isBack) const;

    const DemoStep& mStep;
    TransportState mState;
    bool mHasArrived = false;
    bool mIsTraced = false;
    std::vector<HostCallKind> mCalls;
    std::set<FrameNumber> mReported; // frames that the deck stood at or rolled through
    std::vector<FrameNumber> mFull;
    std::vector<FrameNumber> mQuarter;
};

} // namespace deck::cli
