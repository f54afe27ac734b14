// Sees, and can refuse, what the calling thread asks of the general heap. The
// test program's operator new and delete report here.

#pragma once

#include <cstddef>

namespace kelcore::tests {

class HeapWatch {
public:
    HeapWatch();
    ~HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    /// Blocks taken, and given back, by this thread since the watch began.
    std::size_t Taken() const;
    std::size_t GivenBack() const;

    /// From now until the watch ends, requests of at least `bytes` bytes throw `std::bad_alloc`.
    void RefuseFrom(std::size_t bytes);

private:
    std::size_t mTakenBefore;
    std::size_t mGivenBackBefore;
};

} // namespace kelcore::tests
