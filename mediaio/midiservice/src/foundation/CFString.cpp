#include "mediaio/midiservice/src/foundation/Objects.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <map>
#include <mutex>

namespace midiservice {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsLead(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}
bool IsTrail(char16_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

std::u16string MakePaired(std::u16string_view utf16)
{
    std::u16string paired(utf16);
    for (std::size_t index = 0; index < paired.size(); ++index) {
        const bool isPair
            = IsLead(paired[index]) && index + 1 < paired.size() && IsTrail(paired[index + 1]);
        if (isPair)
            ++index;
        else if (IsLead(paired[index]) || IsTrail(paired[index]))
            paired[index] = kReplacement;
    }
    return paired;
}

const FoundationObject* AsObject(CFTypeRef object)
{
    return static_cast<const FoundationObject*>(object);
}

} // namespace

std::u16string ToUTF16(std::string_view utf8)
{
    std::string valid;
    utf8::replace_invalid(utf8.begin(), utf8.end(), std::back_inserter(valid), kReplacement);
    std::u16string utf16;
    utf8::utf8to16(valid.begin(), valid.end(), std::back_inserter(utf16));
    return utf16;
}

std::string ToUTF8(std::u16string_view utf16)
{
    const std::u16string paired = MakePaired(utf16);
    std::string utf8;
    utf8::utf16to8(paired.begin(), paired.end(), std::back_inserter(utf8));
    return utf8;
}

CFStringRef MakeString(std::string_view utf8)
{
    return new __CFString(std::make_unique<std::u16string>(ToUTF16(utf8)));
}

std::string ToUTF8(CFStringRef string)
{
    return string != nullptr ? ToUTF8(string->text) : "";
}

} // namespace midiservice

using namespace midiservice;

CFTypeRef CFRetain(CFTypeRef object)
{
    if (object != nullptr)
        AsObject(object)->Retain();
    return object;
}

void CFRelease(CFTypeRef object)
{
    if (object != nullptr)
        AsObject(object)->Release();
}

CFStringRef CFStringCreateWithCharacters(
    CFAllocatorRef /*allocator*/, const UniChar* characters, CFIndex count)
{
    if (count < 0 || (characters == nullptr && count > 0))
        return nullptr;
    return new __CFString(std::make_unique<std::u16string>(characters, characters + count));
}

CFStringRef CFStringCreateWithCString(
    CFAllocatorRef /*allocator*/, const char* text, CFStringEncoding encoding)
{
    if (text == nullptr)
        return nullptr;
    const std::string_view view(text);
    const bool isASCII = std::all_of(
        view.begin(), view.end(), [](char character) { return (character & 0x80) == 0; });
    const bool isUTF8
        = encoding == kCFStringEncodingUTF8 && utf8::is_valid(view.begin(), view.end());
    if (!isUTF8 && !(encoding == kCFStringEncodingASCII && isASCII))
        return nullptr;
    return MakeString(view);
}

CFIndex CFStringGetLength(CFStringRef string)
{
    return static_cast<CFIndex>(string->text.size());
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer)
{
    const auto length = static_cast<CFIndex>(string->text.size());
    if (range.location < 0 || range.location > length)
        return;
    const CFIndex count = std::clamp<CFIndex>(range.length, 0, length - range.location);
    const auto first = string->text.begin() + range.location;
    std::copy(first, first + count, buffer);
}

CFStringRef __CFStringMakeConstantString(const char* text)
{
    static std::mutex sMutex;
    // Never destroyed: constant strings are used until the very end.
    static auto& sStrings = *new std::map<std::string, CFStringRef>;
    static auto& sTexts = *new std::list<std::u16string>;
    const std::lock_guard lock(sMutex);
    CFStringRef& string = sStrings[text];
    if (string == nullptr)
        string = new __CFString(sTexts.emplace_back(ToUTF16(text)));
    return string;
}
