#include "CallCounters.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t sAllocations = 0;
thread_local std::size_t sLocks = 0;

template <typename Function> int CallNext(Function** next, const char* name, auto* lock)
{
    ++sLocks;
    if (*next == nullptr) {
        *next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    }
    return (*next)(lock);
}

void* Allocate(std::size_t bytes)
{
    ++sAllocations;
    if (void* block = std::malloc(bytes > 0 ? bytes : 1)) {
        return block;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t bytes)
{
    return Allocate(bytes);
}

void* operator new[](std::size_t bytes)
{
    return Allocate(bytes);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}

// In place of the C library's for the whole program, its shared libraries included.
extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    static int (*sNext)(pthread_mutex_t*) = nullptr;
    return CallNext(&sNext, "pthread_mutex_lock", mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    static int (*sNext)(pthread_mutex_t*) = nullptr;
    return CallNext(&sNext, "pthread_mutex_trylock", mutex);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept
{
    static int (*sNext)(pthread_rwlock_t*) = nullptr;
    return CallNext(&sNext, "pthread_rwlock_rdlock", lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept
{
    static int (*sNext)(pthread_rwlock_t*) = nullptr;
    return CallNext(&sNext, "pthread_rwlock_wrlock", lock);
}
}

namespace kelmidi::tests {

CallCounters::CallCounters()
    : mAllocationsBefore(sAllocations)
    , mLocksBefore(sLocks)
{
}

std::size_t CallCounters::Allocations() const
{
    return sAllocations - mAllocationsBefore;
}

std::size_t CallCounters::Locks() const
{
    return sLocks - mLocksBefore;
}

} // namespace kelmidi::tests
