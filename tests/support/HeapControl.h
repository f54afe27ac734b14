// Counts, and can refuse, what the calling thread asks of the general heap: the test program's
// operator new and delete report here.

#pragma once

#include <cstddef>

namespace korva::tests {

class HeapControl {
public:
    static constexpr std::size_t kMegabyte = std::size_t{1} << 20U;

    HeapControl();
    /// Ends every refusal.
    ~HeapControl();
    HeapControl(const HeapControl&) = delete;
    HeapControl& operator=(const HeapControl&) = delete;

    /// Requests of this thread since the control began, refused ones included.
    std::size_t Requests() const;
    /// Blocks given back by this thread since the control began.
    std::size_t GivenBack() const;
    /// Blocks taken by this thread and not given back by it since the control began.
    std::ptrdiff_t Outstanding() const;

    /// The `number`th request from now on throws `std::bad_alloc`, once; 1 is the next one.
    void RefuseRequest(std::size_t number);
    /// Requests of at least `bytes` bytes throw.
    void RefuseFrom(std::size_t bytes);
    /// Whether a refusal has happened.
    bool HasRefused() const;

private:
    std::size_t mRequestsBefore;
    std::size_t mTakenBefore;
    std::size_t mGivenBackBefore;
};

} // namespace korva::tests
