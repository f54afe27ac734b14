#include "kelcore/threads/CurrentThread.h"

#include <unistd.h>

namespace kelcore::threads {

std::uint64_t GetCurrentThreadID() noexcept
{
    return static_cast<std::uint64_t>(gettid());
}

} // namespace kelcore::threads
