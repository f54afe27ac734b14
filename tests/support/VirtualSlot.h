// Where a virtual operation stands in its class's table.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace korva::tests {

/// The slot of a virtual operation, as the Itanium C++ ABI that all our platforms follow writes it
/// into a pointer to member.
template <typename Operation> std::size_t VirtualSlot(Operation operation)
{
    static_assert(sizeof(operation) == 2 * sizeof(std::uintptr_t));
    std::uintptr_t word = 0;
    std::memcpy(&word, &operation, sizeof(word));
    return static_cast<std::size_t>(word & ~std::uintptr_t{1}) / sizeof(void*);
}

} // namespace korva::tests
