// What the JSON library has to say, in words for users.

#pragma once

#include <string>
#include <string_view>

namespace kelcore::utility {

/// `what` of the JSON library's exception without the "[id] " that it begins with.
inline std::string JsonErrorText(std::string_view what)
{
    return std::string(what.substr(what.starts_with('[') ? what.find(' ') + 1 : 0));
}

} // namespace kelcore::utility
