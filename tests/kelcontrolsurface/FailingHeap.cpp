#include "FailingHeap.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long sServed = -1; // requests still served; negative: all

} // namespace

void* operator new(std::size_t bytes)
{
    if (sServed == 0) {
        throw std::bad_alloc();
    }
    sServed -= sServed > 0 ? 1 : 0;
    if (void* block = std::malloc(bytes > 0 ? bytes : 1)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace kelcontrolsurface::tests {

FailingHeap::FailingHeap(long served)
{
    sServed = served;
}

FailingHeap::~FailingHeap()
{
    sServed = -1;
}

} // namespace kelcontrolsurface::tests
