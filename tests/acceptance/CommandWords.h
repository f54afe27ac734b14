// Command lines as users read them, for tests that run them.

#pragma once

#include <string>
#include <vector>

namespace deck::acceptance {

/// As a shell splits it: examples need no more than double quotes.
std::vector<std::string> Words(const std::string& line);

/// The lines under EXAMPLES of a man page's source.
std::vector<std::string> ManExamples(const std::string& page);

/// Whether korva-deck with these arguments runs until it is told to end.
bool RunsUntilEnded(const std::vector<std::string>& arguments);

} // namespace deck::acceptance
