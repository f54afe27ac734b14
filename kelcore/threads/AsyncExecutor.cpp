#include "kelcore/threads/AsyncExecutor.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace kelcore::threads {

namespace {

class ThreadPoolExecutor : public AsyncExecutor {
public:
    explicit ThreadPoolExecutor(unsigned int threadCount)
        : mPool(threadCount)
    {
    }

    void PostDelayed(const boost::function<void()>& function, unsigned int delayMillis) override
    {
        if (mStopped) {
            return;
        }
        if (delayMillis == 0) {
            boost::asio::post(mPool, function);
        } else {
            PostAfter(function, std::chrono::milliseconds(delayMillis));
        }
    }

    void Stop()
    {
        mStopped = true;
        mPool.stop();
        mPool.join();
    }

private:
    using Timer = boost::asio::steady_timer;

    void PostAfter(const boost::function<void()>& function, std::chrono::milliseconds delay)
    {
        const auto timer = boost::make_shared<Timer>(mPool, delay);
        timer->async_wait([timer, function](const boost::system::error_code&) { function(); });
    }

    boost::asio::thread_pool mPool;
    std::atomic<bool> mStopped{false}; // true when the process ends
};

// The executor itself is never destroyed, because others may still post to it, in vain, when the
// process ends; its threads must be gone by then, because what they would run is.
class ProcessExecutor {
public:
    ProcessExecutor()
        : mExecutor(*new boost::shared_ptr<ThreadPoolExecutor>(
            boost::make_shared<ThreadPoolExecutor>(ThreadCount())))
    {
    }
    ~ProcessExecutor() { mExecutor->Stop(); }
    ProcessExecutor(const ProcessExecutor&) = delete;
    ProcessExecutor& operator=(const ProcessExecutor&) = delete;

    const boost::shared_ptr<ThreadPoolExecutor>& Get() const { return mExecutor; }

private:
    static unsigned int ThreadCount()
    {
        constexpr unsigned int kMinThreads = 2;
        return std::max(kMinThreads, std::thread::hardware_concurrency());
    }

    const boost::shared_ptr<ThreadPoolExecutor>& mExecutor;
};

} // namespace

boost::shared_ptr<AsyncExecutor> GetCPUBoundExecutor()
{
    static ProcessExecutor sExecutor;
    return sExecutor.Get();
}

} // namespace kelcore::threads
