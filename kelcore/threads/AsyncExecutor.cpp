#include "kelcore/threads/AsyncExecutor.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace kelcore::threads {

namespace {

class ThreadPoolExecutor : public AsyncExecutor {
public:
    // Where not all threads can be had, those that were had are ended: Asio's own pool would wait
    // for them for ever.
    explicit ThreadPoolExecutor(unsigned int threadCount)
        : mContext(static_cast<int>(threadCount))
        , mWork(mContext.get_executor())
    {
        try {
            mThreads.reserve(threadCount);
            while (mThreads.size() < threadCount) {
                mThreads.emplace_back([this] { mContext.run(); });
            }
        } catch (...) {
            Stop();
            throw;
        }
    }

    void PostDelayed(const boost::function<void()>& function, unsigned int delayMillis) override
    {
        if (mStopped) {
            return;
        }
        if (delayMillis == 0) {
            boost::asio::post(mContext, function);
        } else {
            PostAfter(function, std::chrono::milliseconds(delayMillis));
        }
    }

    // A function may end the process, and then it is one of the threads that gets here.
    void Stop()
    {
        mStopped = true;
        mContext.stop();
        for (std::thread& thread : mThreads) {
            if (thread.get_id() != std::this_thread::get_id()) {
                thread.join();
            }
        }
    }

private:
    using Timer = boost::asio::steady_timer;

    void PostAfter(const boost::function<void()>& function, std::chrono::milliseconds delay)
    {
        const auto timer = boost::make_shared<Timer>(mContext, delay);
        timer->async_wait([timer, function](const boost::system::error_code&) { function(); });
    }

    boost::asio::io_context mContext;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> mWork;
    std::atomic<bool> mStopped{false}; // true when the process ends
    std::vector<std::thread> mThreads;
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
