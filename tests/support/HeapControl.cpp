#include "tests/support/HeapControl.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

thread_local std::size_t sRequests = 0;
thread_local std::size_t sTaken = 0;
thread_local std::size_t sGivenBack = 0;
thread_local std::size_t sRefused = kNever; // the request, counted as sRequests is
thread_local bool sHasRefused = false;
thread_local std::size_t sRefusedFrom = kNever; // bytes

} // namespace

void* operator new(std::size_t bytes)
{
    if (++sRequests == sRefused || bytes >= sRefusedFrom) {
        sHasRefused = true;
        throw std::bad_alloc();
    }
    void* const block = std::malloc(bytes == 0 ? 1 : bytes);
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

namespace korva::tests {

HeapControl::HeapControl()
    : mRequestsBefore(sRequests)
    , mTakenBefore(sTaken)
    , mGivenBackBefore(sGivenBack)
{
    sHasRefused = false;
}

HeapControl::~HeapControl()
{
    sRefused = kNever;
    sRefusedFrom = kNever;
}

std::size_t HeapControl::Requests() const
{
    return sRequests - mRequestsBefore;
}

std::size_t HeapControl::GivenBack() const
{
    return sGivenBack - mGivenBackBefore;
}

std::ptrdiff_t HeapControl::Outstanding() const
{
    return static_cast<std::ptrdiff_t>(sTaken - mTakenBefore)
        - static_cast<std::ptrdiff_t>(GivenBack());
}

void HeapControl::RefuseRequest(std::size_t number)
{
    sRefused = sRequests + number;
}

void HeapControl::RefuseFrom(std::size_t bytes)
{
    sRefusedFrom = bytes;
}

bool HeapControl::HasRefused() const
{
    return sHasRefused;
}

} // namespace korva::tests
