// A heap that runs out when the test says so.

#pragma once

namespace kelcontrolsurface::tests {

/// While it lives, operator new serves this thread `served` more times, and then throws.
class FailingHeap {
public:
    explicit FailingHeap(long served);
    ~FailingHeap();
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;
};

} // namespace kelcontrolsurface::tests
