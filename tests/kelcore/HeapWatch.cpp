#include "HeapWatch.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNothing = std::numeric_limits<std::size_t>::max();

thread_local std::size_t sTaken = 0;
thread_local std::size_t sGivenBack = 0;
thread_local std::size_t sRefusedFrom = kNothing;

} // namespace

void* operator new(std::size_t bytes)
{
    void* const block = bytes < sRefusedFrom ? std::malloc(bytes) : nullptr;
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++sTaken;
    return block;
}

void operator delete(void* block) noexcept
{
    sGivenBack += block != nullptr ? 1 : 0;
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

namespace kelcore::tests {

HeapWatch::HeapWatch()
    : mTakenBefore(sTaken)
    , mGivenBackBefore(sGivenBack)
{
}

HeapWatch::~HeapWatch()
{
    sRefusedFrom = kNothing;
}

std::size_t HeapWatch::Taken() const
{
    return sTaken - mTakenBefore;
}

std::size_t HeapWatch::GivenBack() const
{
    return sGivenBack - mGivenBackBefore;
}

void HeapWatch::RefuseFrom(std::size_t bytes)
{
    sRefusedFrom = bytes;
}

} // namespace kelcore::tests
