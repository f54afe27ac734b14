#include "deck/transport/TransportThread.h"

#include <algorithm>

namespace deck {

TransportThread::TransportThread(
    const TransportSettings& settings, Clock& clock, std::vector<TransportSink*> sinks)
    : mClock(clock)
    , mTransport(settings, std::move(sinks))
{
}

TransportThread::~TransportThread()
{
    Stop();
}

void TransportThread::Start()
{
    mEnds.store(false);
    mThread = std::thread([this] { Run(); });
}

void TransportThread::Stop()
{
    if (!mThread.joinable()) {
        return;
    }
    mEnds.store(true);
    mClock.Wake();
    mThread.join();
}

bool TransportThread::TryPost(const HostCall& call) noexcept
{
    if (!mCalls.TryPush(call)) {
        mRefused.fetch_add(1);
        return false;
    }
    mClock.Wake();
    return true;
}

void TransportThread::Run()
{
    while (!mEnds.load()) {
        CarryOutCalls();
        const auto deadline = mTransport.NextDeadline();
        mClock.WaitUntil(deadline);
        if (deadline && mClock.Now() >= *deadline) {
            NotePunctuality(*deadline);
            mTransport.Advance(mClock.Now());
        }
    }
    CarryOutCalls();
    mTransport.Halt(mClock.Now());
}

void TransportThread::CarryOutCalls()
{
    std::optional<HostCall> call = mCalls.TryPop();
    while (call) {
        const std::optional<HostCall> next = mCalls.TryPop();
        const bool isSuperseded
            = call->kind == HostCallKind::Locate && next && next->kind == HostCallKind::Locate;
        if (isSuperseded) {
            mTransport.Supersede(*call);
        } else {
            mTransport.Handle(*call, mClock.Now());
        }
        call = next;
    }
}

void TransportThread::NotePunctuality(std::chrono::nanoseconds deadline)
{
    const auto late = mClock.Now() - deadline;
    ++mPunctuality.frames;
    mPunctuality.sum += late;
    mPunctuality.worst = std::max(mPunctuality.worst, late);
}

} // namespace deck
