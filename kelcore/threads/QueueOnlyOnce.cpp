#include "kelcore/threads/QueueOnlyOnce.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <algorithm>
#include <cstdlib>

namespace kelcore::threads {

namespace {

constexpr std::uint32_t kMaxSpreadBits = 31;
constexpr double kLargestRandom = 2147483647.0;

// The thread that asks may be one that must not wait.
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

std::uint32_t LowBits(std::int64_t value) noexcept
{
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(value));
}

} // namespace

QueueOnlyOnce::QueueOnlyOnce(const boost::function<void()>& function,
    const boost::shared_ptr<AsyncExecutor>& executor,
    unsigned int minDelay,
    unsigned int maxDelay)
    : mFunction(function)
    , mExecutor(executor)
    , mMinDelay(minDelay)
    , mMaxDelay(std::max(minDelay, maxDelay))
{
    using utility::HighPrecisionTime;
    const auto now = static_cast<std::int64_t>(HighPrecisionTime::GetCurrentTime());
    std::srand(LowBits(HighPrecisionTime::ConvertToNanos(now)));
}

boost::shared_ptr<QueueOnlyOnce> QueueOnlyOnce::Create(const boost::function<void()>& function,
    const boost::shared_ptr<AsyncExecutor>& executor,
    unsigned int minDelay,
    unsigned int maxDelay)
{
    return boost::shared_ptr<QueueOnlyOnce>(
        new QueueOnlyOnce(function, executor, minDelay, maxDelay));
}

void QueueOnlyOnce::Queue()
{
    std::uint32_t idle = 0;
    if (!mQueued.compare_exchange_strong(idle, 1)) {
        return;
    }
    const unsigned int delay = NextDelay();
    const boost::weak_ptr<QueueOnlyOnce> self = shared_from_this();
    try {
        mExecutor->PostDelayed([self] { Callback(self); }, delay);
    } catch (...) {
        mQueued = 0; // no run waits: the next request must post one
        throw;
    }
}

void QueueOnlyOnce::Callback(const boost::weak_ptr<QueueOnlyOnce>& self)
{
    const boost::shared_ptr<QueueOnlyOnce> strong = self.lock();
    std::uint32_t queued = 1;
    // Cleared before the function runs, so that a request made during the run posts one more.
    if (strong && strong->mQueued.compare_exchange_strong(queued, 0)) {
        strong->mFunction();
    }
}

unsigned int QueueOnlyOnce::NextDelay()
{
    if (mMinDelay == mMaxDelay) {
        return mMinDelay;
    }
    const std::uint32_t bits = std::min(++mAttempt, kMaxSpreadBits);
    const std::uint32_t span = (std::uint32_t{1} << bits) - 1;
    const double random = std::rand() * static_cast<double>(span) / kLargestRandom;
    const std::uint32_t delay = LowBits(static_cast<std::int64_t>(mMinDelay * random));
    return std::min(std::max(delay, mMinDelay), mMaxDelay);
}

} // namespace kelcore::threads
