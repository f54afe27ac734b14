#include "kelcore/threads/CurrentThread.h"

#include <pthread.h>

namespace kelcore::threads {

std::uint64_t GetCurrentThreadID() noexcept
{
    std::uint64_t id = 0;
    pthread_threadid_np(nullptr, &id);
    return id;
}

} // namespace kelcore::threads
