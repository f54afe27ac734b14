#include "deck/cli/DemoCheck.h"

#include <algorithm>

namespace deck::cli {
namespace {

constexpr std::size_t kWindFrames = 8;
constexpr std::ptrdiff_t kQuarterFrameCodes = 4;

std::string Describe(MTCWanted mtc)
{
    switch (mtc) {
    case MTCWanted::Nothing:
        break;
    case MTCWanted::FullFrame:
        return "a full frame of the deck's position";
    case MTCWanted::QuarterFrames:
        return "quarter frames of the deck's position";
    case MTCWanted::FullThenQuarterFrames:
        return "a full frame and quarter frames of the deck's position";
    case MTCWanted::FullFramesBack:
        return "full frames going back";
    case MTCWanted::FullFramesForward:
        return "full frames going forward";
    }
    return {};
}

std::string Names(const std::vector<HostCallKind>& calls)
{
    std::string names;
    for (const HostCallKind call : calls) {
        names += (names.empty() ? "" : ", ") + std::string(NameOf(call));
    }
    return names.empty() ? "no call" : names;
}

} // namespace

DemoCheck::DemoCheck(const DemoStep& step, TransportState state)
    : mStep(step)
    , mState(state)
{
}

void DemoCheck::OnArrived(ByteView bytes)
{
    mHasArrived = mHasArrived || std::ranges::equal(bytes, mStep.bytes);
}

void DemoCheck::OnCall(HostCallKind call)
{
    mCalls.push_back(call);
}

void DemoCheck::OnState(TransportState state)
{
    mState = state;
}

void DemoCheck::OnPosition(const Position& position)
{
    mReported.insert(position.frame);
}

void DemoCheck::OnFullFrame(const Timecode& timecode)
{
    mFull.push_back(ToNearestFrame(timecode, kDemoRate));
}

void DemoCheck::OnQuarterFrames(const Timecode& timecode)
{
    mQuarter.push_back(ToNearestFrame(timecode, kDemoRate));
}

void DemoCheck::OnTrace(const std::string& line)
{
    mIsTraced = mIsTraced || (!mStep.trace.empty() && line.ends_with("> " + mStep.trace));
}

bool DemoCheck::IsDone() const
{
    return mHasArrived && HasCalls() && mState == mStep.state && HasTrace() && HasMTC();
}

bool DemoCheck::IsWrong() const
{
    return mCalls.size() > mStep.calls.size()
        || !std::equal(mCalls.begin(), mCalls.end(), mStep.calls.begin());
}

std::string DemoCheck::Complaint() const
{
    if (!mHasArrived) {
        return "the bytes did not arrive";
    }
    if (!HasCalls()) {
        return "wanted " + Names(mStep.calls) + "; came " + Names(mCalls);
    }
    if (mState != mStep.state) {
        return "the transport is in " + std::string(NameOf(mState)) + ", not in "
            + std::string(NameOf(mStep.state));
    }
    if (!HasTrace()) {
        return "the plug-in did not trace " + mStep.trace;
    }
    if (mStep.mtc == MTCWanted::Nothing) {
        return "MTC came out, though nothing moved";
    }
    return "did not come out: " + Describe(mStep.mtc);
}

bool DemoCheck::HasCalls() const
{
    return mCalls == mStep.calls;
}

bool DemoCheck::HasMTC() const
{
    switch (mStep.mtc) {
    case MTCWanted::Nothing:
        return mFull.empty() && mQuarter.empty();
    case MTCWanted::FullFrame:
        return HasFullFrame();
    case MTCWanted::QuarterFrames:
        return HasQuarterFrames();
    case MTCWanted::FullThenQuarterFrames:
        return HasFullFrame() && HasQuarterFrames();
    case MTCWanted::FullFramesBack:
        return HasWind(true);
    case MTCWanted::FullFramesForward:
        return HasWind(false);
    }
    return false;
}

bool DemoCheck::HasFullFrame() const
{
    const auto isRight = [this](FrameNumber frame) {
        return mReported.contains(frame)
            && (!mStep.target || ToTimecode(frame, kDemoRate) == *mStep.target);
    };
    return std::any_of(mFull.begin(), mFull.end(), isRight);
}

bool DemoCheck::HasQuarterFrames() const
{
    const auto isReported = [this](FrameNumber frame) { return mReported.contains(frame); };
    return std::count_if(mQuarter.begin(), mQuarter.end(), isReported) >= kQuarterFrameCodes;
}

bool DemoCheck::HasWind(bool isBack) const
{
    const auto runsWrong = [isBack](FrameNumber earlier, FrameNumber later) {
        return isBack ? later >= earlier : later <= earlier;
    };
    if (mFull.size() < kWindFrames) {
        return false;
    }
    return std::adjacent_find(mFull.end() - kWindFrames, mFull.end(), runsWrong) == mFull.end();
}

} // namespace deck::cli
