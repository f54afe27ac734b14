// A recursive mutex whose lock calls say who they are.

#pragma once

#include <mutex>

namespace kelcore::threads {

class RecursiveMutex {
public:
    /// `label` is the locking function's signature, for a debugger; it must outlive the lock.
    /// [any thread, may block]
    void Lock(const char* label);
    void Unlock() noexcept;

    /// The label of the lock held now, or null. Only the holder may ask.
    const char* Label() const noexcept { return mLabel; }

private:
    std::recursive_mutex mMutex;
    const char* mLabel = nullptr; // written by the holder only
};

/// Holds a `RecursiveMutex` for a scope.
class ScopedRecursiveLock {
public:
    ScopedRecursiveLock(RecursiveMutex& mutex, const char* label)
        : mMutex(mutex)
    {
        mMutex.Lock(label);
    }
    ~ScopedRecursiveLock() { mMutex.Unlock(); }
    ScopedRecursiveLock(const ScopedRecursiveLock&) = delete;
    ScopedRecursiveLock& operator=(const ScopedRecursiveLock&) = delete;

private:
    RecursiveMutex& mMutex;
};

} // namespace kelcore::threads
