#include "mediaio/midiservice/src/RequestQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace midiservice {
namespace {

TEST(RequestQueue, GivesRequestsInTheirOrder)
{
    RequestQueue<int, 4> queue;
    int request = 0;
    EXPECT_FALSE(queue.pop(request));

    EXPECT_TRUE(queue.push(1));
    EXPECT_TRUE(queue.push(2));
    ASSERT_TRUE(queue.pop(request));
    EXPECT_EQ(request, 1);
    EXPECT_TRUE(queue.push(3));

    ASSERT_TRUE(queue.pop(request));
    EXPECT_EQ(request, 2);
    ASSERT_TRUE(queue.pop(request));
    EXPECT_EQ(request, 3);
    EXPECT_FALSE(queue.pop(request));
}

TEST(RequestQueue, RefusesWhenFullAndTakesAgainWhenThereIsRoom)
{
    RequestQueue<int, 3> queue;
    int request = 0;

    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(queue.push(i));
    EXPECT_FALSE(queue.push(3));
    ASSERT_TRUE(queue.pop(request));
    EXPECT_TRUE(queue.push(4));
    EXPECT_FALSE(queue.push(5));
}

TEST(RequestQueue, KeepsEachThreadsOrderAndLosesNothing)
{
    struct Request {
        int thread;
        int number;
    };
    constexpr int kThreads = 3;
    constexpr int kRequests = 5000;
    const auto queue = std::make_unique<RequestQueue<Request, 64>>();

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&queue, thread] {
            for (int number = 0; number < kRequests;) {
                if (queue->push({thread, number}))
                    ++number;
                else
                    std::this_thread::yield();
            }
        });
    }
    std::vector<int> next(kThreads, 0);
    bool inOrder = true;
    for (int taken = 0; taken < kThreads * kRequests;) {
        Request request{};
        if (!queue->pop(request)) {
            std::this_thread::yield();
            continue;
        }
        inOrder = inOrder && next[static_cast<std::size_t>(request.thread)]++ == request.number;
        ++taken;
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_TRUE(inOrder);
    Request request{};
    EXPECT_FALSE(queue->pop(request));
}

} // namespace
} // namespace midiservice
