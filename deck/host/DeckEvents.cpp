#include "deck/host/DeckEvents.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace deck::host {

DeckEvents::DeckEvents()
    : mQueue(std::make_unique<Queue>())
    , mDescriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (mDescriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

DeckEvents::~DeckEvents()
{
    close(mDescriptor);
}

void DeckEvents::Clear() noexcept
{
    eventfd_t count = 0;
    eventfd_read(mDescriptor, &count);
    // Only now: a wake that comes from here on writes again, one that came before is answered by
    // the events that the caller is about to take out
    mIsWoken.store(false);
}

void DeckEvents::Wake() noexcept
{
    if (!mIsWoken.exchange(true)) {
        eventfd_write(mDescriptor, 1); // does not wait: the descriptor is non-blocking
    }
}

std::uint64_t DeckEvents::Now() noexcept
{
    return kelcore::utility::HighPrecisionTime::GetCurrentTime();
}

void DeckEvents::PushEvent(const DeckEvent& event) noexcept
{
    if (!mQueue->TryPush(event)) {
        mDropped.fetch_add(1);
    }
    Wake();
}

} // namespace deck::host
