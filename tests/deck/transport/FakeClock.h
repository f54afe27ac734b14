// Time passes when the test says so.

#pragma once

#include "deck/transport/Clock.h"

#include <condition_variable>
#include <mutex>

namespace deck::test {

class FakeClock final : public Clock {
public:
    std::chrono::nanoseconds Now() const noexcept override
    {
        const std::lock_guard lock(mMutex);
        return mNow;
    }

    void WaitUntil(std::optional<std::chrono::nanoseconds> deadline) override
    {
        std::unique_lock lock(mMutex);
        mDeadline = deadline;
        mIsWaiting = true;
        mChanged.notify_all();
        mChanged.wait(lock, [&] { return mIsWoken || (deadline && mNow >= *deadline); });
        mIsWoken = false;
        mIsWaiting = false;
    }

    void Wake() noexcept override
    {
        const std::lock_guard lock(mMutex);
        mIsWoken = true;
        mChanged.notify_all();
    }

    /// Waits until the thread has nothing left to do, then lets the time be `now`.
    void AdvanceTo(std::chrono::nanoseconds now)
    {
        std::unique_lock lock(mMutex);
        WaitForRest(lock);
        mNow = now;
        mChanged.notify_all();
        WaitForRest(lock);
    }

    /// Waits until the thread sleeps to a deadline that has not come.
    void WaitForRest()
    {
        std::unique_lock lock(mMutex);
        WaitForRest(lock);
    }

private:
    void WaitForRest(std::unique_lock<std::mutex>& lock)
    {
        mChanged.wait(
            lock, [&] { return mIsWaiting && !mIsWoken && (!mDeadline || mNow < *mDeadline); });
    }

    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::chrono::nanoseconds mNow{std::chrono::seconds(1000)};
    std::optional<std::chrono::nanoseconds> mDeadline;
    bool mIsWaiting = false;
    bool mIsWoken = false;
};

} // namespace deck::test
