#include "kelcore/utility/RefCounted.h"

#include <cassert>

namespace kelcore::utility {

namespace {

// Far from 0 and from overflow, whatever a destructor takes and gives back.
constexpr std::int32_t kBeingDestroyed = 1 << 30;

} // namespace

void RefCountedObject::AddRefCount() const noexcept
{
    // Relaxed: whoever may add a reference already sees the object whole.
    mRefCount.fetch_add(1, std::memory_order_relaxed);
}

void RefCountedObject::ReleaseRefCount() const noexcept
{
    std::int32_t count = mRefCount.load(std::memory_order_relaxed);
    assert(count > 0);
    // Release publishes this holder's writes, acquire shows the other holders' to the destructor.
    while (!mRefCount.compare_exchange_weak(count, count == 1 ? kBeingDestroyed : count - 1,
        std::memory_order_acq_rel, std::memory_order_relaxed)) {
    }
    if (count == 1) {
        delete this;
    }
}

} // namespace kelcore::utility
