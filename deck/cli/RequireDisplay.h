#pragma once

#include <string>

namespace deck::cli {

/// Throws HostError where no display could show a window: "there is no display for `what`;
/// `instead`". The toolkit would end the process.
void RequireDisplay(const std::string& what, const std::string& instead);

} // namespace deck::cli
