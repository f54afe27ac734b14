// Counts, and can refuse, what the calling thread asks of the general heap: the test program's
// operator new and delete report here.

#pragma once

#include <cstddef>

namespace mmc::tests {

class HeapControl {
public:
    HeapControl();
    ~HeapControl();
    HeapControl(const HeapControl&) = delete;
    HeapControl& operator=(const HeapControl&) = delete;

    /// Requests of this thread since the control began, refused ones included.
    std::size_t Requests() const;
    /// Blocks taken by this thread and not given back by it since the control began.
    std::ptrdiff_t Outstanding() const;

    /// The `number`th request from now on throws `std::bad_alloc`, once; 1 is the next one.
    void RefuseRequest(std::size_t number);
    /// Requests of a megabyte and more throw, as long as the control lives.
    void RefuseLargeRequests();
    /// Whether the refusal has happened. It ends with the control.
    bool HasRefused() const;

private:
    std::size_t mRequestsBefore;
    std::ptrdiff_t mOutstandingBefore;
};

} // namespace mmc::tests
