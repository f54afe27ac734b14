// Where a virtual operation stands in its class's table.

#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace kelmidi::tests {

/// In the C++ ABI of this machine a pointer to a virtual member function holds 1 plus the
/// operation's offset in the table, in bytes; the test reads that value and calls nothing.
template <typename Operation> std::size_t SlotOf(Operation operation)
{
    static_assert(std::is_member_function_pointer_v<Operation>);
    std::ptrdiff_t words[2];
    static_assert(sizeof(words) == sizeof(operation));
    std::memcpy(words, &operation, sizeof(words));
    return static_cast<std::size_t>(words[0] - 1) / sizeof(void*);
}

} // namespace kelmidi::tests
