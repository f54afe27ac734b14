#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

#include <vector>

namespace kelmidi {

using kelcore::utility::UTF16String;

// Both ways copy: the platform's character is another type than ours.

CFStringOwner KELtoMAC(const UTF16String& text)
{
    const std::vector<UniChar> characters(text.begin(), text.end());
    return CFStringOwner(CFStringCreateWithCharacters(
        kCFAllocatorDefault, characters.data(), static_cast<CFIndex>(characters.size())));
}

UTF16String MACtoKEL(CFStringRef string)
{
    const CFIndex length = CFStringGetLength(string);
    std::vector<UniChar> characters(static_cast<std::size_t>(length));
    CFStringGetCharacters(string, CFRangeMake(0, length), characters.data());
    return UTF16String(characters.begin(), characters.end());
}

} // namespace kelmidi
