#include "deck/host/HostString.h"

#include "kelcore/utility/UTF16String.h"

#include <algorithm>
#include <new>

namespace deck::host {
namespace {

KORVASDK_Result StringSuite_MakeString(
    const KORVASDK_UTF16Unit* text, KORVASDK_String* outString) noexcept
{
    if (text == nullptr || outString == nullptr) {
        return kErrorBadParameter;
    }
    try {
        outString->text = text;
    } catch (const std::bad_alloc&) {
        return kErrorBadParameter;
    }
    return kSuccess;
}

KORVASDK_Result StringSuite_CopyString(
    const KORVASDK_String* string, KORVASDK_UTF16Unit* buffer, uint32_t* length) noexcept
{
    if (string == nullptr || length == nullptr) {
        return kErrorBadParameter;
    }
    const uint32_t room = *length;
    *length = static_cast<uint32_t>(string->text.size());
    if (room < *length) {
        return kErrorStringBufferTooSmall;
    }
    std::copy(string->text.begin(), string->text.end(), buffer);
    return kSuccess;
}

constexpr KORVASDK_StringSuite kStringSuite
    = {nullptr, nullptr, nullptr, StringSuite_MakeString, StringSuite_CopyString};

} // namespace

HostString MakeHostString(std::string_view utf8)
{
    const kelcore::utility::UTF16String text = kelcore::utility::UTF8to16(utf8);
    return {std::u16string(text.begin(), text.end())};
}

std::string HostStringText(const HostString& string)
{
    return kelcore::utility::UTF16to8(string.text);
}

const KORVASDK_StringSuite& StringSuiteTable() noexcept
{
    return kStringSuite;
}

} // namespace deck::host
