#include "kelorintal/Doorbell.h"

#include <QtCore/QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kelorintal {

namespace {

std::array<int, 2> MakePipe()
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe can be made: " + std::generic_category().message(errno));
    }
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    return ends;
}

} // namespace

Doorbell::Doorbell(std::function<void()> answer)
    : mAnswer(std::move(answer))
    , mPipe(MakePipe())
    , mNotifier(std::make_unique<QSocketNotifier>(mPipe[0], QSocketNotifier::Read))
{
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { Answer(); });
}

Doorbell::~Doorbell()
{
    mNotifier.reset();
    close(mPipe[0]);
    close(mPipe[1]);
}

void Doorbell::Ring() noexcept
{
    const char ring = 0;
    // A full pipe rings as well as one more byte.
    [[maybe_unused]] const ssize_t written = write(mPipe[1], &ring, 1);
}

void Doorbell::Answer()
{
    std::array<char, 64> rings;
    while (read(mPipe[0], rings.data(), rings.size()) > 0) {
    }
    mAnswer();
}

} // namespace kelorintal
