// Counts what the receive thread may not do, on the calling thread.

#pragma once

#include <cstddef>

namespace kelmidi::tests {

/// Counts from its making on.
class CallCounters {
public:
    CallCounters();

    /// Calls of operator new on this thread.
    std::size_t Allocations() const;
    /// Attempts to lock a mutex or a read-write lock on this thread.
    std::size_t Locks() const;

private:
    const std::size_t mAllocationsBefore;
    const std::size_t mLocksBefore;
};

} // namespace kelmidi::tests
