#include "deck/host/HostString.h"

#include "kelcore/utility/UTF16String.h"

#include <algorithm>
#include <atomic>

namespace deck::host {
namespace {

std::atomic<long> sLiveStrings{0};

HostString TakeText(std::u16string text)
{
    HostString string(new KORVASDK_String{std::move(text)});
    sLiveStrings.fetch_add(1, std::memory_order_relaxed); // a count, publishes nothing
    return string;
}

KORVASDK_Result StringSuite_MakeString(
    const KORVASDK_UTF16Unit* text, KORVASDK_String** outString) noexcept
{
    if (text == nullptr || outString == nullptr) {
        return kErrorBadParameter;
    }
    try {
        *outString = TakeText(text).release();
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

void HostStringDeleter::operator()(KORVASDK_String* string) const noexcept
{
    delete string;
    sLiveStrings.fetch_sub(1, std::memory_order_relaxed);
}

HostString MakeHostString(std::string_view utf8)
{
    const kelcore::utility::UTF16String text = kelcore::utility::UTF8to16(utf8);
    return TakeText(std::u16string(text.begin(), text.end()));
}

std::string HostStringText(const KORVASDK_String& string)
{
    return kelcore::utility::UTF16to8(string.text);
}

long LiveHostStrings() noexcept
{
    return sLiveStrings.load(std::memory_order_relaxed);
}

const KORVASDK_StringSuite& StringSuiteTable() noexcept
{
    return kStringSuite;
}

} // namespace deck::host
