// Numbers from text that a user or a settings file gave.

#pragma once

#include "kelcore/utility/UTF16String.h"

#include <cstdint>

namespace kelcore::utility {

/// Parses a decimal number: an optional sign, then digits and nothing else. Writes `value` and
/// returns true, or leaves `value` as it is and returns false where the text is empty, holds
/// anything else, or names a number outside the 32-bit range. `flags` is 1 in every call and has
/// no further meaning. [any thread]
bool StringToNumber(const UTF16String& text, std::int32_t& value, unsigned int flags);

} // namespace kelcore::utility
