// "Run this function on that executor, but never have more than one run waiting."

#pragma once

#include "kelcore/threads/AsyncExecutor.h"

#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <atomic>
#include <cstdint>

namespace kelcore::threads {

/// Must be owned by a `boost::shared_ptr`. A run that is posted and has not started when the
/// object goes does nothing.
class QueueOnlyOnce : public boost::enable_shared_from_this<QueueOnlyOnce> {
public:
    /// Runs are posted to `executor` with a random delay between `minDelay` and `maxDelay`
    /// milliseconds, spread wider with every run; the greater of the two is the maximum, and equal
    /// ones leave nothing to chance. Seeds the process-wide `rand` generator from the clock, each
    /// time: intended.
    QueueOnlyOnce(const boost::function<void()>& function,
        const boost::shared_ptr<AsyncExecutor>& executor,
        unsigned int minDelay,
        unsigned int maxDelay);

    /// A new object in the `boost::shared_ptr` that must own it. Preferred to making one outside:
    /// what the pointer counts with then is this library's code, which a posted run may need after
    /// the plug-in that asked for it was unloaded.
    static boost::shared_ptr<QueueOnlyOnce> Create(const boost::function<void()>& function,
        const boost::shared_ptr<AsyncExecutor>& executor,
        unsigned int minDelay,
        unsigned int maxDelay);

    /// Asks for a run; does nothing where one is waiting already. Throws `boost::bad_weak_ptr`
    /// where no `boost::shared_ptr` owns the object. [any thread; allocates only to post]
    void Queue();

    /// What the executor runs. Throws `boost::bad_function_call` where the function is empty.
    static void Callback(const boost::weak_ptr<QueueOnlyOnce>& self);

private:
    unsigned int NextDelay();

    std::atomic<std::uint32_t> mQueued{0}; // 1: a run is posted and has not started
    boost::function<void()> mFunction;
    boost::shared_ptr<AsyncExecutor> mExecutor;
    unsigned int mMinDelay;
    unsigned int mMaxDelay;
    std::atomic<std::uint32_t> mAttempt{1}; // never reset: the random spread only grows
};

} // namespace kelcore::threads
