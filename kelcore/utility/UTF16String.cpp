#include "kelcore/utility/UTF16String.h"

#include <utf8.h>

#include <cstdint>
#include <iterator>

namespace kelcore::utility {

namespace {

constexpr char16_t kReplacement = u'\uFFFD';

bool IsHighSurrogate(char16_t unit) noexcept
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char16_t unit) noexcept
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The character at the front of `text`, which is not empty; removes it.
char32_t TakeCharacter(std::u16string_view& text) noexcept
{
    const char16_t first = text.front();
    text.remove_prefix(1);
    if (IsHighSurrogate(first) && !text.empty() && IsLowSurrogate(text.front())) {
        const char16_t second = text.front();
        text.remove_prefix(1);
        return 0x10000 + ((first - 0xD800U) << 10U) + (second - 0xDC00U);
    }
    return IsHighSurrogate(first) || IsLowSurrogate(first) ? kReplacement : first;
}

} // namespace

UTF16String UTF8to16(std::string_view text)
{
    UTF16String result;
    if (utf8::is_valid(text.begin(), text.end())) {
        utf8::utf8to16(text.begin(), text.end(), std::back_inserter(result));
        return result;
    }
    std::string repaired;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(repaired));
    utf8::utf8to16(repaired.begin(), repaired.end(), std::back_inserter(result));
    return result;
}

std::string UTF16to8(std::u16string_view text)
{
    std::string result;
    while (!text.empty()) {
        utf8::append(TakeCharacter(text), std::back_inserter(result));
    }
    return result;
}

UTF16String AsciiToUTF16(std::string_view text)
{
    UTF16String result;
    result.reserve(text.size());
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        result.push_back(byte <= 0x7F ? char16_t{byte} : kReplacement);
    }
    return result;
}

} // namespace kelcore::utility
