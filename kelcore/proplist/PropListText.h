// The text form of a property list: JSON, UTF-8.

#pragma once

#include "kelcore/proplist/PropList.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace kelcore::proplist::utils {

/// What is wrong with a text, and where in it.
class PropListSyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A JSON object; keys in byte order.
std::string WritePropList(const PropList& list);

/// Replaces `list` by what `text` says. An empty text is an empty list. Where `text` is not a JSON
/// object of strings, booleans and objects, throws `PropListSyntaxError` and leaves `list` as it
/// was.
void ReadPropList(PropList& list, std::string_view text);

} // namespace kelcore::proplist::utils
