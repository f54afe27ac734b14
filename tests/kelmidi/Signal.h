// A one-way signal between test threads, with a deadline far beyond what a loaded machine needs.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kelmidi::tests {

class Signal {
public:
    void Set()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mSet = true;
        mChanged.notify_all();
    }

    /// Returns false where the deadline passed first.
    bool Wait(std::chrono::milliseconds deadline = std::chrono::seconds(30))
    {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, deadline, [this] { return mSet; });
    }

    /// Gives what must not happen a chance to: true where it did.
    bool ComesTooEarly() { return Wait(std::chrono::milliseconds(50)); }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mSet = false; // guarded by mMutex
};

} // namespace kelmidi::tests
