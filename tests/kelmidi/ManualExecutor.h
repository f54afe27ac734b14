// Runs what is posted when the test says so.

#pragma once

#include "kelcore/threads/AsyncExecutor.h"

#include <atomic>
#include <mutex>
#include <new>
#include <vector>

namespace kelmidi::tests {

class ManualExecutor : public kelcore::threads::AsyncExecutor {
public:
    void PostDelayed(const boost::function<void()>& function, unsigned int delayMillis) override
    {
        if (!hasMemory) {
            throw std::bad_alloc();
        }
        const std::lock_guard<std::mutex> lock(mMutex);
        mWaiting.push_back(function);
        mDelays.push_back(delayMillis);
    }

    /// Runs what waits now, and returns how much that was.
    std::size_t RunWaiting()
    {
        std::vector<boost::function<void()>> functions;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            functions.swap(mWaiting);
        }
        for (const boost::function<void()>& function : functions) {
            function();
        }
        return functions.size();
    }

    std::vector<unsigned int> Delays() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mDelays;
    }

    std::size_t PostCount() const { return Delays().size(); }

    std::atomic<bool> hasMemory{true}; // otherwise nothing can be posted

private:
    mutable std::mutex mMutex;
    std::vector<boost::function<void()>> mWaiting; // guarded by mMutex
    std::vector<unsigned int> mDelays;             // of every post; guarded by mMutex
};

} // namespace kelmidi::tests
