#include "deck/transport/TransportThread.h"

#include <algorithm>
#include <cstdio>

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
    const std::int64_t late = (mClock.Now() - deadline).count();
    mFrames.fetch_add(1);
    mSumNanos.fetch_add(late);
    mWorstNanos.store(std::max(mWorstNanos.load(), late));
}

Punctuality TransportThread::GetPunctuality() const noexcept
{
    return {mFrames.load(), std::chrono::nanoseconds(mWorstNanos.load()),
        std::chrono::nanoseconds(mSumNanos.load())};
}

std::string Punctuality::Text() const
{
    if (frames == 0) {
        return {};
    }
    const auto mean = static_cast<double>(sum.count()) / static_cast<double>(frames);
    char text[80];
    std::snprintf(text, sizeof text, "late by %.2f ms, at most %.2f ms", mean / 1e6,
        static_cast<double>(worst.count()) / 1e6);
    return text;
}

} // namespace deck
