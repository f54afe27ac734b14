// The host's strings, and the suite through which a plug-in makes and reads them.

#pragma once

#include "korvasdk/suites/StringSuite.h"

#include <string>
#include <string_view>

struct KORVASDK_String {
    std::u16string text;
};

namespace deck::host {

/// What the plug-in is handed, to be read or to be filled through the suite.
using HostString = KORVASDK_String;

HostString MakeHostString(std::string_view utf8);
std::string HostStringText(const HostString& string);

const KORVASDK_StringSuite& StringSuiteTable() noexcept;

} // namespace deck::host
