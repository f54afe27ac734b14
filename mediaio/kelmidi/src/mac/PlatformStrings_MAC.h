// Wide strings to and from the platform's string objects.

#pragma once

#include "kelcore/utility/UTF16String.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace kelmidi {

struct CFStringReleaser {
    void operator()(CFStringRef string) const noexcept { CFRelease(string); }
};

/// Owns one reference to a platform string; may be null.
using CFStringOwner = std::unique_ptr<std::remove_pointer_t<CFStringRef>, CFStringReleaser>;

/// Null where the platform has no memory for it. [host]
CFStringOwner KELtoMAC(const kelcore::utility::UTF16String& text);

/// `string` is not null and stays its owner's. [host]
kelcore::utility::UTF16String MACtoKEL(CFStringRef string);

} // namespace kelmidi
