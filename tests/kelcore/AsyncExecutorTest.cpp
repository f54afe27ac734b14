#include "kelcore/threads/AsyncExecutor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace kelcore::threads {
namespace {

using namespace std::chrono_literals;
using testing::ExitedWithCode;
using testing::KilledBySignal;

constexpr auto kDeadline = 60s;
constexpr unsigned int kMinuteMillis = 60'000;

// An event that threads wait for.
class Signal {
public:
    void Set() { mPromise.set_value(); }
    bool Wait() const { return mFuture.wait_for(kDeadline) == std::future_status::ready; }

private:
    std::promise<void> mPromise;
    std::shared_future<void> mFuture{mPromise.get_future()};
};

void Post(const boost::function<void()>& function, unsigned int delayMillis = 0)
{
    GetCPUBoundExecutor()->PostDelayed(function, delayMillis);
}

unsigned int ThreadCount()
{
    return std::max(2U, std::thread::hardware_concurrency());
}

// Keeps all threads of the executor but one busy while it lives.
class OneThreadLeft {
public:
    OneThreadLeft()
    {
        const unsigned int busy = ThreadCount() - 1;
        std::vector<Signal> started(busy);
        mEnded = std::vector<Signal>(busy);
        for (unsigned int i = 0; i < busy; ++i) {
            Post([this, &begun = started[i], &ended = mEnded[i]] {
                begun.Set();
                EXPECT_TRUE(mRelease.Wait());
                ended.Set();
            });
        }
        for (const Signal& begun : started) {
            EXPECT_TRUE(begun.Wait());
        }
    }
    ~OneThreadLeft()
    {
        mRelease.Set();
        for (const Signal& ended : mEnded) {
            EXPECT_TRUE(ended.Wait());
        }
    }

private:
    Signal mRelease;
    std::vector<Signal> mEnded;
};

TEST(CPUBoundExecutor, IsOneForAll)
{
    EXPECT_NE(GetCPUBoundExecutor(), nullptr);
    EXPECT_EQ(GetCPUBoundExecutor(), GetCPUBoundExecutor());
}

TEST(CPUBoundExecutor, RunsAFunctionOnAThreadOfItsOwn)
{
    Signal ran;
    std::thread::id id;

    Post([&] {
        id = std::this_thread::get_id();
        ran.Set();
    });

    ASSERT_TRUE(ran.Wait());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(CPUBoundExecutor, RunsTwoFunctionsAtATimeAtLeast)
{
    Signal first;
    Signal second;
    Signal bothMet;

    Post([&] {
        first.Set();
        EXPECT_TRUE(second.Wait());
        bothMet.Set();
    });
    Post([&] {
        EXPECT_TRUE(first.Wait());
        second.Set();
    });

    EXPECT_TRUE(bothMet.Wait());
}

TEST(CPUBoundExecutor, StartsFunctionsInTheOrderOfTheirPosts)
{
    constexpr int kFunctions = 1000;
    Signal done;
    std::vector<int> order;
    const OneThreadLeft oneThread;

    for (int i = 0; i < kFunctions; ++i) {
        Post([&order, i] { order.push_back(i); });
    }
    Post([&done] { done.Set(); });

    ASSERT_TRUE(done.Wait());
    std::vector<int> expected(kFunctions);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
}

TEST(CPUBoundExecutor, RunsEveryFunctionOnce)
{
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kPosts = 2000;
    std::vector<std::atomic<int>> runs(kThreads * kPosts);
    std::atomic<std::size_t> left{kThreads * kPosts};
    Signal done;
    std::vector<std::thread> threads;

    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::size_t i = 0; i < kPosts; ++i) {
                Post([&, index = thread * kPosts + i] {
                    ++runs[index];
                    if (--left == 0) {
                        done.Set();
                    }
                });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    ASSERT_TRUE(done.Wait());
    EXPECT_TRUE(
        std::all_of(runs.begin(), runs.end(), [](const auto& count) { return count == 1; }));
}

TEST(CPUBoundExecutor, RunsWhatAFunctionPosts)
{
    Signal ran;

    Post([&ran] { Post([&ran] { ran.Set(); }); });

    EXPECT_TRUE(ran.Wait());
}

TEST(CPUBoundExecutor, WaitsForTheDelay)
{
    Signal ran;
    const auto posted = std::chrono::steady_clock::now();
    auto started = posted;

    Post(
        [&] {
            started = std::chrono::steady_clock::now();
            ran.Set();
        },
        30);

    ASSERT_TRUE(ran.Wait());
    EXPECT_GE(started - posted, 30ms);
}

TEST(CPUBoundExecutor, RunsOthersWhileADelayLasts)
{
    Signal ran;
    Signal shortlyAfter;

    Post([] {}, kMinuteMillis);
    Post([&ran] { ran.Set(); });
    Post([&shortlyAfter] { shortlyAfter.Set(); }, 1);

    EXPECT_TRUE(ran.Wait());
    EXPECT_TRUE(shortlyAfter.Wait());
}

TEST(CPUBoundExecutor, LetsGoOfAFunctionThatRan)
{
    for (const unsigned int delayMillis : {0U, 1U}) {
        auto token = std::make_shared<Signal>();
        const std::weak_ptr<Signal> watched = token;
        Signal ran;

        Post([token, &ran] { ran.Set(); }, delayMillis);
        token.reset();

        ASSERT_TRUE(ran.Wait());
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (!watched.expired() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(watched.expired());
    }
}

class CPUBoundExecutorDeathTest : public testing::Test {
protected:
    CPUBoundExecutorDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(CPUBoundExecutorDeathTest, EndsTheProcessWhenAFunctionThrows)
{
    for (const unsigned int delayMillis : {0U, 1U}) {
        EXPECT_EXIT(
            {
                Post([] { throw std::runtime_error("thrown by a function"); }, delayMillis);
                Signal().Wait();
            },
            KilledBySignal(SIGABRT), "thrown by a function");
    }
}

TEST_F(CPUBoundExecutorDeathTest, LeavesQuietlyWhenTheProcessEndsIdle)
{
    EXPECT_EXIT(
        {
            Signal ran;
            Post([&ran] { ran.Set(); });
            std::exit(ran.Wait() ? 0 : 1);
        },
        ExitedWithCode(0), "^$");
}

TEST_F(CPUBoundExecutorDeathTest, LeavesQuietlyWhenItNeverRanAnything)
{
    EXPECT_EXIT(
        {
            GetCPUBoundExecutor();
            std::exit(0);
        },
        ExitedWithCode(0), "^$");
}

TEST_F(CPUBoundExecutorDeathTest, DropsADelayedFunctionWhenTheProcessEnds)
{
    EXPECT_EXIT(
        {
            const auto token = std::make_shared<int>(1);
            Post([token] { std::fputs("must not run", stderr); }, kMinuteMillis);
            std::exit(0);
        },
        ExitedWithCode(0), "^$");
}

TEST_F(CPUBoundExecutorDeathTest, WaitsForARunningFunctionWhenTheProcessEnds)
{
    EXPECT_EXIT(
        {
            static Signal sStarted;
            Post([] {
                sStarted.Set();
                std::this_thread::sleep_for(50ms); // gives the process the time to end too early
                std::fputs("finished", stderr);
            });
            std::exit(sStarted.Wait() ? 0 : 1);
        },
        ExitedWithCode(0), "^finished$");
}

TEST_F(CPUBoundExecutorDeathTest, LetsAFunctionEndTheProcess)
{
    EXPECT_EXIT(
        {
            Post([] { std::exit(0); });
            Signal().Wait();
        },
        ExitedWithCode(0), "^$");
}

struct PostsWhenItGoes {
    boost::shared_ptr<AsyncExecutor> executor;

    ~PostsWhenItGoes()
    {
        const auto token = std::make_shared<int>(1);
        for (const unsigned int delayMillis : {0U, 1U}) {
            const auto function = [token] { std::fputs("must not run", stderr); };
            Post(function, delayMillis);
            executor->PostDelayed(function, delayMillis);
        }
        std::fputs(token.use_count() == 1 ? "dropped" : "kept", stderr);
    }
};

TEST_F(CPUBoundExecutorDeathTest, DropsWhatIsPostedWhileStaticObjectsGo)
{
    EXPECT_EXIT(
        {
            static PostsWhenItGoes sLate;
            sLate.executor = GetCPUBoundExecutor();
            std::exit(0);
        },
        ExitedWithCode(0), "^dropped$");
}

} // namespace
} // namespace kelcore::threads
