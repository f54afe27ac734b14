#include "kelcore/utility/StringToNumber.h"

#include <limits>
#include <string_view>

namespace kelcore::utility {

namespace {

bool IsDigit(char16_t unit) noexcept
{
    return unit >= u'0' && unit <= u'9';
}

// Stops at the first digit that leads out of the range, so that no length overflows.
bool ParseDigits(std::u16string_view digits, std::int64_t limit, std::int64_t& number) noexcept
{
    number = 0;
    for (const char16_t digit : digits) {
        if (!IsDigit(digit)) {
            return false;
        }
        number = number * 10 + (digit - u'0');
        if (number > limit) {
            return false;
        }
    }
    return !digits.empty();
}

} // namespace

bool StringToNumber(const UTF16String& text, std::int32_t& value, unsigned int)
{
    std::u16string_view digits(text.data(), text.size());
    const bool negative = digits.starts_with(u'-');
    if (negative || digits.starts_with(u'+')) {
        digits.remove_prefix(1);
    }
    const std::int64_t limit = std::numeric_limits<std::int32_t>::max() + (negative ? 1LL : 0LL);
    std::int64_t number = 0;
    if (!ParseDigits(digits, limit, number)) {
        return false;
    }
    value = static_cast<std::int32_t>(negative ? -number : number);
    return true;
}

} // namespace kelcore::utility
