// A recursive mutex whose lock calls say who they are.

#pragma once

#include <array>
#include <cstddef>
#include <mutex>

namespace kelcore::threads {

class RecursiveMutex {
public:
    /// `label` is the locking function's signature, for a debugger; it must outlive the lock.
    /// [any thread, may block]
    void Lock(const char* label);
    void Unlock() noexcept;

    /// The label of the innermost lock held now (of the eighth where there are more), or null. Only
    /// the holder may ask.
    const char* Label() const noexcept;

private:
    static constexpr std::size_t kMaxLabels = 8;

    std::recursive_mutex mMutex;
    std::array<const char*, kMaxLabels> mLabels{}; // written by the holder only
    std::size_t mDepth = 0;                        // written by the holder only
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
