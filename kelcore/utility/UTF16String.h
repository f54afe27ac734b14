// The host library's wide strings, and the ways into and out of them.

#pragma once

#include "kelcore/utility/SmallBlockAllocator.h"

#include <string>
#include <string_view>

namespace kelcore::utility {

/// UTF-16 text in the machine's byte order; storage from the small-block allocator.
using UTF16String
    = std::basic_string<char16_t, std::char_traits<char16_t>, SmallBlockAllocator<char16_t>>;

/// Broken UTF-8 becomes U+FFFD: one for each byte that can begin no character, and one for a
/// beginning that does not go on rightly, together with the trail bytes behind it. [any thread]
UTF16String UTF8to16(std::string_view text);

/// Each unpaired surrogate becomes one U+FFFD. [any thread]
std::string UTF16to8(std::u16string_view text);

/// Widens each byte; a byte above 0x7F becomes U+FFFD. [any thread]
UTF16String AsciiToUTF16(std::string_view text);

} // namespace kelcore::utility
