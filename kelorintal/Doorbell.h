// Lets any thread call the GUI thread without a call into Qt, whose objects belong
// to their own thread.

#pragma once

#include <array>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace kelorintal {

/// Made and destroyed on the GUI thread, by which time nobody rings any more.
class Doorbell {
public:
    /// Throws `std::runtime_error` where the process has no file descriptors left.
    explicit Doorbell(std::function<void()> answer);
    ~Doorbell();
    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

    /// Has the answer called, by the event loop of the GUI thread; once for several rings that come
    /// before it. [any thread, real-time]
    void Ring() noexcept;

private:
    void Answer();

    const std::function<void()> mAnswer;
    std::array<int, 2> mPipe; // to read from, to write to
    std::unique_ptr<QSocketNotifier> mNotifier;
};

} // namespace kelorintal
