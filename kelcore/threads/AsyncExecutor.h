// Runs functions later, on threads of its own.

#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

namespace kelcore::threads {

class AsyncExecutor {
public:
    virtual ~AsyncExecutor() = default;

    /// Runs `function` once, on one of the executor's threads, `delayMillis` milliseconds from
    /// now or soon after. With delay 0 functions start in the order in which they were posted. A
    /// function that throws ends the process through `std::terminate`. [any thread]
    virtual void PostDelayed(const boost::function<void()>& function, unsigned int delayMillis) = 0;
};

/// The process's executor for work that keeps a core busy: one thread a core, at least two. It
/// lives until the process ends, that is, until static objects are destroyed: then it waits for
/// the functions that run, and what has not started or is posted later is never run.
/// [any thread, the first call may block]
boost::shared_ptr<AsyncExecutor> GetCPUBoundExecutor();

} // namespace kelcore::threads
