// The text form of a property list: JSON, UTF-8.

#pragma once

#include "kelcore/proplist/PropList.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelcore::proplist::utils {

/// How many lists a text may hold inside each other, the outermost included.
inline constexpr std::size_t kMaxListDepth = 64;

/// What is wrong with a text, and where in it: line, column and what was expected.
class PropListSyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A JSON object on one line; keys in byte order. Unpaired surrogates, and what is not UTF-8 in a
/// key, are written as U+FFFD.
std::string WritePropList(const PropList& list);

/// Replaces `list` by what `text` says; of a key that comes twice, the last value. A NUL character
/// ends the text. An empty text is an empty list. Where the text is not a JSON object of strings,
/// booleans and objects, or nests them deeper than `kMaxListDepth`, throws `PropListSyntaxError`
/// and leaves `list` as it was.
void ReadPropList(PropList& list, std::string_view text);

} // namespace kelcore::proplist::utils
