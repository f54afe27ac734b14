#include "kelcore/threads/CurrentThread.h"

#include <gtest/gtest.h>

#include <thread>

namespace kelcore::threads {
namespace {

TEST(CurrentThreadID, StaysTheSameInOneThread)
{
    EXPECT_EQ(GetCurrentThreadID(), GetCurrentThreadID());
}

TEST(CurrentThreadID, DiffersBetweenRunningThreads)
{
    std::uint64_t other = GetCurrentThreadID();

    std::thread([&other] { other = GetCurrentThreadID(); }).join();

    EXPECT_NE(other, GetCurrentThreadID());
}

} // namespace
} // namespace kelcore::threads
