#include "kelcore/threads/QueueOnlyOnce.h"

#include "tests/support/HeapControl.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace kelcore::threads {
namespace {

// Keeps what is posted until the test runs it.
class FakeExecutor : public AsyncExecutor {
public:
    void PostDelayed(const boost::function<void()>& function, unsigned int delayMillis) override
    {
        if (std::exchange(mFails, false)) {
            throw std::runtime_error("no room");
        }
        mFunctions.push_back(function);
        mDelays.push_back(delayMillis);
    }

    std::size_t Waiting() const { return mFunctions.size(); }
    const std::vector<unsigned int>& Delays() const { return mDelays; }

    void RunNext()
    {
        const boost::function<void()> function = mFunctions.front();
        mFunctions.pop_front();
        function();
    }

    void FailOnce() { mFails = true; }

private:
    std::deque<boost::function<void()>> mFunctions;
    std::vector<unsigned int> mDelays;
    bool mFails = false;
};

class QueueOnlyOnceTest : public testing::Test {
protected:
    boost::shared_ptr<QueueOnlyOnce> Make(unsigned int minDelay = 0, unsigned int maxDelay = 0)
    {
        return QueueOnlyOnce::Create([this] { ++mRuns; }, mExecutor, minDelay, maxDelay);
    }

    // The delay of the next run; runs it too.
    unsigned int NextDelay(QueueOnlyOnce& trigger)
    {
        trigger.Queue();
        mExecutor->RunNext();
        return mExecutor->Delays().back();
    }

    // NOLINTBEGIN(readability-identifier-naming): members as in any class
    boost::shared_ptr<FakeExecutor> mExecutor = boost::make_shared<FakeExecutor>();
    int mRuns = 0;
    // NOLINTEND(readability-identifier-naming)
};

TEST_F(QueueOnlyOnceTest, PostsARunThatCallsTheFunctionOnce)
{
    const auto trigger = Make();

    trigger->Queue();
    EXPECT_EQ(mRuns, 0);
    ASSERT_EQ(mExecutor->Waiting(), 1U);
    mExecutor->RunNext();

    EXPECT_EQ(mRuns, 1);
    EXPECT_EQ(mExecutor->Waiting(), 0U);
}

TEST_F(QueueOnlyOnceTest, PostsNothingWhileARunWaits)
{
    const auto trigger = Make();

    trigger->Queue();
    trigger->Queue();
    trigger->Queue();

    EXPECT_EQ(mExecutor->Waiting(), 1U);
}

TEST_F(QueueOnlyOnceTest, PostsAgainOnceTheRunHasStarted)
{
    const auto trigger = Make();

    trigger->Queue();
    mExecutor->RunNext();
    trigger->Queue();
    mExecutor->RunNext();

    EXPECT_EQ(mRuns, 2);
}

TEST_F(QueueOnlyOnceTest, PostsOneFurtherRunHoweverOftenAskedDuringARun)
{
    boost::shared_ptr<QueueOnlyOnce> trigger;
    trigger = QueueOnlyOnce::Create(
        [&] {
            if (++mRuns == 1) {
                trigger->Queue();
                trigger->Queue();
            }
        },
        mExecutor, 0, 0);

    trigger->Queue();
    mExecutor->RunNext();
    ASSERT_EQ(mExecutor->Waiting(), 1U);
    mExecutor->RunNext();

    EXPECT_EQ(mRuns, 2);
    EXPECT_EQ(mExecutor->Waiting(), 0U);
}

TEST_F(QueueOnlyOnceTest, PostsWithDelayZeroAndNeverCallsRandForZeroAndZero)
{
    const auto trigger = Make(0, 0);
    std::srand(1);
    const int first = std::rand();
    std::srand(1);

    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(NextDelay(*trigger), 0U);
    }

    EXPECT_EQ(std::rand(), first);
}

TEST_F(QueueOnlyOnceTest, PostsWithTheDelayItself)
{
    const auto equal = Make(10, 10);
    const auto reversed = Make(10, 5); // the maximum becomes 10

    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(NextDelay(*equal), 10U);
        EXPECT_EQ(NextDelay(*reversed), 10U);
    }
}

// Counted from first principles: a share of the minimum that doubles in range with every run, up
// to 2^31 - 1 times, and the low 32 bits of that many milliseconds.
unsigned int ExpectedDelay(int random, unsigned int minDelay, unsigned int maxDelay, int attempt)
{
    const double share = random * (std::exp2(std::min(attempt, 31)) - 1.0) / 2147483647.0;
    const double low = std::fmod(std::trunc(minDelay * share), 4294967296.0);
    return static_cast<unsigned int>(std::clamp<double>(low, minDelay, maxDelay));
}

class SpreadDelays : public QueueOnlyOnceTest,
                     public testing::WithParamInterface<std::pair<unsigned int, unsigned int>> {};

TEST_P(SpreadDelays, GrowWithEveryRunAndStayInTheirBounds)
{
    const auto [minDelay, maxDelay] = GetParam();
    const auto trigger = Make(minDelay, maxDelay);
    std::vector<unsigned int> expected;
    std::srand(12345);
    for (int attempt = 2; attempt < 42; ++attempt) {
        expected.push_back(ExpectedDelay(std::rand(), minDelay, maxDelay, attempt));
    }
    std::srand(12345);

    for (int attempt = 2; attempt < 42; ++attempt) {
        NextDelay(*trigger);
    }

    EXPECT_EQ(mExecutor->Delays(), expected);
}

INSTANTIATE_TEST_SUITE_P(OfBounds,
    SpreadDelays,
    testing::Values(std::pair{10U, 100'000U},
        std::pair{1U, 4'294'967'295U},
        std::pair{0U, 50U},
        std::pair{3'000'000'000U, 4'294'967'295U}));

TEST_F(QueueOnlyOnceTest, CountsOnlyTheRunsThatItPosted)
{
    const auto trigger = Make(10, 100'000);
    std::srand(12345);
    const unsigned int first = ExpectedDelay(std::rand(), 10, 100'000, 2);
    const unsigned int second = ExpectedDelay(std::rand(), 10, 100'000, 3);
    std::srand(12345);

    trigger->Queue();
    trigger->Queue(); // one waits already
    mExecutor->RunNext();
    trigger->Queue();

    EXPECT_EQ(mExecutor->Delays(), (std::vector<unsigned int>{first, second}));
}

TEST_F(QueueOnlyOnceTest, SeedsTheProcessWideGeneratorEachTimeItIsMade)
{
    std::srand(1);
    const int ofSeedOne = std::rand();
    int reseeded = 0;

    for (int i = 0; i < 10; ++i) {
        std::srand(1);
        Make();
        reseeded += std::rand() != ofSeedOne ? 1 : 0;
    }

    EXPECT_GE(reseeded, 9); // a clock that gives the seed 1 once is a coincidence
}

TEST_F(QueueOnlyOnceTest, ThrowsWhereNoSharedPointerOwnsIt)
{
    QueueOnlyOnce unowned([] {}, mExecutor, 0, 0);

    EXPECT_THROW(unowned.Queue(), boost::bad_weak_ptr);
    EXPECT_EQ(mExecutor->Waiting(), 0U);
}

TEST_F(QueueOnlyOnceTest, IsOwnedByASharedPointerMadeElsewhereToo)
{
    const boost::shared_ptr<QueueOnlyOnce> trigger(
        new QueueOnlyOnce([this] { ++mRuns; }, mExecutor, 0, 0));

    trigger->Queue();
    mExecutor->RunNext();

    EXPECT_EQ(mRuns, 1);
}

TEST_F(QueueOnlyOnceTest, IsNotKeptAliveByAWaitingRunWhichThenDoesNothing)
{
    auto trigger = Make();
    const boost::weak_ptr<QueueOnlyOnce> watched = trigger;
    trigger->Queue();

    trigger.reset();
    EXPECT_TRUE(watched.expired());
    mExecutor->RunNext();

    EXPECT_EQ(mRuns, 0);
}

TEST_F(QueueOnlyOnceTest, LivesUntilItsRunEnds)
{
    boost::shared_ptr<QueueOnlyOnce> trigger;
    boost::weak_ptr<QueueOnlyOnce> watched;
    bool livedOn = false;
    trigger = QueueOnlyOnce::Create(
        [&] {
            trigger.reset();
            livedOn = !watched.expired();
        },
        mExecutor, 0, 0);
    watched = trigger;

    trigger->Queue();
    mExecutor->RunNext();

    EXPECT_TRUE(livedOn);
    EXPECT_TRUE(watched.expired());
}

TEST_F(QueueOnlyOnceTest, RunsNothingWhereNoRunWasAskedFor)
{
    const auto trigger = Make();

    QueueOnlyOnce::Callback(trigger);
    QueueOnlyOnce::Callback(boost::weak_ptr<QueueOnlyOnce>());

    EXPECT_EQ(mRuns, 0);
}

TEST_F(QueueOnlyOnceTest, ThrowsWhereItsFunctionIsEmpty)
{
    const auto trigger = QueueOnlyOnce::Create(boost::function<void()>(), mExecutor, 0, 0);
    trigger->Queue();

    try {
        mExecutor->RunNext();
        FAIL() << "nothing was thrown";
    } catch (const boost::bad_function_call& error) {
        EXPECT_STREQ(error.what(), "call to empty boost::function");
    }
}

TEST_F(QueueOnlyOnceTest, PostsAgainAfterAPostThatFailed)
{
    const auto trigger = Make();
    mExecutor->FailOnce();

    EXPECT_THROW(trigger->Queue(), std::runtime_error);
    trigger->Queue();

    EXPECT_EQ(mExecutor->Waiting(), 1U);
}

TEST_F(QueueOnlyOnceTest, TouchesNoHeapWhereARunWaits)
{
    const auto trigger = Make();
    trigger->Queue();
    const korva::tests::HeapControl heap;

    trigger->Queue();

    EXPECT_EQ(heap.Requests(), 0U);
}

// Whatever a thread did before it asked, a run that starts afterwards sees.
TEST(QueueOnlyOnceOnThreads, LosesNoRequest)
{
    constexpr int kThreads = 4;
    constexpr int kRequests = 5000;
    std::mutex mutex;
    std::condition_variable seenAll;
    std::atomic<int> asked{0};
    int seen = 0;
    const auto trigger = QueueOnlyOnce::Create(
        [&] {
            const std::scoped_lock lock(mutex);
            seen = std::max(seen, asked.load(std::memory_order_relaxed));
            seenAll.notify_all();
        },
        GetCPUBoundExecutor(), 0, 0);
    std::vector<std::thread> threads;

    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRequests; ++i) {
                asked.fetch_add(1, std::memory_order_relaxed);
                trigger->Queue();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::unique_lock lock(mutex);
    EXPECT_TRUE(seenAll.wait_for(
        lock, std::chrono::seconds(60), [&] { return seen == kThreads * kRequests; }));
}

} // namespace
} // namespace kelcore::threads
