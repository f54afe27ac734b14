// The host's strings, and the suite through which a plug-in makes and reads them.

#pragma once

#include "korvasdk/suites/StringSuite.h"

#include <memory>
#include <string>
#include <string_view>

struct KORVASDK_String {
    std::u16string text;
};

namespace deck::host {

struct HostStringDeleter {
    void operator()(KORVASDK_String* string) const noexcept;
};
/// A string that the plug-in made through the suite is the host's to free.
using HostString = std::unique_ptr<KORVASDK_String, HostStringDeleter>;

HostString MakeHostString(std::string_view utf8);
std::string HostStringText(const KORVASDK_String& string);

/// How many strings were made and not freed.
long LiveHostStrings() noexcept;

const KORVASDK_StringSuite& StringSuiteTable() noexcept;

} // namespace deck::host
