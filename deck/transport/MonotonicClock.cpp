#include "deck/transport/Clock.h"

#include <cerrno>
#include <ctime>
#include <semaphore.h>

namespace deck {
namespace {

using std::chrono::nanoseconds;

timespec ToTimespec(nanoseconds time) noexcept
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    timespec result{};
    result.tv_sec = static_cast<std::time_t>(seconds.count());
    result.tv_nsec = static_cast<long>((time - seconds).count());
    return result;
}

class MonotonicClock final : public Clock {
public:
    MonotonicClock() { sem_init(&mWoken, 0, 0); }
    ~MonotonicClock() override { sem_destroy(&mWoken); }
    MonotonicClock(const MonotonicClock&) = delete;
    MonotonicClock& operator=(const MonotonicClock&) = delete;

    nanoseconds Now() const noexcept override
    {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
    }

    void WaitUntil(std::optional<nanoseconds> deadline) override
    {
        // An absolute deadline: what happens between reading the clock and sleeping is no delay
        if (deadline) {
            const timespec until = ToTimespec(*deadline);
            while (sem_clockwait(&mWoken, CLOCK_MONOTONIC, &until) != 0 && errno == EINTR) {
            }
        } else {
            while (sem_wait(&mWoken) != 0 && errno == EINTR) {
            }
        }
        while (sem_trywait(&mWoken) == 0) {
        } // one return answers every wake so far
    }

    void Wake() noexcept override { sem_post(&mWoken); }

private:
    sem_t mWoken{};
};

} // namespace

std::unique_ptr<Clock> MakeMonotonicClock()
{
    return std::make_unique<MonotonicClock>();
}

} // namespace deck
