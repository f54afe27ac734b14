#include "kelcore/threads/RecursiveMutex.h"

#include <algorithm>
#include <cassert>

namespace kelcore::threads {

void RecursiveMutex::Lock(const char* label)
{
    mMutex.lock();
    if (mDepth < kMaxLabels) {
        mLabels[mDepth] = label;
    }
    ++mDepth;
}

void RecursiveMutex::Unlock() noexcept
{
    assert(mDepth > 0);
    --mDepth;
    mMutex.unlock();
}

const char* RecursiveMutex::Label() const noexcept
{
    return mDepth == 0 ? nullptr : mLabels[std::min(mDepth, kMaxLabels) - 1];
}

} // namespace kelcore::threads
